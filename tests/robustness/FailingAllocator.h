// Allocation that fails on demand. The operators new and mmap of the whole test program, the libraries it
// is linked to included, come from here.
#pragma once

#include "interfaces/Types.h"

class FailingAllocator {
public:
    enum class Mode {
        Once,    ///< one allocation fails, and the next succeeds
        Pages,   ///< the same, but only mappings and what is aligned to large pages count
        Onwards, ///< from there on all fail, until the scope that counts ends
    };

    /// Makes allocation number `number` of those that are counted fail; they are counted from 1 on.
    static void FailAt(u64 number, Mode mode);
    static void Reset() { FailAt(0, Mode::Once); }
    /// True if an allocation has failed since the last call of FailAt.
    static bool HasFailed();

    /// Allocations count, and fail, while one of these lives.
    class Counting {
    public:
        Counting();
        ~Counting();
        Counting(const Counting&) = delete;
        Counting& operator=(const Counting&) = delete;
    };
};
