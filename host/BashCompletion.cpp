// The completion script for bash.
#include "host/CompletionScript.h"

#include <algorithm>
#include <cstddef>

namespace {

std::string BashOptions(const Options& options)
{
    std::vector<std::string> names;
    for (const Options::Item& item : ItemsOf(options, false)) {
        names.push_back(item.name);
    }
    return Joined(names, " ");
}

/// The case of the value of one command's option.
std::string BashValue(const std::string& command, const Options::Item& item)
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
std::string BashWords(const CommandTable::Entry& command)
{
    std::string text;
    std::size_t number = 0;
    for (const Options::Item& item : ItemsOf(command.options, true)) {
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

} // namespace

std::string BashScript(const CommandTable& table)
{
    std::vector<std::string> valued;
    std::string values;
    std::string options;
    std::string words;
    const auto take = [&](const std::string& command, const Options& declared) {
        for (const Options::Item& item : ItemsOf(declared, false)) {
            if (!item.value.empty()) {
                valued.push_back(item.name);
                values += BashValue(command, item);
            }
        }
    };
    take("*", table.common);
    for (const CommandTable::Entry& command : table.commands) {
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
