// Tests what the line parser takes, and that a failing read takes nothing.
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

TEST(VFKStringParser, TokensAreWordsOrSingleCharacters)
{
    VFKStringParser parser("  die_2>out \t");
    std::string token;
    EXPECT_TRUE(parser.GetCToken(token, true, true));
    EXPECT_TRUE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, "die_2");
    EXPECT_TRUE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, ">");
    EXPECT_TRUE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, "out");
    EXPECT_FALSE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, "out");
    EXPECT_TRUE(parser.GetCToken(token, false, false));
    EXPECT_EQ(token, " ");
    EXPECT_EQ(RestOf(parser), "\t");
    EXPECT_FALSE(parser.GetCToken(token, false, false));
}

TEST(VFKStringParser, NumbersReadAsStrtoulWithBareHexadecimal)
{
    struct Case {
        const char* text;
        u32 value;
        const char* rest;
    };
    const Case cases[] = {
        {"0x10", 0x10, ""},
        {"0X1fz", 0x1F, "z"},
        {"  16 > out", 16, " > out"},
        {"010", 8, ""},
        {"08", 0, "8"},
        {"0a", 10, ""},
        {"0b1", 0xB1, ""},
        {"deadbeef", 0xDEADBEEF, ""},
        {"DEADBEEF", 0xDEADBEEF, ""},
        {"12ab,7", 0x12AB, ",7"},
        {"12xy", 12, "xy"},
        {"0xg", 0, "xg"},
        {"0x", 0, "x"},
        {"4294967295", 0xFFFFFFFF, ""},
        {"4294967296", 0xFFFFFFFF, ""},
        {"99999999999", 0xFFFFFFFF, ""},
        {"fffffffffffffffffffff", 0xFFFFFFFF, ""},
        {"-1", 0xFFFFFFFF, ""},
        {"-0x10", 0xFFFFFFF0, ""},
        {"-99999999999", 0xFFFFFFFF, ""},
        {"+7", 7, ""},
        // A sign in front: no run of digits is, so that only strtoul's own rules hold.
        {"-12ab", 0xFFFFFFF4, "ab"},
    };
    for (const Case& c : cases) {
        VFKStringParser parser(c.text);
        u32 value = 1;
        EXPECT_TRUE(parser.GetUInt32(value, 0)) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(RestOf(parser), c.rest) << c.text;
    }
}

TEST(VFKStringParser, WhatIsNoNumberStaysWhole)
{
    for (const char* text : {"", "  ", " > out", "xyz", "-", "+ 7", "--7", "-+7", "-a", "_1", "\"1\""}) {
        VFKStringParser parser(text);
        u32 value = 77;
        EXPECT_FALSE(parser.GetUInt32(value, 0)) << text;
        EXPECT_EQ(value, 77u);
        EXPECT_EQ(RestOf(parser), text);
    }
}

TEST(VFKStringParser, StringsEndAtABlankOrTheirQuote)
{
    VFKStringParser parser(R"( .text>x "my section" ""> "open end )");
    std::string text;
    EXPECT_TRUE(parser.GetString(text));
    EXPECT_EQ(text, ".text>x");
    EXPECT_TRUE(parser.GetString(text));
    EXPECT_EQ(text, "my section");
    EXPECT_TRUE(parser.GetString(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(parser.PeekChar(0), '>');
    EXPECT_TRUE(parser.GetString(text));
    EXPECT_TRUE(parser.GetString(text));
    EXPECT_EQ(text, "open end ");
    EXPECT_FALSE(parser.GetString(text));
}

TEST(VFKStringParser, OptionsEndInFrontOfWhatIsNone)
{
    VFKStringParser parser(" -a -name=x>y -v= -n-x - 1 > out");
    std::string name;
    std::string value = "old";
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "a|");
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "name|x>y");
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "v|");
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "x|");
    EXPECT_FALSE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "x|");
    EXPECT_EQ(RestOf(parser), " - 1 > out");
}

TEST(VFKStringParser, ACharacterThatIsNotTakenIsGivenBack)
{
    VFKStringParser parser("  >x");
    char c = 0;
    EXPECT_FALSE(parser.GetNonWhiteSpaceChar(c, "x<"));
    EXPECT_EQ(parser.PeekChar(0), ' ');
    EXPECT_TRUE(parser.GetNonWhiteSpaceChar(c, "<>"));
    EXPECT_TRUE(parser.GetNonWhiteSpaceChar(c, nullptr));
    EXPECT_EQ(c, 'x');
    EXPECT_FALSE(parser.GetNonWhiteSpaceChar(c, nullptr));
    // The zero that closes the list of characters is none of them.
    VFKStringParser zero(std::string(1, '\0'));
    EXPECT_FALSE(zero.GetNonWhiteSpaceChar(c, "x"));
}

TEST(VFKStringParser, TheLineKeepsItsBlanksAtTheEnd)
{
    VFKStringParser parser(" out.txt  ");
    std::string line;
    EXPECT_EQ(parser.PeekChar(9), ' ');
    EXPECT_EQ(parser.PeekChar(10), '\0');
    EXPECT_EQ(parser.PeekChar(SIZE_MAX), '\0');
    EXPECT_TRUE(parser.GetLine(line, true));
    EXPECT_EQ(line, "out.txt  ");
    EXPECT_FALSE(parser.GetLine(line, true));
    VFKStringParser blanks(" \t");
    EXPECT_FALSE(blanks.GetLine(line, true));
    EXPECT_TRUE(blanks.GetLine(line, false));
    EXPECT_EQ(line, " \t");
}
