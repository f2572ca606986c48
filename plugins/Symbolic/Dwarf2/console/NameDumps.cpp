// Plain listings of `.debug_pubnames` and `.debug_macinfo` (DWARF 2.0, 6.1.1 and 6.3), straight from
// the section's bytes.
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DwarfCodes.h"

#include <ostream>
#include <string_view>

namespace {

constexpr u32 kLineColumns = 5;

/// Sets may overlap. A listing may have this many times the bytes of the section, plus a base for small files.
constexpr u64 kMaxListings = 16;
constexpr u64 kListingBase = u64{64} << 10;

void PrintMaybeNull(std::ostream& stream, const char* text)
{
    if (text != nullptr) {
        PutText(stream, text);
    }
}

/// The column of the line number, blank for 0.
std::ostream& PrintLineNumber(std::ostream& stream, u32 line)
{
    return line != 0 ? stream << dec(line, kLineColumns) : PutText(stream, "     ");
}

void PrintSetHead(std::ostream& stream, u32 length, u16 version, u32 infoOffset, u32 infoLength)
{
    stream << LineEnd;
    PutText(stream, "       Length = ") << hex8(length) << LineEnd;
    PutText(stream, "Dwarf version = ") << hex4(version) << LineEnd;
    PutText(stream, "  Info offset = ") << hex8(infoOffset) << LineEnd;
    PutText(stream, "  Info length = ") << hex8(infoLength) << LineEnd << LineEnd;
    PutText(stream, "CU Offset  .debug_info   Name") << LineEnd;
    PutText(stream, "---------- ------------- ---------------------------------------") << LineEnd;
}

void PrintPubNames(std::ostream& stream, VFKDataBuf& section, u32 infoOffset)
{
    while (const u32 offset = section.Get32()) {
        stream << hex8(offset);
        PutText(stream, " (") << hex8(offset + infoOffset);
        PutText(stream, "): ");
        PrintMaybeNull(stream, section.GetCStr());
        stream << LineEnd;
    }
    stream << hex8(0) << LineEnd;
}

void PrintMacro(std::ostream& stream, VFKDataBuf& section, std::string_view keyword)
{
    PutText(PrintLineNumber(stream, section.Get32_ULEB128(4)), keyword);
    PrintMaybeNull(stream, section.GetCStr());
    stream << LineEnd;
}

void PrintMacroEntry(std::ostream& stream, VFKDataBuf& section)
{
    const u8 type = section.Get8();
    switch (type) {
    case 0:
        PutText(stream, "      end compile unit") << LineEnd << LineEnd;
        break;
    case MACINFO_define:
        PrintMacro(stream, section, " #define ");
        break;
    case MACINFO_undef:
        PrintMacro(stream, section, " #undef ");
        break;
    case MACINFO_start_file:
        PutText(PrintLineNumber(stream, section.Get32_ULEB128(4)), " start file: ");
        stream << dec(section.Get32_ULEB128(4)) << LineEnd;
        break;
    case MACINFO_end_file:
        PutText(stream, "      end file") << LineEnd;
        break;
    case MACINFO_vendor_ext:
        PutText(PrintLineNumber(stream, section.Get32_ULEB128(4)), " vendor ext:  ");
        PrintQuotedText(stream, section.GetCStr()) << LineEnd;
        break;
    default:
        PutText(stream, "DW_MACINFO_???: ") << dec(u32{type}) << LineEnd;
        break;
    }
}

} // namespace

bool Dwarf2File::DumpPubnames(std::ostream& stream)
{
    ReadLateSection(m_debug_pubnames, ".debug_pubnames", false);
    // A look-up that reached the end has left the cursor there; then nothing is listed.
    if (AtEnd(m_debug_pubnames)) {
        return false;
    }
    const SavedCursor lookup(m_debug_pubnames);
    Seek(m_debug_pubnames, 0);
    u64 bytesListed = 0;
    while (!AtEnd(m_debug_pubnames) && bytesListed <= kListingBase + kMaxListings * m_debug_pubnames.Size()) {
        const u32 length = m_debug_pubnames.Get32();
        const u32 start = m_debug_pubnames.Pos();
        const u16 version = m_debug_pubnames.Get16();
        const u32 infoOffset = m_debug_pubnames.Get32();
        PrintSetHead(stream, length, version, infoOffset, m_debug_pubnames.Get32());
        PrintPubNames(stream, m_debug_pubnames, infoOffset);
        bytesListed += m_debug_pubnames.Pos() - start;
        // A sum that wraps would lead back; it ends the listing.
        const u32 next = start + length;
        Seek(m_debug_pubnames, next < start ? kNone : next);
    }
    return true;
}

bool Dwarf2File::DumpMacinfo(std::ostream& stream)
{
    ReadLateSection(m_debug_macinfo, ".debug_macinfo", false);
    Seek(m_debug_macinfo, 0);
    PutText(stream, "Offset      Line  Macro Entry") << LineEnd;
    PutText(stream, "----------- ----- ------------------------------------------------") << LineEnd;
    while (!AtEnd(m_debug_macinfo)) {
        stream << hex8(m_debug_macinfo.Pos());
        PutText(stream, ": ");
        PrintMacroEntry(stream, m_debug_macinfo);
    }
    return true;
}
