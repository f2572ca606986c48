// Candidates for the word at the end of a console line.
#include "host/Completion.h"

#include "host/CommandLine.h"
#include "host/LineRunner.h"
#include "host/Loader.h"
#include "host/Options.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/Elf32.h"
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

/// The options of a command of symhost, and its words. Empty for one of the plug-in.
std::vector<Options::Item> DeclaredBy(std::string_view command)
{
    for (const ListedCommand& listed : CommandsFor(LineSource::Prompt)) {
        if (listed.command->Describe().name == command) {
            Options options(true);
            listed.command->Declare(options);
            return options.Items();
        }
    }
    return {};
}

/// Names of options in ascending order.
std::vector<std::string> OptionsOf(std::string_view command)
{
    std::vector<std::string> names;
    for (const Options::Item& item : DeclaredBy(command)) {
        if (!item.isWord) {
            names.push_back(item.name);
        }
    }
    if (!names.empty()) {
        names.insert(names.end(), {"--help", "--json"});
    }
    SortUnique(names);
    return names;
}

/// What may be typed for a unit: its path if that has been begun, else the name of its file.
std::vector<std::string> UnitNamesOf(Loader& file, bool paths)
{
    file.LoadIndex();
    std::vector<std::string> names;
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        const std::string& path = file.Store().FileScopeAt(i).GetPath();
        names.push_back(paths ? path : path.substr(path.find_last_of("/\\") + 1));
    }
    return names;
}

/// Of a large file only those that are loaded: a key has to be answered at once.
std::vector<std::string> TypeNamesOf(Loader& file)
{
    constexpr u32 kLarge = u32{16} << 20;
    const VFKElfFile elf(file.Store().GetPath());
    const Elf32_Shdr* info = elf.GetSectionHeader(".debug_info");
    if (info != nullptr && info->sh_size <= kLarge) {
        file.Load(LoadDepth::Symbols);
    }
    std::vector<std::string> names;
    for (std::size_t i = 0; i < file.Store().TypeCount(); ++i) {
        const DbgUserDefinedVarType& type = file.Store().TypeAt(i);
        if (IsListed(type) && HasName(type)) {
            names.emplace_back(type.GetName());
        }
    }
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
    if (m_file != nullptr) {
        const std::size_t end = line.find_last_not_of(kBlanks, last == 0 ? 0 : last - 1) + 1;
        const std::string_view ahead = line.substr(0, end);
        if (std::optional<std::vector<std::string>> names =
                NamesFor(command, ahead.substr(ahead.find_last_of(kBlanks) + 1), word)) {
            return {last, WithPrefix(*names, word), false};
        }
    }
    const bool console = command == "elffind" || command == "elfsect"; // they take one word
    if ((!TakesSymbol(command) && command != "elfsect") || (console && last > second)) {
        return {};
    }
    ReadNames();
    return {last, WithPrefix(command == "elfsect" ? m_sections : m_symbols, word), false};
}

/// What stands behind an option with a value, or what is no symbol; nothing for other words.
std::optional<std::vector<std::string>> Completer::NamesFor(std::string_view command, std::string_view before,
                                                            std::string_view word)
{
    const std::vector<Options::Item> items = DeclaredBy(command);
    const auto option = std::find_if(items.begin(), items.end(), [&](const Options::Item& item) {
        return !item.isWord && !item.value.empty() && item.name == before;
    });
    std::vector<std::string> names;
    if (option != items.end() && option->offer == Options::Offer::Units) {
        names = UnitNamesOf(*m_file, word.find_first_of("/\\") != std::string_view::npos);
    } else if (option != items.end()) {
        names = option->choices;
    } else if (command == "types") {
        names = TypeNamesOf(*m_file);
    } else {
        return std::nullopt;
    }
    std::erase_if(names, [](const std::string& name) { return name.find_first_of(" \t") != std::string::npos; });
    SortUnique(names);
    return names;
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
