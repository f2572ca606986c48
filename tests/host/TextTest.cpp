// host/Text.cpp
#include "host/Text.h"

#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

TEST(Text, NumbersAreReadInTheNotationOfC)
{
    EXPECT_EQ(ParseNumber("0XfF"), 255u);
    EXPECT_EQ(ParseNumber("010"), 8u);
    EXPECT_EQ(ParseNumber("4294967295"), 0xFFFFFFFFu);
    for (const char* text : {"", "0x", "x", "-1", "+1", "0x100000000", "4294967296", "8000h", "09", " 1", "1 "}) {
        EXPECT_FALSE(ParseNumber(text)) << text;
    }
}

TEST(Text, AFileCannotSteerTheTerminal)
{
    std::string line;
    AppendPrintable(line, "a\x1b[2Jb\n\x7f\xC2\x9B"
                          "c\xC3\xA9");
    EXPECT_EQ(line, "a?[2Jb???\x9B"
                    "c\xC3\xA9");
}

TEST(LineReader, DeliversLinesOfAnyLengthAndKnowsWhichHaveToBeWaitedFor)
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
    EXPECT_FALSE(reader.Buffered());
    std::vector<std::string> lines;
    for (std::string line; reader.Next(line);) {
        EXPECT_EQ(reader.Buffered(), lines.size() < 2) << line.substr(0, 10);
        lines.push_back(line);
    }
    writer.join();
    close(ends[0]);
    EXPECT_EQ(lines, (std::vector<std::string>{"first", "", "second", longLine, "last"}));
}
