// Dumps of the abbreviation tables, as the section has them or as they were read, and of the rows of the entries
// visited so far.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"

#include <ios>
#include <ostream>
#include <string_view>

namespace {

constexpr std::streamsize kNameColumns = 30;

/// Bytes of a number's shortest ULEB128 form.
u32 UlebLength(u32 value)
{
    u32 length = 1;
    while (value >= 0x80) {
        value >>= 7;
        ++length;
    }
    return length;
}

void PrintChildren(std::ostream& out, u8 children)
{
    if (children == 1) {
        PutText(out, " CHILDREN_yes");
    } else if (children == 0) {
        PutText(out, " CHILDREN_no");
    } else {
        // In the radix that the line has left: hexadecimal after a tag without a name.
        PutText(out, " CHILDREN_???") << u32{children};
    }
}

} // namespace

class Dwarf2File::AbbrevDump {
public:
    explicit AbbrevDump(Dwarf2File& file)
        : m_file(file)
        , m_section(file.m_debug_abbrev)
        , m_out(*file.m_dumpStream)
    {
    }

    void DumpSection();
    void DumpList(u32 offset, const AbbrevList& list);

private:
    /// Reads and prints pairs at the cursor, the closing one included.
    /// @param pastEnd also shows the 0 that a pair reads as at the section's end, if none closes the declaration.
    void DumpPairs(bool pastEnd);
    void DumpDecl(const AbbrevDecl& decl);
    void PrintPair(u32 offset, u32 attribute, u32 form);

    Dwarf2File& m_file;
    VFKDataBuf& m_section;
    std::ostream& m_out;
};

void Dwarf2File::AbbrevDump::DumpSection()
{
    Seek(m_section, 0);
    while (!AtEnd(m_section)) {
        m_file.PrintOffsetPrefix(m_section.Pos(), true);
        const u32 code = m_section.Get32_ULEB128(4);
        PutText(m_out, "[") << dec(code);
        PutText(m_out, "] ");
        if (code == 0) {
            PutText(m_out, " (End of compile unit abbrev table)") << LineEnd;
            continue;
        }
        PrintTagName(m_out, m_section.Get32_ULEB128(4));
        PrintChildren(m_out, m_section.Get8());
        m_out << LineEnd;
        DumpPairs(true);
    }
}

void Dwarf2File::AbbrevDump::DumpPairs(bool pastEnd)
{
    u32 attribute = kNone;
    u32 form = kNone;
    while (attribute != 0 && form != 0 && (pastEnd || !AtEnd(m_section))) {
        const u32 offset = m_section.Pos();
        attribute = m_section.Get32_ULEB128(4);
        form = m_section.Get32_ULEB128(4);
        PrintPair(offset, attribute, form);
    }
}

void Dwarf2File::AbbrevDump::PrintPair(u32 offset, u32 attribute, u32 form)
{
    m_file.PrintOffsetPrefix(offset, false);
    m_file.PrintIndent(0);
    m_out.fill(' ');
    m_out.setf(std::ios_base::left, std::ios_base::adjustfield);
    m_out.width(kNameColumns);
    PrintAttributeName(m_out, attribute);
    m_out.setf(std::ios_base::right, std::ios_base::adjustfield);
    PrintFormName(m_out, form);
}

void Dwarf2File::AbbrevDump::DumpList(u32 offset, const AbbrevList& list)
{
    PutText(m_out, "\n\n.debug_abbrev at ") << hex8(offset) << LineEnd;
    for (const AbbrevDecl& decl : list) {
        DumpDecl(decl);
    }
}

void Dwarf2File::AbbrevDump::DumpDecl(const AbbrevDecl& decl)
{
    m_file.PrintOffsetPrefix(decl.offset, true);
    m_out << dec(decl.code);
    const u32 tagOffset = decl.offset + UlebLength(decl.code);
    m_file.PrintOffsetPrefix(tagOffset, false);
    PrintTagName(m_out, decl.tag);
    m_file.PrintOffsetPrefix(tagOffset + UlebLength(decl.tag), false);
    if (decl.hasChildren == 1) {
        PutText(m_out, "CHILDREN_yes");
    } else if (decl.hasChildren == 0) {
        PutText(m_out, "CHILDREN_no");
    }
    Seek(m_section, decl.offset + decl.headerSize);
    DumpPairs(false);
}

void Dwarf2File::DumpAbbrevSection(bool parsed)
{
    PutText(*m_dumpStream, "\n\n.debug_abbrev") << LineEnd;
    AbbrevDump dump(*this);
    if (!parsed) {
        dump.DumpSection();
        return;
    }
    for (const auto& [offset, list] : m_abbrListMap) {
        dump.DumpList(offset, list);
    }
}

void Dwarf2File::DumpDIEInfoMap()
{
    std::ostream& out = *m_dumpStream;
    PutText(out, "DIEInfoMap") << LineEnd;
    PutText(out, "Info Offset Abbr Index  Parent      Sibling     Child\n"
                 "----------  ----------  ----------  ----------  ----------\n");
    m_dieInfoMap.ForEach([this, &out](const DIEInfo& row) {
        out << hex8(row.infoOffset);
        for (const u32 field : {CodeOf(row), row.Parent(), row.Sibling(), row.Child()}) {
            PutText(out, "  ") << hex8(field);
        }
        PutText(out, "\n");
    });
}
