// Location lists of `.debug_loc` (DWARF 2.0, 2.4.6): the whole section or one list as a listing of
// its own, and one list in the layout of the whole-file dump. The engine puts expressions into text.
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace {

/// Takes a block from the cursor, as far as the section has it.
VFKDataString TakeBlock(VFKDataBuf& section, u32 length, bool reserved, bool littleEndian)
{
    const u32 left = static_cast<u32>(section.End() - section.Cursor());
    const u8* block = section.GetDataBlock(length);
    return VFKDataString(reserved, littleEndian, block, block == nullptr ? 0 : std::min(length, left));
}

} // namespace

void Dwarf2File::DumpLocationSection(u32 offset)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    std::ostream& out = *m_dumpStream;
    const SavedCursor saved(m_debug_loc);
    const bool whole = offset == kNone;
    Seek(m_debug_loc, whole ? 0 : offset);
    out << hex8(m_debug_loc.Pos()) << LineEnd;
    while (!AtEnd(m_debug_loc)) {
        const u32 begin = m_debug_loc.Get32();
        const u32 end = m_debug_loc.Get32();
        if (begin == 0 && end == 0) {
            if (!whole) {
                break;
            }
            out << hex8(m_debug_loc.Pos()) << LineEnd;
            continue;
        }
        const u16 length = m_debug_loc.Get16();
        PutText(out, "\t") << hex8(begin);
        PutText(out, "-") << hex8(end);
        PutText(out, " <") << hex4(length);
        PutText(out, "> : ");
        PrintExpression(TakeBlock(m_debug_loc, length, false, LittleEndian()));
        out << LineEnd;
    }
}

void Dwarf2File::DumpLocationList(const CompileUnitInfo* unit, const DIEInfo* die, u32 listOffset, bool littleEndian)
{
    ReadLateSection(m_debug_loc, ".debug_loc", true);
    if (m_debug_loc.Size() == 0) {
        return;
    }
    const SavedCursor saved(m_debug_loc);
    Seek(m_debug_loc, listOffset);
    while (!AtEnd(m_debug_loc)) {
        const u32 begin = m_debug_loc.Get32();
        const u32 end = m_debug_loc.Get32();
        if (begin == 0 && end == 0) {
            break;
        }
        VFKDataString expression = TakeBlock(m_debug_loc, m_debug_loc.Get16(), littleEndian, littleEndian);
        PrepareExpression(unit, die, &expression);
        std::size_t printed = 0;
        if (m_dumpStream != nullptr) {
            PutText(*m_dumpStream, "\n            ");
            PrintIndent(1);
            PutText(*m_dumpStream << hex8(begin), "-");
            PutText(*m_dumpStream << hex8(end), ": ");
            printed = PrintExpression(expression);
        }
        // Any number of attributes may name one list.
        if (!SpendOnExpression(expression.Size(), printed)) {
            break;
        }
    }
}

std::size_t Dwarf2File::PrintExpression(const VFKDataString& expression)
{
    if (m_dumpStream == nullptr) {
        return 0;
    }
    std::string text;
    DbgExpression(expression, nullptr, nullptr).GetText(text, false);
    PutText(*m_dumpStream, text);
    return text.size();
}
