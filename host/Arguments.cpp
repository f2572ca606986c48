// The commands and their options.
#include "host/Arguments.h"

#include "host/Output.h"
#include "host/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <map>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kUsageError = 2;

/// In front of a word, it keeps the library from taking the word for more than it is.
constexpr char kShield = '\1';

using Command = Arguments::Command;

class Parser {
public:
    explicit Parser(Arguments& arguments)
        : m_arguments(arguments)
    {
        m_app.require_subcommand(1);
        m_app.fallthrough(); // the options of every command may stand behind it
        m_app.add_option("--module", arguments.module, "Module to load, else Dwarf2.so beside the program")
            ->type_name("PATH");
        m_app.add_option("--preferences", arguments.preferences, "Folder of the preference files")
            ->type_name("DIR")
            ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
        m_app
            .add_option("--convert", m_convert,
                        "Convert to DWARF 2.0 what is shown; auto, for most\n"
                        "commands the default: only newer DWARF")
            ->type_name("auto|always|never")
            ->check([](const std::string& text) {
                return ConvertModeOf(text) ? std::string() : "'" + text + "' is none of auto, always and never";
            });
        AddListings();
        AddQueries();
        AddConsole();
        AddConvert();
    }

    /// Throws what the library throws.
    void Parse(const std::vector<std::string>& words)
    {
        std::vector<std::string> reversed;
        for (std::size_t i = words.size(); i-- != 0;) {
            const bool isValue = i != 0 && TakesValue(words[i - 1]);
            reversed.push_back(isValue ? words[i] : Shielded(words[i]));
        }
        m_app.parse(std::move(reversed));
        Unshield(m_arguments.file);
        Unshield(m_arguments.name);
        for (std::vector<std::string>* list : {&m_arguments.files, &m_arguments.names}) {
            std::for_each(list->begin(), list->end(), Unshield);
        }
        SettleConversion();
    }

    CLI::App& App() { return m_app; }

private:
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
        const auto takes = [&](const CLI::App* app) {
            const std::vector<const CLI::Option*> options = app->get_options();
            return std::any_of(options.begin(), options.end(), [&](const CLI::Option* option) {
                return option->nonpositional() && option->get_items_expected_max() > 0 && option->check_name(word);
            });
        };
        const std::vector<const CLI::App*> commands = m_app.get_subcommands(nullptr);
        return takes(&m_app) || std::any_of(commands.begin(), commands.end(), takes);
    }

    CLI::App* Add(Command command, const char* name, const char* help)
    {
        CLI::App* added = m_app.add_subcommand(name, help);
        added->callback([this, command] { m_arguments.command = command; });
        return added;
    }

    CLI::App* AddWithFile(Command command, const char* name, const char* help)
    {
        CLI::App* added = Add(command, name, help);
        added->add_option("FILE", m_arguments.file, "Symbol file")->required()->type_name("");
        return added;
    }

    void AddJson(CLI::App* command)
    {
        command->add_flag("--json", m_arguments.json, "One JSON object a line instead of a table");
    }

    void AddUnit(CLI::App* command)
    {
        command->add_option("--unit", m_arguments.unit, "One unit, by id or path, instead of all")
            ->type_name("ID|PATH");
    }

    void AddLine(CLI::App* lines)
    {
        lines->add_option("--line", m_line, "The rows of one source line: of the unit's own file, or of PATH")
            ->type_name("[PATH:]N")
            ->check([](const std::string& text) {
                return ParseSourceLine(text) ? std::string() : "'" + text + "' is no source line";
            })
            ->each([this](const std::string& text) { m_arguments.line = ParseSourceLine(text); });
    }

    void AddListings()
    {
        CLI::App* rate = Add(Command::Rate, "rate", "How much of each file can be served");
        rate->add_option("FILE", m_arguments.files, "Symbol files")->required()->type_name("");
        CLI::App* functions = AddWithFile(Command::Functions, "functions", "The functions of one unit, or of all");
        CLI::App* lines = AddWithFile(Command::Lines, "lines", "The line table of one unit, or of all");
        AddUnit(functions);
        AddUnit(lines);
        AddLine(lines);
        for (CLI::App* command :
             {rate, functions, lines, AddWithFile(Command::Sections, "sections", "The engine's sections"),
              AddWithFile(Command::Units, "units", "The compile units")}) {
            AddJson(command);
        }
    }

    void AddQueries()
    {
        CLI::App* scopes = AddWithFile(Command::Scopes, "scopes", "Blocks, parameters and locals of a function");
        scopes->add_option("FUNCTION", m_arguments.name, "Name, id or address")->required()->type_name("");
        CLI::App* types = AddWithFile(Command::Types, "types", "Types with their members, offsets and sizes");
        types->add_option("NAME", m_arguments.name, "The types of this name instead of all")->type_name("");
        CLI::App* find = AddWithFile(Command::Find, "find", "What is known of a name");
        find->add_option("NAME", m_arguments.names, "Names; without any, read from standard input")->type_name("");
        CLI::App* at = AddWithFile(Command::At, "at", "Function, kind of code, file and line at an address");
        at->add_option("ADDRESS", m_addresses, "Addresses; without any, read from standard input")
            ->type_name("")
            ->check([](const std::string& text) {
                return ParseNumber(text) ? std::string() : "'" + text + "' is no address";
            })
            ->each([this](const std::string& text) { m_arguments.addresses.push_back(*ParseNumber(text)); });
        for (CLI::App* command : {scopes, types, find, at}) {
            AddJson(command);
        }
        AddWithFile(Command::Export, "export", "The whole store as JSON Lines");
    }

    void AddConsole()
    {
        CLI::App* console = AddWithFile(Command::Console, "console", "The plug-in's console");
        console->add_option("-c", m_arguments.lines, "Line to run; without any, a prompt or standard input")
            ->type_name("LINE")
            ->expected(1)
            ->allow_extra_args(false) // which would take a line in square brackets for a list
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        console->add_option("--load", m_load, "What is loaded ahead of the first line")
            ->type_name("none|index|symbols|all")
            ->check([](const std::string& text) {
                return LoadDepthOf(text) ? std::string() : "'" + text + "' is none of none, index, symbols and all";
            })
            ->each([this](const std::string& text) { m_arguments.load = *LoadDepthOf(text); });
    }

    void AddConvert()
    {
        CLI::App* convert = AddWithFile(Command::Convert, "convert", "Writes FILE with its symbols as plain DWARF 2.0");
        convert->add_option("-o", m_arguments.output, "The file to write")->required()->type_name("OUT");
        AddJson(convert);
    }

    /// What a command takes without the option: those that show the module's own view leave a file as it is.
    void SettleConversion()
    {
        switch (m_arguments.command) {
        case Command::Functions:
        case Command::Scopes:
        case Command::Types:
        case Command::Find:
            m_arguments.hint = true;
            [[fallthrough]];
        case Command::Units:
        case Command::Lines:
        case Command::At:
            m_arguments.convert = ConvertMode::Auto;
            break;
        case Command::Convert:
            if (!m_convert.empty()) {
                throw CLI::ValidationError("--convert", "it is an option of the other commands");
            }
            break;
        default:
            break;
        }
        m_arguments.convert = ConvertModeOf(m_convert).value_or(m_arguments.convert);
    }

    static std::optional<LoadDepth> LoadDepthOf(const std::string& text)
    {
        static const std::map<std::string, LoadDepth> depths = {{"none", LoadDepth::None},
                                                                {"index", LoadDepth::Index},
                                                                {"symbols", LoadDepth::Symbols},
                                                                {"all", LoadDepth::All}};
        const auto found = depths.find(text);
        return found == depths.end() ? std::nullopt : std::optional(found->second);
    }

    Arguments& m_arguments;
    std::vector<std::string> m_addresses;
    std::string m_line;
    std::string m_load;
    std::string m_convert;
    CLI::App m_app{"Shows what the symbolic plug-in makes of a 32-bit ARM ELF file.", "symhost"};
};

} // namespace

std::optional<int> ParseArguments(int argc, char** argv, Arguments& arguments)
{
    Parser parser(arguments);
    try {
        parser.Parse({argv + std::min(argc, 1), argv + argc});
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
