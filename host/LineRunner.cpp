// Tells the plug-in's commands from those of symhost, and runs both.
#include "host/LineRunner.h"

#include "host/CommandLine.h"
#include "host/Help.h"
#include "host/LoadProgress.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Suggestions.h"
#include "interfaces/VFKStringParser.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string FirstWord(std::string_view line)
{
    const std::size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
    return std::string(line.substr(start, line.find_first_of(kBlanks, start) - start));
}

std::string Trimmed(std::string_view text)
{
    const std::size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
    const std::size_t end = text.find_last_not_of(kBlanks);
    return std::string(end == std::string_view::npos ? "" : text.substr(start, end + 1 - start));
}

/// Splits as the plug-in does: arguments may follow the command's letters without a blank.
bool IsPlugInLine(const std::string& line)
{
    VFKStringParser parser(line);
    std::string token;
    if (!parser.GetCToken(token, false, true) || line.front() == '?') {
        return true; // an empty line does nothing
    }
    const std::vector<std::string> names = ConsoleCommandNames();
    return std::binary_search(names.begin(), names.end(), token);
}

/// What the plug-in's help doesn't list.
constexpr std::pair<std::string_view, std::string_view> kUnlisted[] = {
    {"debug_macinfo", "debug_macinfo       - the same as macinfo"},
    {"dieinfo", "dieinfo             - dump the table of the entries that have been read"},
    {"help", "help [command]      - list the commands, or tell of one"},
    {"m_debug_pubnames", "m_debug_pubnames    - the same as pubnames"},
    {"macinfo", "macinfo             - dump the DWARF2 .debug_macinfo section"},
    {"mem", "mem                 - tell what the plug-in holds in memory for the file"},
    {"pubnames", "pubnames            - dump the DWARF2 .debug_pubnames section"},
};

/// Whether the plug-in's help line is about that command.
bool IsHelpOn(std::string_view helpLine, std::string_view name)
{
    return helpLine.substr(0, name.size()) == name && helpLine.substr(name.size()).find_first_of(" [-") == 0;
}

} // namespace

std::vector<std::string> ConsoleCommandNames()
{
    std::vector<std::string> names = {
#define COMMAND(name, operation) name,
#include "console/ConsoleCommands.def"
    };
    names.erase(std::find(names.begin(), names.end(), "?"));
    std::sort(names.begin(), names.end());
    return names;
}

ConsoleWords SplitConsoleLine(std::string_view line)
{
    ConsoleWords split;
    bool open = false; // a word has begun
    char quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quote == 0 && kBlanks.find(c) != std::string_view::npos) {
            open = false;
        } else if (quote == 0 && c == '>' && !open) {
            split.redirected = true;
            split.target = Trimmed(line.substr(i + 1));
            break;
        } else if (c == quote) {
            quote = 0;
        } else {
            if (!open) {
                split.words.emplace_back();
                open = true;
            }
            if (quote == 0 && (c == '"' || c == '\'')) {
                quote = c;
            } else {
                split.words.back() += c;
            }
        }
    }
    return split;
}

LineRunner::LineRunner(Loader& file, Output& output, const CommonOptions& options)
    : m_file(file)
    , m_output(output)
    , m_options(options)
    , m_console(output)
{
}

bool LineRunner::IsLeaving(const std::string& line)
{
    const std::string text = Trimmed(line);
    return text == "quit" || text == "exit";
}

bool LineRunner::Run(const std::string& line)
{
    const ConsoleWords split = SplitConsoleLine(line);
    if (split.words.size() == 2 && split.words[0] == "help" && !split.redirected) {
        return WriteHelpOf(split.words[1]);
    }
    if (!IsPlugInLine(line)) {
        return FirstWord(line).front() == '#' || RunHostCommand(line);
    }
    m_output.SetPainted(false); // the plug-in's text stays as it is
    const bool done = RunConsoleLine(m_file, m_console, line);
    if (bars.TakeCancelled()) {
        m_output.DropHeld(); // the word that the results have been saved
    }
    if (helpOfAll && Trimmed(line) == "help") {
        m_output.Write("\nCommands of symhost on this file; 'help COMMAND' tells of one:\n");
        m_output.Write(CommandList(CommandsFor(LineSource::Prompt)));
    }
    return done;
}

bool LineRunner::RunHostCommand(const std::string& line)
{
    const ConsoleWords split = SplitConsoleLine(line);
    const std::vector<ListedCommand> commands = CommandsFor(LineSource::Prompt);
    const bool known =
        !split.words.empty() && std::any_of(commands.begin(), commands.end(), [&](const ListedCommand& listed) {
            return listed.command->Describe().name == split.words.front();
        });
    if (!known) {
        ComplainOfWord(FirstWord(line));
        return false;
    }
    if (split.redirected) {
        return RunRedirected(split);
    }
    m_output.SetPainted(IsPainted(m_options.color, m_output.IsTerminal()));
    return RunWords(split.words, m_output);
}

bool LineRunner::RunRedirected(const ConsoleWords& line)
{
    const int descriptor = open(line.target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        Complain(line.target, errno);
        return false;
    }
    Output output(descriptor);
    bool done = RunWords(line.words, output);
    output.Flush();
    close(descriptor);
    if (output.Error() != 0) {
        Complain(line.target, output.Error());
        done = false;
    }
    if (done) {
        m_output.Write("Results saved into: '" + line.target + "'\n");
    }
    return done;
}

bool LineRunner::RunWords(const std::vector<std::string>& words, Output& output)
{
    Invocation invocation{m_options, nullptr};
    std::optional<int> status = ParseCommandLine(words, LineSource::Prompt, invocation, output);
    if (!status) {
        const LoadProgress progress(m_file, bars);
        Host host(invocation.options, output);
        status = invocation.command->RunOn(m_file, host);
    }
    if (*status == 0) {
        output.ShowHead();
    } else {
        output.DropHead();
    }
    return *status == 0;
}

bool LineRunner::WriteHelpOf(const std::string& name)
{
    const std::vector<std::string> names = ConsoleCommandNames();
    if (!std::binary_search(names.begin(), names.end(), name)) {
        const std::vector<ListedCommand> commands = CommandsFor(LineSource::Prompt);
        const bool known = std::any_of(commands.begin(), commands.end(), [&](const ListedCommand& listed) {
            return listed.command->Describe().name == name;
        });
        if (!known) {
            ComplainOfWord(name);
        }
        return known && RunWords({name, "--help"}, m_output);
    }
    const std::string help = PlugInHelp();
    for (std::size_t start = 0; start < help.size();) {
        const std::size_t end = std::min(help.find('\n', start), help.size() - 1) + 1;
        if (IsHelpOn(std::string_view(help).substr(start), name)) {
            m_output.Write(std::string_view(help).substr(start, end - start));
        }
        start = end;
    }
    for (const auto& [unlisted, text] : kUnlisted) {
        if (unlisted == name) {
            m_output.Write(std::string(text) + '\n');
        }
    }
    return true;
}

std::string LineRunner::PlugInHelp()
{
    struct Memory : Output {
        Memory()
            : Output(-1)
        {
        }
        void Deliver(const char* bytes, std::size_t count) override { text.append(bytes, count); }
        std::string text;
    };
    Memory memory;
    HostConsole console(memory);
    RunConsoleLine(m_file, console, "help");
    memory.Flush();
    return memory.text;
}

void LineRunner::ComplainOfWord(const std::string& word) const
{
    for (const ListedCommand& listed : MakeCommands()) {
        if (!listed.IsHidden() && listed.command->Describe().name == word) {
            Complain("", "There is no command '" + word + "' here; it opens files of its own");
            return;
        }
    }
    Suggestions suggestions(word);
    for (const char* name : {"quit", "exit", "help"}) {
        suggestions.Offer(name);
    }
    for (const std::string& name : ConsoleCommandNames()) {
        suggestions.Offer(name);
    }
    for (const ListedCommand& listed : CommandsFor(LineSource::Prompt)) {
        suggestions.Offer(listed.command->Describe().name);
    }
    Complain("", "There is no command '" + word + "'" + suggestions.Question());
}
