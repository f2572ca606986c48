// Reads macro information with libdw and writes it in the form of DWARF 2.0, 7.22.
#include "convert/Macros.h"

#include <cstddef>
#include <dwarf.h>
#include <gelf.h>
#include <string_view>
#include <vector>

namespace convert {

namespace {

/// How many bytes the section may have: a fixed number, plus a multiple of the input's sections of macros and their
/// texts. Since DWARF 2.0 has no imports, a program of many units has its headers' macros once for each unit.
constexpr u64 kFloor = u64{64} << 20;
constexpr u64 kGrowth = 16;

/// What an import costs. It takes far longer than an entry, and damaged ones may contain nothing but each other.
constexpr u64 kImportCost = 256;

/// How deep imports nest. Compilers write one level.
constexpr std::size_t kMaxDepth = 64;

u64 SizeOfMacroSections(Dwarf* dwarf)
{
    Elf* elf = dwarf_getelf(dwarf);
    std::size_t names = 0;
    if (elf == nullptr || elf_getshdrstrndx(elf, &names) != 0) {
        return 0;
    }
    u64 size = 0;
    for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr; section = elf_nextscn(elf, section)) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) == nullptr) {
            continue;
        }
        const char* name = elf_strptr(elf, names, header.sh_name);
        const std::string_view text = name == nullptr ? "" : name;
        if (text == ".debug_macro" || text == ".debug_macinfo" || text == ".debug_str") {
            size += header.sh_size;
        }
    }
    return size;
}

/// Takes the entries of one unit and of what it imports.
class UnitMacros {
public:
    UnitMacros(Dwarf_Die* unitDie, const LineTable& lines, ByteWriter& out, u64& budget)
        : m_unitDie(unitDie)
        , m_dwarf(dwarf_cu_getdwarf(unitDie->cu))
        , m_lines(lines)
        , m_out(out)
        , m_budget(budget)
        , m_isOld(dwarf_hasattr(unitDie, DW_AT_macro_info) != 0)
    {
    }

    /// False if there are too many.
    bool Write()
    {
        dwarf_getmacros(m_unitDie, &Take, this, DWARF_GETMACROS_START);
        return !m_exhausted;
    }

private:
    struct Import {
        Dwarf* dwarf;
        Dwarf_Off offset;
        bool operator==(const Import&) const = default;
    };

    static int Take(Dwarf_Macro* macro, void* self)
    {
        UnitMacros& macros = *static_cast<UnitMacros*>(self);
        macros.Take(macro);
        return macros.m_exhausted ? DWARF_CB_ABORT : DWARF_CB_OK;
    }

    void Take(Dwarf_Macro* macro)
    {
        unsigned int opcode = 0;
        if (!Spend(1) || dwarf_macro_opcode(macro, &opcode) != 0) {
            return;
        }
        switch (opcode) {
        case DW_MACRO_define:
        case DW_MACRO_define_strp:
        case DW_MACRO_define_sup:
            WriteText(DW_MACINFO_define, macro);
            break;
        case DW_MACRO_undef:
        case DW_MACRO_undef_strp:
        case DW_MACRO_undef_sup:
            WriteText(DW_MACINFO_undef, macro);
            break;
        case DW_MACRO_define_strx:
            WriteIndexedText(DW_MACINFO_define, macro);
            break;
        case DW_MACRO_undef_strx:
            WriteIndexedText(DW_MACINFO_undef, macro);
            break;
        case DW_MACRO_start_file:
            WriteStartOfFile(macro);
            break;
        case DW_MACRO_end_file:
            m_out.U8(DW_MACINFO_end_file);
            break;
        case DW_MACRO_import:
            Follow(Current(), macro);
            break;
        case DW_MACRO_import_sup:
            Follow(dwarf_getalt(Current()), macro);
            break;
        case DW_MACINFO_vendor_ext: // in `.debug_macro` this code may mean anything
            if (m_isOld) {
                WriteText(DW_MACINFO_vendor_ext, macro);
            }
            break;
        default: // producers' own
            break;
        }
    }

    Dwarf* Current() const { return m_imports.empty() ? m_dwarf : m_imports.back().dwarf; }

    bool Spend(u64 cost)
    {
        if (cost > m_budget) {
            m_exhausted = true;
            return false;
        }
        m_budget -= cost;
        return true;
    }

    void WriteText(u8 type, Dwarf_Macro* macro)
    {
        Dwarf_Word line = 0;
        Dwarf_Attribute second; // dwarf_macro_param2 takes fewer forms
        if (dwarf_macro_param1(macro, &line) != 0 || dwarf_macro_param(macro, 1, &second) != 0) {
            return;
        }
        const char* text = dwarf_formstring(&second);
        if (text == nullptr) {
            return;
        }
        const std::string_view whole = text;
        if (Spend(whole.size() + 7)) {
            m_out.U8(type);
            m_out.Uleb(static_cast<u32>(line));
            m_out.Text(whole);
        }
    }

    /// An imported part doesn't say which table its indices refer to, and libdw takes the first. No producer is known
    /// to use indices there, so they are left out rather than guessed.
    void WriteIndexedText(u8 type, Dwarf_Macro* macro)
    {
        if (m_imports.empty()) {
            WriteText(type, macro);
        }
    }

    void WriteStartOfFile(Dwarf_Macro* macro)
    {
        Dwarf_Word line = 0;
        Dwarf_Word file = 0;
        if (!Spend(11) || dwarf_macro_param1(macro, &line) != 0 || dwarf_macro_param2(macro, &file, nullptr) != 0) {
            line = 0; // its end comes all the same
            file = ~Dwarf_Word{0};
        }
        const u32 index = m_lines.FileOf(file);
        m_out.U8(DW_MACINFO_start_file);
        m_out.Uleb(static_cast<u32>(line));
        m_out.Uleb(index == LineTable::kNoFile ? 0 : u64{index} + 1);
    }

    /// A part that the chain of imports is already in isn't entered again.
    void Follow(Dwarf* dwarf, Dwarf_Macro* macro)
    {
        Dwarf_Attribute offset;
        Import import = {dwarf, 0};
        if (dwarf == nullptr || m_imports.size() >= kMaxDepth || !Spend(kImportCost) ||
            dwarf_macro_param(macro, 0, &offset) != 0 || dwarf_formudata(&offset, &import.offset) != 0) {
            return;
        }
        for (const Import& open : m_imports) {
            if (open == import) {
                return;
            }
        }
        m_imports.push_back(import);
        dwarf_getmacros_off(dwarf, import.offset, &Take, this, DWARF_GETMACROS_START);
        m_imports.pop_back();
    }

    Dwarf_Die* m_unitDie;
    Dwarf* m_dwarf;
    const LineTable& m_lines;
    ByteWriter& m_out;
    u64& m_budget;
    bool m_isOld; ///< `.debug_macinfo`
    bool m_exhausted = false;
    std::vector<Import> m_imports; ///< the open ones, the outermost first
};

} // namespace

std::optional<u32> MacroWriter::Write(Dwarf_Die* unitDie, const LineTable& lines)
{
    if (!m_budget) {
        m_budget = kFloor + kGrowth * SizeOfMacroSections(dwarf_cu_getdwarf(unitDie->cu));
    }
    const u32 start = m_out.Size();
    if (!UnitMacros(unitDie, lines, m_out, *m_budget).Write()) {
        m_out.Truncate(start);
        ++m_unitsLeftOut;
        return std::nullopt;
    }
    if (m_out.Size() == start) {
        return std::nullopt;
    }
    m_out.U8(0);
    return start;
}

} // namespace convert
