// The list of commands, and what the commands on one file have in common.
#include "host/Command.h"

#include "host/Options.h"

std::vector<ListedCommand> MakeCommands()
{
    std::vector<ListedCommand> commands;
    const char* group = "";
#define GROUP(title) group = title;
#define COMMAND(name) commands.push_back({group, Make##name##Command()});
#include "host/Commands.def"
    return commands;
}

void FileCommand::Declare(Options& options)
{
    if (!options.IsFileOpen()) {
        options.Word("FILE", m_path, Options::Required, "Symbol file", Options::Offer::Files);
    }
    DeclareMore(options);
}

void FileCommand::DeclareMore(Options&) {}

int FileCommand::Run(Host& host)
{
    const int status = CheckWords();
    return status != 0 ? status : host.WithFile(m_path, HowToOpen(), [&](Loader& file) { return Ask(file, host); });
}

int FileCommand::RunOn(Loader& file, Host& host)
{
    const int status = CheckWords();
    return status != 0 ? status : Ask(file, host);
}
