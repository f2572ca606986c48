// Hash functions of the store's tables. They are seeded once for the process, so that no file can be made whose texts
// or ids all get the same hash.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <cstring>
#include <string_view>

namespace engine {

/// The process's random seed.
u64 ProcessSeed();

/// A hash of an id; its upper bits are the best.
inline u64 HashId(u32 id, u64 seed)
{
    u64 hash = (seed ^ id) * 0x9E3779B97F4A7C15u;
    hash ^= hash >> 32;
    return hash * 0xD6E8FEB86659FD93u;
}

/// Both halves of the 128-bit product, folded into one.
inline u64 FoldedProduct(u64 a, u64 b)
{
    __extension__ using u128 = unsigned __int128;
    const u128 product = static_cast<u128>(a) * b;
    return static_cast<u64>(product) ^ static_cast<u64>(product >> 64);
}

template <typename Word>
u64 LoadWord(const char* from)
{
    Word word;
    std::memcpy(&word, from, sizeof(Word));
    return word;
}

/// A hash of bytes, 16 of them a step.
inline u64 HashBytes(std::string_view bytes, u64 seed)
{
    constexpr u64 kFirst = 0xA0761D6478BD642Fu;
    constexpr u64 kSecond = 0xE7037ED1A0B428DBu;
    const char* at = bytes.data();
    const std::size_t size = bytes.size();
    std::size_t left = size;
    u64 hash = seed;
    for (; left > 16; left -= 16, at += 16) {
        hash = FoldedProduct(LoadWord<u64>(at) ^ kFirst, LoadWord<u64>(at + 8) ^ hash);
    }
    // The last 1 to 16 bytes, read as two words that may overlap.
    u64 low = 0;
    u64 high = 0;
    if (left >= 8) {
        low = LoadWord<u64>(at);
        high = LoadWord<u64>(at + left - 8);
    } else if (left >= 4) {
        low = LoadWord<u32>(at);
        high = LoadWord<u32>(at + left - 4);
    } else if (left > 0) {
        low = LoadWord<u8>(at);
        high = LoadWord<u8>(at + left / 2) << 8 | LoadWord<u8>(at + left - 1);
    }
    return FoldedProduct(kSecond ^ size, FoldedProduct(low ^ kFirst, high ^ hash));
}

} // namespace engine
