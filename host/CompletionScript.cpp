// Completion scripts for bash, zsh and fish, and the hidden command that prints them and the names that they ask for.
#include "host/CompletionScript.h"

#include "host/CommandLine.h"
#include "host/Completion.h"
#include "host/Loader.h"
#include "host/Options.h"
#include "host/Output.h"

#include <algorithm>
#include <cstddef>
#include <functional>

namespace {

using Item = Options::Item;

struct DeclaredCommand {
    Command::Text text;
    Options options;
};

struct CommandTable {
    std::vector<DeclaredCommand> commands;
    Options common;
};

CommandTable ReadTable()
{
    CommandTable table;
    CommonOptions ignored;
    DeclareCommonOptions(table.common, ignored, LineSource::Shell);
    for (const ListedCommand& listed : CommandsFor(LineSource::Shell)) {
        if (!listed.IsHidden()) {
            DeclaredCommand& declared = table.commands.emplace_back();
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
    for (const DeclaredCommand& command : table.commands) {
        names.push_back(command.text.name);
    }
    return names;
}

/// In single quotes, as each of the shells takes it.
std::string Quoted(const std::string& text, const std::string& forQuote)
{
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? forQuote : c == '\n' ? " " : std::string(1, c);
    }
    return quoted + '\'';
}

/// Puts a backslash ahead of each of some characters.
std::string Escaped(const std::string& text, std::string_view special)
{
    std::string escaped;
    for (const char c : text) {
        escaped += special.find(c) == std::string_view::npos ? std::string(1, c) : std::string("\\") + c;
    }
    return escaped;
}

std::vector<Item> ItemsOf(const Options& options, bool words)
{
    std::vector<Item> items = options.Items();
    std::erase_if(items, [&](const Item& item) { return item.isWord != words; });
    return items;
}

// bash

std::string BashOptions(const Options& options)
{
    std::vector<std::string> names;
    for (const Item& item : ItemsOf(options, false)) {
        names.push_back(item.name);
    }
    return Joined(names, " ");
}

/// The case of the value of one command's option.
std::string BashValue(const std::string& command, const Item& item)
{
    std::string offer = ":";
    if (!item.choices.empty()) {
        offer = "_symhost_words '" + Joined(item.choices, " ") + "'";
    } else if (item.offer == Options::Offer::Files) {
        offer = "_symhost_paths -f";
    } else if (item.offer == Options::Offer::Folders) {
        offer = "_symhost_paths -d";
    }
    return "    " + command + ':' + item.name + ") " + offer + "; return ;;\n";
}

/// The cases of a command's words, by their number from 0.
std::string BashWords(const DeclaredCommand& command)
{
    std::string text;
    std::size_t number = 0;
    for (const Item& item : ItemsOf(command.options, true)) {
        const std::string place = item.repeats ? "*" : std::to_string(number);
        ++number;
        if (item.offer == Options::Offer::Files) {
            text += "    " + command.text.name + ':' + place + ") _symhost_paths -f ;;\n";
        } else if (item.offer == Options::Offer::Names) {
            text += "    " + command.text.name + ':' + place + ") _symhost_names \"$file\" ;;\n";
        }
    }
    return text;
}

std::string BashScript(const CommandTable& table)
{
    std::vector<std::string> valued;
    std::string values;
    std::string options;
    std::string words;
    const auto take = [&](const std::string& command, const Options& declared) {
        for (const Item& item : ItemsOf(declared, false)) {
            if (!item.value.empty()) {
                valued.push_back(item.name);
                values += BashValue(command, item);
            }
        }
    };
    take("*", table.common);
    for (const DeclaredCommand& command : table.commands) {
        take(command.text.name, command.options);
        options += "        " + command.text.name + ") options+=' " + BashOptions(command.options) + "' ;;\n";
        words += BashWords(command);
    }
    std::sort(valued.begin(), valued.end());
    valued.erase(std::unique(valued.begin(), valued.end()), valued.end());
    return R"(# bash completion of symhost, made by 'symhost completions bash'.
_symhost_words() {
    COMPREPLY=($(compgen -W "$1" -- "$cur"))
}

_symhost_paths() {
    local IFS=$'\n'
    compopt -o filenames 2>/dev/null
    COMPREPLY=($(compgen "$1" -- "$cur"))
}

_symhost_names() {
    local IFS=$'\n'
    COMPREPLY=($(symhost completions names "$1" "$cur" 2>/dev/null))
}

_symhost() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local command= file= count=0 options i
    COMPREPLY=()
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        )" +
           Joined(valued, " | ") + R"()
            ((i++))
            [[ ${COMP_WORDS[i]} == = ]] && ((i++))
            ;;
        -*) ;;
        *)
            if [[ -z $command ]]; then
                command=${COMP_WORDS[i]}
            else
                [[ -z $file ]] && file=${COMP_WORDS[i]}
                ((count++))
            fi
            ;;
        esac
    done
    case $command:$prev in
)" + values +
           R"(    esac
    if [[ $cur == -* ]]; then
        options=')" +
           BashOptions(table.common) + R"('
        case $command in
)" + options +
           R"(        esac
        _symhost_words "$options"
        return
    fi
    if [[ -z $command || ( $command == help && $count == 0 ) ]]; then
        _symhost_words ')" +
           Joined(CommandNames(table), " ") + R"('
        return
    fi
    case $command:$count in
)" + words +
           R"(    esac
}

complete -F _symhost symhost
)";
}

// zsh

std::string ZshAction(const Item& item)
{
    if (!item.choices.empty()) {
        return "(" + Joined(item.choices, " ") + ")";
    }
    switch (item.offer) {
    case Options::Offer::Files:
        return "_files";
    case Options::Offer::Folders:
        return "_files -/";
    case Options::Offer::Names:
        return "_symhost_names";
    default:
        return " ";
    }
}

std::string ZshItem(const Item& item, std::size_t number)
{
    const std::string message = Escaped(item.isWord ? item.name : item.value, ":[]");
    std::string text;
    if (item.isWord) {
        text = (item.repeats ? "*" : std::to_string(number)) + ":" + message + ":" + ZshAction(item);
    } else {
        text = (item.repeats ? "*" : "") + item.name;
        if (!item.value.empty()) {
            text += item.name.compare(0, 2, "--") == 0 ? "=" : "+";
        }
        text += "[" + Escaped(item.help, ":[]") + "]";
        if (!item.value.empty()) {
            text += ":" + message + ":" + ZshAction(item);
        }
    }
    return Quoted(text, R"('\'')");
}

std::string ZshItems(const Options& options, const std::string& indent)
{
    std::string text;
    std::size_t number = 0;
    for (const Item& item : options.Items()) {
        text += " \\\n" + indent + ZshItem(item, item.isWord ? ++number : 0);
    }
    return text;
}

std::string ZshScript(const CommandTable& table)
{
    std::string names;
    std::string cases;
    for (const DeclaredCommand& command : table.commands) {
        names += "            " + Quoted(command.text.name + ":" + command.text.summary, R"('\'')") + '\n';
        cases += "        " + command.text.name + ") _arguments $common" + ZshItems(command.options, "            ") +
                 " ;;\n";
    }
    return R"zsh(#compdef symhost
# zsh completion of symhost, made by 'symhost completions zsh'.
_symhost_names() {
    local -a names
    names=(${(f)"$(symhost completions names "$line[1]" "$PREFIX" 2>/dev/null)"})
    compadd -a names
}

_symhost() {
    local context state state_descr line
    local -a common commands
    typeset -A opt_args
    common=()zsh" +
           ZshItems(table.common, "        ") + R"zsh(
    )
    _arguments -C $common '1: :->command' '*:: :->words' && return
    case $state in
    command)
        commands=(
            'help:Tells of one command'
)zsh" + names +
           R"zsh(        )
        _describe -t commands command commands
        ;;
    words)
        case $words[1] in
        help) _arguments '1:command:()zsh" +
           Joined(CommandNames(table), " ") + R"zsh()' ;;
)zsh" + cases +
           R"zsh(        esac
        ;;
    esac
}

_symhost "$@"
)zsh";
}

// fish

std::string FishItem(const Item& item, const std::string& condition)
{
    std::string text = "complete -c symhost" + condition;
    const std::size_t dashes = item.name.find_first_not_of('-');
    text += (dashes == 1 ? " -s " : " -l ") + item.name.substr(dashes);
    if (!item.choices.empty()) {
        text += " -x -a '" + Joined(item.choices, " ") + "'";
    } else if (item.offer == Options::Offer::Files) {
        text += " -r -F";
    } else if (item.offer == Options::Offer::Folders) {
        text += " -x -a '(__fish_complete_directories)'";
    } else if (!item.value.empty()) {
        text += " -x";
    }
    return text + " -d " + Quoted(item.help, R"(\')") + '\n';
}

std::string FishScript(const CommandTable& table)
{
    std::string text = R"(# fish completion of symhost, made by 'symhost completions fish'.
function __symhost_names
    set -l words (commandline -opc)
    for word in $words[3..-1]
        if not string match -q -- '-*' $word
            symhost completions names $word (commandline -ct) 2>/dev/null
            return
        end
    end
end

complete -c symhost -f
complete -c symhost -n 'not __fish_use_subcommand' -F
)";
    text += "complete -c symhost -n __fish_use_subcommand -a help -d 'Tells of one command'\n";
    text +=
        "complete -c symhost -n '__fish_seen_subcommand_from help' -f -a '" + Joined(CommandNames(table), " ") + "'\n";
    for (const Item& item : ItemsOf(table.common, false)) {
        text += FishItem(item, "");
    }
    for (const DeclaredCommand& command : table.commands) {
        const std::string& name = command.text.name;
        text += "complete -c symhost -n __fish_use_subcommand -a " + name + " -d " +
                Quoted(command.text.summary, R"(\')") + '\n';
        const std::string condition = " -n '__fish_seen_subcommand_from " + name + "'";
        for (const Item& item : command.options.Items()) {
            if (!item.isWord) {
                text += FishItem(item, condition);
            } else if (item.offer == Options::Offer::Names) {
                text += "complete -c symhost" + condition + " -a '(__symhost_names)'\n";
            }
        }
    }
    return text;
}

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
            output.Write(Joined(CommandNames(ReadTable()), "\n") + '\n');
            return 0;
        }
        const std::string script = CompletionScript(m_what);
        if (script.empty()) {
            Complain("", "'" + m_what + "' is none of " + Joined(CompletedShells(), ", "));
            return 2;
        }
        output.Write(script);
        return 0;
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

std::vector<std::string> CompletedShells()
{
    std::vector<std::string> names;
    for (const Shell& shell : kShells) {
        names.emplace_back(shell.name);
    }
    return names;
}

std::string CompletionScript(std::string_view shell)
{
    for (const Shell& known : kShells) {
        if (shell == known.name) {
            return known.script(ReadTable());
        }
    }
    return {};
}

std::unique_ptr<Command> MakeCompletionsCommand()
{
    return std::make_unique<CompletionsCommand>();
}
