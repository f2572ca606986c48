// Which command a line reaches, where its output goes, and what is left behind.
#include "tests/console/ConsoleTest.h"

namespace {

class Commands : public ConsoleTest {
protected:
    void SetUp() override
    {
        dwarf.Unit().Name("a.c");
        Index(dwarf);
    }
    const OutputPath out{};
};
BOTH_BYTE_ORDERS(Commands);

TEST_P(Commands, WhatReachesNoCommandIsSilent)
{
    for (const char* line : {"", "  \t", "nonsense", "Dump", "dumpx", "die", "DIE", "line", "elfsect", "elffind",
                             "die x", "line > ", " ?", "HELP"}) {
        EXPECT_EQ(Run(line), "") << line;
    }
    EXPECT_EQ(Run("die > " + out.Path()), "");
    EXPECT_EQ(ReadFile(out.Path()), "");
}

TEST_P(Commands, TheConsoleTakesNoInputUntilTheCommandHasFinished)
{
    for (const u32 state : {0xFFu, 0xFBu}) {
        RecordingConsole console;
        console.m_state = state;
        const std::string line = "clear";
        File().ConsoleCommand(&line, &console);
        EXPECT_EQ(console.calls, (std::vector<std::string>{"clear 0", "finished"}));
        EXPECT_EQ(console.stateWhenFinished, 0xFBu);
        EXPECT_EQ(console.m_state, state);
    }
}

TEST_P(Commands, ARedirectedDumpIsCompleteInTheFile)
{
    std::ofstream(out.Path()) << std::string(5000, 'x'); // is cut to nothing
    for (const std::string line : {"dieinfo", "line 0x10", "abbr", "elffind gamma", "elfsymtab -n", "die 11", "elf"}) {
        const std::string listing = Run(line);
        EXPECT_NE(listing, "");
        EXPECT_EQ(Run(line + "   >   " + out.Path()), "Results saved into: '" + out.Path() + "'\n");
        EXPECT_EQ(WithoutPath(ReadFile(out.Path())), listing);
        EXPECT_EQ(Run(line), listing) << "the next line goes to the console";
    }
    Run("dieinfo>" + out.Path());
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), Run("dieinfo"));
}

TEST_P(Commands, WhatIsNoRedirectionStaysOnTheConsole)
{
    for (const char* line : {"dieinfo nonsense", "dieinfo >", "dieinfo > /nowhere/at/all"}) {
        EXPECT_EQ(Run(line), Run("dieinfo")) << line;
    }
    for (const std::string line : {"mem", "macinfo", "pubnames", "help"}) {
        EXPECT_EQ(Run(line + " > " + out.Path()), Run(line));
        EXPECT_EQ(ReadFile(out.Path()), "") << line;
    }
    for (const char* line : {"abbr parsed", "abbr p", "abbr ?"}) { // a word after it asks for the parsed listing
        EXPECT_NE(Run(line).find(".debug_abbrev at 0x00000000"), std::string::npos) << line;
    }
}

} // namespace
