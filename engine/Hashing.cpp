// The seed of the hash functions.
#include "Hashing.h"

#include <exception>
#include <random>

namespace engine {
namespace {

u64 MakeSeed()
{
    try {
        std::random_device device;
        return static_cast<u64>(device()) << 32 | device();
    } catch (const std::exception&) {
        return 0x243F6A8885A308D3u; // the tables work without randomness too
    }
}

} // namespace

u64 ProcessSeed()
{
    static const u64 seed = MakeSeed();
    return seed;
}

} // namespace engine
