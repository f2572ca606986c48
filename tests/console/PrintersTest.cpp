// The openings of listing lines.
#include "tests/console/ConsoleTest.h"

namespace {

class Printers : public ConsoleTest {
protected:
    void SetUp() override
    {
        DwarfBuilder dwarf(GetParam());
        dwarf.Unit();
        Open(dwarf);
    }
};
BOTH_BYTE_ORDERS(Printers);

TEST_P(Printers, HeadsOpenWithLineEndsAndCloseWithNone)
{
    std::ostringstream stream;
    Probe::m_dumpStream(File()) = &stream;
    const AbbrevDecl leaf{0, 12, TAG_member, 0, 3};
    const AbbrevDecl parent{0, 0xffffffff, 0x4090, 2, 3};
    Probe::PrintDIEHead(File(), 0x2bu, &leaf);
    Probe::m_dumpIndent(File()) = 2;
    Probe::PrintDIEHead(File(), 0x2cu, &parent);
    Probe::PrintDIEHead(File(), 0x2du, nullptr);
    CompileUnitInfo unit;
    unit.offset = 0x40;
    unit.unitLength = 0x1234;
    unit.version = 2;
    unit.abbrevOffset = 0x56;
    unit.addressSize = 4;
    Probe::PrintCompileUnitHeader(File(), unit);
    EXPECT_EQ(stream.str(), "\n\n0x0000002b: TAG_member (12)"
                            "\n\n0x0000002c: \t\tTAG_??? (0x4090) (4294967295){"
                            "\n\n0x00000040: CU(0x00001234, 0x0002,  0x00000056,  0x04)");
    Probe::m_dumpStream(File()) = nullptr;
    Probe::PrintDIEHead(File(), 0, &leaf);
    Probe::PrintCompileUnitHeader(File(), unit);
}

} // namespace
