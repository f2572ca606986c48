// The printers that open the lines of every DWARF listing: offset and indent, the head of an entry,
// the head of a unit. The readers use them as they read, the dumps too.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "image/Dwarf2File.h"

#include <ios>
#include <limits>
#include <ostream>
#include <string_view>

namespace {

/// Without a limit a file of nested entries that never close would print tabs by the square of its size. No compiler
/// nests scopes as deep as LineText::kMaxTabs; deeper entries are printed at that column, and their levels are still
/// counted.
void AddIndent(LineText& line, i32 indent, u32 extra)
{
    line.AddTabs(u64{static_cast<u32>(indent)} + extra);
}

} // namespace

void Dwarf2File::PrintOffsetPrefix(u32 offset, bool blankLine)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    LineText line;
    line.AddPrefix(offset, blankLine);
    PutText(*m_dumpStream, line.View());
    SetHexState(*m_dumpStream);
}

void Dwarf2File::PrintIndent(u32 extra)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    LineText line;
    AddIndent(line, m_dumpIndent, extra);
    PutText(*m_dumpStream, line.View());
}

void Dwarf2File::PrintAttributeHead(u32 attribute)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    const PaddedText& name = AttributeName(attribute);
    LineText line;
    line.AddPrefix(m_debug_info.Pos(), false);
    AddIndent(line, m_dumpIndent, 0);
    line.Add(name);
    PutText(*m_dumpStream, line.View());
    SetHexState(*m_dumpStream);
    if (name.size == 0) {
        PrintAttributeName(*m_dumpStream, attribute);
    }
}

void Dwarf2File::PrintDIEHead(u32 offset, const AbbrevDecl* decl)
{
    if (m_dumpStream == nullptr || decl == nullptr) {
        return;
    }
    const PaddedText& name = TagName(decl->tag);
    LineText line;
    line.AddPrefix(offset, true);
    AddIndent(line, m_dumpIndent, 0);
    line.Add(name);
    if (name.size == 0) {
        PutText(*m_dumpStream, line.View());
        PrintTagName(*m_dumpStream, decl->tag);
        line.Clear();
    }
    line.Add(" (");
    line.AddDec(decl->code);
    line.Add(decl->hasChildren != 0 ? "){" : ")");
    PutText(*m_dumpStream, line.View());
    SetHexState(*m_dumpStream);
    m_dumpStream->setf(std::ios_base::dec, std::ios_base::basefield);
}

void Dwarf2File::PrintCompileUnitHeader(const CompileUnitInfo& unit)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    PrintOffsetPrefix(unit.offset, true);
    std::ostream& out = PutText(*m_dumpStream, "CU(") << hex8(unit.unitLength);
    PutText(out, ", ") << hex4(unit.version);
    PutText(out, ",  ") << hex8(unit.abbrevOffset);
    PutText(out, ",  ") << hex2(unit.addressSize);
    PutText(out, ")");
}

void Dwarf2File::OpenLevel()
{
    if (m_dumpIndent < std::numeric_limits<i32>::max()) {
        ++m_dumpIndent;
    }
}

void Dwarf2File::CloseLevel()
{
    if (m_dumpIndent > 0) {
        --m_dumpIndent;
    }
}
