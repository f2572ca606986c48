// The dumps of `.debug_info`: their layout, and that no file makes them print without proportion.
#include "tests/console/ConsoleTest.h"

#include <algorithm>

namespace {

class InfoDump : public ConsoleTest {
protected:
    /// The dump without what the reading of the abbreviations prints in front.
    std::string DumpOnly()
    {
        Probe::ReadAbbrevTables(File());
        return Dump("dump");
    }
};
BOTH_BYTE_ORDERS(InfoDump);

TEST_P(InfoDump, StaticBaseIsRewrittenInListsAlone)
{
    const u32 list = dwarf.LocationList({{0, 4, {0x79, 0x7c}}});
    dwarf.Unit().Attr(AT_location, FORM_data4, list).Attr(AT_location, FORM_block1, {0x79, 0x7c});
    Open(dwarf);
    g_prefs.enableSb = true;
    g_prefs.sbExpr = "%d";
    Probe::m_sectionId(File()) = 3;
    const std::string text = DumpOnly();
    EXPECT_NE(text.find("0x00000004: " + Text({0x11, 0x7c, 0x10, 3, 0x22})), std::string::npos) << text;
    EXPECT_NE(text.find("(79 7C )\n            \t" + Text({0x79, 0x7c})), std::string::npos) << text;
}

TEST_P(InfoDump, ADumpWithoutProportionSaysSo)
{
    constexpr u32 kEntries = 16'000;
    dwarf.str.Text(std::string(8 * kEntries, 's'));
    dwarf.Header().Declare(1, TAG_label, false, {{AT_name, FORM_strp}, {AT_location, FORM_strp}});
    for (u32 i = 0; i < kEntries; ++i) {
        dwarf.Entry(1).Value(FORM_strp, 0).Value(FORM_strp, 0);
    }
    ElfWriter elf(GetParam());
    dwarf.AddTo(elf);
    Open(elf);
    const std::string text = DumpOnly();
    // What each file is given at first, and 330 characters for a byte of it.
    EXPECT_LT(text.size(), elf.Image().size() * 330 + 1500000);
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2)), "\nDump ended: the file repeats too much of its text\n");
}

TEST_P(InfoDump, AnEntryWithoutProportionSaysSoToo)
{
    dwarf.str.Text(std::string(1000, 's'));
    dwarf.Unit().Name("a.c").Children();
    dwarf.Declare(2, TAG_label, false, {{AT_name, FORM_strp}});
    for (u32 i = 0; i < 12000; ++i) {
        dwarf.Entry(2).Value(FORM_strp, 0);
    }
    Index(dwarf);
    const std::string ending = "\nDump ended: the file repeats too much of its text\n\n";
    const std::string text = Run("DIE 0xb");
    EXPECT_EQ(text.substr(text.size() - ending.size()), ending);
    EXPECT_EQ(Run("die 0xb").find("Dump ended"), std::string::npos);
}

} // namespace
