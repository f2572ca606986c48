// The listing of `.debug_loc`.
#include "tests/console/ConsoleTest.h"

namespace {

class LoclistDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(LoclistDump);

TEST_P(LoclistDump, TheWholeSectionOrOneListOrWhatIsThereOfIt)
{
    dwarf.LocationList({{0, 4, {0x50}}, {4, 0x10, {0x91, 0x7c}}});
    const u32 second = dwarf.LocationList({{0xffffffff, 8, {}}});
    Open(dwarf);
    EXPECT_EQ(second, 31u);
    const std::string list = "\t0xffffffff-0x00000008 <0x0000> : " + Text({}) + "\n";
    Probe::m_debug_loc(File()).SetPos(5);
    EXPECT_EQ(Dump("loclist 31"), "0x0000001f\n" + list);
    EXPECT_EQ(Dump("loclist 0x1000"), "0x00000031\n") << "the section's size";
    const std::string whole = Dump("loclist");
    EXPECT_EQ(whole.substr(whole.find("0x0000001f\n")), "0x0000001f\n" + list + "0x00000031\n");
    EXPECT_EQ(Probe::m_debug_loc(File()).Pos(), 5u);

    DwarfBuilder cut(GetParam());
    cut.Unit();
    Open(cut);
    EXPECT_EQ(Dump("loclist"), "0x00000000\n");
    cut.loc.U32(1).U32(2).U16(0xffff).Raw({0x50, 0x51});
    Open(cut);
    EXPECT_EQ(Dump("loclist"), "0x00000000\n\t0x00000001-0x00000002 <0xffff> : " + Text({0x50, 0x51}) + "\n");
    cut.loc.Truncate(6);
    Open(cut);
    EXPECT_EQ(Dump("loclist").rfind("0x00000000\n\t0x00000001-", 0), 0u);
}

} // namespace
