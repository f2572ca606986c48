// host/Completion.cpp: what the Tab key offers.
#include "host/Completion.h"

#include "frame/Dwarf2SymbolicPlugin.h"
#include "host/LineRunner.h"
#include "host/Loader.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Words = std::vector<std::string>;

Words Complete(const std::string& line)
{
    return Completer(Sample("station.axf")).Complete(line).candidates;
}

TEST(Completion, HelpTableAndCompletionNameTheSameCommands)
{
    const Words offered = Complete("");
    EXPECT_TRUE(std::is_sorted(offered.begin(), offered.end()));
    EXPECT_EQ(std::count(offered.begin(), offered.end(), "?"), 0);
    const Ran help = RunHost({"console", Sample("station.axf"), "-c", "help"});
    for (const std::string& line : SplitLines(help.out)) {
        if (const std::string word = line.substr(0, line.find_first_of(" [")); !word.empty() && word != "NOTE:") {
            EXPECT_EQ(std::count(offered.begin(), offered.end(), word), 1) << word;
        }
    }
    // Each of the plug-in's commands does something, if only with a word after it, and has its help.
    for (const std::string& word : ConsoleCommandNames()) {
        EXPECT_EQ(std::count(offered.begin(), offered.end(), word), 1) << word;
        EXPECT_EQ(RunHost({"console", Sample("station.axf"), "-c", "help " + word}).out.rfind(word, 0), 0u) << word;
        const std::string operand = word == "elfsect" ? " .text" : word == "elffind" ? " main" : " 0xb";
        if (word != "clear" && word != "orloinfo" && word != "help") {
            EXPECT_NE(RunHost({"console", Sample("station.axf"), "-c", word + operand}).out, "") << word;
        }
    }
}

TEST(Completion, TheFirstWordIsACommandAndTheSecondWhatItAsksFor)
{
    EXPECT_EQ(Complete("elff"), Words{"elffind"});
    EXPECT_EQ(Complete(" \tD"), Words{"DIE"});
    EXPECT_EQ(Complete("di"), (Words{"die", "dieinfo"}));
    EXPECT_EQ(Complete("elfsect .debug_a"), (Words{".debug_abbrev", ".debug_aranges"}));
    EXPECT_EQ(Complete("elffind station_"), Words{"station_main"});
    EXPECT_EQ(Complete("elffind station_main x"), Words{});
    EXPECT_EQ(Complete("line s"), Words{});
    EXPECT_EQ(Complete("fin"), Words{"find"});
    EXPECT_EQ(Complete("help fin"), Words{"find"});
    EXPECT_EQ(Complete("help find fin"), Words{});
    EXPECT_EQ(Complete("find clamp station_m"), Words{"station_main"});
    EXPECT_EQ(Complete("lines --un"), Words{"--unit"});
    EXPECT_EQ(Complete("dump --un"), Words{});
    Completer completer(Sample("station.axf"));
    EXPECT_EQ(completer.Complete("elfsect  .debug_a").start, 9u);
    EXPECT_EQ(completer.Complete("elfsect .debug_a").CommonPrefix(), ".debug_a");
    EXPECT_EQ(completer.Complete("nonsense").CommonPrefix(), "");
}

TEST(Completion, OfAnOpenFileUnitsAndTypesAreKnown)
{
    Dwarf2SymbolicPlugin plugin;
    Loader file(plugin, Sample("station.axf"));
    ASSERT_TRUE(file.Add());
    Completer completer(Sample("station.axf"), &file);
    const auto complete = [&](const char* line) { return completer.Complete(line).candidates; };
    EXPECT_EQ(complete("lines --unit "), (Words{"device.cpp", "filter.c", "start.c", "station.c"}));
    EXPECT_EQ(complete("functions --json --unit st"), (Words{"start.c", "station.c"}));
    EXPECT_EQ(complete("lines --unit  /build/samples/sta"),
              Words({"/build/samples/start.c", "/build/samples/station.c"}));
    EXPECT_EQ(complete("types stamp_t n"), Words{"node"});
    EXPECT_EQ(complete("types --sort s"), Words{"size"});
    EXPECT_EQ(complete("find --regex station_m"), Words{"station_main"}) << "a flag takes no value";
    EXPECT_EQ(complete("line s"), Words{});
}

TEST(Completion, NamesAreInOrderOnceAndWithoutBlanks)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(64, '\0'));
    for (const char* name : {"f_b", "f_a", "f_b", "f c", "g"}) {
        elf.Symbol({.name = name});
    }
    elf.Symbol({.name = "f_" + std::string(1100, 'x')});
    const TempFile file = elf.Write();
    EXPECT_EQ(Completer(file.Path()).Complete("elffind f").candidates, (Words{"f_a", "f_b"}));
}

TEST(Completion, BehindARedirectionStandFilesAndFolders)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("completion." + std::to_string(getpid()));
    std::filesystem::create_directories(folder / "sub");
    std::ofstream(folder / "some file.txt") << "text";
    std::ofstream(folder / ".hidden") << "text";
    const std::string base = folder.string() + "/";
    EXPECT_EQ(Complete("dump > " + base), (Words{base + "some file.txt", base + "sub/"}));
    EXPECT_EQ(Complete("dump >" + base + "some f"), Words{base + "some file.txt"});
    EXPECT_EQ(Complete("dump > " + base + "."), Words{base + ".hidden"});
    EXPECT_EQ(Complete("dump > " + base + "none/"), Words{});
    Completer completer(Sample("station.axf"));
    EXPECT_TRUE(completer.Complete("dump > x").files);
    EXPECT_EQ(completer.Complete("dump > x").start, 7u);
    std::filesystem::remove_all(folder);
}

} // namespace
