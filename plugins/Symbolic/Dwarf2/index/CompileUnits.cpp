// The table of compile units and the search for the unit that holds a DIE.
#include "image/Dwarf2File.h"

#include <algorithm>
#include <iterator>

void Dwarf2File::AddCompileUnit(const CompileUnitInfo& header)
{
    CompileUnitInfo& unit = m_cuHeaderMap[header.offset];
    unit = header;
    const u32 maxEnd = m_unitEnds.empty() ? 0 : m_unitEnds.back().maxEnd;
    m_unitEnds.push_back({std::max(maxEnd, unit.End()), &unit});
}

CompileUnitInfo* Dwarf2File::FindCompileUnit(u32 dieOffset)
{
    if (dieOffset >= m_foundUnit.first && dieOffset < m_foundUnit.end) {
        return m_foundUnit.unit;
    }
    // The units are in rising order of their offsets, and maxEnd rises with them. The first unit whose maxEnd is past
    // the DIE is also the first whose own end is: what a search from the front would find, even where units overlap.
    const auto found = std::upper_bound(m_unitEnds.begin(), m_unitEnds.end(), dieOffset,
                                        [](u32 offset, const UnitEnd& entry) { return offset < entry.maxEnd; });
    if (found == m_unitEnds.end() || found->unit->offset >= dieOffset) {
        return nullptr;
    }
    const u32 before = found == m_unitEnds.begin() ? 0 : std::prev(found)->maxEnd;
    m_foundUnit = {std::max(before, found->unit->offset + 1), found->maxEnd, found->unit};
    return found->unit;
}
