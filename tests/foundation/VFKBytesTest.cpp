// Tests where a byte string's memory comes from and goes to.
#include "interfaces/VFKBytes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <vector>

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

bool IsMapped(const u8* data)
{
    unsigned char resident = 0;
    return mincore(const_cast<u8*>(data), 1, &resident) == 0;
}

} // namespace

TEST(VFKBytes, AZeroStandsBehindTheContentsOfEverySize)
{
    VFKBytes bytes;
    EXPECT_EQ(*bytes.Data(), 0);
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, kMiB - 2, kMiB - 1, kMiB, 3 * kMiB + 7}) {
        std::memset(bytes.Allocate(size), 0xAA, size); // a kept run comes back with these
        EXPECT_EQ(bytes.Size(), size);
        EXPECT_EQ(bytes.Data()[size], 0) << size;
        bytes.Truncate(size + 1);
        EXPECT_EQ(bytes.Size(), size);
        bytes.Truncate(size / 2);
        EXPECT_EQ(bytes.Size(), size / 2);
        EXPECT_EQ(bytes.Data()[size / 2], 0) << size;
    }
    bytes.Clear();
    EXPECT_TRUE(bytes.Empty());
    EXPECT_EQ(*bytes.Data(), 0);
}

TEST(VFKBytes, ALargeRunBeginsOnALargePage)
{
    VFKBytes bytes;
    bytes.Allocate(5 * kMiB);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes.Data()) % (2 * kMiB), 0u);
}

TEST(VFKBytes, TheSameSectionsReadAgainFindTheirPages)
{
    const std::vector<std::size_t> sizes = {9 * kMiB, 2 * kMiB, 3 * kMiB, 1 * kMiB, 5 * kMiB};
    std::vector<const u8*> before;
    {
        std::vector<VFKBytes> sections(sizes.size());
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            before.push_back(sections[i].Allocate(sizes[i]));
        }
    }
    std::vector<VFKBytes> sections(sizes.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_EQ(sections[i].Allocate(sizes[i]), before[i]);
    }
}

TEST(VFKBytes, ARunFarLargerThanAskedForIsGivenBackInstead)
{
    const u8* large = nullptr;
    {
        VFKBytes bytes;
        large = bytes.Allocate(64 * kMiB);
    }
    VFKBytes bytes;
    const u8* small = bytes.Allocate(4 * kMiB);
    EXPECT_FALSE(IsMapped(large + 32 * kMiB));
    EXPECT_TRUE(IsMapped(small));
}

TEST(VFKBytes, OnlyAFewFreedRunsAreKept)
{
    std::vector<const u8*> places;
    {
        std::vector<VFKBytes> many(30);
        for (VFKBytes& bytes : many) {
            places.push_back(bytes.Allocate(4 * kMiB));
        }
    }
    int mapped = 0;
    for (const u8* place : places) {
        mapped += IsMapped(place) ? 1 : 0;
    }
    EXPECT_LE(mapped, 10);
    EXPECT_GE(mapped, 5);
}

TEST(VFKBytes, MemoryThatIsNotThereThrowsAndLeavesNothing)
{
    VFKBytes bytes;
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX / 2 + 1, SIZE_MAX / 4}) {
        bytes.Allocate(10);
        EXPECT_THROW(bytes.Allocate(size), std::bad_alloc) << size;
        EXPECT_TRUE(bytes.Empty());
        EXPECT_EQ(*bytes.Data(), 0);
    }
}
