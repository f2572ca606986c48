// The listings of public names and macros.
#include "tests/console/ConsoleTest.h"

#include <algorithm>

namespace {

class PubnamesDump : public ConsoleTest {
protected:
    /// The head of a set whose four values are given.
    static std::string SetHead(const char* length, const char* infoOffset, const char* infoLength)
    {
        return std::string("\n       Length = ") + length + "\nDwarf version = 0x0002\n  Info offset = " + infoOffset +
               "\n  Info length = " + infoLength +
               "\n\nCU Offset  .debug_info   Name\n"
               "---------- ------------- ---------------------------------------\n";
    }
};
BOTH_BYTE_ORDERS(PubnamesDump);

TEST_P(PubnamesDump, ListsSetsAndPutsTheCursorBack)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.PubSet(0x100, 0x40, {{0x15, "main"}, {0x20, "K::f"}});
    dwarf.PubSet(0x140, 0x20, {});
    Open(dwarf);
    const std::string listing = SetHead("0x00000020", "0x00000100", "0x00000040") +
                                "0x00000015 (0x00000115): main\n0x00000020 (0x00000120): K::f\n0x00000000\n" +
                                SetHead("0x0000000e", "0x00000140", "0x00000020") + "0x00000000\n";
    EXPECT_EQ(Run("pubnames"), listing);
    EXPECT_EQ(Run("m_debug_pubnames"), listing);

    EXPECT_EQ(Probe::FindPubName(File(), "K::f", true), 0x120u);
    const u32 pos = Probe::m_debug_pubnames(File()).Pos();
    EXPECT_EQ(Run("pubnames"), listing) << "a look-up that found its name stands inside";
    EXPECT_EQ(Probe::m_debug_pubnames(File()).Pos(), pos);

    EXPECT_EQ(Probe::FindPubName(File(), "absent", true), kNone);
    EXPECT_EQ(Run("pubnames"), "") << "one that didn't stands at the end";
}

TEST_P(PubnamesDump, NoSectionNoText)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    Open(dwarf);
    EXPECT_EQ(Run("pubnames"), "");
}

TEST_P(PubnamesDump, LengthsThatLieEndTheListing)
{
    for (const u32 length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0x1000u}) {
        DwarfBuilder dwarf(GetParam());
        dwarf.PubSet(0, 0x40, {{0x15, "main"}});
        dwarf.PubSet(0, 0x40, {{0x15, "main"}});
        dwarf.pubnames.Patch(0, length, 4);
        Open(dwarf);
        const std::string text = Run("pubnames");
        EXPECT_EQ(text.find("main"), text.rfind("main")) << length;
    }
    DwarfBuilder cut(GetParam());
    cut.PubSet(0, 0x40, {{0x15, "main"}});
    for (u32 size = cut.pubnames.Size(); size-- != 1;) {
        cut.pubnames.Truncate(size);
        Open(cut);
        EXPECT_EQ(Run("pubnames").rfind("\n       Length = 0x", 0), 0u) << size;
    }
}

TEST_P(PubnamesDump, OverlappingSetsPrintInProportion)
{
    // Each set is 4 bytes further on than the one before and runs to the end.
    for (const u32 count : {2000u, 8000u}) {
        DwarfBuilder dwarf(GetParam());
        for (u32 i = 0; i < count; ++i) {
            dwarf.pubnames.U32(1).U8(1);
        }
        Open(dwarf);
        EXPECT_LT(Run("pubnames").size(), dwarf.pubnames.Size() * 200);
    }
}

class MacinfoDump : public ConsoleTest {};
BOTH_BYTE_ORDERS(MacinfoDump);

const char* const kMacinfoHead = "Offset      Line  Macro Entry\n"
                                 "----------- ----- ------------------------------------------------\n";

TEST_P(MacinfoDump, EveryKindOfEntry)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.macinfo.U8(3).Uleb(0).Uleb(1);
    dwarf.macinfo.U8(1).Uleb(12).Text("A 1");
    dwarf.macinfo.U8(1).Uleb(0).Text("B");
    dwarf.macinfo.U8(2).Uleb(123456).Text("A");
    dwarf.macinfo.U8(2).Uleb(0).Text("B");
    dwarf.macinfo.U8(3).Uleb(7).Uleb(2);
    dwarf.macinfo.U8(4);
    dwarf.macinfo.U8(255).Uleb(9).Text("x").U8(255).Uleb(0).Text("");
    dwarf.macinfo.U8(254).U8(0);
    Open(dwarf);
    const std::string listing = std::string(kMacinfoHead) + "0x00000000:       start file: 1\n"
                                                            "0x00000003:    12 #define A 1\n"
                                                            "0x00000009:       #define B\n"
                                                            "0x0000000d: 123456 #undef A\n"
                                                            "0x00000013:       #undef B\n"
                                                            "0x00000017:     7 start file: 2\n"
                                                            "0x0000001a:       end file\n"
                                                            "0x0000001b:     9 vendor ext:  \"x\"\n"
                                                            "0x0000001f:       vendor ext:  \"\"\n"
                                                            "0x00000022: DW_MACINFO_???: 254\n"
                                                            "0x00000023:       end compile unit\n\n";
    EXPECT_EQ(Run("macinfo"), listing);
    EXPECT_EQ(Run("debug_macinfo"), listing);
}

TEST_P(MacinfoDump, AbsentOrCut)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    Open(dwarf);
    EXPECT_EQ(Run("macinfo"), kMacinfoHead);
    dwarf.macinfo.U8(1);
    Open(dwarf);
    EXPECT_EQ(Run("macinfo"), std::string(kMacinfoHead) + "0x00000000:       #define \n");
    dwarf.macinfo.Raw({0x85, 0x80});
    Open(dwarf);
    EXPECT_EQ(Run("macinfo"), std::string(kMacinfoHead) + "0x00000000:     5 #define \n");
}

} // namespace
