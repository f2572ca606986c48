// What the rows of DIEs say, and what every reader of a DIE notes there after its attributes.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/Entry.h"

#include <algorithm>

bool Dwarf2File::HasEntry(const CompileUnitInfo& unit) const
{
    return !AtEnd(m_debug_info) && m_debug_info.Pos() < unit.End();
}

bool Dwarf2File::HasNextEntry() const
{
    return !AtEnd(m_debug_info) && *m_debug_info.Cursor() != 0;
}

u32 Dwarf2File::CodeOf(const DIEInfo& row)
{
    const SavedCursor saved(m_debug_info);
    Seek(m_debug_info, row.infoOffset);
    return m_debug_info.Get32_ULEB128(4);
}

const AbbrevDecl* Dwarf2File::DeclOf(const DIEInfo& row)
{
    const CompileUnitInfo* unit = FindCompileUnit(row.infoOffset);
    return unit == nullptr ? nullptr : FindAbbrevDecl(unit->abbrevOffset, CodeOf(row));
}

u32 Dwarf2File::ChildOf(const DIEInfo& row) const
{
    const u32 distance = row.ChildDistance();
    if (distance == DIEInfo::kFarChild) {
        return *m_farChildren.Find(row.infoOffset);
    }
    return distance == 0 ? kNone : row.infoOffset + distance;
}

void Dwarf2File::SetChild(DIEInfo& row, u32 child)
{
    const u32 distance = child == kNone ? 0 : child - row.infoOffset;
    row.SetChildDistance(std::min(distance, DIEInfo::kFarChild));
    if (distance >= DIEInfo::kFarChild) {
        m_farChildren[row.infoOffset] = child;
    }
}

void Dwarf2File::FinishDieAttributes(const Entry& entry)
{
    if (entry.decl->hasChildren != 0) {
        SetChild(*entry.row, m_debug_info.Pos());
    } else if (entry.row->sibling == kNone) {
        entry.row->sibling = m_debug_info.Pos();
    }
}
