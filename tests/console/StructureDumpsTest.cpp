// The listings of abbreviations, entries and rows.
#include "tests/console/ConsoleTest.h"

namespace {

class AbbrevDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(AbbrevDump);

TEST_P(AbbrevDump, OddDeclarations)
{
    const std::string type = " AT_type" + std::string(22, ' ') + "0";
    const std::string end = " 0" + std::string(28, ' ') + "0";
    dwarf.abbrev.Raw({2, 0x34, 0, 0x81, 0x40, 0x0b, 0, 0});  // at 0: a user attribute
    dwarf.abbrev.Raw({0x83, 1, 0x90, 0x81, 1, 16, 0x49, 0}); // at 8: user tag, odd byte, form 0
    dwarf.abbrev.Raw({4, 0x24, 17, 0, 0, 0});                // at 16: named tag, odd byte
    Open(dwarf);
    EXPECT_EQ(Dump("abbr"), "\n\n.debug_abbrev\n"
                            "\n\n0x00000000: [2] TAG_variable CHILDREN_no\n"
                            "\n0x00000003: AT_user(0x2001)FORM_data1\n0x00000006: " +
                                end +
                                "\n\n0x00000008: [131] TAG_??? (0x4090) CHILDREN_???10\n"
                                "\n0x0000000e: " +
                                type +
                                "\n\n0x00000010: [4] TAG_base_type CHILDREN_???17\n"
                                "\n0x00000013: " +
                                end + "\n\n0x00000015: [0]  (End of compile unit abbrev table)\n");
    EXPECT_EQ(Dump("abbr x"), "\n\n.debug_abbrev\n") << "nothing is parsed yet";
}

TEST_P(AbbrevDump, ASectionCutAnywhereEndsTheListing)
{
    dwarf.abbrev.Raw({1, 0x11, 1, 0x81, 0x40, 0x0b, 0x03, 0x08, 0, 0, 0});
    for (u32 size = dwarf.abbrev.Size(); size-- != 0;) {
        dwarf.abbrev.Truncate(size);
        Open(dwarf);
        const std::string raw = Dump("abbr");
        EXPECT_EQ(raw == "\n\n.debug_abbrev\n", size == 0) << size;
        Probe::ReadAbbrevTables(File());
        const std::string parsed = Dump("abbr x");
        if (size == 8) { // right behind an attribute: the missing pair shows in the raw listing alone
            EXPECT_TRUE(raw.ends_with("\n0x00000008:  0" + std::string(28, ' ') + "0")) << raw;
            EXPECT_TRUE(parsed.ends_with("\n0x00000006:  AT_name" + std::string(22, ' ') + "FORM_string")) << parsed;
        }
    }
}

class DieDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(DieDump);

TEST_P(DieDump, OffsetsInNoUnitAndCodesInNoTable)
{
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

TEST_P(DieDump, ShowsAnEntryAndLeavesCursorsAndIndentAsTheyWere)
{
    dwarf.PadTo(0x100);
    dwarf.Unit().Name("a.c").Children([&] { dwarf.Die(TAG_label).Attr(AT_type, FORM_ref4, 0x20); });
    Index(dwarf);
    Probe::m_debug_info(File()).SetPos(3);
    Probe::m_debug_abbrev(File()).SetPos(2);
    Probe::m_dumpIndent(File()) = 5;
    const std::string label = "\n\n0x00000110: TAG_label (2)\n0x00000111:  AT_type(0x00000020 (0x00000120))\n\n";
    EXPECT_EQ(Dump("die 0x110"), label);
    EXPECT_EQ(Dump("DIE 0x110"), label) << "no children: the same as die";
    EXPECT_EQ(Dump("DIE 0x115"), "\n0x00000115: NULL\n\n");
    EXPECT_EQ(Probe::m_debug_info(File()).Pos(), 3u);
    EXPECT_EQ(Probe::m_debug_abbrev(File()).Pos(), 2u);
    EXPECT_EQ(Probe::m_dumpIndent(File()), 5);
}

TEST_P(DieDump, LevelsThatStayOpenCloseAtTheSectionsEnd)
{
    dwarf.Header().Declare(1, TAG_lexical_block, true, {});
    dwarf.Entry(1).Entry(1).Entry(1).EndUnit();
    Index(dwarf);
    EXPECT_EQ(Dump("DIE 11"), "\n\n0x0000000b: TAG_lexical_block (1){"
                              "\n\n0x0000000c: \tTAG_lexical_block (1){"
                              "\n\n0x0000000d: \t\tTAG_lexical_block (1){"
                              "\n0x0000000e: \t\tNULL\n0x0000000e: \tNULL\n0x0000000e: NULL\n\n");
}

} // namespace
