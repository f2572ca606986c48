// What threads pass to each other, and how they end.
#include "convert/Channel.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

using convert::Channel;
using convert::Worker;

namespace {

TEST(Channels, ValuesComeInOrderAndTheLastOneAfterTheEnd)
{
    constexpr int kCount = 10'000;
    Channel<std::unique_ptr<int>> channel;
    Worker giver(
        [&] {
            for (int i = 0; i < kCount; ++i) {
                EXPECT_TRUE(channel.Put(std::make_unique<int>(i)));
            }
        },
        [&] { channel.Close(); });
    int expected = 0;
    while (const std::optional<std::unique_ptr<int>> value = channel.Take()) {
        EXPECT_EQ(**value, expected++);
    }
    EXPECT_EQ(expected, kCount);
    giver.Finish();
}

TEST(Channels, AClosedOneTakesNothingAndKeepsWhatItHas)
{
    Channel<int> channel;
    EXPECT_TRUE(channel.Put(1));
    channel.Close();
    EXPECT_FALSE(channel.Put(2));
    EXPECT_EQ(channel.Take(), 1);
    EXPECT_EQ(channel.Take(), std::nullopt);
    EXPECT_EQ(channel.Take(), std::nullopt);
}

TEST(Workers, FailuresReachTheOneWhoWaits)
{
    std::atomic<int> stops = 0;
    Worker failing([] { throw std::runtime_error("no room"); }, [&] { ++stops; });
    try {
        failing.Finish();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "no room");
    }
    EXPECT_EQ(stops, 1) << "the others hear that the job has ended";
    Worker content([] {}, [&] { ++stops; });
    content.Finish();
    EXPECT_EQ(stops, 2);
}

/// A thread that waits for room or for a value ends when its owner goes, or when the other side fails.
TEST(Workers, WaitingOnesAreStopped)
{
    Channel<int> full;
    Channel<int> empty;
    std::atomic<bool> given = true;
    std::atomic<bool> taken = true;
    {
        const Worker giver(
            [&] {
                full.Put(1);
                given = full.Put(2);
            },
            [&] { full.Close(); });
        const Worker taker([&] { taken = empty.Take().has_value(); }, [&] { empty.Close(); });
    }
    EXPECT_FALSE(given);
    EXPECT_FALSE(taken);
}

} // namespace
