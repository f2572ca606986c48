// Tells libFuzzer to change one piece of an input at a time, so that the lengths stay true.
#include "fuzz/Pieces.h"

#include <algorithm>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(u8* data, std::size_t size, std::size_t maxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(u8* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    std::minstd_rand random(seed);
    Input input = SplitInput(data, size, kPieceCount);
    if (random() % 32 == 0) {
        input.settings.bits ^= static_cast<u8>(1u << random() % 6);
    }
    const std::size_t room = maxSize - std::min(maxSize, JoinInput(input).size());
    std::string& piece = input.pieces[random() % kPieceCount];
    const std::size_t before = piece.size();
    piece.resize(before + room);
    if (!piece.empty()) {
        piece.resize(LLVMFuzzerMutate(reinterpret_cast<u8*>(piece.data()), before, piece.size()));
    }
    const std::string joined = JoinInput(input);
    const std::size_t length = std::min(joined.size(), maxSize);
    std::copy_n(joined.begin(), length, data);
    return length;
}
