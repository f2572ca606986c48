// The completion script for zsh.
#include "host/CompletionScript.h"

#include <cstddef>

namespace {

/// Puts a backslash before certain characters.
std::string Escaped(const std::string& text, std::string_view special)
{
    std::string escaped;
    for (const char c : text) {
        escaped += special.find(c) == std::string_view::npos ? std::string(1, c) : std::string("\\") + c;
    }
    return escaped;
}

std::string ZshAction(const Options::Item& item)
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

std::string ZshItem(const Options::Item& item, std::size_t number)
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
    return ShellQuoted(text, R"('\'')");
}

std::string ZshItems(const Options& options, const std::string& indent)
{
    std::string text;
    std::size_t number = 0;
    for (const Options::Item& item : options.Items()) {
        text += " \\\n" + indent + ZshItem(item, item.isWord ? ++number : 0);
    }
    return text;
}

} // namespace

std::string ZshScript(const CommandTable& table)
{
    std::string names;
    std::string cases;
    for (const CommandTable::Entry& command : table.commands) {
        names += "            " + ShellQuoted(command.text.name + ":" + command.text.summary, R"('\'')") + '\n';
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
