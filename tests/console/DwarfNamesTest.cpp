// Codes by name, and the forms of those without one.
#include "console/DwarfNames.h"

#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <string>

namespace {

using Printer = std::ostream& (&)(std::ostream&, u32);

std::string Name(Printer print, u32 code)
{
    std::ostringstream stream;
    EXPECT_EQ(&print(stream, code), &stream);
    return stream.str();
}

/// Codes up to a bound that have a name of their own.
u32 CountNames(Printer print, const std::string& fallback, u32 bound)
{
    u32 count = 0;
    for (u32 code = 0; code <= bound; ++code) {
        count += Name(print, code).rfind(fallback, 0) != 0 ? 1 : 0;
    }
    return count;
}

TEST(DwarfNames, TheTablesAreComplete)
{
    EXPECT_EQ(CountNames(PrintTagName, "TAG_???", 0x1ffff), 50u);
    EXPECT_EQ(CountNames(PrintAttributeName, "AT_user", 0x1ffff), 65u);
    EXPECT_EQ(CountNames(PrintFormName, "FORM_user", 0x1ffff), 22u);
    EXPECT_EQ(CountNames(PrintLnsName, "LNS(", 0x1ffff), 10u);
}

TEST(DwarfNames, NamesStandAtTheirCodes)
{
    EXPECT_EQ(Name(PrintTagName, 0x11), "TAG_compile_unit");
    EXPECT_EQ(Name(PrintTagName, 0x16), "TAG_typedef");
    EXPECT_EQ(Name(PrintTagName, 0x35), "TAG_volatile_type");
    EXPECT_EQ(Name(PrintTagName, 0x4080), "TAG_lo_user");
    EXPECT_EQ(Name(PrintTagName, 0xffff), "TAG_hi_user");
    EXPECT_EQ(Name(PrintAttributeName, 0x14), " AT_member");
    EXPECT_EQ(Name(PrintAttributeName, 0x44), " AT_namelist_items");
    EXPECT_EQ(Name(PrintAttributeName, 0x4d), " AT_vtable_elem_location");
    EXPECT_EQ(Name(PrintAttributeName, 0x2000), " AT_lo_user");
    EXPECT_EQ(Name(PrintAttributeName, 0x3fff), " AT_hi_user");
    EXPECT_EQ(Name(PrintFormName, 0x01), "FORM_addr");
    EXPECT_EQ(Name(PrintFormName, 0x16), "FORM_indirect");
    EXPECT_EQ(Name(PrintLnsName, 9), "LNS_fixed_advance_pc");
}

TEST(DwarfNames, CodeZeroHasFourForms)
{
    EXPECT_EQ(Name(PrintTagName, 0), "TAG_invalid");
    EXPECT_EQ(Name(PrintAttributeName, 0), " 0");
    EXPECT_EQ(Name(PrintFormName, 0), "0");
    EXPECT_EQ(Name(PrintLnsName, 0), "LNS_extented");
}

TEST(DwarfNames, OtherCodesShowTheirLowBits)
{
    EXPECT_EQ(Name(PrintTagName, 0x14), "TAG_??? (0x0014)");
    EXPECT_EQ(Name(PrintTagName, 0x4081), "TAG_??? (0x4081)");
    EXPECT_EQ(Name(PrintTagName, 0x12345), "TAG_??? (0x2345)");
    EXPECT_EQ(Name(PrintAttributeName, 0x4e), "AT_user(0x004e)");
    EXPECT_EQ(Name(PrintAttributeName, 0x2001), "AT_user(0x2001)");
    EXPECT_EQ(Name(PrintAttributeName, 0x14000), "AT_user(0x4000)");
    EXPECT_EQ(Name(PrintFormName, 2), "FORM_user (0x02)");
    EXPECT_EQ(Name(PrintFormName, 0x117), "FORM_user (0x17)");
    EXPECT_EQ(Name(PrintLnsName, 10), "LNS(0x000a)");
}

TEST(DwarfNames, ANameIsPaddedAndTheOtherFormIsNot)
{
    std::ostringstream named;
    named << std::left << std::setw(8);
    PrintAttributeName(named, 0) << '|';
    EXPECT_EQ(named.str(), " 0      |");

    std::ostringstream other;
    other << std::left << std::setw(30);
    PrintTagName(other, 0x14) << '|' << 16 << std::setw(3) << 1;
    EXPECT_EQ(other.str(), "TAG_??? (0x0014)|10100") << "hexadecimal and the fill 0 stay behind";
}

} // namespace
