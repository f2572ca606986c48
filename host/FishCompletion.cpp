// The completion script for fish.
#include "host/CompletionScript.h"

#include <cstddef>

namespace {

std::string FishItem(const Options::Item& item, const std::string& condition)
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
    return text + " -d " + ShellQuoted(item.help, R"(\')") + '\n';
}

} // namespace

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
    for (const Options::Item& item : ItemsOf(table.common, false)) {
        text += FishItem(item, "");
    }
    for (const CommandTable::Entry& command : table.commands) {
        const std::string& name = command.text.name;
        text += "complete -c symhost -n __fish_use_subcommand -a " + name + " -d " +
                ShellQuoted(command.text.summary, R"(\')") + '\n';
        const std::string condition = " -n '__fish_seen_subcommand_from " + name + "'";
        for (const Options::Item& item : command.options.Items()) {
            if (!item.isWord) {
                text += FishItem(item, condition);
            } else if (item.offer == Options::Offer::Names) {
                text += "complete -c symhost" + condition + " -a '(__symhost_names)'\n";
            }
        }
    }
    return text;
}
