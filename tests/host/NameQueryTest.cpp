// host/NameQuery.cpp: which things `find` knows by which name, and what it offers where there is none.
#include "tests/host/HostTesting.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

using nlohmann::json;

json Find(const std::string& file, const std::string& name)
{
    return json::parse(RunHost({"find", Sample(file), name, "--json"}).out);
}

TEST(NameQuery, LocalSymbolsAndThingsWithoutPubnamesAreKnown)
{
    const json clamp = Find("station.axf", "clamp");
    EXPECT_EQ(clamp["functions"].size(), 1u);
    EXPECT_EQ(clamp["functions"][0]["unit"], "/build/samples/filter.c");
    EXPECT_EQ(clamp["symbols"][0]["binding"], "local");
    const json level = Find("station.axf", "enum level");
    EXPECT_FALSE(level["found"]);
    EXPECT_EQ(level["types"][0]["units"], 2) << "alike in both";
    EXPECT_EQ(Find("station.axf", "LEVEL_COLD")["enumerators"][0]["value"], -1);
    EXPECT_EQ(Find("station.axf", "LEVEL_*")["enumerators"].size(), 5u) << "of one type";
}

TEST(NameQuery, TheModulesAnswerIsToTheNameAsItStands)
{
    const json part = Find("shapes-5.axf", "Area");
    EXPECT_FALSE(part["found"]);
    EXPECT_TRUE(part["address"].is_null());
    EXPECT_EQ(part["functions"].size(), 2u);
    const json whole = Find("shapes-5.axf", part["functions"][0]["symbol"]);
    EXPECT_TRUE(whole["found"]);
    EXPECT_EQ(whole["functions"].size(), 1u);
}

TEST(NameQuery, ManyNamesInARowFindTheSame)
{
    // After a few of them everything is loaded.
    std::string names;
    for (int i = 0; i < 20; ++i) {
        names += "filter_mean\n";
    }
    const std::vector<std::string> lines = SplitLines(RunHost({"find", Sample("station.axf"), "--json"}, names).out);
    ASSERT_EQ(lines.size(), 20u);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), lines[0]), 20);
}

TEST(NameQuery, NearNamesAreOffered)
{
    const std::pair<const char*, const char*> cases[] = {
        {"station_mian", "Did you mean station_main?"}, {"readin", "reading"}, {"Clamp", "clamp"}};
    for (const auto& [typed, wanted] : cases) {
        const Ran ran = RunHost({"find", Sample("station.axf"), typed});
        EXPECT_EQ(ran.status, 1);
        EXPECT_NE(ran.err.find(wanted), std::string::npos) << ran.err;
    }
    EXPECT_NE(RunHost({"lines", Sample("station.axf"), "--unit", "fliter.c"}).err.find("filter.c"), std::string::npos);
    EXPECT_NE(RunHost({"find", Sample("station.axf"), "(", "--regex"}).err.find("no regular expression"),
              std::string::npos);
}

} // namespace
