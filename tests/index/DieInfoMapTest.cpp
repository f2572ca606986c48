// The rows behave like an ordered map, whatever the order in which they come.
#include "index/DieInfoMap.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <vector>

namespace {

constexpr u32 kSectionSize = 100'000;

/// Adds rows in the given order, twice each, and compares the map with an ordinary one.
void CheckAgainstMap(const std::vector<u32>& offsets)
{
    DieInfoMap rows;
    rows.SetSectionSize(kSectionSize);
    std::map<u32, DIEInfo*> expected;
    for (const u32 offset : offsets) {
        DIEInfo* row = rows.GetOrAdd(offset);
        ASSERT_EQ(row->infoOffset, offset);
        const auto [known, added] = expected.emplace(offset, row);
        ASSERT_EQ(known->second, row) << "a row has moved";
        row->sibling = ~offset;
    }
    EXPECT_EQ(rows.Size(), expected.size());
    for (const auto& [offset, row] : expected) {
        ASSERT_EQ(rows.Find(offset), row);
        ASSERT_EQ(row->sibling, ~offset);
        if (expected.count(offset + 1) == 0) {
            ASSERT_EQ(rows.Find(offset + 1), nullptr);
        }
    }
    auto next = expected.begin();
    rows.ForEach([&](const DIEInfo& row) {
        ASSERT_NE(next, expected.end());
        EXPECT_EQ(&row, (next++)->second);
    });
    EXPECT_EQ(next, expected.end());
}

TEST(DieInfoMap, KeepsOrderAndPlacesInWhateverOrderRowsCome)
{
    std::vector<u32> offsets;
    std::mt19937 random(1);
    for (u32 offset = 11; offset < kSectionSize; offset += 1 + static_cast<u32>(random() % 40)) {
        offsets.push_back(offset);
    }
    CheckAgainstMap(offsets);
    std::reverse(offsets.begin(), offsets.end());
    CheckAgainstMap(offsets);
    std::shuffle(offsets.begin(), offsets.end(), random);
    CheckAgainstMap(offsets);
    // A walk in order that is broken off for a type elsewhere and goes on.
    std::sort(offsets.begin(), offsets.end());
    std::vector<u32> nested;
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        nested.push_back(offsets[i]);
        nested.push_back(offsets[(i * 7919) % offsets.size()]);
    }
    CheckAgainstMap(nested);
}

TEST(DieInfoMap, TakesOffsetsOutsideTheSection)
{
    CheckAgainstMap({kNone, 5, kSectionSize, kSectionSize - 1, 64, 63, 0, kSectionSize + 11, kNone - 1});
}

} // namespace
