// What the line parser takes, and that a failing read takes nothing.
#include "interfaces/VFKStringParser.h"

#include <gtest/gtest.h>

namespace {

std::string RestOf(VFKStringParser& parser)
{
    std::string rest;
    parser.GetLine(rest, false);
    return rest;
}

} // namespace

TEST(VFKStringParser, NumbersReadAsStrtoulWithBareHexadecimal)
{
    for (const char* text :
         {"0x10=16|", "0X1fz=31|z", "  16 > out=16| > out", "010=8|", "08=0|8", "0a=10|", "0b1=177|",
          "deadBEEF=3735928559|", "12ab,7=4779|,7", "12xy=12|xy", "0xg=0|xg", "+7=7|", "4294967296=4294967295|",
          "-0x10=4294967280|", "-99999999999=4294967295|", "-12ab=4294967284|ab"}) {
        const std::string line = text;
        VFKStringParser parser(line.substr(0, line.find('=')));
        u32 value = 1;
        EXPECT_TRUE(parser.GetUInt32(value, 0)) << text;
        EXPECT_EQ(std::to_string(value) + "|" + RestOf(parser), line.substr(line.find('=') + 1)) << text;
    }
    for (const char* text : {"", "  ", " > out", "xyz", "-", "+ 7", "--7", "-a", "_1", "\"1\""}) {
        VFKStringParser parser(text);
        u32 value = 77;
        EXPECT_FALSE(parser.GetUInt32(value, 0)) << text;
        EXPECT_EQ(value, 77u);
        EXPECT_EQ(RestOf(parser), text);
    }
}
