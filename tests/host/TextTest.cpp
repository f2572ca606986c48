// host/Text.cpp
#include "host/Text.h"

#include "interfaces/DbgAddress.h"

#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace {

TEST(Text, NumbersAreReadInTheNotationOfC)
{
    EXPECT_EQ(ParseNumber("0x8000"), 0x8000u);
    EXPECT_EQ(ParseNumber("0XfF"), 255u);
    EXPECT_EQ(ParseNumber("32768"), 32768u);
    EXPECT_EQ(ParseNumber("010"), 8u);
    EXPECT_EQ(ParseNumber("0"), 0u);
    EXPECT_EQ(ParseNumber("0xffffffff"), 0xFFFFFFFFu);
    for (const char* text : {"", "0x", "x", "-1", "+1", "0x100000000", "4294967296", "8000h", "09", " 1", "1 "}) {
        EXPECT_FALSE(ParseNumber(text)) << text;
    }
}

TEST(Text, AddressesAndDecimalsAreAligned)
{
    std::string line;
    DbgAddress address;
    address.value = 0x80F4;
    AppendAddress(line, address);
    address.section = 3;
    line += ' ';
    AppendAddress(line, address);
    AppendDecimal(line, -12, 5);
    EXPECT_EQ(line, "0x000080f4 3:0x000080f4  -12");
    PadTo(line, 3);
    EXPECT_EQ(line.back(), ' ');
}

TEST(Text, AFileCannotSteerTheTerminal)
{
    std::string line;
    AppendPrintable(line, "a\x1b[2Jb\n\x7f\xC2\x9B"
                          "c\xC3\xA9");
    EXPECT_EQ(line, "a?[2Jb???\x9B"
                    "c\xC3\xA9");
}

TEST(LineReader, DeliversLinesOfAnyLengthAndEnd)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string longLine(200'000, 'x');
    const std::string text = "first\n\nsecond\r\n" + longLine + "\nlast";
    std::thread writer([&] {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(ends[1]);
    });
    LineReader reader(ends[0]);
    std::vector<std::string> lines;
    for (std::string line; reader.Next(line);) {
        lines.push_back(line);
    }
    writer.join();
    close(ends[0]);
    EXPECT_EQ(lines, (std::vector<std::string>{"first", "", "second", longLine, "last"}));
}

TEST(LineReader, KnowsWhenTheNextLineHasToBeWaitedFor)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "one\ntwo\nthr", 11), 11);
    LineReader reader(ends[0]);
    std::string line;
    EXPECT_FALSE(reader.Buffered());
    ASSERT_TRUE(reader.Next(line));
    EXPECT_TRUE(reader.Buffered());
    ASSERT_TRUE(reader.Next(line));
    EXPECT_FALSE(reader.Buffered());
    close(ends[1]);
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "thr");
    EXPECT_FALSE(reader.Next(line));
    close(ends[0]);
}

} // namespace
