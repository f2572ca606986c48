// The listings of public names and macros.
#include "tests/console/ConsoleTest.h"

namespace {

class NameDumps : public ConsoleTest {};
BOTH_BYTE_ORDERS(NameDumps);

TEST_P(NameDumps, PublicNamesLeaveTheCursorWhereALookUpLeftIt)
{
    dwarf.PubSet(0x100, 0x40, {{0x15, "main"}, {0x20, "K::f"}});
    Open(dwarf);
    const std::string listing = "\n       Length = 0x00000020\nDwarf version = 0x0002\n  Info offset = 0x00000100\n"
                                "  Info length = 0x00000040\n\nCU Offset  .debug_info   Name\n"
                                "---------- ------------- ---------------------------------------\n"
                                "0x00000015 (0x00000115): main\n0x00000020 (0x00000120): K::f\n0x00000000\n";
    EXPECT_EQ(Run("pubnames"), listing);
    EXPECT_EQ(Run("m_debug_pubnames"), listing);
    EXPECT_EQ(Probe::FindPubName(File(), "K::f", true), 0x120u);
    const u32 pos = Probe::m_debug_pubnames(File()).Pos();
    EXPECT_EQ(Run("pubnames"), listing) << "a look-up that found its name stands inside";
    EXPECT_EQ(Probe::m_debug_pubnames(File()).Pos(), pos);
    EXPECT_EQ(Probe::FindPubName(File(), "absent", true), kNone);
    EXPECT_EQ(Run("pubnames"), "") << "one that didn't stands at the end";
}

TEST_P(NameDumps, LengthsThatLieEndTheListing)
{
    dwarf.PubSet(0, 0x40, {{0x15, "main"}});
    const u32 first = dwarf.pubnames.Size();
    dwarf.PubSet(0, 0x40, {{0x15, "main"}});
    for (const u32 length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0x1000u}) {
        dwarf.pubnames.Patch(0, length, 4);
        Open(dwarf);
        const std::string text = Run("pubnames");
        EXPECT_EQ(text.find("main"), text.rfind("main")) << length;
    }
    for (u32 size = first; size-- != 1;) {
        dwarf.pubnames.Truncate(size);
        Open(dwarf);
        EXPECT_EQ(Run("pubnames").rfind("\n       Length = 0x", 0), 0u) << size;
    }
    // Each set is 4 bytes further on than the one before and runs to the end.
    dwarf.pubnames.Truncate(0);
    for (u32 i = 0; i < 8000; ++i) {
        dwarf.pubnames.U32(1).U8(1);
    }
    Open(dwarf);
    EXPECT_LT(Run("pubnames").size(), dwarf.pubnames.Size() * 200);
}

TEST_P(NameDumps, MacrosOfEveryKind)
{
    const std::string head = "Offset      Line  Macro Entry\n"
                             "----------- ----- ------------------------------------------------\n";
    Open(dwarf);
    EXPECT_EQ(Run("macinfo"), head);
    dwarf.macinfo.U8(3).Uleb(0).Uleb(1);
    dwarf.macinfo.U8(1).Uleb(12).Text("A 1");
    dwarf.macinfo.U8(1).Uleb(0).Text("B");
    dwarf.macinfo.U8(2).Uleb(123456).Text("A");
    dwarf.macinfo.U8(3).Uleb(7).Uleb(2);
    dwarf.macinfo.U8(4);
    dwarf.macinfo.U8(255).Uleb(9).Text("x").U8(255).Uleb(0).Text("");
    dwarf.macinfo.U8(254).U8(0);
    dwarf.macinfo.U8(1).Raw({0x85, 0x80}); // cut
    Open(dwarf);
    const std::string listing = head + "0x00000000:       start file: 1\n"
                                       "0x00000003:    12 #define A 1\n"
                                       "0x00000009:       #define B\n"
                                       "0x0000000d: 123456 #undef A\n"
                                       "0x00000013:     7 start file: 2\n"
                                       "0x00000016:       end file\n"
                                       "0x00000017:     9 vendor ext:  \"x\"\n"
                                       "0x0000001b:       vendor ext:  \"\"\n"
                                       "0x0000001e: DW_MACINFO_???: 254\n"
                                       "0x0000001f:       end compile unit\n\n"
                                       "0x00000020:     5 #define \n";
    EXPECT_EQ(Run("macinfo"), listing);
    EXPECT_EQ(Run("debug_macinfo"), listing);
}

} // namespace
