// The fixed-width integers and the two marker words that every interface shares.
#pragma once

#include <cstdint>

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i8 = std::int8_t;
using i16 = std::int16_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

/// None, or not found yet: in offsets, ids, sections and results alike.
inline constexpr u32 kNone = 0xFFFFFFFFu;

/// In a word of a DbgSymContext: the contents of that level are asked for.
inline constexpr u32 kContents = 0xFFFFFFFEu;
