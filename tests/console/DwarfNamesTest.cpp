// The forms of codes without a name, and how names are padded.
#include "console/DwarfNames.h"

#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <string>

TEST(DwarfNames, CodesWithoutANameShowTheirLowBits)
{
    const auto names = [](std::ostream& (*print)(std::ostream&, u32), std::initializer_list<u32> codes) {
        std::string text;
        for (const u32 code : codes) {
            std::ostringstream stream;
            print(stream, code);
            text += stream.str() + ",";
        }
        return text;
    };
    EXPECT_EQ(names(PrintTagName, {0, 0x14, 0x4080, 0x4081, 0x12345}),
              "TAG_invalid,TAG_??? (0x0014),TAG_lo_user,TAG_??? (0x4081),TAG_??? (0x2345),");
    EXPECT_EQ(names(PrintAttributeName, {0, 0x4d, 0x4e, 0x14000}),
              " 0, AT_vtable_elem_location,AT_user(0x004e),AT_user(0x4000),");
    EXPECT_EQ(names(PrintFormName, {0, 2, 0x117}), "0,FORM_user (0x02),FORM_user (0x17),");
    EXPECT_EQ(names(PrintLnsName, {0, 9, 10}), "LNS_extented,LNS_fixed_advance_pc,LNS(0x000a),");
    std::ostringstream padded;
    padded << std::left << std::setw(8);
    PrintAttributeName(padded, 0) << '|' << std::setw(30);
    PrintTagName(padded, 0x14) << '|' << 16 << std::setw(3) << 1;
    EXPECT_EQ(padded.str(), " 0      |TAG_??? (0x0014)|10100") << "hexadecimal and the fill 0 stay behind";
}
