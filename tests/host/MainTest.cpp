// host/main.cpp: whatever goes wrong, one line and an exit status report it.
#include "host/Command.h"
#include "host/LineRunner.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

namespace {

struct Failure {
    std::vector<std::string> arguments;
    int status;
    std::string complaint; ///< contained in the one line on standard error; empty for no line
    std::string output = "";
};

TEST(Main, OneLineAndAStatusForEachFailure)
{
    const std::string file = Sample("station.axf");
    const std::string symbols = Sample("symbols.axf");
    const std::string bare = Sample("library-bare.axf");
    const TempFile text("no symbol file");
    const std::vector<Failure> failures = {
        {{}, 2, "required"},
        {{"nonsense"}, 2, "There is no command 'nonsense'"},
        {{"units"}, 2, "FILE is required"},
        {{"untis", file}, 2, "Did you mean units?"},
        {{file, "units"}, 2, "There is no command '" + file + "'"},
        {{"help", "fnid"}, 2, "Did you mean find?"},
        {{"sections", file, "[more]", "b", "a"}, 2, "not expected: [more] b a"},
        {{"units", file, "--match", "nobody"}, 1, "There is no unit 'nobody'"},
        {{"functions", file, "--match", "(", "--regex", "--convert", "never"}, 2, "'(' is no regular expression"},
        {{"functions", file, "--sort", "weight"}, 2, "'weight' is none of size, name and address"},
        {{"lines", file, "--match", "nobody", "--convert", "never"}, 1, "No code is of 'nobody'"},
        {{"types", file, "readin", "--convert", "never"},
         1,
         "There is no type 'readin'. Did you mean reading or Read?"},
        {{"types", file, "0x7", "--convert", "never"}, 1, "There is no type '0x7'"},
        {{"types", file, "(", "--regex", "--convert", "never"}, 2, "'(' is no regular expression"},
        {{"functions", file, "--match", "clampp", "--convert", "never"}, 1, "Did you mean clamp?"},
        {{"units", file, "--match", "filtr.c"}, 1, "Did you mean filter.c?"},
        {{"functions", file, "--unit", ""}, 2, "--unit: The value is empty"},
        {{"units", file, "--sort"}, 2, "--sort needs a value: size|name|address"},
        {{"hlep"}, 2, "Did you mean help?"},
        {{"functions", symbols}, 0, "No debug information"},
        {{"scopes", symbols, "station_main"}, 1, "There is no debug information about 'station_main'"},
        {{"types", file, "sensors::reading", "--convert", "never"}, 1, "Did you mean reading?"},
        {{"scopes", file}, 2, "FUNCTION or --at is required"},
        {{"scopes", file, "station_mian", "--convert", "never"}, 1, "Did you mean station_main?"},
        {{"scopes", file, "--at", "0x7000", "--convert", "never"}, 1, "There is no function at 0x00007000"},
        {{"scopes", file, "station_main", "--at", "0x8000", "--convert", "never"},
         1,
         "0x00008000 is outside of 'station_main'"},
        {{"units", file, "--bogus"}, 2, "There is no option '--bogus' of 'units'"},
        {{"functions", file, "--unti=a.c"}, 2, "Did you mean --unit?"},
        {{"units", file, "--line", "5"}, 2, "There is no option '--line' of 'units'"},
        {{"at", file, "--annotate", "main"}, 2, "takes no ADDRESS"},
        {{"at", file, "[5]"}, 1, "'[5]' is no address"},
        {{"lines", file, "--line", "main.c:"}, 2, "'main.c:' is no source line"},
        {{"lines", file, "--line", "100000"}, 1, "No code is of line 100000"},
        {{"console", file, "--load", "1"}, 2, "'1' is none of none, index, symbols and all"},
        {{"units", file, "--preferences", file + "/none"}, 2, "does not exist"},
        {{"units", file, "--module", file}, 1, "can't load the module"},
        {{"units", file + "/none"}, 1, "Not a directory"},
        {{"units", SAMPLES_DIR}, 1, "Is a directory"},
        {{"export", text.Path()}, 1, "Not an ELF file"},
        {{"console", text.Path(), "-c", "mem"}, 1, "Not an ELF file"},
        {{"units", bare}, 1, "Neither debug information nor a symbol table"},
        {{"sections", bare}, 0, ""},
        {{"find", symbols, "[x]"}, 1, "There is no symbol '[x]'"},
        {{"find", symbols, "++"}, 1, "There is no symbol '++'"},
        {{"units", file, "--convert", "yes"}, 2, "'yes' is none of auto, always and never"},
        {{"convert", file}, 2, "-o is required"},
        {{"convert", file, "-o", "out", "--convert", "never"}, 2, "--convert"},
        {{"convert", text.Path(), "-o", "out"}, 1, "Not an ELF file"},
        {{"convert", file + "/none", "-o", "out"}, 1, "Not a directory"},
        {{"console", file, "-c", "dump > /dev/full"}, 1, "'dump > /dev/full'"},
        {{"console", file, "-c", "elfhdr > /dev/full"}, 1, "'elfhdr > /dev/full'"},
        {{"export", file}, 1, "standard output: No space left on device", "/dev/full"},
        {{"console", file, "-c", "mem"}, 1, "standard output: No space left on device", "/dev/full"},
        {{"--help"}, 1, "standard output: No space left on device", "/dev/full"},
    };
    for (const Failure& failure : failures) {
        const Ran ran = RunHost(failure.arguments, "", failure.output);
        SCOPED_TRACE(testing::PrintToString(failure.arguments));
        EXPECT_EQ(ran.status, failure.status);
        const std::vector<std::string> lines = SplitLines(ran.err);
        EXPECT_EQ(lines.size(), failure.complaint.empty() ? 0u : 1u) << ran.err;
        EXPECT_NE(ran.err.find(failure.complaint), std::string::npos) << ran.err;
    }
}

TEST(Main, AListingThatFailsShowsNoHead)
{
    const std::string file = Sample("station.axf");
    EXPECT_EQ(RunHost({"lines", file, "--line", "100000"}).out, "");
    EXPECT_EQ(SplitLines(RunHost({"units", Sample("symbols.axf")}).out).size(), 1u) << "but an empty one does";
}

TEST(Main, EachOfSeveralFilesHasAHead)
{
    const std::string good = Sample("station.axf");
    const std::string other = Sample("library.axf");
    const Ran ran = RunHost({"functions", good, other, good + "/none", good, "--match", "station_main"});
    const std::string one = "==> " + good +
                            " <==\n"
                            "  id          address           size  name\n"
                            "/build/samples/station.c:\n"
                            "  0x0000068d  0x00008480       344  station_main\n"
                            "total  1 function, 344 bytes\n";
    EXPECT_EQ(ran.out, one + '\n' + one) << "and none of what has nothing to show";
    EXPECT_EQ(ran.status, 1);

    const Ran both = RunHost({"types", good, other, "reading", "usage_t", "--json"});
    const std::vector<std::string> lines = SplitLines(both.out);
    ASSERT_EQ(lines.size(), 5u) << both.out;
    EXPECT_EQ(lines[0], "{\"record\":\"file\",\"path\":\"" + good + "\"}");
    EXPECT_NE(lines[1].find("\"name\":\"reading\""), std::string::npos);
    EXPECT_NE(lines[2].find("\"same_as\":871,"), std::string::npos) << "that of another unit";
    EXPECT_NE(lines[4].find("\"name\":\"usage_t\""), std::string::npos);
    EXPECT_EQ(both.status, 1) << "neither file has both";
}

TEST(Main, OptionsStandWhereverOneTypesThem)
{
    const std::string file = Sample("station.axf");
    const std::string plain = RunHost({"functions", file, "--unit", "filter.c", "--json"}).out;
    EXPECT_NE(plain, "");
    EXPECT_EQ(RunHost({"--json", "--unit", "filter.c", "functions", file}).out, plain);
    EXPECT_EQ(RunHost({"--unit=filter.c", "functions", "--json", file}).out, plain);
    EXPECT_EQ(RunHost({"find", file, "--", "--json"}).out, "--json\n  no ELF symbol\n  not in .debug_pubnames\n");
}

TEST(Main, HelpAndVersionAreAnsweredAheadOfAllElse)
{
    const std::string help = RunHost({"at", "--help"}).out;
    EXPECT_EQ(help.rfind("Usage: symhost at FILE [ADDRESS]... [OPTIONS]\n", 0), 0u) << help;
    EXPECT_EQ(RunHost({"help", "at"}).out, help);
    EXPECT_EQ(RunHost({"-h", "at", "none", "--bogus"}).out, help);
    EXPECT_NE(RunHost({"console", Sample("station.axf"), "-c", "--help"}).out.find("help"), 0u) << "a value";
    EXPECT_EQ(RunHost({"units", "--version"}).out.rfind("symhost ", 0), 0u);
}

/// Words of a command line of bash, without its redirection.
std::vector<std::string> ShellWords(const std::string& line)
{
    return SplitConsoleLine(line.substr(0, line.find(" < "))).words;
}

TEST(Main, BehindTwoDashesAllIsWords)
{
    const Ran ran = RunHost({"find", Sample("station.axf"), "--", "--help"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out.rfind("--help\n  no ELF symbol\n", 0), 0u) << ran.out;
}

TEST(Main, ExamplesOfTheHelpAreLinesThatItTakes)
{
    const TempFile out("");
    for (const ListedCommand& listed : MakeCommands()) {
        const Command::Text text = listed.command->Describe();
        EXPECT_EQ(text.examples.empty(), listed.IsHidden()) << text.name;
        const std::string help = RunHost({"help", text.name}).out;
        for (const std::string& example : text.examples) {
            EXPECT_NE(help.find("\n  symhost " + example + "\n"), std::string::npos) << help;
            std::vector<std::string> words = ShellWords(example);
            EXPECT_EQ(words.front(), text.name);
            for (std::string& word : words) {
                word = word == "app-dwarf2.axf" || word.ends_with(".html") ? out.Path()
                       : word.ends_with(".axf") || word.ends_with(".elf")  ? Sample("station.axf")
                       : word.ends_with("> lines.txt")                     ? "line 0 > " + out.Path()
                                                                           : word;
            }
            EXPECT_NE(RunHost(words).status, 2) << example;
        }
    }
}

TEST(Main, TheConsoleLoadsAsDeepAsItIsTold)
{
    std::size_t last = 0;
    for (const char* depth : {"none", "index", "symbols", "all"}) {
        const Ran ran = RunHost({"console", Sample("station.axf"), "--load", depth, "-c", "dieinfo"});
        const std::size_t rows = SplitLines(ran.out).size();
        EXPECT_GT(rows, last) << depth;
        last = rows;
    }
}

TEST(Main, AnOutputThatTakesNoMoreIsTold)
{
    const TempFile file("");
    const std::string program = std::string("'") + BIN_DIR + "/symhost' export '" + Sample("station.axf") + "'";
    const std::pair<std::string, std::string> cases[] = {
        {program + " >&-; echo $? >&2", "Bad file descriptor"},
        {"ulimit -f 1; " + program + " > '" + file.Path() + "'; echo $? >&2", "File too large"}};
    for (const auto& [line, words] : cases) {
        const Ran ran = RunProgram("/bin/sh", {"-c", line}, "", "");
        EXPECT_EQ(SplitLines(ran.err), (std::vector<std::string>{"symhost: standard output: " + words, "1"}));
    }
}

TEST(Main, AReaderThatLeavesEndsItWithoutAWord)
{
    const std::string program = std::string("'") + BIN_DIR + "/symhost' export '" + Sample("station.axf") + "'";
    EXPECT_EQ(RunProgram("/bin/sh", {"-c", "{ " + program + "; echo $? >&2; } | true"}, "", "").err, "141\n");
    EXPECT_EQ(RunProgram("/bin/sh", {"-c", "trap '' PIPE; { " + program + "; echo $? >&2; } | true"}, "", "").err,
              "1\n");
}

TEST(Main, AnAnswerDoesNotWaitForTheNextQuestion)
{
    const TempFile pipe("");
    const std::string program = std::string("'") + BIN_DIR + "/symhost' at '" + Sample("station.axf") + "'";
    // The second question comes once the first answer is there.
    const std::string script = "rm " + pipe.Path() + "; mkfifo " + pipe.Path() + "; { echo clamp; read go < " +
                               pipe.Path() + "; echo blend; } | " + program + " | { read row; echo > " + pipe.Path() +
                               "; echo \"$row\"; cat; }";
    const Ran ran = RunProgram("/usr/bin/timeout", {"20", "/bin/sh", "-c", script}, "", "");
    EXPECT_EQ(SplitLines(ran.out).size(), 2u) << ran.out;
}

TEST(Main, ALineThatFailsIsInTheStatus)
{
    const std::vector<std::string> words = {"console", Sample("station.axf")};
    EXPECT_EQ(RunHost(words, "mem\n").status, 0);
    EXPECT_EQ(RunHost(words, "nonsense\nmem\n").status, 1);
}

TEST(Main, LinesOfTheConsoleArriveAsTyped)
{
    EXPECT_EQ(RunHost({"console", Sample("station.axf"), "-c", "[mem]", "-c", "++"}).out, "");
}

} // namespace
