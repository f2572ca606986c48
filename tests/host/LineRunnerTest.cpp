// host/LineRunner.cpp and the complaints of host/Console.cpp: lines at the console that the plug-in doesn't know, or
// that go wrong.
#include "host/LineRunner.h"

#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

namespace {

const std::string kFile = Sample("station.axf");

Ran RunLine(const std::string& line)
{
    return RunHost({"console", kFile, "-c", line});
}

TEST(LineRunner, AHostCommandSaysWhatItSaysOnItsOwn)
{
    EXPECT_EQ(RunLine("at 0x8480 0x85f6").out, RunHost({"at", kFile, "0x8480", "0x85f6"}).out);
    EXPECT_EQ(RunLine("functions --unit 'filter.c' --json").out,
              RunHost({"functions", kFile, "--unit", "filter.c", "--json"}).out);
    EXPECT_EQ(RunHost({"console", kFile, "--json"}, "units\n# a remark\nquit\nunits\n").out,
              RunHost({"units", kFile, "--json"}).out);
    EXPECT_EQ(RunLine("help at").out.rfind("Usage: at ADDRESS... [OPTIONS]\n", 0), 0u);
    EXPECT_EQ(RunLine("at --help").out, RunLine("help at").out);
}

TEST(LineRunner, WhatGoesWrongIsToldAndEndsWithStatusOne)
{
    const struct {
        std::string line;
        std::string complaint;
    } cases[] = {
        {"elfhrd", "There is no command 'elfhrd'. Did you mean elfhdr?"},
        {"fnid main", "There is no command 'fnid'. Did you mean find?"},
        {"help untis", "There is no command 'untis'. Did you mean units?"},
        {"convert -o x", "There is no command 'convert'"},
        {"units --jsno", "There is no option '--jsno' of 'units'. Did you mean --json?"},
        {"at", "ADDRESS is required"},
        {"units FILE", "This word is not expected: FILE"},
        {"scopes nothing", "There is no function 'nothing'"},
        {"lines --line 100000", "No code is of line 100000"},
        {"units > /none/here", "/none/here: No such file or directory"},
        {"elfhdr > /none/here", "'elfhdr > /none/here': The file could not be opened: No such file or directory"},
        {"elfsect .text >/", "The file could not be opened: Is a directory"},
        {"units > /dev/full", "/dev/full: No space left on device"},
        {"die", "'die': A number is missing"},
        {"DIE here", "'here' is no number"},
        {"die 0x26x", "'0x26x' is no number"},
        {"line 99 9", ""},
        {"loclist x", "'x' is no number"},
        {"elffind clamp", "'clamp' is no number"},
    };
    for (const auto& [line, complaint] : cases) {
        const Ran ran = RunLine(line);
        SCOPED_TRACE(line);
        EXPECT_EQ(ran.status, complaint.empty() ? 0 : 1);
        EXPECT_EQ(SplitLines(ran.err).size(), complaint.empty() ? 0u : 1u) << ran.err;
        EXPECT_NE(ran.err.find(complaint), std::string::npos) << ran.err;
    }
    for (const char* fine :
         {"", " ", "# remark", "loclist", "loclist > /dev/null", "die 0x26>/dev/null", "elffind 8000", "? x"}) {
        const Ran ran = RunLine(fine);
        EXPECT_EQ(ran.status, 0) << fine;
        EXPECT_EQ(ran.err, "") << fine;
    }
}

TEST(LineRunner, ResultsGoToAFile)
{
    const TempFile file("old text that is longer");
    EXPECT_EQ(RunLine("rate > x").status, 1) << "no command of an open file";
    EXPECT_EQ(RunLine("units --json > " + file.Path() + " ").out, "Results saved into: '" + file.Path() + "'\n");
    EXPECT_EQ(Contents(file.Path()), RunHost({"units", kFile, "--json"}).out);
}

TEST(LineRunner, QuotesHoldAWordTogether)
{
    const ConsoleWords line = SplitConsoleLine(" find 'operator > ' \"it's\" a'b c'd operator> x>y '' > out file ");
    EXPECT_EQ(line.words, (std::vector<std::string>{"find", "operator > ", "it's", "ab cd", "operator>", "x>y", ""}));
    EXPECT_TRUE(line.redirected);
    EXPECT_EQ(line.target, "out file");
    EXPECT_FALSE(SplitConsoleLine("a '> b").redirected);
}

} // namespace
