// Reads the command line with the options that the commands declare.
#include "host/CommandLine.h"

#include "host/Options.h"
#include "host/Output.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <list>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr int kUsageError = 2;

/// In front of a word, it keeps the library from taking the word for more than it is.
constexpr char kShield = '\1';

/// The options of every command, which may stand ahead of its name or anywhere behind it.
void DeclareCommon(Options& options, CommonOptions& common)
{
    options.Value("--module", "PATH", common.module, "Module to load, else Dwarf2.so beside the program",
                  Options::Offer::Files);
    options.Value("--preferences", "DIR", "Folder of the preference files", [&](const std::string& path) {
        common.preferences = path;
        return CLI::ExistingDirectory(path);
    });
    options.Choice("--convert", common.convert,
                   std::vector<std::pair<std::string, ConvertMode>>{
                       {"auto", ConvertMode::Auto}, {"always", ConvertMode::Always}, {"never", ConvertMode::Never}},
                   "Convert to DWARF 2.0 what is shown; auto, for most\ncommands the default: only newer DWARF");
    options.Flag("--json", common.json, "One JSON object a line instead of a table");
}

class Parser {
public:
    explicit Parser(CommonOptions& common)
        : m_commands(MakeCommands())
    {
        m_app.require_subcommand(1);
        m_app.fallthrough(); // the options of every command may stand behind it
        Options options;
        DeclareCommon(options, common);
        Bind(m_app, options);
        for (const std::unique_ptr<Command>& command : m_commands) {
            const Command::Text text = command->Describe();
            CLI::App* added = m_app.add_subcommand(text.name, text.summary);
            Options own;
            command->Declare(own);
            Bind(*added, own);
        }
    }

    /// Throws what the library throws.
    std::unique_ptr<Command> Parse(const std::vector<std::string>& words)
    {
        std::vector<std::string> reversed;
        for (std::size_t i = words.size(); i-- != 0;) {
            const bool isValue = i != 0 && TakesValue(words[i - 1]);
            reversed.push_back(isValue ? words[i] : Shielded(words[i]));
        }
        m_app.parse(std::move(reversed));
        for (const Bound& bound : m_bound) {
            TakeValues(bound);
        }
        const CLI::App* chosen = m_app.get_subcommands().front();
        const auto found = std::find_if(m_commands.begin(), m_commands.end(), [&](const auto& command) {
            return command->Describe().name == chosen->get_name();
        });
        return std::move(*found);
    }

    CLI::App& App() { return m_app; }

private:
    struct Bound {
        Options::Item item;
        const CLI::Option* option;
    };

    void Bind(CLI::App& app, const Options& options)
    {
        for (const Options::Item& item : options.Items()) {
            CLI::Option* option = nullptr;
            if (!item.isWord && item.value.empty()) {
                option = app.add_flag(item.name, item.help);
            } else {
                option = app.add_option(
                    item.name, [](const CLI::results_t&) { return true; }, item.help);
                option->type_name(item.value);
            }
            if (item.isWord && item.repeats) {
                option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
            } else if (item.repeats) {
                option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
            }
            option->required(item.required);
            m_bound.push_back({item, option});
        }
    }

    static void TakeValues(const Bound& bound)
    {
        for (std::string value : bound.option->results()) {
            Unshield(value);
            const std::string why = bound.item.take(value);
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

    CLI::App m_app{"Shows what the symbolic plug-in makes of a 32-bit ARM ELF file.", "symhost"};
    std::vector<std::unique_ptr<Command>> m_commands;
    std::vector<Bound> m_bound;
};

} // namespace

std::optional<int> ParseCommandLine(int argc, char** argv, Invocation& invocation)
{
    Parser parser(invocation.options);
    try {
        invocation.command = parser.Parse({argv + std::min(argc, 1), argv + argc});
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        Output output(STDOUT_FILENO);
        output.Write(parser.App().help());
        output.Flush();
        if (output.Error() == 0) {
            return 0;
        }
        Complain("standard output", output.Error());
        return 1;
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> rest = parser.App().remaining();
        const bool noCommand = parser.App().get_subcommands().empty() && !rest.empty();
        std::string text = noCommand ? "There is no command '" + rest.front() + "'" : error.what();
        text.erase(std::remove(text.begin(), text.end(), kShield), text.end());
        Complain("", text);
        return kUsageError;
    }
}
