// The forms: what each reads, steps over and prints, and the loop that reads the attributes of a DIE.
#include "index/AttrValue.h"
#include "index/AttributeLoop.h"
#include "index/CompileUnitInfo.h"
#include "index/Cursor.h"
#include "index/DwarfCodes.h"
#include "tests/support/DwarfTest.h"

#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

/// What one form is expected to give, in a unit at offset 0x100.
struct FormCase {
    u32 form;
    std::function<void(ByteSection&)> write;
    u32 value;
    std::string printed;
    u64 value64 = 0;
    std::optional<std::string> data = {}; ///< bytes that `data` points at; none: `data` is null
};

constexpr u32 kUnit = 0x100;

std::vector<FormCase> FormCases()
{
    const std::string block("\x91\x08\xAF", 3);
    const std::string blockText = "(91 08 AF )";
    return {
        {FORM_addr, [](auto& s) { s.U32(0x12345678); }, 0x12345678, "(0x12345678)"},
        {FORM_block2, [=](auto& s) { s.U16(3).Raw(block); }, 3, blockText, 0, block},
        {FORM_block4, [=](auto& s) { s.U32(3).Raw(block); }, 3, blockText, 0, block},
        {FORM_data2, [](auto& s) { s.U16(0xFFFE); }, 0xFFFE, "(0xfffe)"},
        {FORM_data4, [](auto& s) { s.U32(0x89ABCDEF); }, 0x89ABCDEF, "(0x89abcdef)"},
        {FORM_data8, [](auto& s) { s.U64(0x0102030405060708); }, kNone, "()", 0x0102030405060708},
        {FORM_string, [](auto& s) { s.Text("text"); }, kNone, "(\"text\")", 0, "text"},
        {FORM_string, [](auto& s) { s.Text(""); }, kNone, "(\"\")", 0, ""},
        {FORM_block, [=](auto& s) { s.Uleb(3, 5).Raw(block); }, 3, blockText, 0, block},
        {FORM_block1, [=](auto& s) { s.U8(3).Raw(block); }, 3, blockText, 0, block},
        {FORM_block1, [](auto& s) { s.U8(0); }, 0, "()", 0, ""},
        {FORM_data1, [](auto& s) { s.U8(0xFF); }, 255, "(0xff)"},
        {FORM_flag, [](auto& s) { s.U8(1); }, 1, "(0x01)"},
        {FORM_sdata, [](auto& s) { s.Sleb(-1); }, kNone, "(0xffffffff)"},
        {FORM_sdata, [](auto& s) { s.Sleb(-129, 5); }, 0xFFFFFF7F, "(0xffffff7f)"},
        {FORM_strp, [](auto& s) { s.U32(2); }, 2, "(\"string\")", 0, "string"},
        {FORM_udata, [](auto& s) { s.Uleb(0x4080, 4); }, 0x4080, "(0x00004080)"},
        {FORM_ref_addr, [](auto& s) { s.U32(0x20); }, 0x20, "(0x00000020)"},
        {FORM_ref1, [](auto& s) { s.U8(0x20); }, 0x120, "(0x20 (0x00000120))"},
        {FORM_ref2, [](auto& s) { s.U16(0x20); }, 0x120, "(0x0020 (0x00000120))"},
        {FORM_ref4, [](auto& s) { s.U32(0x20); }, 0x120, "(0x00000020 (0x00000120))"},
        {FORM_ref4, [](auto& s) { s.U32(kNone); }, 0xFF, "(0xffffffff (0x000000ff))"},
        {FORM_ref8, [](auto& s) { s.U64(0x20); }, kNone, "()", 0x20},
        {FORM_ref_udata, [](auto& s) { s.Uleb(0x20, 2); }, 0x120, "(0x00000020 (0x00000120))"},
        {FORM_indirect, [](auto& s) { s.Uleb(FORM_ref4, 2).U32(0x20); }, 0x120, "(FORM_ref4 0x00000020 (0x00000120))"},
        {FORM_indirect, [](auto& s) { s.Uleb(FORM_indirect).Uleb(FORM_data1).U8(7); }, 7,
         "(FORM_indirect FORM_data1 0x07)"},
        // A form without a value leaves the parenthesis open.
        {FORM_indirect, [](auto& s) { s.Uleb(0); }, kNone, "(0 "},
        // Nested, the outermost one's real form decides, and that is indirect.
        {FORM_indirect, [](auto& s) { s.Uleb(FORM_indirect).Uleb(0); }, kNone, "(FORM_indirect 0 )"},
        // What DWARF 2.0 doesn't assign takes no room.
        {2, [](auto&) {}, kNone, "()"},
        {0x17, [](auto&) {}, kNone, "()"},
        {0xFFFFFFFF, [](auto&) {}, kNone, "()"}};
}

class AttributeReader : public DwarfTest {
protected:
    /// Opens a file whose unit at kUnit is a DIE with one attribute, and puts the cursors on it.
    void Place(u32 form, const std::function<void(ByteSection&)>& write, const UnitHeader& header = {})
    {
        Restart();
        dwarf.str.Text("x").Text("string");
        dwarf.PadTo(kUnit);
        dwarf.Unit(header).Spec(AT_name, form);
        m_start = dwarf.info.Size();
        write(dwarf.info);
        m_end = dwarf.info.Size();
        dwarf.info.U8(0x55); // so that the section doesn't end with the value
        Index(dwarf);
        m_unit = Probe::FindCompileUnit(File(), kUnit + 1);
        Rewind();
    }

    void Rewind() { Seek(Probe::m_debug_info(File()), m_start); }
    u32 Pos() { return Probe::m_debug_info(File()).Pos(); }

    bool Read(u32 form, AttrValue* out, bool dump = false, bool makeAbsolute = true, bool parenthesise = true)
    {
        Rewind();
        return Probe::ReadAttrValue(File(), m_unit, form, dump, out, makeAbsolute, parenthesise);
    }

    /// What is printed while a value is read.
    std::string Printed(u32 form, AttrValue* out, bool parenthesise = true)
    {
        std::ostringstream stream;
        Probe::m_dumpStream(File()) = &stream;
        Read(form, out, true, true, parenthesise);
        Probe::m_dumpStream(File()) = nullptr;
        return stream.str();
    }

    /// Runs the loop over the attributes of the unit's DIE.
    template <typename Handle>
    void Loop(Handle&& handle)
    {
        VFKDataBuf& info = Probe::m_debug_info(File());
        Seek(info, m_unit->FirstDie());
        const AbbrevDecl* decl = Probe::FindAbbrevDecl(File(), m_unit->abbrevOffset, info.Get32_ULEB128(4));
        Seek(Probe::m_debug_abbrev(File()), decl->offset + decl->headerSize);
        Probe::ForEachAttribute(File(), Entry{m_unit, DIEInfo(), decl}, handle);
        EXPECT_EQ(Probe::m_debug_abbrev(File()).Pos(), decl->pairsEnd);
    }

    const CompileUnitInfo* m_unit = nullptr;
    u32 m_start = 0;
    u32 m_end = 0;
};
BOTH_BYTE_ORDERS(AttributeReader);

void ExpectValue(const FormCase& expected, const AttrValue& value)
{
    EXPECT_EQ(value.value, expected.value);
    EXPECT_EQ(value.value64, expected.value64);
    ASSERT_EQ(value.data != nullptr, expected.data.has_value());
    if (expected.data) {
        EXPECT_EQ(std::string(value.Text(), expected.data->size()), *expected.data);
    }
}

TEST_P(AttributeReader, EveryFormReadsStepsAndPrintsAlike)
{
    for (const FormCase& form : FormCases()) {
        SCOPED_TRACE(form.printed + " of form " + std::to_string(form.form));
        Place(form.form, form.write);
        ASSERT_NE(m_unit, nullptr);
        AttrValue value;
        EXPECT_TRUE(Read(form.form, &value));
        ExpectValue(form, value);
        EXPECT_EQ(Pos(), m_end);

        // The fast path, and with `dump` but no stream.
        for (const bool dump : {false, true}) {
            EXPECT_TRUE(Read(form.form, nullptr, dump));
            EXPECT_EQ(Pos(), m_end);
        }

        Loop([&](u32, AttrReader& read) {
            const AttrValue* got = read();
            ASSERT_NE(got, nullptr);
            ExpectValue(form, *got);
        });
        EXPECT_EQ(Pos(), m_end);
        Loop([](u32, AttrReader&) {});
        EXPECT_EQ(Pos(), m_end);

        AttrValue printed;
        EXPECT_EQ(Printed(form.form, &printed), form.printed);
        ExpectValue(form, printed);
        EXPECT_EQ(Pos(), m_end);
        EXPECT_EQ(Printed(form.form, nullptr), form.printed);
        EXPECT_EQ(Pos(), m_end);
    }
}

TEST_P(AttributeReader, TheLoopPassesByWhatNobodyReads)
{
    // A few in front, more of them than can be stepped over in one go, and of a form that has to be read.
    for (const u32 count : {0u, 1u, 3u, 10'000u}) {
        Restart();
        dwarf.Unit().Attr(AT_decl_file, FORM_data2, 1);
        for (u32 i = 0; i < count; ++i) {
            dwarf.Attr(AT_decl_line, FORM_data8, i).Attr(AT_declaration, FORM_flag, 1);
        }
        dwarf.Attr(AT_decl_column, FORM_udata, 300).Attr(0x2007, FORM_string, "_Z1v").Attr(AT_type, FORM_ref4, 0x20);
        dwarf.Attr(AT_inline, FORM_data1, 1).Attr(AT_byte_size, FORM_data1, 7).Attr(AT_decl_line, FORM_data4, 9);
        dwarf.EndUnit();
        dwarf.Unit();
        Index(dwarf);
        m_unit = Probe::FindCompileUnit(File(), 11);
        std::vector<std::pair<u32, u32>> read;
        Loop([&](u32 attribute, AttrReader& reader) {
            if (attribute == AT_type || attribute == AT_byte_size) {
                read.emplace_back(attribute, reader()->value);
            }
        });
        EXPECT_EQ(read, (std::vector<std::pair<u32, u32>>{{AT_type, 0x20}, {AT_byte_size, 7}})) << count;
        EXPECT_EQ(Pos(), m_unit->End());
    }
}

TEST_P(AttributeReader, FormsAndReferencesThatAreNone)
{
    Place(0, [](ByteSection&) {});
    AttrValue value;
    value.value = 77;
    EXPECT_FALSE(Read(0, &value));
    EXPECT_EQ(value.value, 77u);
    EXPECT_EQ(Pos(), m_start);
    EXPECT_EQ(Printed(0, &value), "");

    Place(FORM_ref4, [](ByteSection& info) { info.U32(0x20); });
    Read(FORM_ref4, &value, false, false);
    EXPECT_EQ(value.value, 0x20u);
    Place(FORM_indirect, [](ByteSection& info) { info.Uleb(FORM_ref4).U32(0x20); });
    Read(FORM_indirect, &value, false, false);
    EXPECT_EQ(value.value, 0x120u) << "an indirect one is made absolute unasked";

    Restart();
    dwarf.Unit().Attr(AT_type, FORM_ref4, 0x20);
    Index(dwarf);
    m_unit = Probe::FindCompileUnit(File(), 11);
    m_start = 12;
    EXPECT_EQ(Printed(FORM_ref4, nullptr), "(0x00000020)") << "the first unit's show no absolute form";
    EXPECT_EQ(Printed(FORM_ref4, nullptr, false), "0x00000020");
}

TEST_P(AttributeReader, AStringOffsetOutsideTheSectionIsAnInlineString)
{
    // The offset of the section's end, and letters that as a number are far beyond it.
    for (const bool exact : {true, false}) {
        const auto write = [exact](ByteSection& info) { exact ? info.U32(9) : info.Raw("abcd").Text("efg"); };
        Place(FORM_strp, write);
        const std::string text = exact ? (GetParam() == ByteOrder::Little ? "\x09" : "") : "abcdefg";
        const u32 behind = m_start + static_cast<u32>(text.size()) + 1;
        AttrValue value;
        EXPECT_TRUE(Read(FORM_strp, &value));
        EXPECT_STREQ(value.Text(), text.c_str());
        EXPECT_EQ(Pos(), behind);
        EXPECT_EQ(Printed(FORM_strp, nullptr), "(\"" + text + "\")");
        EXPECT_EQ(Pos(), behind);
        // Silent, but a reader that would print: the same bytes.
        EXPECT_TRUE(Read(FORM_strp, nullptr, true));
        EXPECT_EQ(Pos(), behind);
        // The fast path doesn't look.
        EXPECT_TRUE(Read(FORM_strp, nullptr, false));
        EXPECT_EQ(Pos(), m_start + 4);
    }
}

} // namespace
