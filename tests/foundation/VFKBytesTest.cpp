// Where a byte string's memory comes from and goes to.
#include "interfaces/VFKBytes.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <vector>

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

} // namespace

TEST(VFKBytes, AZeroStandsBehindTheContentsOfEverySize)
{
    VFKBytes bytes;
    EXPECT_EQ(*bytes.Data(), 0);
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, kMiB - 2, kMiB - 1, kMiB, 3 * kMiB + 7}) {
        std::memset(bytes.Allocate(size), 0xAA, size); // a kept run comes back with these
        EXPECT_EQ(bytes.Data()[size], 0) << size;
        bytes.Truncate(size + 1);
        EXPECT_EQ(bytes.Size(), size);
        bytes.Truncate(size / 2);
        EXPECT_EQ(bytes.Size(), size / 2);
        EXPECT_EQ(bytes.Data()[size / 2], 0) << size;
    }
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX / 2 + 1, SIZE_MAX / 4}) {
        bytes.Allocate(10);
        EXPECT_THROW(bytes.Allocate(size), std::bad_alloc) << size;
        EXPECT_TRUE(bytes.Empty());
        EXPECT_EQ(*bytes.Data(), 0);
    }
}
