// Tests the macros of DWARF 2.0 that units of all versions get.
#include "convert/Macros.h"

#include "tests/convert/ElfImage.h"
#include "tests/support/ByteSection.h"

#include <dwarf.h>
#include <gtest/gtest.h>
#include <libelf.h>

#include <string>
#include <vector>

using namespace convert;

namespace {

class Macros : public testing::TestWithParam<ByteOrder> {
protected:
    Macros()
    {
        lines.files = {"/main.c", "/a.h"};
        lines.fileOfNumber = {0, 0, 1};
    }
    ~Macros() override { Close(); }

    ByteSection Section() const { return ByteSection(GetParam()); }

    /// Opens a file whose one unit has macros at an offset, by an attribute of a form.
    void Open(u16 version, u32 attribute, u32 form, u32 offset)
    {
        ByteSection abbrev = Section();
        abbrev.Uleb(1).Uleb(DW_TAG_compile_unit).U8(0).Uleb(attribute).Uleb(form);
        abbrev.Uleb(DW_AT_str_offsets_base).Uleb(DW_FORM_sec_offset).Raw({0, 0, 0});
        ByteSection info = Section();
        const u32 length = info.OpenLength();
        info.U16(version);
        if (version >= 5) {
            info.U8(DW_UT_compile).U8(4).U32(0);
        } else {
            info.U32(0).U8(4);
        }
        info.U8(1).U32(offset).U32(8).CloseLength(length);
        Close();
        m_image = ElfImage(GetParam(), {{".debug_info", info.Bytes()},
                                        {".debug_abbrev", abbrev.Bytes()},
                                        {".debug_macro", macro.Bytes()},
                                        {".debug_macinfo", macinfo.Bytes()},
                                        {".debug_str", std::string("text\0INDEXED 1\0STRP 2\0", 22)},
                                        {".debug_str_offsets", Section().U32(8).U16(5).U16(0).U32(5).Bytes()}});
        elf_version(EV_CURRENT);
        m_elf = elf_memory(m_image.data(), m_image.size());
        m_dwarf = dwarf_begin_elf(m_elf, DWARF_C_READ, nullptr);
        Dwarf_CU* cu = nullptr;
        ASSERT_EQ(dwarf_get_units(m_dwarf, nullptr, &cu, nullptr, nullptr, &unit, nullptr), 0);
    }

    /// A part of `.debug_macro` that can be imported by the offset that is returned.
    u32 Part(u16 version)
    {
        const u32 offset = macro.Size();
        macro.U16(version).U8(0); // 32-bit DWARF, no line table
        return offset;
    }

    static std::string TextOf(const MacroWriter& writer)
    {
        const ByteView bytes = writer.Section().View();
        return {bytes.data, bytes.data + bytes.size};
    }

    ByteSection macro{GetParam()};
    ByteSection macinfo{GetParam()};
    LineTable lines;
    Dwarf_Die unit = {};

private:
    void Close()
    {
        dwarf_end(m_dwarf);
        elf_end(m_elf);
    }

    std::string m_image;
    Elf* m_elf = nullptr;
    Dwarf* m_dwarf = nullptr;
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, Macros, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(Macros, PartsOfBothVersionsBecomeOneList)
{
    for (const u16 version : {u16{4}, u16{5}}) {
        macro = Section().U8(0xAA); // no part begins at 0
        const u32 imported = Part(version);
        macro.U8(DW_MACRO_define).Uleb(300).Text("A(x) x").U8(DW_MACRO_import).U32(imported);
        macro.U8(DW_MACRO_undef_strp).U8(3).U32(15).U8(0);
        const u32 start = Part(version);
        macro.U8(DW_MACRO_start_file).U8(0).U8(1).U8(DW_MACRO_start_file).U8(4).U8(2);
        macro.U8(DW_MACRO_import).U32(imported).U8(DW_MACRO_import).U32(imported).U8(DW_MACRO_end_file);
        macro.U8(DW_MACRO_start_file).U8(5).U8(9).U8(DW_MACRO_end_file).U8(DW_MACRO_end_file).U8(0);
        Open(version, version == 5 ? DW_AT_macros : DW_AT_GNU_macros, DW_FORM_sec_offset, start);

        ByteSection expected = Section();
        expected.Raw({3, 0, 1, 3, 4, 2});
        for (int i = 0; i < 2; ++i) {
            expected.U8(1).Uleb(300).Text("A(x) x").U8(2).U8(3).Text("STRP 2");
        }
        expected.Raw({4, 3, 5, 0, 4, 4, 0});
        MacroWriter writer(GetParam() == ByteOrder::Big);
        EXPECT_EQ(writer.Write(&unit, lines), 0u);
        EXPECT_EQ(TextOf(writer), expected.Bytes());
        EXPECT_EQ(writer.Write(&unit, lines), expected.Size()) << "each unit has its own";
    }
}

TEST_P(Macros, TextsByIndexAreThoseOfTheUnit)
{
    const u32 start = Part(5);
    macro.U8(DW_MACRO_define_strx).U8(1).U8(0).U8(DW_MACRO_undef_strx).U8(2).U8(77).U8(DW_MACRO_undef_strx).U8(3).U8(0);
    macro.U8(0);
    Open(5, DW_AT_macros, DW_FORM_sec_offset, start);
    MacroWriter writer(GetParam() == ByteOrder::Big);
    EXPECT_EQ(writer.Write(&unit, lines), 0u);
    EXPECT_EQ(TextOf(writer), Section().Raw({1, 1}).Text("INDEXED 1").Raw({2, 3}).Text("INDEXED 1").U8(0).Bytes());
}

TEST_P(Macros, OldMacrosStayWhatTheyAre)
{
    macinfo.Raw({3, 0, 2, 1, 0x81, 1}).Text("B").Raw({255, 7}).Text("vendor").Raw({4, 0, 1, 1}).Text("NEXT").U8(0);
    Open(2, DW_AT_macro_info, DW_FORM_data4, 0);
    MacroWriter writer(GetParam() == ByteOrder::Big);
    EXPECT_EQ(writer.Write(&unit, lines), 0u);
    EXPECT_EQ(TextOf(writer), macinfo.Bytes().substr(0, 19)) << "what follows is another unit's";
}

TEST_P(Macros, AUnitWithoutMacrosHasNone)
{
    const u32 start = Part(5);
    macro.U8(0);
    Open(5, DW_AT_macros, DW_FORM_sec_offset, start);
    MacroWriter writer(GetParam() == ByteOrder::Big);
    EXPECT_FALSE(writer.Write(&unit, lines));
    EXPECT_EQ(writer.UnitsLeftOut(), 0u);
}

TEST_P(Macros, ImportsOfImportsHaveABound)
{
    for (u32 level = 0; level < 40; ++level) { // each part twice in the one before it: 2^40 entries
        const u32 next = Part(5) + 14;
        macro.U8(DW_MACRO_import).U32(next).U8(DW_MACRO_import).U32(next).U8(0);
    }
    Part(5);
    macro.U8(0);
    Open(5, DW_AT_macros, DW_FORM_sec_offset, 0);
    MacroWriter writer(GetParam() == ByteOrder::Big);
    EXPECT_FALSE(writer.Write(&unit, lines));
    EXPECT_EQ(writer.UnitsLeftOut(), 1u);
    EXPECT_EQ(writer.Section().Size(), 0u);
}

} // namespace
