// What a name stands for: its ELF symbols, and what the store has of that name.
#include "host/Loader.h"
#include "host/NameAnswer.h"
#include "host/NameFacts.h"
#include "host/NameLookup.h"
#include "host/NamePattern.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace {

class NameFinder {
public:
    NameFinder(Loader& file, Answer answer, const FindOptions& options)
        : m_file(file)
        , m_options(options)
        , m_demangle(answer.demangle)
        , m_elf(file.Store().GetPath())
        , m_types(file.Store(), m_elf.m_byteOrder == kElfDataMsb, file.IsConverted())
        , m_lookup(file, m_elf)
        , m_writer(answer, file, m_lookup, m_types)
    {
    }

    /// @return false if nothing has one of the names; the complaint has been made.
    bool FindAll(const std::vector<std::string>& names)
    {
        m_lookup.Expect(names.size());
        bool all = true;
        for (const std::string& name : names) {
            all = Find(name) && all;
        }
        return all;
    }

private:
    bool Find(const std::string& name)
    {
        std::string text = name;
        const bool typesOnly = !m_options.regex && CutTypeWord(text);
        const NamePattern pattern(text, m_options.regex);
        if (!pattern.Error().empty()) {
            Complain("", "'" + name + "' is no regular expression: " + pattern.Error());
            return false;
        }
        const ModulesAnswer answer = AskModule(name, pattern);
        std::vector<NamedThing> things = m_lookup.Find(pattern);
        if (typesOnly) {
            std::erase_if(things, [](const NamedThing& thing) { return thing.kind != NamedThing::Kind::Type; });
        }
        m_writer.Write(name, answer, FactsOf(things, m_file, m_lookup, m_types, m_demangle));
        if (!things.empty() || answer.found || answer.dwarf) {
            return true;
        }
        Complain(m_file.ShownPath(), "There is no symbol '" + name + "'" + NearNames(m_lookup, pattern));
        return false;
    }

    /// No name is a pattern but those of operators and of functions with their arguments; to learn that from
    /// `.debug_pubnames` takes all of it.
    static bool CanBeName(const NamePattern& pattern)
    {
        return !pattern.IsWide() || pattern.Text().find("operator") != std::string::npos ||
               pattern.Text().find('(') != std::string::npos;
    }

    ModulesAnswer AskModule(const std::string& name, const NamePattern& pattern) const
    {
        ModulesAnswer answer;
        const DbgSymContext context = m_file.Context();
        answer.found = m_file.Plugin().FindElfSymbolByName(&context, name.c_str(), &answer.range);
        answer.dwarf = CanBeName(pattern) && m_file.Plugin().LoadSymbolByName(&context, name.c_str());
        return answer;
    }

    Loader& m_file;
    const FindOptions& m_options;
    const bool m_demangle;
    const VFKElfFile m_elf;
    const TypeText m_types;
    NameLookup m_lookup;
    NameWriter m_writer;
};

} // namespace

int FindNames(Loader& file, Answer answer, const FindOptions& options)
{
    file.LoadIndex();
    NameFinder finder(file, answer, options);
    if (!options.names.empty()) {
        return finder.FindAll(options.names) ? 0 : 1;
    }
    bool all = true;
    LineReader lines(STDIN_FILENO);
    std::vector<std::string> names; // those that are here already
    for (std::string line; lines.Next(line) && answer.output.Error() == 0;) {
        if (!line.empty()) {
            names.push_back(line);
        }
        if (!lines.Buffered()) {
            all = finder.FindAll(names) && all;
            names.clear();
            answer.output.Flush();
        }
    }
    all = finder.FindAll(names) && all;
    return !ComplainOfInput(lines) && all ? 0 : 1;
}
