// Small steps in the reading of an entry, inline because they are taken for each one.
#pragma once

#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/Entry.h"

inline bool Dwarf2File::EndIfSpent()
{
    if (!m_budget.IsSpent()) [[likely]] {
        return false;
    }
    Seek(m_debug_info, kNone);
    return true;
}

inline void Dwarf2File::SpendOnAttributes(u32 pairs, u32 values)
{
    m_budget.Spend(u64{pairs} / 2 + values); // a pair has two bytes, unless its numbers are padded
}

inline u32 Dwarf2File::ReadCode()
{
    const u32 start = m_debug_info.Pos();
    const u32 code = m_debug_info.Get32_ULEB128(4);
    m_budget.Spend(m_debug_info.Pos() - start);
    return code;
}

inline bool Dwarf2File::HasEntry(const CompileUnitInfo& unit) const
{
    return !AtEnd(m_debug_info) && m_debug_info.Pos() < unit.End();
}

inline bool Dwarf2File::HasNextEntry() const
{
    return !AtEnd(m_debug_info) && *m_debug_info.Cursor() != 0;
}

inline const AbbrevDecl* Dwarf2File::FindAbbrevDecl(u32 tableOffset, u32 code)
{
    const bool chosen = tableOffset == m_lastAbbrevOffset && m_lastAbbrevList != nullptr;
    if (!chosen && !ChooseAbbrevTable(tableOffset)) {
        return nullptr;
    }
    // The list is an array indexed by code; a code below the first wraps to a very large index.
    const u32 index = code - m_lastAbbrevList->front().code;
    return index < m_lastAbbrevList->size() ? &(*m_lastAbbrevList)[index] : nullptr;
}

inline void Dwarf2File::FinishDieAttributes(const Entry& entry)
{
    if (entry.decl->hasChildren != 0) {
        entry.row.SetChild(m_debug_info.Pos());
    } else if (entry.row.Sibling() == kNone) {
        entry.row.SetSibling(m_debug_info.Pos());
    }
}
