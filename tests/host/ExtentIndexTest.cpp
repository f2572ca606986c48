// Which extents hold an address.
#include "host/ExtentIndex.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

TEST(ExtentIndex, FindsWhatALinearSearchFinds)
{
    std::mt19937 random(3);
    ExtentIndex index;
    struct Range {
        u32 begin;
        u32 size;
    };
    std::vector<Range> ranges;
    for (u32 i = 0; i < 300; ++i) {
        const u32 begin = static_cast<u32>(random() % 1000);
        ranges.push_back({begin, i % 50 == 0 ? 500u : static_cast<u32>(random() % 20)});
        index.Add(begin, ranges.back().size, i);
    }
    for (u32 address = 0; address < 1600; ++address) {
        std::vector<u32> want;
        for (u32 i = 0; i < ranges.size(); ++i) {
            if (address >= ranges[i].begin && address - ranges[i].begin < ranges[i].size) {
                want.push_back(i);
            }
        }
        // The closest beginning first, the last added of equal ones.
        std::reverse(want.begin(), want.end());
        std::stable_sort(want.begin(), want.end(), [&](u32 a, u32 b) { return ranges[a].begin > ranges[b].begin; });
        std::vector<u32> got;
        EXPECT_FALSE(index.Visiting(address, [&](u32 owner) {
            got.push_back(owner);
            return false;
        }));
        EXPECT_EQ(got, want) << address;
    }
    index.Add(0xFFFFFFF0, 0xFFFFFFFF, 301);
    EXPECT_TRUE(index.Visiting(0xFFFFFFFF, [](u32 owner) { return owner == 301; }));
    EXPECT_FALSE(index.Visiting(0, [](u32 owner) { return owner == 301; })) << "wrapped";
}

} // namespace
