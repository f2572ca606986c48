// The texts of --help: usage, words, options and examples in columns.
#include "host/Help.h"

#include "host/Command.h"
#include "host/Options.h"
#include "host/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::size_t kColumn = 28;
constexpr std::size_t kWidth = 80;

/// "  left   right", with `right` wrapped over further lines if needed.
void AppendRow(std::string& text, const std::string& left, std::string_view right)
{
    std::string line = "  " + left;
    if (line.size() + 2 > kColumn) {
        text += line + '\n';
        line.clear();
    }
    for (std::size_t start = 0; start < right.size();) {
        const std::size_t end = std::min(right.find_first_of(" \n", start), right.size());
        if (line.size() > kColumn && line.size() + 1 + end - start > kWidth) {
            text += line + '\n';
            line.clear();
        }
        PadTo(line, line.size() < kColumn ? kColumn : line.size() + 1);
        line += right.substr(start, end - start);
        start = end + 1;
    }
    text += line + '\n';
}

std::string WordOf(const Options::Item& item)
{
    return item.repeats ? item.name + "..." : item.name;
}

std::string OptionOf(const Options::Item& item)
{
    return item.value.empty() ? item.name : item.name + ' ' + item.value;
}

void AppendItems(std::string& text, const Options& options, bool words)
{
    for (const Options::Item& item : options.Items()) {
        if (item.isWord == words) {
            AppendRow(text, words ? WordOf(item) : OptionOf(item), item.help);
        }
    }
}

void AppendUsage(std::string& text, const std::string& name, const Options& options)
{
    text += "Usage: " + std::string(options.IsFileOpen() ? "" : "symhost ") + name;
    for (const Options::Item& item : options.Items()) {
        if (item.required) {
            text += ' ' + (item.isWord ? WordOf(item) : OptionOf(item));
        } else if (item.isWord) {
            text += " [" + item.name + ']' + (item.repeats ? "..." : "");
        }
    }
    text += " [OPTIONS]\n";
}

} // namespace

std::string CommandList(const std::vector<ListedCommand>& commands)
{
    std::string text;
    std::string group;
    for (const ListedCommand& listed : commands) {
        if (listed.IsHidden()) {
            continue;
        }
        if (listed.group != group) {
            group = listed.group;
            text += '\n' + group + ":\n";
        }
        const Command::Text words = listed.command->Describe();
        AppendRow(text, words.name, words.summary);
    }
    return text;
}

std::string ProgramHelp(const std::vector<ListedCommand>& commands, const Options& common)
{
    std::string text = "Usage: symhost COMMAND FILE [ARGUMENTS] [OPTIONS]\n"
                       "Shows what the symbolic plug-in makes of a 32-bit ARM ELF file.\n";
    text += CommandList(commands) + "\nOptions of every command:\n";
    AppendItems(text, common, false);
    text += "\n'symhost help COMMAND' tells of one command, with examples.\n";
    return text;
}

std::string CommandHelp(const Command& command, const Options& own, const Options& common)
{
    const Command::Text words = command.Describe();
    std::string text;
    AppendUsage(text, words.name, own);
    text += words.summary + "\n\n";
    AppendItems(text, own, true);
    std::string options;
    AppendItems(options, own, false);
    if (!options.empty()) {
        text += "\nOptions:\n" + options;
    }
    text += "\nOptions of every command:\n";
    AppendItems(text, common, false);
    if (!words.examples.empty() && !own.IsFileOpen()) {
        text += "\nExamples:\n";
        for (const std::string& example : words.examples) {
            text += "  symhost " + example + '\n';
        }
    }
    return text;
}
