// Whether an entry follows, and what every reader of a DIE notes in its row at the end of the attributes.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/Entry.h"

bool Dwarf2File::HasEntry(const CompileUnitInfo& unit) const
{
    return !AtEnd(m_debug_info) && m_debug_info.Pos() < unit.End();
}

bool Dwarf2File::HasNextEntry() const
{
    return !AtEnd(m_debug_info) && *m_debug_info.Cursor() != 0;
}

void Dwarf2File::FinishDieAttributes(const Entry& entry)
{
    if (entry.decl->hasChildren != 0) {
        entry.row->child = m_debug_info.Pos();
    } else if (entry.row->sibling == kNone) {
        entry.row->sibling = m_debug_info.Pos();
    }
}
