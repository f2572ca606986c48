// Candidates for the word at the end of a console line.
#include "host/Completion.h"

#include "host/CommandLine.h"
#include "host/LineRunner.h"
#include "host/Options.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <iterator>
#include <sys/stat.h>

namespace {

bool StartsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

/// The names in a sorted list that begin with `prefix`.
std::vector<std::string> WithPrefix(const std::vector<std::string>& names, std::string_view prefix)
{
    const auto first = std::lower_bound(names.begin(), names.end(), prefix);
    const auto last = std::find_if_not(first, names.end(), [&](const auto& name) { return StartsWith(name, prefix); });
    return {first, last};
}

void SortUnique(std::vector<std::string>& names)
{
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
}

/// The first words that a line may have, in ascending order.
std::vector<std::string> LineStarts()
{
    std::vector<std::string> names = ConsoleCommandNames();
    for (const ListedCommand& listed : CommandsFor(LineSource::Prompt)) {
        names.push_back(listed.command->Describe().name);
    }
    names.insert(names.end(), {"exit", "quit"});
    SortUnique(names);
    return names;
}

/// The options of a command of symhost, in ascending order.
std::vector<std::string> OptionsOf(std::string_view name)
{
    std::vector<std::string> names;
    for (const ListedCommand& listed : CommandsFor(LineSource::Prompt)) {
        if (listed.command->Describe().name == name) {
            Options options(true);
            listed.command->Declare(options);
            for (const Options::Item& item : options.Items()) {
                if (!item.isWord) {
                    names.push_back(item.name);
                }
            }
            names.insert(names.end(), {"--help", "--json"});
        }
    }
    SortUnique(names);
    return names;
}

bool TakesSymbol(std::string_view command)
{
    return command == "elffind" || command == "at" || command == "find" || command == "scopes";
}

/// Paths that begin with `prefix`; folders end in '/'. Hidden files only if `prefix` asks for them.
std::vector<std::string> FilesWithPrefix(std::string_view prefix)
{
    const std::size_t slash = prefix.rfind('/');
    const std::string folder(prefix.substr(0, slash == std::string_view::npos ? 0 : slash + 1));
    const std::string_view name = prefix.substr(folder.size());
    std::vector<std::string> paths;
    DIR* directory = opendir(folder.empty() ? "." : folder.c_str());
    if (directory == nullptr) {
        return paths;
    }
    while (const dirent* entry = readdir(directory)) {
        const std::string_view found = entry->d_name;
        if (!StartsWith(found, name) || found == "." || found == ".." || (name.empty() && found[0] == '.')) {
            continue;
        }
        std::string path = folder + std::string(found);
        struct stat status {};
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            path += '/';
        }
        paths.push_back(std::move(path));
    }
    closedir(directory);
    SortUnique(paths);
    return paths;
}

} // namespace

std::string Completer::Result::CommonPrefix() const
{
    if (candidates.empty()) {
        return {};
    }
    // In a sorted list the first and the last differ most.
    const std::string& first = candidates.front();
    const std::string& last = candidates.back();
    const auto end = std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first;
    return {first.begin(), end};
}

Completer::Result Completer::Complete(std::string_view line)
{
    constexpr std::string_view kBlanks = " \t";
    const std::size_t redirect = line.rfind('>');
    if (redirect != std::string_view::npos) {
        const std::size_t start = std::min(line.find_first_not_of(kBlanks, redirect + 1), line.size());
        return {start, FilesWithPrefix(line.substr(start)), true};
    }
    const std::size_t commandStart = std::min(line.find_first_not_of(kBlanks), line.size());
    const std::size_t commandEnd = line.find_first_of(kBlanks, commandStart);
    if (commandEnd == std::string_view::npos) {
        return {commandStart, WithPrefix(LineStarts(), line.substr(commandStart)), false};
    }
    const std::string_view command = line.substr(commandStart, commandEnd - commandStart);
    const std::size_t second = std::min(line.find_first_not_of(kBlanks, commandEnd), line.size());
    const std::size_t last = line.find_last_of(kBlanks) + 1;
    const std::string_view word = line.substr(last);
    if (!word.empty() && word.front() == '-') {
        return {last, WithPrefix(OptionsOf(command), word), false};
    }
    if (command == "help" && last == second) {
        return {last, WithPrefix(LineStarts(), word), false};
    }
    const bool console = command == "elffind" || command == "elfsect"; // they take one word
    if ((!TakesSymbol(command) && command != "elfsect") || (console && last > second)) {
        return {};
    }
    ReadNames();
    return {last, WithPrefix(command == "elfsect" ? m_sections : m_symbols, word), false};
}

std::vector<std::string> Completer::SymbolsFrom(std::string_view start)
{
    ReadNames();
    return WithPrefix(m_symbols, start);
}

void Completer::ReadNames()
{
    if (m_read) {
        return;
    }
    m_read = true;
    const VFKElfFile elf(m_path);
    // Nobody completes a longer name, and very many may share one text that is as long as the file.
    constexpr std::size_t kLongest = 1024;
    const auto add = [](std::vector<std::string>& names, const char* name) {
        const std::string_view text(name == nullptr ? "" : name, name == nullptr ? 0 : strnlen(name, kLongest + 1));
        if (!text.empty() && text.size() <= kLongest && text.find_first_of(" \t") == std::string_view::npos) {
            names.emplace_back(text);
        }
    };
    for (u32 i = 1; const elf32_sym* symbol = elf.GetSymtabEntry(i); ++i) {
        add(m_symbols, elf.GetString(symbol->st_name));
    }
    for (u32 i = 1; const Elf32_Shdr* section = elf.GetSectionHeader(i); ++i) {
        add(m_sections, elf.GetShdrString(section->sh_name));
    }
    SortUnique(m_symbols);
    SortUnique(m_sections);
}
