// What a name is: its ELF symbol, and what the store gets when the name is looked up.
#include "host/AddressLookup.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

/// The store's types, functions and file-level variables by name. The store only grows, so each is
/// entered once.
class NameIndex {
public:
    struct Things {
        std::vector<std::size_t> types;
        std::vector<std::size_t> functions;
        std::vector<std::size_t> variables;
    };

    explicit NameIndex(const DbgSymSymFile& store)
        : m_store(store)
    {
    }

    /// What the store has by now of that name.
    const Things& Find(std::string_view name)
    {
        for (; m_types < m_store.TypeCount(); ++m_types) {
            if (const char* type = m_store.TypeAt(m_types).GetName()) {
                m_byName[type].types.push_back(m_types);
            }
        }
        for (; m_functions < m_store.FuncScopeCount(); ++m_functions) {
            m_byName[m_store.FuncScopeAt(m_functions).name].functions.push_back(m_functions);
        }
        for (; m_variables < m_store.VariableCount(); ++m_variables) {
            const DbgVariable& variable = m_store.VariableAt(m_variables);
            if (!variable.context.ValidFuncContext()) {
                m_byName[variable.name].variables.push_back(m_variables);
            }
        }
        const auto found = m_byName.find(name);
        return found == m_byName.end() ? m_nothing : found->second;
    }

private:
    const DbgSymSymFile& m_store;
    std::unordered_map<std::string_view, Things> m_byName;
    const Things m_nothing;
    std::size_t m_types = 0; ///< entered so far
    std::size_t m_functions = 0;
    std::size_t m_variables = 0;
};

class NameFinder {
public:
    NameFinder(Loader& file, Answer answer)
        : m_file(file)
        , m_answer(answer)
        , m_elf(file.Store().GetPath())
        , m_types(file.Store(), m_elf.m_byteOrder == kElfDataMsb)
        , m_index(file.Store())
    {
    }

    /// @return false if neither the symbol table nor the debug information knows the name.
    bool Find(const std::string& name)
    {
        const DbgSymContext context = m_file.Context();
        DbgAddrRange range;
        const bool found = m_file.Plugin().FindElfSymbolByName(&context, name.c_str(), &range);
        const bool dwarf = m_file.Plugin().LoadSymbolByName(&context, name.c_str());
        if (m_answer.json) {
            WriteJson(name, found, range, dwarf);
        } else {
            WriteText(name, found, range);
            WriteLoaded(name, dwarf, found ? &range : nullptr);
        }
        if (!found && !dwarf) {
            Complain(m_file.ShownPath(), "There is no symbol '" + name + "'");
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
            if (const char* section = SectionOf(name)) {
                line += "  section ";
                AppendPrintable(line, section);
            }
            line += '\n';
        } else {
            line += "  no ELF symbol\n";
        }
        m_answer.output.Write(line);
    }

    /// The name of the section that the symbol is defined in; null if it is in none.
    const char* SectionOf(const std::string& name) const
    {
        const elf32_sym* symbol = m_elf.FindSymtabEntry(name.c_str());
        if (symbol == nullptr || symbol->st_shndx == kShnUndef || symbol->st_shndx >= kShnLoReserve) {
            return nullptr;
        }
        const Elf32_Shdr* section = m_elf.GetSectionHeader(symbol->st_shndx);
        return section == nullptr ? nullptr : m_elf.GetShdrString(section->sh_name);
    }

    /// What the store has of a name that the look-up has found. The look-up brings types; functions
    /// and file-level variables reach the store with their unit only: the one that holds the
    /// symbol's address, or else the first that has anything of that name.
    void WriteLoaded(const std::string& name, bool dwarf, const DbgAddrRange* range)
    {
        if (!dwarf) {
            m_answer.output.Write("  not in .debug_pubnames\n");
            return;
        }
        if (range != nullptr && !HasScopes(name)) {
            LoadUnitAt(*range);
        }
        while (m_index.Find(name).types.empty() && !HasScopes(name)) {
            if (m_nextUnit == m_file.UnitCount()) {
                m_answer.output.Write("  in .debug_pubnames\n");
                return;
            }
            m_file.LoadUnit(m_file.Store().FileScopeAt(m_nextUnit++).GetId());
        }
        WriteTypes(name);
        WriteScopes(name);
    }

    bool HasScopes(const std::string& name)
    {
        const NameIndex::Things& things = m_index.Find(name);
        return !things.functions.empty() || !things.variables.empty();
    }

    void LoadUnitAt(const DbgAddrRange& range)
    {
        if (!m_addresses) {
            m_addresses.emplace(m_file);
        }
        if (const DbgSymSrcFile* unit = m_addresses->FindUnit(range)) {
            m_file.LoadUnit(unit->GetId());
        }
    }

    void WriteTypes(const std::string& name)
    {
        std::unordered_set<std::size_t> shown;
        for (const std::size_t i : m_index.Find(name).types) {
            const DbgUserDefinedVarType& type = m_file.Store().TypeAt(i);
            // Units that include one header hold its types alike.
            if (shown.insert(m_types.LayoutHash(type)).second) {
                m_types.WriteLayout(type, [&](std::string_view line) { m_answer.output.Write(line); });
            }
        }
    }

    void WriteScopes(const std::string& name)
    {
        const DbgSymSymFile& store = m_file.Store();
        const NameIndex::Things& things = m_index.Find(name);
        for (const std::size_t i : things.functions) {
            const DbgSymFuncScope& function = store.FuncScopeAt(i);
            std::string line = FoundLine("function", function.id, m_file.UnitOf(function.fileId, function.id));
            line += "  ";
            AppendAddress(line, function.range);
            line += "  size ";
            AppendDecimal(line, function.range.size);
            m_answer.output.Write(line + '\n');
        }
        for (const std::size_t i : things.variables) {
            const DbgVariable& variable = store.VariableAt(i);
            std::string line =
                FoundLine("variable", variable.id, m_file.UnitOf(variable.context.fileScope, variable.id));
            line += "  " + m_types.NameOf(DbgTypeDescription{variable.baseType, variable.qualifiers, variable.udtId});
            line += "  size ";
            AppendDecimal(line, variable.byteSize);
            m_answer.output.Write(line + '\n');
        }
    }

    std::string FoundLine(const char* kind, u32 id, u32 unitId) const
    {
        std::string line = std::string("  ") + kind + "  id ";
        AppendHex8(line, id);
        if (const DbgSymSrcFile* unit = m_file.Store().FindFileScope(unitId, nullptr)) {
            line += "  ";
            AppendShort(line, unit->GetPath());
        }
        return line;
    }

    Loader& m_file;
    Answer m_answer;
    JsonLine m_json;
    const VFKElfFile m_elf;
    const TypeText m_types;
    NameIndex m_index;
    std::size_t m_nextUnit = 0;
    std::optional<AddressLookup> m_addresses; ///< made when first needed
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
        all = !ComplainOfInput(lines) && all;
    }
    return all ? 0 : 1;
}
