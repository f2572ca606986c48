// The multiplier of the hash maps by offset.
#include "index/OffsetMap.h"

#include <sys/random.h>

namespace {

u64 RandomOddNumber()
{
    u64 number = 0x9E3779B97F4A7C15; // without randomness: 2^64 over the golden ratio
    if (u64 random = 0; getrandom(&random, sizeof random, GRND_NONBLOCK) == sizeof random) {
        number = random;
    }
    return number | 1;
}

} // namespace

const u64 kOffsetMultiplier = RandomOddNumber();
