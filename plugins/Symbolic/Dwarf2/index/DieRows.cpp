// What the rows of DIEs say, and what every reader of a DIE notes there after its attributes.
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

void Dwarf2File::FinishDieAttributes(const Entry& entry)
{
    if (entry.decl->hasChildren != 0) {
        entry.row.SetChild(m_debug_info.Pos());
    } else if (entry.row.Sibling() == kNone) {
        entry.row.SetSibling(m_debug_info.Pos());
    }
}
