// The listing of the location lists of `.debug_loc` (DWARF 2.0, 2.4.6): the whole section or one list.
#include "console/Format.h"
#include "console/LocationText.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"

#include <ostream>

void Dwarf2File::DumpLocationSection(u32 offset)
{
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
        PrintExpression(out, TakeBlock(m_debug_loc, length, false, LittleEndian()));
        out << LineEnd;
    }
}
