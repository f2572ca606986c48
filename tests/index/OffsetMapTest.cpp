// The hash map by offset.
#include "index/OffsetMap.h"

#include <gtest/gtest.h>

TEST(OffsetMap, HoldsWhatIsNotNone)
{
    OffsetMap<u32> map;
    map[kNone] = 7;
    EXPECT_TRUE(map.Empty());
    for (u32 offset = 0; offset < 1000; ++offset) {
        map[offset * 8] = offset;
        map[kNone] = 7;
    }
    EXPECT_EQ(map.Find(kNone), nullptr);
    EXPECT_EQ(map[kNone], 0u) << "what was stored there is dropped";
    for (u32 offset = 0; offset < 8000; ++offset) {
        const u32* found = map.Find(offset);
        ASSERT_EQ(found != nullptr, offset % 8 == 0) << offset;
        ASSERT_TRUE(found == nullptr || *found == offset / 8) << offset;
    }
}
