// host/Options.cpp, and the options of the program as a person gives them.
#include "host/Options.h"

#include "host/Command.h"
#include "host/LineRunner.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

namespace {

const std::string kStation = Sample("station.axf");

TEST(Options, EachItemTakesItsValues)
{
    Options options;
    std::string word;
    std::vector<std::string> texts;
    bool flag = false;
    int chosen = 0;
    options.Word("FILE", word, Options::Required, "");
    options.Values("-c", "LINE", texts, "");
    options.Flag("--flag", flag, "");
    options.Choice("--by", chosen, std::vector<std::pair<std::string, int>>{{"one", 1}, {"two", 2}, {"three", 3}}, "");
    const std::vector<Options::Item>& items = options.Items();
    ASSERT_EQ(items.size(), 4u);
    for (const auto& [item, value] :
         std::vector<std::pair<std::size_t, std::string>>{{0, "a"}, {1, "b"}, {1, "c"}, {2, "true"}, {3, "two"}}) {
        EXPECT_EQ(items[item].take(value), "");
    }
    EXPECT_EQ(word, "a");
    EXPECT_EQ(texts, (std::vector<std::string>{"b", "c"}));
    EXPECT_TRUE(flag);
    EXPECT_EQ(chosen, 2);
    EXPECT_EQ(items[3].value, "one|two|three");
    EXPECT_EQ(items[3].take("four"), "'four' is none of one, two and three");
    EXPECT_EQ(chosen, 2);
}

TEST(Options, StandardInputIsForThoseWhoseItIs)
{
    std::vector<std::string> words;
    for (const bool open : {false, true}) {
        Options options(open);
        options.Words("NAME", words, Options::OrInput, "");
        EXPECT_EQ(options.Items().front().required, open);
    }
}

/// The examples of all commands with a sample for the file, those that write to a file left out.
std::vector<std::vector<std::string>> RunnableExamples()
{
    std::vector<std::vector<std::string>> lines;
    for (const ListedCommand& listed : MakeCommands()) {
        for (const std::string& example : listed.command->Describe().examples) {
            ConsoleWords line = SplitConsoleLine(example.substr(0, example.find(" < ")));
            bool writes = false;
            for (std::string& word : line.words) {
                writes = writes || word == "-o" || word == "--html";
                word = word.ends_with(".axf") || word.ends_with(".elf") ? kStation : word;
            }
            if (!writes && line.words.front() != "console") {
                lines.push_back(line.words);
            }
        }
    }
    return lines;
}

TEST(Options, JsonMakesObjectsOfWhateverIsListed)
{
    for (std::vector<std::string> line : RunnableExamples()) {
        SCOPED_TRACE(testing::PrintToString(line));
        line.insert(line.begin(), "--json");
        for (const std::string& text : SplitLines(RunHost(line).out)) {
            const auto object = nlohmann::json::parse(text, nullptr, false);
            EXPECT_TRUE(object.is_object()) << text;
        }
    }
}

TEST(Options, OnesOfEveryCommandChangeNoTextOfAPipe)
{
    const std::string module = std::string(BIN_DIR) + "/Dwarf2.so";
    for (const std::vector<std::string>& line : RunnableExamples()) {
        SCOPED_TRACE(testing::PrintToString(line));
        const Ran plain = RunHost(line);
        std::vector<std::string> more = line;
        more.insert(more.end(), {"--color=auto", "--no-pager", "--module", module, "--preferences", "/"});
        const Ran same = RunHost(more);
        EXPECT_EQ(same.out, plain.out);
        EXPECT_EQ(same.status, plain.status);
    }
}

TEST(Options, AUnitIsNamedInSeveralWays)
{
    const auto listed = [](const char* command, const std::string& unit) {
        return RunHost({command, kStation, "--unit", unit}).out;
    };
    for (const char* command : {"functions", "lines"}) {
        const std::string all = RunHost({command, kStation}).out;
        const std::string one = listed(command, "/build/samples/filter.c");
        EXPECT_EQ(one.find("station.c:\n"), std::string::npos);
        EXPECT_LT(one.size(), all.size());
        EXPECT_NE(one.find("/build/samples/filter.c:\n"), std::string::npos) << one;
        for (const char* unit : {"filter.c", "samples/filter.c", "0x8d5", "2261", "filter"}) {
            EXPECT_EQ(listed(command, unit), one) << command << ' ' << unit;
        }
        const Ran none = RunHost({command, kStation, "--unit", "filtre.c"});
        EXPECT_EQ(none.status, 1);
        EXPECT_EQ(none.out, "");
        EXPECT_NE(none.err.find("filter.c?"), std::string::npos) << none.err;
    }
}

TEST(Options, AModuleMayStandElsewhere)
{
    const TempFile copy("");
    std::filesystem::copy_file(std::string(BIN_DIR) + "/Dwarf2.so", copy.Path(),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(RunHost({"units", kStation, "--module", copy.Path()}).out, RunHost({"units", kStation}).out);
    EXPECT_EQ(RunHost({"rate", kStation, "--module", copy.Path() + "x"}).status, 1);
}

TEST(Options, PreferencesLeaveVariablesOut)
{
    const TempFile place("");
    const std::string folder = place.Path() + ".folder";
    std::filesystem::create_directory(folder);
    std::ofstream(folder + "/Dwarf2.toml") << "[Symbolics.\"DWARF 2.0\"]\nomit_vars_start = \"arg ,\ttot\"\n";
    const std::string scopes = RunHost({"scopes", kStation, "station_main", "--preferences", folder}).out;
    std::filesystem::remove_all(folder);
    EXPECT_EQ(scopes.find("argc"), std::string::npos) << "blanks around a comma don't count";
    EXPECT_EQ(scopes.find("total"), std::string::npos);
    EXPECT_NE(scopes.find("channel"), std::string::npos);
}

} // namespace
