// The listings of abbreviations, entries and rows.
#include "tests/console/ConsoleTest.h"

#include "index/DIEInfo.h"

#include <algorithm>

namespace {

/// An attribute name in the column of the abbreviation listings.
std::string Column(std::string name)
{
    name.resize(30, ' ');
    return name;
}

class AbbrevDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(AbbrevDump);

TEST_P(AbbrevDump, RawAndParsed)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.abbrev.Raw({1, 0x11, 1, 0x03, 0x08, 0, 0});        // at 0
    dwarf.abbrev.Raw({2, 0x34, 0, 0x81, 0x40, 0x0b, 0, 0});  // at 7: a user attribute
    dwarf.abbrev.Raw({0x83, 1, 0x90, 0x81, 1, 16, 0x49, 0}); // at 15: user tag, odd byte, form 0
    dwarf.abbrev.Raw({4, 0x24, 17, 0, 0, 0});                // at 23: named tag, odd byte
    Open(dwarf);
    EXPECT_EQ(Dump("abbr"), "\n\n.debug_abbrev\n"
                            "\n\n0x00000000: [1] TAG_compile_unit CHILDREN_yes\n"
                            "\n0x00000003: " +
                                Column(" AT_name") +
                                "FORM_string"
                                "\n0x00000005: " +
                                Column(" 0") +
                                "0"
                                "\n\n0x00000007: [2] TAG_variable CHILDREN_no\n"
                                "\n0x0000000a: AT_user(0x2001)FORM_data1"
                                "\n0x0000000d: " +
                                Column(" 0") +
                                "0"
                                "\n\n0x0000000f: [131] TAG_??? (0x4090) CHILDREN_???10\n"
                                "\n0x00000015: " +
                                Column(" AT_type") +
                                "0"
                                "\n\n0x00000017: [4] TAG_base_type CHILDREN_???17\n"
                                "\n0x0000001a: " +
                                Column(" 0") +
                                "0"
                                "\n\n0x0000001c: [0]  (End of compile unit abbrev table)\n");

    EXPECT_EQ(Dump("abbr x"), "\n\n.debug_abbrev\n") << "nothing is parsed yet";
    Probe::ReadAbbrevTables(File());
    EXPECT_EQ(Dump("abbr x"), "\n\n.debug_abbrev\n"
                              "\n\n.debug_abbrev at 0x00000000\n"
                              "\n\n0x00000000: 1\n0x00000001: TAG_compile_unit\n0x00000002: CHILDREN_yes"
                              "\n0x00000003: " +
                                  Column(" AT_name") +
                                  "FORM_string"
                                  "\n0x00000005: " +
                                  Column(" 0") +
                                  "0"
                                  "\n\n0x00000007: 2\n0x00000008: TAG_variable\n0x00000009: CHILDREN_no"
                                  "\n0x0000000a: AT_user(0x2001)FORM_data1"
                                  "\n0x0000000d: " +
                                  Column(" 0") +
                                  "0"
                                  "\n\n0x0000000f: 131\n0x00000011: TAG_??? (0x4090)\n0x00000014: "
                                  "\n0x00000015: " +
                                  Column(" AT_type") +
                                  "0"
                                  "\n\n0x00000017: 4\n0x00000018: TAG_base_type\n0x00000019: "
                                  "\n0x0000001a: " +
                                  Column(" 0") +
                                  "0"
                                  "\n\n.debug_abbrev at 0x0000001d\n");
}

TEST_P(AbbrevDump, ASectionCutAnywhereEndsTheListing)
{
    ByteSection whole(GetParam());
    whole.Raw({1, 0x11, 1, 0x81, 0x40, 0x0b, 0x03, 0x08, 0, 0, 0});
    for (u32 size = 0; size < whole.Size(); ++size) {
        DwarfBuilder dwarf(GetParam());
        dwarf.abbrev.Raw(ByteSection(whole).Truncate(size));
        Open(dwarf);
        const std::string raw = Dump("abbr");
        EXPECT_EQ(raw == "\n\n.debug_abbrev\n", size == 0) << size;
        Probe::ReadAbbrevTables(File());
        const std::string parsed = Dump("abbr x");
        if (size == 8) { // right behind an attribute: the missing pair shows in the raw listing alone
            EXPECT_TRUE(raw.ends_with("\n0x00000008: " + Column(" 0") + "0")) << raw;
            EXPECT_TRUE(parsed.ends_with("\n0x00000006: " + Column(" AT_name") + "FORM_string")) << parsed;
        }
    }
}

class DieDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(DieDump);

TEST_P(DieDump, OneEntryOrItsWholeTree)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.PadTo(0x100);
    dwarf.Unit().Attr(AT_stmt_list, FORM_data4, 0x10).Children([&] {
        dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Die(TAG_lexical_block).Children([&] {
            dwarf.Die(TAG_variable).Ref(AT_type, "int").Attr(AT_location, FORM_block1, {0x91, 0x7c});
        });
        dwarf.Die(TAG_label);
    });
    const std::string base = "\n\n0x00000110: \tTAG_base_type (2)"
                             "\n0x00000111: \t AT_name(\"int\")"
                             "\n0x00000115: \t AT_byte_size(0x04)";
    Index(dwarf);
    EXPECT_EQ(Dump("DIE 0x10b"), "\n\n0x0000010b: TAG_compile_unit (1){"
                                 "\n0x0000010c:  AT_stmt_list(0x00000010)" +
                                     base +
                                     "\n\n0x00000116: \tTAG_lexical_block (3){"
                                     "\n\n0x00000117: \t\tTAG_variable (4)"
                                     "\n0x00000118: \t\t AT_type(0x00000010 (0x00000110))"
                                     "\n0x0000011c: \t\t AT_location(91 7C )"
                                     "\n0x0000011f: \tNULL"
                                     "\n\n0x00000120: \tTAG_label (5)"
                                     "\n0x00000121: NULL\n\n");
    EXPECT_EQ(Dump("die 0x10b"), "\n\n0x0000010b: TAG_compile_unit (1){"
                                 "\n0x0000010c:  AT_stmt_list(0x00000010)\n\n");
    EXPECT_EQ(Dump("DIE 0x120"), "\n\n0x00000120: TAG_label (5)\n\n") << "no children: the same as die";
    EXPECT_EQ(Dump("DIE 0x11f"), "\n0x0000011f: NULL\n\n");
}

TEST_P(DieDump, OffsetsInNoUnitAndCodesInNoTable)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Children([&] { dwarf.Entry(200).Entry(3); });
    const u32 unit = dwarf.UnitOffset() + 11;
    Open(dwarf);
    EXPECT_EQ(Dump("die 11"), "Invalid .debug_info offset: 0x0000000b\n\n") << "there is no index yet";
    File().BuildCompileUnitIndex();
    EXPECT_EQ(Dump("die 0"), "Invalid .debug_info offset: 0x00000000\n\n");
    EXPECT_EQ(Dump("DIE 0xffffffff"), "Invalid .debug_info offset: 0xffffffff\n\n");
    EXPECT_EQ(Dump("die " + std::to_string(unit + 1)), "Invalid abbrev index: 200\n\n");
    EXPECT_EQ(Dump("DIE " + std::to_string(unit)), "\n\n0x0000000b: TAG_compile_unit (1){"
                                                   "Invalid abbrev index: 200Invalid abbrev index: 3"
                                                   "\n0x0000000f: NULL\n\n");
}

TEST_P(DieDump, LeavesCursorsAndIndentAsTheyWere)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] { dwarf.Die(TAG_label); });
    Index(dwarf);
    Probe::m_debug_info(File()).SetPos(3);
    Probe::m_debug_abbrev(File()).SetPos(2);
    Probe::m_dumpIndent(File()) = 5;
    const std::string first = Dump("DIE 11");
    EXPECT_EQ(Dump("DIE 11"), first);
    EXPECT_EQ(Probe::m_debug_info(File()).Pos(), 3u);
    EXPECT_EQ(Probe::m_debug_abbrev(File()).Pos(), 2u);
    EXPECT_EQ(Probe::m_dumpIndent(File()), 5);
}

TEST_P(DieDump, LevelsThatStayOpenCloseAtTheSectionsEnd)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Header().Declare(1, TAG_lexical_block, true, {});
    dwarf.Entry(1).Entry(1).Entry(1).EndUnit();
    Index(dwarf);
    EXPECT_EQ(Dump("DIE 11"), "\n\n0x0000000b: TAG_lexical_block (1){"
                              "\n\n0x0000000c: \tTAG_lexical_block (1){"
                              "\n\n0x0000000d: \t\tTAG_lexical_block (1){"
                              "\n0x0000000e: \t\tNULL\n0x0000000e: \tNULL\n0x0000000e: NULL\n\n");
}

TEST_P(DieDump, ValuesInTheirForms)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit()
        .Attr(AT_low_pc, FORM_addr, 0x8000)
        .Attr(AT_const_value, FORM_data8, 1)
        .Attr(AT_name, FORM_strp, "strp")
        .Attr(AT_upper_bound, FORM_sdata, -1)
        .Attr(0x2007, FORM_flag, 1)
        .Spec(AT_comp_dir, 0x19)
        .Spec(AT_start_scope, FORM_indirect);
    dwarf.info.Uleb(FORM_data2).U16(0x1ff);
    dwarf.Spec(AT_producer, FORM_string); // at the section's end
    Index(dwarf);
    EXPECT_EQ(Dump("die 11"), "\n\n0x0000000b: TAG_compile_unit (1)"
                              "\n0x0000000c:  AT_low_pc(0x00008000)"
                              "\n0x00000010:  AT_const_value()"
                              "\n0x00000018:  AT_name(\"strp\")"
                              "\n0x0000001c:  AT_upper_bound(0xffffffff)"
                              "\n0x0000001d: AT_user(0x2007)(0x01)"
                              "\n0x0000001e:  AT_comp_dir()"
                              "\n0x0000001e:  AT_start_scope(FORM_data2 0x01ff)"
                              "\n0x00000021:  AT_producer(ERROR NULL!!!)\n\n");
}

class DieInfoDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(DieInfoDump);

TEST_P(DieInfoDump, ShowsTheRowsMadeSoFar)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] { dwarf.Die(TAG_label); });
    Open(dwarf);
    const std::string head = "DIEInfoMap\n"
                             "Info Offset Abbr Index  Parent      Sibling     Child\n"
                             "----------  ----------  ----------  ----------  ----------\n";
    EXPECT_EQ(Dump("dieinfo"), head);
    File().BuildCompileUnitIndex();
    EXPECT_EQ(Dump("dieinfo"), head + "0x0000000b  0x00000001  0xffffffff  0x0000001d  0x00000010\n");
}

} // namespace
