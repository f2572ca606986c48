// The listings of entries.
#include "tests/console/ConsoleTest.h"

namespace {

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
