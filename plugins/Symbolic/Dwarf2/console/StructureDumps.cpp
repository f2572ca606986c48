// Dumps of the DWARF structures by their section offsets: abbreviation tables as they stand or as
// they were read, single entries and their subtrees, and the index of the entries visited so far.
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
        // In the radix that the line has left: hexadecimal behind a tag without a name.
        PutText(out, " CHILDREN_???") << u32{children};
    }
}

} // namespace

void Dwarf2File::DumpAbbrevSection(bool parsed)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    std::ostream& out = *m_dumpStream;
    PutText(out, "\n\n.debug_abbrev") << LineEnd;
    if (parsed) {
        for (const auto& [offset, list] : m_abbrListMap) {
            DumpAbbrevList(offset, list.get());
        }
        return;
    }
    Seek(m_debug_abbrev, 0);
    while (!AtEnd(m_debug_abbrev)) {
        PrintOffsetPrefix(m_debug_abbrev.Pos(), true);
        const u32 code = m_debug_abbrev.Get32_ULEB128(4);
        PutText(out, "[") << dec(code);
        PutText(out, "] ");
        if (code == 0) {
            PutText(out, " (End of compile unit abbrev table)") << LineEnd;
            continue;
        }
        PrintTagName(out, m_debug_abbrev.Get32_ULEB128(4));
        PrintChildren(out, m_debug_abbrev.Get8());
        out << LineEnd;
        DumpAttributePairs();
    }
}

void Dwarf2File::DumpAttributePairs()
{
    u32 attribute = 0;
    u32 form = 0;
    do {
        const u32 offset = m_debug_abbrev.Pos();
        attribute = m_debug_abbrev.Get32_ULEB128(4);
        form = m_debug_abbrev.Get32_ULEB128(4);
        PrintAttributeLine(offset, attribute, form);
    } while (attribute != 0 && form != 0);
}

void Dwarf2File::PrintAttributeLine(u32 offset, u32 attribute, u32 form)
{
    std::ostream& out = *m_dumpStream;
    PrintOffsetPrefix(offset, false);
    PrintIndent(0);
    out.fill(' ');
    out.setf(std::ios_base::left, std::ios_base::adjustfield);
    out.width(kNameColumns);
    PrintAttributeName(out, attribute);
    out.setf(std::ios_base::right, std::ios_base::adjustfield);
    PrintFormName(out, form);
}

void Dwarf2File::DumpAbbrevList(u32 offset, const AbbrevList* list)
{
    if (m_dumpStream == nullptr || list == nullptr) {
        return;
    }
    PutText(*m_dumpStream, "\n\n.debug_abbrev at ") << hex8(offset) << LineEnd;
    for (const AbbrevDecl& decl : *list) {
        DumpAbbrevDecl(decl);
    }
}

void Dwarf2File::DumpAbbrevDecl(const AbbrevDecl& decl)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    std::ostream& out = *m_dumpStream;
    PrintOffsetPrefix(decl.offset, true);
    out << dec(decl.code);
    const u32 tagOffset = decl.offset + UlebLength(decl.code);
    PrintOffsetPrefix(tagOffset, false);
    PrintTagName(out, decl.tag);
    PrintOffsetPrefix(tagOffset + UlebLength(decl.tag), false);
    if (decl.hasChildren == 1) {
        PutText(out, "CHILDREN_yes");
    } else if (decl.hasChildren == 0) {
        PutText(out, "CHILDREN_no");
    }
    Seek(m_debug_abbrev, decl.offset + decl.headerSize);
    // Unlike the raw listing's, these pairs end where the section ends, closed or not.
    u32 attribute = kNone;
    u32 form = kNone;
    while (attribute != 0 && form != 0 && !AtEnd(m_debug_abbrev)) {
        const u32 offset = m_debug_abbrev.Pos();
        attribute = m_debug_abbrev.Get32_ULEB128(4);
        form = m_debug_abbrev.Get32_ULEB128(4);
        PrintAttributeLine(offset, attribute, form);
    }
}

void Dwarf2File::DumpDIE(u32 offset, bool withChildren)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    const SavedCursor info(m_debug_info);
    const SavedCursor abbrev(m_debug_abbrev);
    const i32 indent = m_dumpIndent;
    if (const CompileUnitInfo* unit = FindCompileUnit(offset)) {
        Seek(m_debug_info, offset);
        m_dumpIndent = 0;
        const OtherBudget budget(m_budget, CapitalOfDump());
        // Behind the section's end a code reads 0, which closes a level.
        bool goesOn = true;
        do {
            goesOn = DumpOneDIE(*unit);
        } while (goesOn && withChildren && m_dumpIndent != 0);
        if (!goesOn) {
            PutText(*m_dumpStream, kDumpEnded);
        }
    } else {
        PutText(*m_dumpStream, "Invalid .debug_info offset: ") << hex8(offset);
    }
    *m_dumpStream << LineEnd << LineEnd;
    m_dumpIndent = indent;
}

bool Dwarf2File::DumpOneDIE(const CompileUnitInfo& unit)
{
    const u32 offset = m_debug_info.Pos();
    const u32 code = m_debug_info.Get32_ULEB128(4);
    if (code == 0) {
        CloseLevel();
        PrintOffsetPrefix(offset, false);
        PrintIndent(0);
        PutText(*m_dumpStream, "NULL");
        return true;
    }
    const AbbrevDecl* decl = FindAbbrevDecl(unit.abbrevOffset, code);
    if (decl == nullptr) {
        PutText(*m_dumpStream, "Invalid abbrev index: ") << dec(code);
        return true;
    }
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    PrintDIEHead(offset, decl);
    if (!DumpAttributes(unit, nullptr)) {
        return false;
    }
    if (decl->hasChildren != 0) {
        OpenLevel();
    }
    return true;
}

void Dwarf2File::DumpDIEInfoMap()
{
    if (m_dumpStream == nullptr) {
        return;
    }
    std::ostream& out = *m_dumpStream;
    PutText(out, "DIEInfoMap") << LineEnd;
    PutText(out, "Info Offset Abbr Index  Parent      Sibling     Child\n"
                 "----------  ----------  ----------  ----------  ----------\n");
    m_dieInfoMap.ForEach([&out](const DIEInfo& row) {
        out << hex8(row.infoOffset);
        for (const u32 field : {row.abbrIndex, row.parent, row.sibling, row.child}) {
            PutText(out, "  ") << hex8(field);
        }
        PutText(out, "\n");
    });
}
