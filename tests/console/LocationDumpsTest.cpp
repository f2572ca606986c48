// The listing of `.debug_loc`.
#include "tests/console/ConsoleTest.h"

#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"

#include <initializer_list>

namespace {

class LoclistDump : public ConsoleTest {
protected:
    /// The engine's text of an expression.
    static std::string Text(std::initializer_list<u8> bytes)
    {
        const VFKDataString data(false, GetParam() == ByteOrder::Little, bytes.begin(), static_cast<u32>(bytes.size()));
        std::string text;
        DbgExpression(data, nullptr, nullptr).GetText(text, false);
        return text;
    }
};
BOTH_BYTE_ORDERS(LoclistDump);

TEST_P(LoclistDump, TheWholeSectionOrOneList)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.LocationList({{0, 4, {0x50}}, {4, 0x10, {0x91, 0x7c}}});
    const u32 second = dwarf.LocationList({{0xffffffff, 8, {}}});
    Open(dwarf);
    EXPECT_EQ(second, 31u);
    const std::string lists[] = {"\t0x00000000-0x00000004 <0x0001> : " + Text({0x50}) +
                                     "\n\t0x00000004-0x00000010 <0x0002> : " + Text({0x91, 0x7c}) + "\n",
                                 "\t0xffffffff-0x00000008 <0x0000> : " + Text({}) + "\n"};
    Probe::m_debug_loc(File()).SetPos(5);
    EXPECT_EQ(Dump("loclist"), "0x00000000\n" + lists[0] + "0x0000001f\n" + lists[1] + "0x00000031\n");
    EXPECT_EQ(Dump("loclist 0"), "0x00000000\n" + lists[0]);
    EXPECT_EQ(Dump("loclist 31"), "0x0000001f\n" + lists[1]);
    EXPECT_EQ(Dump("loclist 0x1000"), "0x00000031\n") << "the section's size";
    EXPECT_EQ(Probe::m_debug_loc(File()).Pos(), 5u);
}

TEST_P(LoclistDump, AbsentOrCut)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    Open(dwarf);
    EXPECT_EQ(Dump("loclist"), "0x00000000\n");
    dwarf.loc.U32(1).U32(2).U16(0xffff).Raw({0x50, 0x51});
    Open(dwarf);
    EXPECT_EQ(Dump("loclist"), "0x00000000\n\t0x00000001-0x00000002 <0xffff> : " + Text({0x50, 0x51}) + "\n");
    dwarf.loc.Truncate(6);
    Open(dwarf);
    EXPECT_EQ(Dump("loclist").rfind("0x00000000\n\t0x00000001-", 0), 0u);
}

} // namespace
