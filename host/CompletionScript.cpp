// The table that the completion scripts are made from, and the hidden command that prints them and the names that they
// ask for.
#include "host/CompletionScript.h"

#include "host/CommandLine.h"
#include "host/Completion.h"
#include "host/Loader.h"
#include "host/Output.h"

#include <cstddef>

namespace {

struct Shell {
    const char* name;
    std::string (*script)(const CommandTable&);
};

constexpr Shell kShells[] = {{"bash", BashScript}, {"zsh", ZshScript}, {"fish", FishScript}};

class CompletionsCommand : public Command {
public:
    Text Describe() const override { return {"completions", "What the shells complete command lines with", {}}; }
    void Declare(Options& options) override
    {
        options.Word("SHELL", m_what, Options::Required, "bash, zsh or fish; commands; or names, for those of a file");
        options.Word("FILE", m_file, Options::Optional, "The file that has the names");
        options.Word("START", m_start, Options::Optional, "What they begin with");
    }
    int Run(Host& host) override
    {
        Output& output = host.GetAnswer().output;
        if (m_what == "names") {
            WriteNames(output);
            return 0;
        }
        if (m_what == "commands") {
            output.Write(Joined(CommandNames(ReadCommandTable()), "\n") + '\n');
            return 0;
        }
        for (const Shell& shell : kShells) {
            if (m_what == shell.name) {
                output.Write(shell.script(ReadCommandTable()));
                return 0;
            }
        }
        Complain("", "'" + m_what + "' is none of bash, zsh and fish");
        return 2;
    }

private:
    void WriteNames(Output& output) const
    {
        if (!WhyUnreadable(m_file).empty()) {
            return;
        }
        for (const std::string& name : Completer(m_file).SymbolsFrom(m_start)) {
            output.Write(name + '\n');
        }
    }

    std::string m_what;
    std::string m_file;
    std::string m_start;
};

} // namespace

CommandTable ReadCommandTable()
{
    CommandTable table;
    CommonOptions ignored; // nothing is taken: the declarations alone are wanted
    DeclareCommonOptions(table.common, ignored, LineSource::Shell);
    for (const ListedCommand& listed : CommandsFor(LineSource::Shell)) {
        if (!listed.IsHidden()) {
            CommandTable::Entry& declared = table.commands.emplace_back();
            declared.text = listed.command->Describe();
            listed.command->Declare(declared.options);
        }
    }
    return table;
}

std::string Joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::vector<std::string> CommandNames(const CommandTable& table)
{
    std::vector<std::string> names{"help"};
    for (const CommandTable::Entry& command : table.commands) {
        names.push_back(command.text.name);
    }
    return names;
}

std::string ShellQuoted(const std::string& text, const std::string& forQuote)
{
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? forQuote : c == '\n' ? " " : std::string(1, c);
    }
    return quoted + '\'';
}

std::vector<Options::Item> ItemsOf(const Options& options, bool words)
{
    std::vector<Options::Item> items = options.Items();
    std::erase_if(items, [&](const Options::Item& item) { return item.isWord != words; });
    return items;
}

std::unique_ptr<Command> MakeCompletionsCommand()
{
    return std::make_unique<CompletionsCommand>();
}
