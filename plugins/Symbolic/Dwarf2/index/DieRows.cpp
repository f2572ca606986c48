// What the section says at a DIE that has a row.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/EntrySteps.h"

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
