// Rows of visited DIEs, and where they are found.
#include "index/DieInfoMap.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <vector>

TEST(DIEInfo, HoldsEveryPlaceBesideItsFlags)
{
    DieRow row;
    OffsetMap<FarPlaces> far;
    const DIEInfo die(0x10000000, row, &far);
    die.Set(DIEInfo::kDieBuilt | DIEInfo::kScopesKnown);
    std::vector<u32> places = {kNone, 0, 1, die.infoOffset - 1, die.infoOffset, die.infoOffset + 1, kNone - 1};
    for (const u32 limit : {DIEInfo::kFarChild, DIEInfo::kFarSibling}) {
        places.insert(places.end(), {die.infoOffset + limit - 1, die.infoOffset + limit, die.infoOffset + limit + 1});
    }
    for (const u32 sibling : places) {
        for (const u32 child : {kNone, die.infoOffset + 1, die.infoOffset + DIEInfo::kFarChild - 1,
                                die.infoOffset + DIEInfo::kFarChild, die.infoOffset + DIEInfo::kFarChild + 5}) {
            die.SetSibling(sibling);
            die.SetChild(child);
            EXPECT_EQ(die.Sibling(), sibling);
            EXPECT_EQ(die.Child(), child) << sibling;
            die.SetSibling(sibling);
            EXPECT_EQ(die.Child(), child) << sibling;
        }
    }
    EXPECT_EQ(die.Parent(), kNone);
    EXPECT_TRUE(die.Has(DIEInfo::kDieBuilt) && die.Has(DIEInfo::kScopesKnown));
    EXPECT_FALSE(die.Has(DIEInfo::kDieQueued));
}

TEST(DieInfoMap, FindsRowsThatCameInAnyOrder)
{
    constexpr u32 kSize = 100'000;
    DieInfoMap map;
    map.SetSectionSize(kSize);
    std::map<u32, u32> parents;
    std::mt19937 engine(1);
    const auto random = [&] { return static_cast<u32>(engine()); };
    // Walks that jump, as loads of types do, over dense and sparse places; and offsets beyond the
    // section.
    for (u32 walk = 0; walk < 2000; ++walk) {
        u32 offset = random() % (kSize + 1000);
        for (u32 entry = random() % 100; entry != 0; --entry, offset += 1 + random() % (walk % 40 + 1)) {
            const DIEInfo die = map.GetOrAdd(offset);
            ASSERT_EQ(die.infoOffset, offset);
            const auto [place, added] = parents.emplace(offset, walk);
            ASSERT_EQ(die.Parent(), added ? kNone : place->second);
            die.SetParent(place->second);
        }
    }
    ASSERT_EQ(map.Size(), parents.size());
    for (u32 offset = 0; offset < kSize + 5000; ++offset) {
        const auto found = parents.find(offset);
        const DIEInfo die = map.Find(offset);
        ASSERT_EQ(static_cast<bool>(die), found != parents.end()) << offset;
        ASSERT_TRUE(!die || die.Parent() == found->second) << offset;
    }
    auto next = parents.begin();
    map.ForEach([&](const DIEInfo& die) { EXPECT_EQ(die.infoOffset, (next++)->first); });
    EXPECT_EQ(next, parents.end());
}
