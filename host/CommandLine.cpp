// Reads a line of words with the options that the commands declare.
#include "host/CommandLine.h"

#include "host/Help.h"
#include "host/Options.h"
#include "host/Output.h"
#include "host/Suggestions.h"
#include "host/Version.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace {

/// Put in front of a word, it keeps the library from interpreting the word.
constexpr char kShield = '\1';

/// The options of every command, which may stand before its name or anywhere behind it.
void DeclareCommon(Options& options, CommonOptions& common, LineSource source)
{
    options.Flag("--json", common.json, "One JSON object a line instead of a table");
    options.Flag("--no-demangle", common.noDemangle, "ELF symbols as they stand, and not as C++ names");
    if (source == LineSource::Prompt) {
        return; // the rest has been settled
    }
    options.Choice("--convert", common.convert,
                   std::vector<std::pair<std::string, ConvertMode>>{
                       {"auto", ConvertMode::Auto}, {"always", ConvertMode::Always}, {"never", ConvertMode::Never}},
                   "Convert what is shown to DWARF 2.0; auto, the default of most commands: only newer DWARF");
    options.Choice("--color", common.color,
                   std::vector<std::pair<std::string, ColorMode>>{
                       {"auto", ColorMode::Auto}, {"always", ColorMode::Always}, {"never", ColorMode::Never}},
                   "Colours in tables; auto, the default: on a terminal");
    options.Flag("--no-pager", common.noPager, "No pager for long output on a terminal");
    options.Value("--module", "PATH", common.module, "Module to load, else Dwarf2.so beside the program",
                  Options::Offer::Files);
    options.Value(
        "--preferences", "DIR", "Folder of the preference files",
        [&](const std::string& path) {
            common.preferences = path;
            return CLI::ExistingDirectory(path);
        },
        Options::Offer::Folders);
}

/// What the parser answers by itself, declared for the help and the completions.
void DeclareInquiries(Options& options, LineSource source)
{
    if (source == LineSource::Shell) {
        options.Flag("--version", "The program's version");
    }
    options.Flag("--help", "This text; behind a command, that command's");
}

class Parser {
public:
    Parser(LineSource source, CommonOptions& common, Output& output)
        : m_commands(CommandsFor(source))
        , m_common(source == LineSource::Prompt)
        , m_output(output)
    {
        m_app.set_help_flag();
        m_app.require_subcommand(1);
        m_app.fallthrough(); // the options of every command may stand behind it
        DeclareCommon(m_common, common, source);
        Bind(m_app, m_common);
        DeclareInquiries(m_common, source);
        for (const ListedCommand& listed : m_commands) {
            CLI::App* added = m_app.add_subcommand(listed.command->Describe().name);
            Options own(source == LineSource::Prompt);
            listed.command->Declare(own);
            Bind(*added, own);
        }
    }

    /// @return as for ParseCommandLine.
    std::optional<int> Parse(const std::vector<std::string>& words, std::unique_ptr<Command>& command)
    {
        if (const std::optional<int> status = AnswerInquiry(words)) {
            return status;
        }
        const std::size_t place = PlaceOfCommand(words);
        if (place < words.size() && Find(words[place]) == nullptr) {
            Complain("", NoSuchCommand(words[place]));
            return kUsageError;
        }
        try {
            ParseWords(words);
            command = std::move(Find(m_app.get_subcommands().front()->get_name())->command);
            return std::nullopt;
        } catch (const CLI::ParseError& error) {
            std::string text = WhyNot(error);
            text.erase(std::remove(text.begin(), text.end(), kShield), text.end());
            Complain("", text);
            return kUsageError;
        }
    }

private:
    struct Bound {
        Options::Item item;
        const CLI::Option* option;
        const CLI::App* app;
    };

    void Bind(CLI::App& app, const Options& options)
    {
        for (const Options::Item& item : options.Items()) {
            CLI::Option* option = nullptr;
            if (!item.isWord && item.value.empty()) {
                option = app.add_flag(item.name);
            } else {
                option = app.add_option(item.name, [](const CLI::results_t&) { return true; });
                option->type_name(item.value);
            }
            if (item.isWord && item.repeats) {
                option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
            } else if (item.repeats) {
                option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
            }
            option->required(item.required);
            m_bound.push_back({item, option, &app});
        }
    }

    /// --version, --help wherever it stands, and `help COMMAND`.
    std::optional<int> AnswerInquiry(const std::vector<std::string>& words)
    {
        bool help = !words.empty() && words.front() == "help";
        std::vector<std::string> named;
        for (std::size_t i = help ? 1 : 0; i < words.size() && words[i] != "--"; ++i) {
            if (i != 0 && TakesValue(words[i - 1])) {
                continue;
            }
            if (words[i] == "--version") {
                m_output.Write("symhost " + ProgramVersion() + '\n');
                return 0;
            }
            if (words[i] == "--help" || words[i] == "-h") {
                help = true;
            } else if (!words[i].empty() && words[i].front() != '-') {
                named.push_back(words[i]);
            }
        }
        return help ? std::optional(WriteHelp(named)) : std::nullopt;
    }

    int WriteHelp(const std::vector<std::string>& named)
    {
        if (named.empty()) {
            m_output.Write(ProgramHelp(m_commands, m_common));
            return 0;
        }
        ListedCommand* const listed = Find(named.front());
        if (listed == nullptr) {
            Complain("", NoSuchCommand(named.front()));
            return kUsageError;
        }
        Options own(m_common.IsFileOpen());
        listed->command->Declare(own);
        m_output.Write(CommandHelp(*listed->command, own, m_common));
        return 0;
    }

    /// Throws what the library throws.
    void ParseWords(std::vector<std::string> words)
    {
        // The library accepts no options of a command before its name.
        const auto command = words.begin() + static_cast<std::ptrdiff_t>(PlaceOfCommand(words));
        if (command != words.end()) {
            std::rotate(words.begin(), command, command + 1);
        }
        std::vector<std::string> reversed;
        for (std::size_t i = words.size(); i-- != 0;) {
            const bool isValue = i != 0 && TakesValue(words[i - 1]);
            reversed.push_back(isValue ? words[i] : Shielded(words[i]));
        }
        m_app.parse(std::move(reversed));
        for (const Bound& bound : m_bound) {
            TakeValues(bound);
        }
    }

    /// The first word that is neither an option nor the value of one: the command, if there is one of that name.
    std::size_t PlaceOfCommand(const std::vector<std::string>& words) const
    {
        std::size_t place = 0;
        while (place < words.size() && !words[place].empty() && words[place].front() == '-') {
            place += TakesValue(words[place]) ? 2 : 1;
        }
        return std::min(place, words.size());
    }

    static void TakeValues(const Bound& bound)
    {
        for (std::string value : bound.option->results()) {
            if (bound.item.isWord) {
                Unshield(value);
            }
            // A script's variable that isn't set is no wish for everything. A line of the console may be empty.
            const bool mayBeEmpty = bound.item.isWord || bound.item.value.empty() || bound.item.repeats;
            const std::string why = value.empty() && !mayBeEmpty ? "The value is empty" : bound.item.take(value);
            if (!why.empty()) {
                throw CLI::ValidationError(bound.item.name, why);
            }
        }
    }

    /// Among positional words one in square brackets would be a list, and "++" the end of a command.
    static std::string Shielded(const std::string& word)
    {
        const bool special = word == "++" || (!word.empty() && (word[0] == '[' || word[0] == kShield));
        return special ? kShield + word : word;
    }

    static void Unshield(std::string& word)
    {
        if (!word.empty() && word[0] == kShield) {
            word.erase(0, 1);
        }
    }

    /// True for an option whose value is the next word.
    bool TakesValue(const std::string& word) const
    {
        return std::any_of(m_bound.begin(), m_bound.end(), [&](const Bound& bound) {
            return !bound.item.isWord && !bound.item.value.empty() && bound.item.name == word;
        });
    }

    /// Null: there is no such command.
    ListedCommand* Find(std::string_view name)
    {
        const auto found = std::find_if(m_commands.begin(), m_commands.end(), [&](const ListedCommand& listed) {
            return listed.command->Describe().name == name;
        });
        return found == m_commands.end() ? nullptr : &*found;
    }

    std::string WhyNot(const CLI::ParseError& error) const
    {
        const std::vector<std::string> rest = m_app.remaining(true); // in the order in which they were typed
        const std::vector<const CLI::App*> chosen = ChosenCommands();
        if (rest.empty()) {
            return chosen.empty() ? "A command is required; 'symhost --help' lists them" : WhyNoValue(error);
        }
        const auto option = std::find_if(
            rest.begin(), rest.end(), [](const std::string& word) { return word.size() > 1 && word.front() == '-'; });
        if (option != rest.end()) {
            return NoSuchOption(option->substr(0, option->find('=')), chosen);
        }
        std::string text = rest.size() == 1 ? "This word is" : "These words are";
        text += " not expected:";
        for (const std::string& word : rest) {
            text += ' ' + word;
        }
        return text;
    }

    /// The library's words, but for an option whose value is missing.
    std::string WhyNoValue(const CLI::ParseError& error) const
    {
        const std::string text = error.what();
        const auto bound = std::find_if(m_bound.begin(), m_bound.end(), [&](const Bound& one) {
            return !one.item.value.empty() && text.starts_with(one.item.name + ':');
        });
        const bool missing = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr && bound != m_bound.end();
        return missing ? bound->item.name + " needs a value: " + bound->item.value : text;
    }

    std::vector<const CLI::App*> ChosenCommands() const
    {
        return m_app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
    }

    std::string NoSuchCommand(const std::string& name) const
    {
        Suggestions suggestions(name);
        suggestions.Offer("help");
        for (const ListedCommand& listed : m_commands) {
            if (!listed.IsHidden()) {
                suggestions.Offer(listed.command->Describe().name);
            }
        }
        return "There is no command '" + name + "'" + suggestions.Question();
    }

    /// @param chosen the command that it follows, if there is one.
    std::string NoSuchOption(const std::string& name, const std::vector<const CLI::App*>& chosen) const
    {
        Suggestions suggestions(name);
        for (const Bound& bound : m_bound) {
            const bool applies = bound.app == &m_app || (!chosen.empty() && bound.app == chosen.front());
            if (!bound.item.isWord && applies) {
                suggestions.Offer(bound.item.name);
            }
        }
        std::string text = "There is no option '" + name + "'";
        if (!chosen.empty()) {
            text += " of '" + chosen.front()->get_name() + "'";
        }
        return text + suggestions.Question();
    }

    CLI::App m_app;
    std::vector<ListedCommand> m_commands;
    Options m_common;
    std::vector<Bound> m_bound;
    Output& m_output;
};

} // namespace

std::optional<int> ParseCommandLine(const std::vector<std::string>& words, LineSource source, Invocation& invocation,
                                    Output& output)
{
    return Parser(source, invocation.options, output).Parse(words, invocation.command);
}

void DeclareCommonOptions(Options& options, CommonOptions& common, LineSource source)
{
    DeclareCommon(options, common, source);
    DeclareInquiries(options, source);
}

std::vector<ListedCommand> CommandsFor(LineSource source)
{
    std::vector<ListedCommand> commands = MakeCommands();
    if (source == LineSource::Prompt) {
        std::erase_if(commands, [](const ListedCommand& listed) { return !listed.command->TakesOpenFile(); });
    }
    return commands;
}
