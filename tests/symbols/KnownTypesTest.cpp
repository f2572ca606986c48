// Remembered answers about types, and the two things that could make one of them false.
#include "symbols/KnownTypes.h"
#include "tests/support/DwarfTest.h"

#include <gtest/gtest.h>

namespace {

TEST(KnownTypes, AnAnswerIsTheOneThatWasNotedForThatOffsetOrNone)
{
    KnownTypes types;
    EXPECT_EQ(types.Find(kNone), nullptr);
    // Many times more than the table holds: most are replaced by others, and none answers for another.
    constexpr u32 kOffsets = 100000;
    for (u32 offset = 0; offset < kOffsets; ++offset) {
        types.Note(offset, {offset + 7, kQualifierConst});
        ASSERT_EQ(types.Find(offset)->word, offset + 7);
    }
    u32 known = 0;
    for (u32 offset = 0; offset < kOffsets; ++offset) {
        if (const TypeStep* step = types.Find(offset)) {
            ++known;
            ASSERT_EQ(step->word, offset + 7);
        }
    }
    EXPECT_GT(known, 0u);
    types.Forget(kOffsets); // whatever is in its place stays
    types.Forget(kOffsets - 1);
    EXPECT_EQ(types.Find(kOffsets - 1), nullptr);
}

} // namespace
