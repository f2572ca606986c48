// The dump of all of `.debug_info`, unit by unit: each entry with its attributes, and under an
// attribute that holds a location its expression or list. It reads the section by itself, builds
// nothing and leaves no row behind.
//
// Entries may name one string, or one location list, any number of times; an attribute may have a
// form that takes no bytes; and an entry may reach behind the end of its unit, so that the next unit
// reads the same bytes again. A crafted file could so print text by the square of its size. All text
// that isn't paid for by new bytes of `.debug_info` is therefore paid from a budget of the dump's own, and
// the dump ends when that is spent.
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgUIConsole.h"
#include "interfaces/VFKDataString.h"
#include "interfaces/VFKFile.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace {

/// What is charged for a line without bytes of its own or a byte that is read again.
constexpr u64 kLineText = 64;
constexpr u32 kLongestPair = 10; ///< bytes of an attribute and a form without needless ones

bool HoldsLocation(u32 attribute)
{
    return attribute == AT_location || attribute == AT_data_member_location || attribute == AT_use_location ||
           attribute == AT_vtable_elem_location;
}

std::unique_ptr<ProgressIndicator> OpenDumpProgress(const std::string& path, u32 size)
{
    auto* engine = static_cast<DbgUserInterface*>(DbgEngineInterface::GetInterface(DbgEngineInterface::kUserInterface));
    if (engine == nullptr) {
        return nullptr;
    }
    std::string name;
    VFKFile::GetFilename(path, name, true, false);
    return std::unique_ptr<ProgressIndicator>(engine->OpenProgress("Dumping DWARF2", name.c_str(), 0, size, 0, true));
}

} // namespace

bool Dwarf2File::SpendOnExpression(u32 size, std::size_t printed)
{
    constexpr u32 kBytesOfCharacter = 16; // bytes are copied much faster than text is made
    return m_budget.Spend(printed + size / kBytesOfCharacter + kLineText, Budget::kBytePrinted);
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

void Dwarf2File::DumpWholeFile()
{
    if (m_abbrListMap.empty()) {
        ReadAbbrevTables();
    }
    Seek(m_debug_info, 0);
    const OtherBudget budget(m_budget, CapitalOfDump());
    const std::unique_ptr<ProgressIndicator> indicator = OpenDumpProgress(m_elf.GetPath(), m_debug_info.Size());
    std::string_view ending;
    while (!AtEnd(m_debug_info) && ending.empty()) {
        if (!DumpUnit()) {
            ending = kDumpEnded;
        }
        if (indicator != nullptr) {
            indicator->SetPosition(m_debug_info.Pos());
            if (indicator->WasCancelled()) {
                ending = "User canceled dump...";
            }
        }
    }
    if (!ending.empty() && m_dumpStream != nullptr) {
        PutText(*m_dumpStream, ending) << LineEnd;
    }
}

bool Dwarf2File::DumpUnit()
{
    CompileUnitInfo unit;
    ReadHeaderFields(unit);
    PrintCompileUnitHeader(unit);
    const u32 start = m_debug_info.Pos();
    const u32 end = unit.End();
    bool goesOn = true;
    while (goesOn && HasEntry(unit)) {
        goesOn = DumpEntry(unit);
    }
    // What was read behind the unit's end is read again as the next unit.
    if (const u32 behind = std::max(start, end); m_debug_info.Pos() > behind) {
        goesOn = m_budget.Spend(kLineText * (m_debug_info.Pos() - behind), Budget::kBytePrinted) && goesOn;
    }
    Seek(m_debug_info, unit.EndWraps() ? kNone : end); // a sum that wraps would lead back
    return goesOn;
}

bool Dwarf2File::DumpEntry(const CompileUnitInfo& unit)
{
    DIEInfo die;
    die.infoOffset = m_debug_info.Pos();
    die.abbrIndex = m_debug_info.Get32_ULEB128(4);
    if (die.abbrIndex == 0) {
        CloseLevel();
        PrintOffsetPrefix(die.infoOffset, false);
        PrintIndent(0);
        if (m_dumpStream != nullptr) {
            PutText(*m_dumpStream, "}");
        }
        return true;
    }
    const AbbrevDecl* decl = FindAbbrevDecl(unit.abbrevOffset, die.abbrIndex);
    if (decl == nullptr) {
        return true; // the next byte is read as an entry
    }
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    PrintDIEHead(die.infoOffset, decl);
    if (!DumpAttributes(unit, &die)) {
        return false;
    }
    if (decl->hasChildren != 0) {
        OpenLevel();
    }
    return true;
}

bool Dwarf2File::DumpAttributes(const CompileUnitInfo& unit, const DIEInfo* die)
{
    u32 attribute = 0;
    u32 form = 0;
    do {
        const u32 pair = m_debug_abbrev.Pos();
        ReadAttrSpec(attribute, form, false);
        const u32 padding = m_debug_abbrev.Pos() - pair;
        if (attribute != 0 || form != 0) {
            PrintAttributeHead(attribute);
        }
        const u32 start = m_debug_info.Pos();
        AttrValue value;
        ReadAttrValue(&unit, form, true, &value, true, true);
        const u32 bytesRead = m_debug_info.Pos() - start;
        if (die != nullptr && HoldsLocation(attribute)) {
            PrintLocation(unit, *die, value, bytesRead);
        }
        u64 repeated = bytesRead == 0 && form != 0 ? kLineText : 0;
        if (value.data != nullptr && LiesIn(m_debug_str, value.data)) {
            repeated += std::strlen(value.Text());
        }
        if (padding > kLongestPair) { // numbers of as many bytes as the file likes, read for each entry
            repeated += padding;
        }
        if (!m_budget.Spend(repeated, Budget::kBytePrinted)) {
            return false;
        }
    } while (attribute != 0 && form != 0 && !AtEnd(m_debug_abbrev));
    return true;
}

void Dwarf2File::PrintLocation(const CompileUnitInfo& unit, const DIEInfo& die, const AttrValue& value, u32 bytesRead)
{
    if (value.data == nullptr) {
        DumpLocationList(&unit, &die, value.value, LittleEndian());
        return;
    }
    // A form that delivers text gives no length: such a block reaches to the end of its section.
    const auto length = static_cast<u32>(BlockBytes(value).size());
    if (m_dumpStream == nullptr) {
        return;
    }
    PutText(*m_dumpStream, "\n            ");
    PrintIndent(1);
    const std::size_t printed = PrintExpression(VFKDataString(LittleEndian(), LittleEndian(), value.data, length));
    if (length > bytesRead) {
        SpendOnExpression(length, printed);
    }
}
