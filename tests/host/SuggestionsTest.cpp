// host/Suggestions.cpp: distances between names, and which of many are offered.
#include "host/Suggestions.h"

#include <gtest/gtest.h>

namespace {

TEST(Suggestions, ADistanceCountsChangesAndSwapsUpToItsLimit)
{
    EXPECT_EQ(EditDistance("units", "units", 3), 0u);
    EXPECT_EQ(EditDistance("untis", "units", 3), 1u) << "a swap is one change";
    EXPECT_EQ(EditDistance("ab", "bc", 3), 2u) << "and no swap";
    EXPECT_EQ(EditDistance("kitten", "sitting", 9), 3u);
    EXPECT_EQ(EditDistance("", "abc", 9), 3u);
    EXPECT_EQ(EditDistance("abcdef", "uvwxyz", 2), 3u);
    EXPECT_EQ(EditDistance("a", "abcdefgh", 2), 3u);
}

std::string QuestionOf(const char* wanted, const std::vector<const char*>& candidates)
{
    Suggestions suggestions(wanted);
    for (const char* candidate : candidates) {
        suggestions.Offer(candidate);
    }
    return suggestions.Question();
}

TEST(Suggestions, TheNearestComeFirst)
{
    EXPECT_EQ(QuestionOf("fnid", {"at", "find", "export"}), ". Did you mean find?");
    EXPECT_EQ(QuestionOf("Station_Mian", {"station_max", "station_main", "station_main", "station_min", "other"}),
              ". Did you mean station_main, station_min or station_max?");
    EXPECT_EQ(QuestionOf("func", {"functional_thing", "functions"}), ". Did you mean functions or functional_thing?");
    EXPECT_EQ(QuestionOf("x", {"y", "units"}), "");
    EXPECT_EQ(QuestionOf("Main", {"Main", "main"}), ". Did you mean main?") << "not what was typed";
    EXPECT_EQ(QuestionOf("", {"", "a"}), "");
}

TEST(Suggestions, ALongNameCostsNothing)
{
    const std::string name(1u << 20, 'a');
    Suggestions wanted(name);
    wanted.Offer(name);
    EXPECT_EQ(wanted.Question(), "");
}

} // namespace
