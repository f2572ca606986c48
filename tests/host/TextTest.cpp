// host/Text.cpp: numbers, paths and lines.
#include "host/Text.h"

#include "interfaces/DbgAddress.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

std::string Printable(std::string_view text, std::string_view kept = {})
{
    std::string line;
    AppendPrintable(line, text, kept);
    return line;
}

TEST(Text, NumbersAreWrittenInColumns)
{
    std::string line;
    AppendHex8(line, 0xC0FFEE);
    AppendHex8(line, 0xFFFFFFFF);
    AppendDecimal(line, -12, 5);
    AppendDecimal(line, 123456, 3);
    PadTo(line, 30);
    line += '|';
    PadTo(line, 5);
    EXPECT_EQ(line, "0x00c0ffee0xffffffff  -12123456 | ");
    line.clear();
    DbgAddress address;
    address.SetAddress(0x10, 3, 0, 0);
    AppendAddress(line, address);
    address.section = kNone;
    AppendAddress(line, address);
    EXPECT_EQ(line, "3:0x000000100x00000010");
}

TEST(Text, NumbersAreReadInCsNotation)
{
    const std::pair<const char*, std::optional<u32>> cases[] = {
        {"0", 0},           {"32768", 32768},      {"0x8000", 0x8000}, {"0X1f", 0x1F},
        {"0100000", 32768}, {"017", 15},           {"08", {}},         {"0x", {}},
        {"", {}},           {"4294967295", kNone}, {"4294967296", {}}, {"1 ", {}},
        {"-1", {}},         {"abc", {}},           {"0xg", {}},        {"12x", {}}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(ParseNumber(text), value) << text;
    }
}

TEST(Text, ASourceLineHasANumberBehindItsPath)
{
    EXPECT_EQ(ParseSourceLine("7")->number, 7u);
    EXPECT_EQ(ParseSourceLine("7")->path, "");
    EXPECT_EQ(ParseSourceLine("C:\\a.c:0x10")->path, "C:\\a.c");
    EXPECT_EQ(ParseSourceLine("C:\\a.c:0x10")->number, 16u);
    for (const char* text : {":7", "a.c:", "a.c", "", "a.c:7:"}) {
        EXPECT_FALSE(ParseSourceLine(text)) << text;
    }
}

TEST(Text, APathEndsInWholeParts)
{
    EXPECT_TRUE(EndsInPath("/src/main.c", "main.c"));
    EXPECT_TRUE(EndsInPath("C:\\src\\main.c", "main.c"));
    EXPECT_TRUE(EndsInPath("/src/main.c", "src/main.c"));
    EXPECT_FALSE(EndsInPath("/src/main.c", "ain.c"));
    EXPECT_FALSE(EndsInPath("main.c", "main.c"));
    EXPECT_FALSE(EndsInPath("/src/main.c", "main.h"));
}

TEST(Text, NothingOfAFileSteersATerminal)
{
    EXPECT_EQ(Printable("a\x1b[2J\tb\x7f"), "a?[2J?b?");
    EXPECT_EQ(Printable("a\n\tb", "\t"), "a?\tb");
    EXPECT_EQ(Printable("\xC2\x9B|\xC2\xA0|\x9B|\x85"), "?|\xC2\xA0|?|?"); // C1
    EXPECT_EQ(Printable("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(Printable("\xE2\x82"), "\xE2\x82");
    std::string line;
    AppendShort(line, std::string(1024, 'x'));
    EXPECT_EQ(line, std::string(1024, 'x'));
    AppendShort(line, std::string(1025, 'y'));
    EXPECT_EQ(line, std::string(1024, 'x') + std::string(1024, 'y') + "...");
}

TEST(Text, RowsOfLongPathsAreCutInTheEnd)
{
    RowPaths paths;
    const std::string path(1 << 20, 'p');
    EXPECT_EQ(paths.Shown(path), path);
    for (u32 row = 0; row < 64; ++row) {
        paths.Count(path.size());
    }
    EXPECT_EQ(paths.Shown(path), path) << "512 bytes a row come on top";
    paths.Count(path.size());
    EXPECT_EQ(paths.Shown(path), path.substr(0, 64));
}

TEST(Text, LinesComeWithoutTheirEnds)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string input = "one\r\n\ntwo\rx\nlast";
    ASSERT_EQ(write(ends[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    close(ends[1]);
    LineReader reader(ends[0]);
    std::string line;
    EXPECT_FALSE(reader.Buffered());
    std::string all;
    while (reader.Next(line)) {
        all += "[" + line + "]";
        EXPECT_EQ(reader.Buffered(), line == "one" || line.empty());
    }
    EXPECT_EQ(all, "[one][][two\rx][last]");
    EXPECT_EQ(reader.Error(), 0);
    close(ends[0]);
    LineReader closed(ends[0]);
    EXPECT_FALSE(closed.Next(line));
    EXPECT_EQ(closed.Error(), EBADF);
}

} // namespace
