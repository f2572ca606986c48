// Hashes of things that have several parts.
#pragma once

#include "interfaces/Types.h"

#include <cstdint>

inline u64 Mix(u64 hash, u64 value)
{
    constexpr u64 kOdd = 0x9E3779B97F4A7C15;
    hash = (hash ^ value) * kOdd;
    return hash ^ hash >> 32;
}

/// For a text that a store keeps: equal ones are kept once.
inline u64 Mix(u64 hash, const char* text)
{
    return Mix(hash, u64{reinterpret_cast<std::uintptr_t>(text)});
}
