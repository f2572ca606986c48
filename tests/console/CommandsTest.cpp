// Which command a line reaches, what it reads, where its output goes, and what is left behind.
#include "tests/console/ConsoleTest.h"

#include <algorithm>

namespace {

class Commands : public ConsoleTest {
protected:
    void SetUp() override
    {
        DwarfBuilder dwarf(GetParam());
        dwarf.Unit().Name("a.c");
        Index(dwarf);
    }
};
BOTH_BYTE_ORDERS(Commands);

TEST_P(Commands, HelpHasSeventeenLinesAndThreeWays)
{
    const std::string help = Run("help");
    EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), 17);
    EXPECT_EQ(help.substr(0, 60), "abbr                - dump the DWARF2 .debug_abbrev section\n");
    EXPECT_NE(help.find("(if any)\n\nNOTE: "), std::string::npos);
    EXPECT_EQ(Run("?"), help);
    EXPECT_EQ(Run("?mem"), help);
    EXPECT_EQ(Run(" ?"), "") << "only the line's first byte counts";
    EXPECT_EQ(Run("HELP"), "");
}

TEST_P(Commands, EveryHeadLine)
{
    const std::pair<const char*, const char*> heads[] = {
        {"dump", "DWARF2 debug information dump for ELF file: 'FILE'\n"},
        {"abbr", "DWARF2 .debug_abbrev section dump for ELF file: 'FILE'\n"},
        {"dieinfo", "DWARF2 m_dieInfoMap file: 'FILE'\n"},
        {"loclist 16", "ELF location list at '.debug_loc' offset 0x00000010 for ELF file: 'FILE'\n"},
        {"loclist", "ELF location list for ELF file: 'FILE'\n"},
        {"line 0x10", "DWARF2 line table at '.debug_line' offset 0x00000010 for ELF file: 'FILE'\n"},
        {"die 11", "ELF DIE (Debugging Information Entry) at '.debug_info' offset 0x0000000b in ELF file: 'FILE'\n"},
        {"DIE b", "ELF DIE (Debugging Information Entry) and all children at '.debug_info' offset 0x0000000b in ELF "
                  "file: 'FILE'\n"},
        {"elfhdr", "ELF file header for: 'FILE'\n"},
        {"elfph", "ELF program headers for: 'FILE'\n"},
        {"elfsh", "ELF section headers for: 'FILE'\n"},
        {"elfsymtab -a", "ELF symbol table for ELF file: 'FILE'\n"},
        {"elffind main", "Find a symbol 'main' in the elf symbol table of ELF file: 'FILE'\n"},
        {"elffind face", "Find a symbol by st_value = '0x0000face' in the elf symbol table of ELF file: 'FILE'\n"},
        {"elfsect .text", "ELF dump of section named '.text' for file: 'FILE'\n"},
        {"elf", "ELF file, program and section header dump for file: 'FILE'\n"},
    };
    for (const auto& [line, head] : heads) {
        EXPECT_EQ(Run(line).rfind(head, 0), 0u) << line;
    }
    for (const char* line : {"orloinfo", "macinfo", "pubnames", "mem"}) {
        EXPECT_EQ(Run(line).find("FILE"), std::string::npos) << line;
    }
}

TEST_P(Commands, WhatReachesNoCommandIsSilent)
{
    const OutputPath out;
    for (const char* line :
         {"", "  \t", "nonsense", "Dump", "dumpx", "die", "DIE", "line", "elfsect", "elffind", "die x", "line > "}) {
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
    const OutputPath out;
    const std::string listing = Run("dieinfo");
    std::ofstream(out.Path()) << std::string(5000, 'x'); // is cut to nothing
    EXPECT_EQ(Run("dieinfo>" + out.Path()), "Results saved into: '" + out.Path() + "'\n");
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), listing);
    EXPECT_EQ(Run("dieinfo"), listing) << "the next line goes to the console";

    EXPECT_EQ(Run("line 0x10   >   " + out.Path()), "Results saved into: '" + out.Path() + "'\n");
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), Run("line 0x10"));
}

TEST_P(Commands, WhatIsNoRedirectionStaysOnTheConsole)
{
    const OutputPath out;
    EXPECT_EQ(Run("dieinfo nonsense"), Run("dieinfo"));
    EXPECT_EQ(Run("dieinfo >"), Run("dieinfo"));
    EXPECT_EQ(Run("dieinfo > /nowhere/at/all"), Run("dieinfo"));
    for (const std::string line : {"mem", "macinfo", "pubnames", "help"}) {
        EXPECT_EQ(Run(line + " > " + out.Path()), Run(line));
        EXPECT_EQ(ReadFile(out.Path()), "") << line;
    }
}

TEST_P(Commands, AWordBehindAbbrAsksForTheParsedListing)
{
    const OutputPath out;
    const std::string raw = Run("abbr");
    EXPECT_NE(raw.find("[1] TAG_compile_unit"), std::string::npos);
    for (const char* line : {"abbr parsed", "abbr p", "abbr ?"}) {
        EXPECT_NE(Run(line).find(".debug_abbrev at 0x00000000"), std::string::npos) << line;
    }
    Run("abbr > " + out.Path());
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), raw);
}

TEST_P(Commands, MemCountsFixedCosts)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] { dwarf.Die(TAG_variable).Name("v"); });
    dwarf.EndUnit();
    dwarf.line.Fill(3000);
    const std::string info = std::to_string(dwarf.info.Size());
    const std::string abbrev = std::to_string(dwarf.abbrev.Size());
    Open(dwarf);
    const std::string sections = "m_debug_info contains " + info + " bytes\nm_debug_abbrev contains " + abbrev +
                                 " bytes\nm_debug_line contains 3000 bytes\nm_debug_loc contains 0 bytes\n"
                                 "m_debug_str contains 0 bytes\n";
    EXPECT_EQ(Run("mem"), sections + "m_abbrListMap (elems size = 0) contains 0 items for 0 bytes\n"
                                     "totalSize = 2 Kb\n");
    Probe::ReadAbbrevTables(File());
    // Two declarations, and the empty list behind the table.
    EXPECT_EQ(Run("mem"), sections + "m_abbrListMap (elems size = 24) contains 2 items for 32 bytes\n"
                                     "totalSize = 3 Kb\n");
}

} // namespace
