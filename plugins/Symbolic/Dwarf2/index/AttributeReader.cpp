// Reads attribute pairs and the values of all forms of DWARF 2.0 (7.5.4), and prints them while a dump runs. Dumping
// and loading share this code; without a stream it prints nothing and reads the same bytes.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DwarfCodes.h"

#include <algorithm>
#include <ostream>
#include <string_view>

namespace {

void PrintText(std::ostream& stream, AttrValue& value)
{
    const std::string_view shown(value.Text());
    value.textLength = static_cast<u32>(shown.size());
    PrintQuotedText(stream, shown);
}

} // namespace

AttrSpec Dwarf2File::ReadAttrSpec(bool dump)
{
    const u32 attribute = m_debug_abbrev.Get32_ULEB128(4);
    const u32 form = m_debug_abbrev.Get32_ULEB128(4);
    if (dump && m_dumpStream != nullptr && (attribute != 0 || form != 0)) {
        PrintOffsetPrefix(m_debug_info.Pos(), false);
        PrintIndent(0);
        PrintAttributeName(*m_dumpStream, attribute);
    }
    return {attribute, form < kFormLayouts.size() ? static_cast<u8>(form) : AttrSpec::kNoForm, 0, 0};
}

inline void Dwarf2File::ReadStrp(AttrValue& value)
{
    const u32 start = m_debug_info.Pos();
    value.value = m_debug_info.Get32();
    Seek(m_debug_str, value.value);
    const char* text = nullptr;
    if (!AtEnd(m_debug_str)) {
        // The cursor stays at the text: nobody reads on from here.
        text = reinterpret_cast<const char*>(m_debug_str.Cursor());
    } else {
        // An offset outside the section: the attribute counts as an inline string.
        Seek(m_debug_info, start);
        text = m_debug_info.GetCStr();
    }
    value.data = reinterpret_cast<const u8*>(text);
}

const AttrValue* AttrReader::operator()()
{
    m_taken = true;
    if (!m_quick) {
        return m_file.ReadAttrValue(m_entry.unit, m_spec.form, m_entry.printed, &m_value, true, true) ? &m_value
                                                                                                      : nullptr;
    }
    VFKDataBuf& info = m_file.m_debug_info;
    switch (m_spec.width) { // first what nearly all attributes have
    case 1:
        m_value.value = info.Get8();
        break;
    case 2:
        m_value.value = info.Get16();
        break;
    case 4:
        m_value.value = info.Get32();
        break;
    default:
        if (m_spec.form == FORM_strp) {
            m_file.ReadStrp(m_value);
            return &m_value;
        }
        if (!m_file.DecodeStored(m_entry.unit, m_spec.form, m_value)) {
            return nullptr;
        }
        break;
    }
    if (IsReference(m_spec.form)) {
        m_value.value += m_entry.unit->offset;
    }
    return &m_value;
}

bool Dwarf2File::ReadAttrValue(const CompileUnitInfo* unit, u32 form, bool dump, AttrValue* out, bool makeAbsolute,
                               bool parenthesise)
{
    std::ostream* stream = dump ? m_dumpStream : nullptr;
    if (form == 0) {
        return false;
    }
    if (stream == nullptr && out == nullptr) {
        return StepOverValue(unit, form, dump);
    }
    if (stream == nullptr && form != FORM_indirect) {
        *out = {};
        return DecodeValue(unit, form, makeAbsolute, *out, nullptr);
    }
    const bool parentheses = stream != nullptr && parenthesise;
    if (parentheses) {
        PutChar(*stream, '(');
    }
    // The form of an indirect value precedes it, and may be indirect again: a loop, since a file can have any number of
    // them in a row. At the end of the section a form reads 0.
    u32 realForm = form;
    u32 closingForm = form;
    for (u32 depth = 0; realForm == FORM_indirect; ++depth) {
        realForm = m_debug_info.Get32_ULEB128(4);
        makeAbsolute = true;
        if (depth == 0) {
            closingForm = realForm;
        }
        if (stream != nullptr) {
            PrintFormName(*stream, realForm) << ' ';
        }
    }
    AttrValue value;
    const bool read = realForm != 0 && DecodeValue(unit, realForm, makeAbsolute, value, stream);
    if (out != nullptr) {
        *out = value;
    }
    // An indirect value counts as read, whatever its inner form returned.
    if (parentheses && closingForm != 0) {
        PutChar(*stream, ')');
    }
    return read || form == FORM_indirect;
}

bool Dwarf2File::DecodeValue(const CompileUnitInfo* unit, u32 form, bool makeAbsolute, AttrValue& value,
                             std::ostream* stream)
{
    if (!DecodeStored(unit, form, value)) {
        return false;
    }
    if (stream != nullptr) {
        PrintStored(*stream, form, value);
    }
    if (IsReference(form) && makeAbsolute) {
        value.value += unit->offset;
    }
    if (stream != nullptr && IsReference(form) && unit->offset != 0) {
        *stream << " (" << hex8(value.value) << ')';
    }
    return true;
}

bool Dwarf2File::DecodeStored(const CompileUnitInfo* unit, u32 form, AttrValue& value)
{
    switch (LayoutOf(form)) {
    case FormLayout::Nothing:
    case FormLayout::Indirect: // followed to its end by the caller
        break;
    case FormLayout::Address:
        if (unit->addressSize != 4) {
            m_debug_info.Skip(unit->addressSize);
            return false;
        }
        value.value = m_debug_info.Get32();
        break;
    case FormLayout::One:
        value.value = m_debug_info.Get8();
        break;
    case FormLayout::Two:
        value.value = m_debug_info.Get16();
        break;
    case FormLayout::Four:
        value.value = m_debug_info.Get32();
        break;
    case FormLayout::Eight:
        value.value64 = m_debug_info.Get64();
        break;
    case FormLayout::Signed:
        value.value = static_cast<u32>(m_debug_info.Get32_SLEB128(4));
        break;
    case FormLayout::Unsigned:
        value.value = m_debug_info.Get32_ULEB128(4);
        break;
    case FormLayout::Block1:
    case FormLayout::Block2:
    case FormLayout::Block4:
    case FormLayout::BlockLeb:
        value.value = ReadBlockLength(LayoutOf(form));
        value.data = m_debug_info.GetDataBlock(value.value);
        break;
    case FormLayout::Text:
        value.data = reinterpret_cast<const u8*>(m_debug_info.GetCStr());
        break;
    case FormLayout::TextOffset:
        ReadStrp(value);
        break;
    }
    return true;
}

void Dwarf2File::PrintStored(std::ostream& stream, u32 form, AttrValue& value)
{
    switch (LayoutOf(form)) {
    case FormLayout::Nothing:
    case FormLayout::Indirect:
    case FormLayout::Eight:
        break;
    case FormLayout::One:
        stream << hex2(value.value);
        break;
    case FormLayout::Two:
        stream << hex4(value.value);
        break;
    case FormLayout::Address:
    case FormLayout::Four:
    case FormLayout::Signed:
    case FormLayout::Unsigned:
        stream << hex8(value.value);
        break;
    case FormLayout::Block1:
    case FormLayout::Block2:
    case FormLayout::Block4:
    case FormLayout::BlockLeb: {
        const u32 left = static_cast<u32>(m_debug_info.End() - value.data);
        PrintBlockBytes(stream, value.data, std::min(value.value, left));
        break;
    }
    case FormLayout::Text:
        if (value.data == nullptr) {
            stream << "ERROR NULL!!!";
        } else {
            PrintText(stream, value);
        }
        break;
    case FormLayout::TextOffset:
        if (value.data == nullptr) {
            stream << hex8(value.value);
        } else {
            PrintText(stream, value);
        }
        break;
    }
}

bool Dwarf2File::StepOverValue(const CompileUnitInfo* unit, u32 form, bool readsStrings)
{
    const bool indirect = form == FORM_indirect;
    while (form == FORM_indirect) {
        form = m_debug_info.Get32_ULEB128(4);
    }
    switch (LayoutOf(form)) {
    case FormLayout::Nothing:
    case FormLayout::Indirect:
        break;
    case FormLayout::Address:
        m_debug_info.Skip(unit->addressSize);
        return indirect || unit->addressSize == 4;
    case FormLayout::One:
        m_debug_info.Skip(1);
        break;
    case FormLayout::Two:
        m_debug_info.Skip(2);
        break;
    case FormLayout::Four:
        m_debug_info.Skip(4);
        break;
    case FormLayout::Eight:
        m_debug_info.Skip(8);
        break;
    case FormLayout::Signed:
    case FormLayout::Unsigned:
        SkipLEB128();
        break;
    case FormLayout::Block1:
    case FormLayout::Block2:
    case FormLayout::Block4:
    case FormLayout::BlockLeb:
        m_debug_info.Skip(ReadBlockLength(LayoutOf(form)));
        break;
    case FormLayout::Text:
        m_debug_info.GetCStr();
        break;
    case FormLayout::TextOffset:
        // A reader that prints in a dump takes an offset outside `.debug_str` for an inline string, even while no dump
        // runs; one that never prints takes the four bytes.
        if (readsStrings) {
            AttrValue dropped;
            ReadStrp(dropped);
        } else {
            m_debug_info.Skip(4);
        }
        break;
    }
    return true;
}

u32 Dwarf2File::ReadBlockLength(FormLayout layout)
{
    switch (layout) {
    case FormLayout::Block1:
        return m_debug_info.Get8();
    case FormLayout::Block2:
        return m_debug_info.Get16();
    case FormLayout::Block4:
        return m_debug_info.Get32();
    default:
        return m_debug_info.Get32_ULEB128(4);
    }
}

void Dwarf2File::SkipLEB128()
{
    while (!AtEnd(m_debug_info) && m_debug_info.Get8() >= 0x80) {
    }
}

std::string_view Dwarf2File::BlockBytes(const AttrValue& block) const
{
    // A text can be taken as a block too, in the section that holds it.
    const VFKDataBuf& section = LiesIn(m_debug_str, block.data) ? m_debug_str : m_debug_info;
    const u32 left = static_cast<u32>(section.End() - block.data);
    return {block.Text(), std::min(block.value, left)};
}
