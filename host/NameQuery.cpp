// What a name is: its ELF symbol, and what the store gets when the name is looked up.
#include "host/AddressLookup.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <optional>
#include <unistd.h>

namespace {

class NameFinder {
public:
    NameFinder(Loader& file, Answer answer)
        : m_file(file)
        , m_answer(answer)
    {
    }

    /// @return false if neither the symbol table nor the debug information knows the name.
    bool Find(const std::string& name)
    {
        const DbgSymSymFile& store = m_file.Store();
        const DbgSymContext context = m_file.Context();
        DbgAddrRange range;
        const bool found = m_file.Plugin().FindElfSymbolByName(&context, name.c_str(), &range);
        const std::size_t types = store.TypeCount();
        const bool dwarf = m_file.Plugin().LoadSymbolByName(&context, name.c_str());
        if (m_answer.json) {
            WriteJson(name, found, range, dwarf);
        } else {
            WriteText(name, found, range);
            WriteLoaded(name, dwarf, found ? &range : nullptr, types);
        }
        if (!found && !dwarf) {
            Complain(store.GetPath(), "There is no symbol '" + name + "'");
        }
        return found || dwarf;
    }

private:
    void WriteJson(const std::string& name, bool found, const DbgAddrRange& range, bool dwarf)
    {
        m_json.Begin().Text("name", name).Bool("found", found);
        if (found) {
            m_json.Number("address", range.value).NumberOrNull("section", range.section).Number("size", range.size);
        } else {
            m_json.Null("address").Null("section").Null("size");
        }
        m_answer.output.Write(m_json.Bool("dwarf", dwarf).End());
    }

    void WriteText(const std::string& name, bool found, const DbgAddrRange& range) const
    {
        std::string line;
        AppendPrintable(line, name);
        line += '\n';
        if (found) {
            line += "  ELF symbol  ";
            AppendAddress(line, range);
            line += "  size ";
            AppendDecimal(line, range.size);
            DbgAddress place = range;
            if (place.section != kNone || place.MakeSectionOffset(nullptr)) {
                const DbgSection* section = m_file.Store().GetSectionList().FindSection(place.section);
                line += "  section ";
                AppendPrintable(line, section == nullptr ? "?" : section->name);
            }
            line += '\n';
        } else {
            line += "  no ELF symbol\n";
        }
        m_answer.output.Write(line);
    }

    /// What the look-up by name brought: the type of that name, or, if it only found the entry of a
    /// function or variable, what the unit has of that name.
    void WriteLoaded(const std::string& name, bool dwarf, const DbgAddrRange* range, std::size_t typesBefore)
    {
        if (!dwarf) {
            m_answer.output.Write("  not in .debug_pubnames\n");
            return;
        }
        if (!m_types) {
            m_types.emplace(m_file.Store(), VFKElfFile(m_file.Store().GetPath()).m_byteOrder == kElfDataMsb);
        }
        const DbgSymSymFile& store = m_file.Store();
        std::string text;
        for (std::size_t i = typesBefore; i < store.TypeCount(); ++i) {
            const DbgUserDefinedVarType& type = store.TypeAt(i);
            if (type.GetName() != nullptr && type.GetName() == name) {
                text += m_types->Layout(type, true);
            }
        }
        if (text.empty()) {
            text = ScopesOf(name, range);
        }
        m_answer.output.Write(text.empty() ? "  in .debug_pubnames\n" : text);
    }

    /// Functions and file-level variables reach the store with their unit only: the one that holds
    /// the symbol's address first, then the others up to the first that has the name.
    std::string ScopesOf(const std::string& name, const DbgAddrRange* range)
    {
        if (!m_addresses) {
            m_addresses.emplace(m_file);
        }
        std::string text = LoadedScopesOf(name);
        const DbgSymSrcFile* hint = range == nullptr || !text.empty() ? nullptr : m_addresses->FindUnit(*range);
        if (hint != nullptr) {
            m_file.LoadUnit(hint->GetId());
            text = LoadedScopesOf(name);
        }
        while (text.empty() && m_nextUnit < m_file.UnitCount()) {
            const std::size_t functions = m_file.Store().FuncScopeCount();
            const std::size_t variables = m_file.Store().VariableCount();
            m_file.LoadUnit(m_file.Store().FileScopeAt(m_nextUnit++).GetId());
            text = ScopesFrom(name, functions, variables);
        }
        return text;
    }

    std::string LoadedScopesOf(const std::string& name) const { return ScopesFrom(name, 0, 0); }

    std::string ScopesFrom(const std::string& name, std::size_t function, std::size_t variable) const
    {
        const DbgSymSymFile& store = m_file.Store();
        std::string text;
        for (; function < store.FuncScopeCount(); ++function) {
            const DbgSymFuncScope& scope = store.FuncScopeAt(function);
            if (scope.name == name) {
                AppendFound(text, "function", scope.id, m_file.UnitOf(scope.fileId, scope.id));
                text += "  ";
                AppendAddress(text, scope.range);
                text += "  size ";
                AppendDecimal(text, scope.range.size);
                text += '\n';
            }
        }
        for (; variable < store.VariableCount(); ++variable) {
            const DbgVariable& scope = store.VariableAt(variable);
            if (scope.name == name && !scope.context.ValidFuncContext()) {
                AppendFound(text, "variable", scope.id, m_file.UnitOf(scope.context.fileScope, scope.id));
                text += "  " + m_types->NameOf(DbgTypeDescription{scope.baseType, scope.qualifiers, scope.udtId});
                text += "  size ";
                AppendDecimal(text, scope.byteSize);
                text += '\n';
            }
        }
        return text;
    }

    void AppendFound(std::string& text, const char* kind, u32 id, u32 unitId) const
    {
        text += "  ";
        text += kind;
        text += "  id ";
        AppendHex8(text, id);
        if (const DbgSymSrcFile* unit = m_file.Store().FindFileScope(unitId, nullptr)) {
            text += "  ";
            AppendPrintable(text, unit->GetPath());
        }
    }

    Loader& m_file;
    Answer m_answer;
    JsonLine m_json;
    std::size_t m_nextUnit = 0;
    std::optional<TypeText> m_types;          ///< made when first needed
    std::optional<AddressLookup> m_addresses; ///< likewise
};

} // namespace

int FindNames(Loader& file, Answer answer, const std::vector<std::string>& names)
{
    file.LoadIndex();
    NameFinder finder(file, answer);
    bool all = true;
    for (const std::string& name : names) {
        all = finder.Find(name) && all;
    }
    if (names.empty()) {
        LineReader lines(STDIN_FILENO);
        for (std::string line; lines.Next(line) && answer.output.Error() == 0;) {
            all = (line.empty() || finder.Find(line)) && all;
            if (!lines.Buffered()) {
                answer.output.Flush();
            }
        }
    }
    return all ? 0 : 1;
}
