// Dumps of `.debug_info`: all of it, unit by unit, each entry with its attributes, and under an attribute that holds a
// location its expression or list; or one entry, alone or with all below it. They read the section by themselves, build
// nothing and leave no rows.
//
// Entries may name one string, or one location list, any number of times; an attribute may have a form that takes no
// bytes; and an entry may reach past the end of its unit, so that the next unit reads the same bytes again. In this way
// a crafted file could print text by the square of its size. So all text that isn't paid for by new bytes of
// `.debug_info` is charged to a budget of the dump's own, and the dump ends when that is spent.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "console/LocationText.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/EntrySteps.h"
#include "interfaces/DbgUIConsole.h"
#include "interfaces/VFKFile.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace {

/// The charge for a line without bytes of its own, or a byte that is read again.
constexpr u64 kLineText = 64;
constexpr u32 kLongestPair = 10; ///< the most bytes of an attribute and a form without padding

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

/// An operation returns false when the dump's budget is spent: the dump ends.
class Dwarf2File::InfoDump {
public:
    /// @param whole shows the locations, and doesn't report codes without a declaration.
    InfoDump(Dwarf2File& file, bool whole)
        : m_file(file)
        , m_info(file.m_debug_info)
        , m_out(*file.m_dumpStream)
        , m_whole(whole)
        , m_budget(file.m_budget, file.CapitalOfDump())
    {
    }

    void DumpWhole();
    void DumpDIE(const CompileUnitInfo& unit, bool withChildren);

private:
    bool DumpUnit();
    bool DumpEntry(const CompileUnitInfo& unit);
    bool DumpAttributes(const CompileUnitInfo& unit, const DIEInfo& die);
    /// Prints the line of an attribute with a name, and a number of fixed width or a text, in as few pieces as
    /// possible: nearly all are of that kind. False, with nothing read, for any other.
    bool DumpPlainAttribute(const CompileUnitInfo& unit, const AttrSpec& spec, AttrValue& value);
    void PrintLocation(const CompileUnitInfo& unit, const DIEInfo& die, const AttrValue& value, u32 bytesRead);
    void PrintList(const CompileUnitInfo& unit, const DIEInfo& die, u32 listOffset);
    void OpenLocationLine();
    bool Spend(u64 bytes) { return m_file.m_budget.Spend(bytes, Budget::kBytePrinted); }
    bool SpendOnExpression(u32 size, std::size_t printed);

    Dwarf2File& m_file;
    VFKDataBuf& m_info;
    std::ostream& m_out;
    bool m_whole;
    OtherBudget m_budget;
};

void Dwarf2File::InfoDump::DumpWhole()
{
    const std::unique_ptr<ProgressIndicator> indicator = OpenDumpProgress(m_file.m_elf.GetPath(), m_info.Size());
    std::string_view ending;
    while (!AtEnd(m_info) && ending.empty()) {
        if (!DumpUnit()) {
            ending = kDumpEnded;
        }
        if (indicator != nullptr) {
            indicator->SetPosition(m_info.Pos());
            if (indicator->WasCancelled()) {
                ending = "User canceled dump...";
            }
        }
    }
    if (!ending.empty()) {
        PutText(m_out, ending) << LineEnd;
    }
}

bool Dwarf2File::InfoDump::DumpUnit()
{
    CompileUnitInfo unit;
    m_file.ReadHeaderFields(unit);
    m_file.PrintCompileUnitHeader(unit);
    const u32 start = m_info.Pos();
    const u32 end = unit.End();
    bool goesOn = true;
    while (goesOn && m_file.HasEntry(unit)) {
        goesOn = DumpEntry(unit);
    }
    // What was read past the unit's end is read again as the next unit.
    if (const u32 behind = std::max(start, end); m_info.Pos() > behind) {
        goesOn = Spend(kLineText * (m_info.Pos() - behind)) && goesOn;
    }
    Seek(m_info, unit.EndWraps() ? kNone : end); // a sum that wraps would lead back
    return goesOn;
}

void Dwarf2File::InfoDump::DumpDIE(const CompileUnitInfo& unit, bool withChildren)
{
    m_file.m_dumpIndent = 0;
    // At the section's end a code reads 0, which closes a level.
    bool goesOn = true;
    do {
        goesOn = DumpEntry(unit);
    } while (goesOn && withChildren && m_file.m_dumpIndent != 0);
    if (!goesOn) {
        PutText(m_out, kDumpEnded);
    }
}

bool Dwarf2File::InfoDump::DumpEntry(const CompileUnitInfo& unit)
{
    DieRow row; // one of its own: a dump leaves the rows alone
    const DIEInfo die(m_info.Pos(), row, nullptr);
    const u32 code = m_info.Get32_ULEB128(4);
    if (code == 0) {
        m_file.CloseLevel();
        m_file.PrintOffsetPrefix(die.infoOffset, false);
        m_file.PrintIndent(0);
        PutText(m_out, m_whole ? "}" : "NULL");
        return true;
    }
    const AbbrevDecl* decl = m_file.FindAbbrevDecl(unit.abbrevOffset, code);
    if (decl == nullptr) { // the next byte is read as an entry
        if (!m_whole) {
            PutText(m_out, "Invalid abbrev index: ") << dec(code);
        }
        return true;
    }
    Seek(m_file.m_debug_abbrev, decl->offset + decl->headerSize);
    m_file.PrintDIEHead(die.infoOffset, decl);
    if (!DumpAttributes(unit, die)) {
        return false;
    }
    if (decl->hasChildren != 0) {
        m_file.OpenLevel();
    }
    return true;
}

bool Dwarf2File::InfoDump::DumpAttributes(const CompileUnitInfo& unit, const DIEInfo& die)
{
    VFKDataBuf& pairs = m_file.m_debug_abbrev;
    AttrSpec spec{};
    do {
        const u32 pair = pairs.Pos();
        spec = m_file.ReadAttrSpec(false);
        const auto [attribute, form, width, before] = spec;
        const u32 padding = pairs.Pos() - pair;
        const u32 start = m_info.Pos();
        AttrValue value;
        if (!DumpPlainAttribute(unit, spec, value)) {
            if (attribute != 0 || form != 0) {
                m_file.PrintAttributeHead(attribute);
            }
            m_file.ReadAttrValue(&unit, form, true, &value, true, true);
        }
        const u32 bytesRead = m_info.Pos() - start;
        if (m_whole && HoldsLocation(attribute)) {
            PrintLocation(unit, die, value, bytesRead);
        }
        u64 repeated = bytesRead == 0 && form != 0 ? kLineText : 0;
        if (value.data != nullptr && LiesIn(m_file.m_debug_str, value.data)) {
            repeated += value.textLength;
        }
        if (padding > kLongestPair) { // numbers may have any number of bytes, read for each entry
            repeated += padding;
        }
        if (!Spend(repeated)) {
            return false;
        }
    } while (spec.attribute != 0 && spec.form != 0 && !AtEnd(pairs));
    return true;
}

bool Dwarf2File::InfoDump::DumpPlainAttribute(const CompileUnitInfo& unit, const AttrSpec& spec, AttrValue& value)
{
    const PaddedText& name = AttributeName(spec.attribute);
    const u32 width = WidthOf(LayoutOf(spec.form));
    const u32 digits = width == 8 ? 0 : 2 * width; // a number of 8 bytes isn't printed
    const bool isText = spec.form == FORM_strp || spec.form == FORM_string;
    if (name.size == 0 || (digits == 0 && !isText) || m_out.width() != 0) {
        return false;
    }
    const u32 start = m_info.Pos();
    m_file.DecodeStored(&unit, spec.form, value);
    if (isText && value.data == nullptr) {
        Seek(m_info, start);
        return false;
    }
    LineText line;
    line.AddPrefix(start, false);
    line.AddTabs(static_cast<u32>(m_file.m_dumpIndent));
    line.Add(name);
    if (isText) {
        const std::string_view text(value.Text());
        value.textLength = static_cast<u32>(text.size());
        line.Add("(\"");
        PutText(PutText(PutText(m_out, line.View()), text), "\")");
    } else {
        line.AddValue(value.value, digits);
        if (IsReference(spec.form)) {
            value.value += unit.offset;
            if (unit.offset != 0) {
                line.Add(" ");
                line.AddValue(value.value, 8);
                line.Add(")");
            }
        }
        line.Add(")");
        PutText(m_out, line.View());
    }
    SetHexState(m_out);
    return true;
}

void Dwarf2File::InfoDump::PrintLocation(const CompileUnitInfo& unit, const DIEInfo& die, const AttrValue& value,
                                         u32 bytesRead)
{
    if (value.data == nullptr) {
        PrintList(unit, die, value.value);
        return;
    }
    // A text form gives no length: as a block it reaches to the end of its section.
    const auto length = static_cast<u32>(m_file.BlockBytes(value).size());
    const bool littleEndian = m_file.LittleEndian();
    OpenLocationLine();
    const std::size_t printed = PrintExpression(m_out, VFKDataString(littleEndian, littleEndian, value.data, length));
    if (length > bytesRead) {
        SpendOnExpression(length, printed);
    }
}

void Dwarf2File::InfoDump::PrintList(const CompileUnitInfo& unit, const DIEInfo& die, u32 listOffset)
{
    VFKDataBuf& section = m_file.m_debug_loc;
    m_file.ReadLateSection(section, ".debug_loc", true);
    if (section.Size() == 0) {
        return;
    }
    const SavedCursor saved(section);
    Seek(section, listOffset);
    const bool littleEndian = m_file.LittleEndian();
    while (!AtEnd(section)) {
        const u32 begin = section.Get32();
        const u32 end = section.Get32();
        if (begin == 0 && end == 0) {
            break;
        }
        VFKDataString expression = TakeBlock(section, section.Get16(), littleEndian, littleEndian);
        m_file.PrepareExpression(&unit, die, &expression);
        OpenLocationLine();
        PutText(m_out << hex8(begin), "-");
        PutText(m_out << hex8(end), ": ");
        // Any number of attributes may name one list.
        if (!SpendOnExpression(expression.Size(), PrintExpression(m_out, expression))) {
            break;
        }
    }
}

void Dwarf2File::InfoDump::OpenLocationLine()
{
    PutText(m_out, "\n            ");
    m_file.PrintIndent(1);
}

bool Dwarf2File::InfoDump::SpendOnExpression(u32 size, std::size_t printed)
{
    constexpr u32 kBytesOfCharacter = 16; // bytes are copied much faster than text is made
    return Spend(printed + size / kBytesOfCharacter + kLineText);
}

void Dwarf2File::DumpWholeFile()
{
    if (m_abbrListMap.empty()) {
        ReadAbbrevTables();
    }
    Seek(m_debug_info, 0);
    InfoDump(*this, true).DumpWhole();
}

void Dwarf2File::DumpDIE(u32 offset, bool withChildren)
{
    const SavedCursor info(m_debug_info);
    const SavedCursor abbrev(m_debug_abbrev);
    const i32 indent = m_dumpIndent;
    if (const CompileUnitInfo* unit = FindCompileUnit(offset)) {
        Seek(m_debug_info, offset);
        InfoDump(*this, false).DumpDIE(*unit, withChildren);
    } else {
        PutText(*m_dumpStream, "Invalid .debug_info offset: ") << hex8(offset);
    }
    *m_dumpStream << LineEnd << LineEnd;
    m_dumpIndent = indent;
}
