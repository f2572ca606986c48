// The first pass over `.debug_info`: from unit header to unit header, with the one DIE at the head of each. All below
// it stays unread until the engine asks.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/EntrySteps.h"
#include "index/IndexTicks.h"
#include "interfaces/VFKSystem.h"

void Dwarf2File::ReadHeaderFields(CompileUnitInfo& header)
{
    header.offset = m_debug_info.Pos();
    header.unitLength = m_debug_info.Get32();
    header.version = m_debug_info.Get16();
    header.abbrevOffset = m_debug_info.Get32();
    header.addressSize = m_debug_info.Get8();
}

void Dwarf2File::ReadCompileUnitHeader(CompileUnitInfo& header)
{
    ReadHeaderFields(header);
    if (!AtEnd(m_debug_info)) {
        AddCompileUnit(header);
    }
    PrintCompileUnitHeader(header);
}

void Dwarf2File::BuildCompileUnitIndex()
{
    CheckRelocation();
    g_indexTicks = VFKTimer::GetTickCount();
    if ((m_flags & kIndexBuilt) == 0) {
        m_flags |= kIndexBuilt; // before the work: a build that ends early isn't tried again
        if (m_abbrListMap.empty()) {
            ReadAbbrevTables();
        }
        m_debug_info.Init();
        while (!AtEnd(m_debug_info) && IndexCompileUnit()) {
        }
    }
    g_indexTicks = VFKTimer::GetTickCount() - g_indexTicks;
}

bool Dwarf2File::IndexCompileUnit()
{
    CompileUnitInfo unit;
    ReadCompileUnitHeader(unit);
    const u32 dieOffset = m_debug_info.Pos();
    const u32 code = m_debug_info.Get32_ULEB128(4);
    if (code == 0) {
        return false; // ends the scan of the whole section
    }
    const AbbrevDecl* decl = FindAbbrevDecl(unit.abbrevOffset, code);
    if (decl == nullptr) {
        return true; // the next header is read right after the code
    }
    PrintDIEHead(dieOffset, decl);
    const u32 next = unit.End();
    const DIEInfo filed = GetDieInfo(dieOffset); // ahead of the file scope, which is then made once
    if (!filed.Has(DIEInfo::kDieBuilt)) {
        DieRow row;
        BuildCompileUnitScope({&unit, DIEInfo(dieOffset, row, nullptr), decl});
        filed.Replace(row);
        filed.SetChild(decl->hasChildren != 0 ? m_debug_info.Pos() : kNone);
        filed.SetSibling(next + CompileUnitInfo::kHeaderSize);
    }
    if (unit.EndWraps()) {
        return false; // a sum that wraps leads back to what has been read
    }
    Seek(m_debug_info, next);
    return true;
}
