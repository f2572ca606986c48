// Memory in pages.
#include "interfaces/VFKArena.h"

#include "interfaces/Types.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

TEST(VFKArena, GivesAlignedRunsThatStayApart)
{
    std::vector<std::pair<u8*, std::size_t>> runs;
    VFKArena arena;
    std::size_t total = 0;
    // From the first small block through several large pages, the prepared ones among them, to runs with own blocks.
    for (std::size_t i = 0; total < 5 * kLargePage; ++i) {
        const std::size_t size = i % 5000 == 4999 ? kLargePage + i : i % 977 == 976 ? 100'000 + i : 1 + i % 4000;
        const std::size_t alignment = std::size_t{1} << i % 5;
        auto* run = static_cast<u8*>(arena.Allocate(size, alignment));
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(run) % alignment, 0u);
        std::memset(run, static_cast<int>(i % 256), size);
        runs.emplace_back(run, size);
        total += size;
    }
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const auto [run, size] = runs[i];
        ASSERT_TRUE(std::all_of(run, run + size, [i](u8 byte) { return byte == i % 256; })) << i;
    }
}
