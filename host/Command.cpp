// The list of the commands, and what those on one file have in common.
#include "host/Command.h"

#include "host/Options.h"

std::vector<std::unique_ptr<Command>> MakeCommands()
{
    std::vector<std::unique_ptr<Command>> commands;
#define COMMAND(name) commands.push_back(Make##name##Command());
#include "host/Commands.def"
    return commands;
}

void FileCommand::Declare(Options& options)
{
    options.Word("FILE", m_path, Options::Required, "Symbol file");
    DeclareMore(options);
}

void FileCommand::DeclareMore(Options&) {}

int FileCommand::Run(Host& host)
{
    return host.WithFile(m_path, HowToOpen(), [&](Loader& file) { return Ask(file, host); });
}
