// Reads `.debug_abbrev` (DWARF 2.0, 7.5.3) into tables that turn a code into its declaration in
// constant time. The attribute pairs stay in the section.
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DwarfCodes.h"
#include "index/IndexTicks.h"
#include "interfaces/DbgSymSymFile.h"

#include <ostream>
#include <utility>

u32 g_indexTicks = 0;

namespace {

/// True for attributes that no builder reads. Without the common ones among them an entry has half as many.
bool IsPassedBy(u32 attribute)
{
    switch (attribute) {
    case AT_accessibility:
    case AT_calling_convention:
    case AT_decl_column:
    case AT_decl_file:
    case AT_decl_line:
    case AT_declaration:
    case AT_inline:
    case AT_prototyped:
    case AT_virtuality:
        return true;
    default:
        return attribute > AT_vtable_elem_location; // later versions' and vendors'
    }
}

constexpr u32 kMaxBefore = 0xFFFF;

} // namespace

void Dwarf2File::ReadAbbrevTables()
{
    if (m_symFile != nullptr && m_dumpStream != nullptr) {
        *m_dumpStream << "DWARF 2.0 dump for " << m_symFile->GetPath() << '\n';
        *m_dumpStream << "Start tick = " << hex8(g_indexTicks) << '\n';
    }
    m_debug_abbrev.Init();
    std::map<u32, AbbrevList> tables;
    std::vector<AttrSpec> specs;
    AbbrevList* list = &tables[m_debug_abbrev.Pos()];
    while (!AtEnd(m_debug_abbrev)) {
        AbbrevDecl decl{};
        decl.offset = m_debug_abbrev.Pos();
        decl.code = m_debug_abbrev.Get32_ULEB128(4);
        if (decl.code == 0) {
            list = &tables[m_debug_abbrev.Pos()];
            list->clear();
            continue;
        }
        decl.tag = m_debug_abbrev.Get32_ULEB128(4);
        if (AtEnd(m_debug_abbrev)) {
            break; // cut off: not stored
        }
        decl.hasChildren = m_debug_abbrev.Get8();
        const u32 headerSize = m_debug_abbrev.Pos() - decl.offset;
        decl.headerSize = static_cast<u8>(headerSize);
        // A header with padded numbers can be too long for headerSize: its pairs are then read from a wrong place.
        decl.firstSpec = headerSize == decl.headerSize ? static_cast<u32>(specs.size()) : kNone;
        ReadAttributePairs(specs);
        decl.pairsEnd = m_debug_abbrev.Pos();
        list->push_back(decl);
    }
    // All tables or none: if memory runs out, they are read again when they are next needed.
    m_abbrListMap = std::move(tables);
    m_attrSpecs = std::move(specs);
    m_lastAbbrevOffset = kNone;
    m_lastAbbrevList = nullptr;
}

void Dwarf2File::ReadAttributePairs(std::vector<AttrSpec>& specs)
{
    u32 before = 0;
    while (!AtEnd(m_debug_abbrev)) {
        AttrSpec spec = ReadAttrSpec(false);
        spec.width = WidthOf(LayoutOf(spec.form));
        if (spec.width != 0 && IsPassedBy(spec.attribute) && before + spec.width <= kMaxBefore) {
            before += spec.width;
            continue;
        }
        spec.before = static_cast<u16>(std::exchange(before, 0));
        specs.push_back(spec);
        if (spec.attribute == 0 || spec.form == 0) {
            return;
        }
    }
    specs.push_back({0, 0, 0, static_cast<u16>(before)}); // cut off
}

bool Dwarf2File::ChooseAbbrevTable(u32 tableOffset)
{
    const auto found = m_abbrListMap.find(tableOffset);
    if (found == m_abbrListMap.end() || found->second.empty()) {
        return false;
    }
    m_lastAbbrevOffset = tableOffset;
    m_lastAbbrevList = &found->second;
    return true;
}
