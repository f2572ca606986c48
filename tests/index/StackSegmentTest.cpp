// Calls on stack segments.
#include "index/StackSegment.h"

#include "interfaces/Types.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

/// Runs itself `left` times, each on a segment of its own, and throws in the last.
struct Descent {
    u32 left;
    u32 entered = 0;
    u32 unwound = 0;

    static void Run(void* argument)
    {
        Descent& descent = *static_cast<Descent*>(argument);
        ++descent.entered;
        char frame[200'000]; // most of a small stack
        volatile char* const touched = frame;
        touched[0] = 'x';
        if (--descent.left == 0) {
            throw std::runtime_error("the end");
        }
        try {
            RunOnNewStack(Run, &descent);
        } catch (const std::runtime_error&) {
            ++descent.unwound;
            throw;
        }
    }
};

} // namespace

TEST(StackSegment, WhatIsThrownCrossesAllSegments)
{
    Descent descent{.left = 100};
    std::string what;
    try {
        RunOnNewStack(Descent::Run, &descent);
    } catch (const std::runtime_error& error) {
        what = error.what();
    }
    EXPECT_EQ(what, "the end");
    EXPECT_EQ(descent.entered, 100u);
    EXPECT_EQ(descent.unwound, 99u);
}
