// The printers that open the lines of every DWARF listing: offset and indent, the head of an entry,
// the head of a unit. The readers use them as they read, the dumps too.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "image/Dwarf2File.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>
#include <string_view>

namespace {

/// The deepest indent that is printed. Without a limit a file of nested entries that never close
/// would print tabs by the square of its size. No compiler nests scopes this deep; deeper entries
/// stand at this column, and their levels go on being counted.
constexpr std::size_t kMaxTabs = 256;

constexpr std::array<char, kMaxTabs> MakeTabs()
{
    std::array<char, kMaxTabs> tabs{};
    for (char& tab : tabs) {
        tab = '\t';
    }
    return tabs;
}
constexpr std::array<char, kMaxTabs> kTabs = MakeTabs();

} // namespace

void Dwarf2File::PrintOffsetPrefix(u32 offset, bool blankLine)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    char text[] = "\n\n0x00000000: ";
    constexpr std::size_t kSize = sizeof text - 1;
    WriteHex8(text + 4, offset);
    const std::size_t first = blankLine ? 0 : 1;
    PutText(*m_dumpStream, {text + first, kSize - first});
    SetHexState(*m_dumpStream);
}

void Dwarf2File::PrintIndent(u32 extra)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    const u64 level = u64{static_cast<u32>(m_dumpIndent)} + extra;
    PutText(*m_dumpStream, {kTabs.data(), static_cast<std::size_t>(std::min<u64>(level, kMaxTabs))});
}

void Dwarf2File::PrintDIEHead(u32 offset, const AbbrevDecl* decl)
{
    if (m_dumpStream == nullptr || decl == nullptr) {
        return;
    }
    PrintOffsetPrefix(offset, true);
    PrintIndent(0);
    PutText(PrintTagName(*m_dumpStream, decl->tag), " (") << dec(decl->code);
    PutText(*m_dumpStream, decl->hasChildren != 0 ? "){" : ")");
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
