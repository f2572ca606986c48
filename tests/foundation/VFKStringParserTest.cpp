// The parser of console lines.
#include "interfaces/VFKStringParser.h"

#include "interfaces/Types.h"

#include <gtest/gtest.h>
#include <string>

namespace {

/// What is left of the line.
std::string Rest(VFKStringParser& parser)
{
    std::string rest;
    parser.GetLine(rest, false);
    return rest;
}

TEST(VFKStringParser, TokensAreWordsOrSingleCharacters)
{
    VFKStringParser parser(" \telf_1>x");
    std::string token;
    EXPECT_TRUE(parser.GetCToken(token, false, false));
    EXPECT_EQ(token, " ");
    EXPECT_TRUE(parser.GetCToken(token, true, true));
    EXPECT_EQ(token, "elf_1");
    EXPECT_TRUE(parser.GetCToken(token, false, true)) << "which the peek has left there";
    EXPECT_EQ(token, "elf_1");
    EXPECT_EQ(parser.PeekChar(0), '>');
    EXPECT_EQ(parser.PeekChar(1), 'x');
    EXPECT_EQ(parser.PeekChar(2), '\0');
    EXPECT_TRUE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, ">");
    EXPECT_EQ(Rest(parser), "x");
    EXPECT_FALSE(parser.GetCToken(token, false, true));
    EXPECT_EQ(token, ">") << "a read that fails leaves the text";
}

TEST(VFKStringParser, AQuotedTextEndsAtItsQuote)
{
    const struct {
        const char* line;
        const char* text;
        const char* rest;
    } cases[] = {{"  name > file", "name", " > file"},
                 {"\"a b\" > file", "a b", " > file"},
                 {"\"a b\">file", "a b", ">file"},
                 {"\"\" x", "", " x"},
                 {"\"open", "open", ""},
                 {"a\"b\" c", "a\"b\"", " c"}};
    for (const auto& [line, text, rest] : cases) {
        VFKStringParser parser(line);
        std::string got;
        EXPECT_TRUE(parser.GetString(got)) << line;
        EXPECT_EQ(got, text);
        EXPECT_EQ(Rest(parser), rest);
    }
    VFKStringParser blank(" \t ");
    std::string got;
    EXPECT_FALSE(blank.GetString(got));
    EXPECT_EQ(Rest(blank), " \t ");
}

TEST(VFKStringParser, NumbersAreReadAsInC)
{
    const struct {
        const char* line;
        int base;
        u32 value;
        const char* rest;
    } cases[] = {{"12x", 0, 12, "x"},
                 {" 0x1F g", 0, 0x1F, " g"},
                 {"017", 0, 15, ""},
                 {"08", 0, 0, "8"},
                 {"0xb", 0, 11, ""},
                 {"12f", 0, 0x12F, ""},
                 {"f", 0, 15, ""},
                 {"-1", 0, 0xFFFFFFFF, ""},
                 {"+7", 0, 7, ""},
                 {"4294967295", 0, 0xFFFFFFFF, ""},
                 {"4294967296", 0, 0xFFFFFFFF, ""},
                 {"99999999999999999999999 z", 0, 0xFFFFFFFF, " z"},
                 {"101", 2, 5, ""},
                 {"12f", 10, 12, "f"},
                 {"zz", 36, 35 * 36 + 35, ""}};
    for (const auto& [line, base, value, rest] : cases) {
        VFKStringParser parser(line);
        u32 got = 77;
        EXPECT_TRUE(parser.GetUInt32(got, base)) << line;
        EXPECT_EQ(got, value) << line;
        EXPECT_EQ(Rest(parser), rest) << line;
    }
    for (const auto& [line, base] :
         {std::pair("", 0), {"  ", 0}, {"g", 0}, {"--1", 0}, {"- 1", 0}, {"1", 1}, {"1", 37}}) {
        VFKStringParser parser(line);
        u32 got = 77;
        EXPECT_FALSE(parser.GetUInt32(got, base)) << line;
        EXPECT_EQ(got, 77u);
        EXPECT_EQ(Rest(parser), line);
    }
}

TEST(VFKStringParser, OptionsLinesAndRedirections)
{
    VFKStringParser parser("elfsymtab -v  -size=4k - x > out file ");
    std::string name;
    std::string value = "left";
    EXPECT_FALSE(parser.GetOption(name, value));
    parser.GetCToken(name, false, true);
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "v|");
    EXPECT_TRUE(parser.GetOption(name, value));
    EXPECT_EQ(name + "|" + value, "size|4k");
    EXPECT_FALSE(parser.GetOption(name, value)) << "a dash alone";
    char c = '?';
    EXPECT_FALSE(parser.GetNonWhiteSpaceChar(c, ">"));
    EXPECT_EQ(c, '?');
    EXPECT_EQ(parser.PeekChar(0), ' ') << "the blanks in front are given back";
    EXPECT_TRUE(parser.GetNonWhiteSpaceChar(c, nullptr));
    EXPECT_EQ(c, '-');
    parser.SkipSpaces();
    parser.GetCToken(name, false, false);
    EXPECT_TRUE(parser.GetNonWhiteSpaceChar(c, "<>"));
    EXPECT_EQ(c, '>');
    EXPECT_TRUE(parser.GetLine(name, true));
    EXPECT_EQ(name, "out file ") << "blanks at the end stay";
    EXPECT_FALSE(parser.GetLine(name, true));
    EXPECT_FALSE(parser.GetNonWhiteSpaceChar(c, nullptr));
}

} // namespace
