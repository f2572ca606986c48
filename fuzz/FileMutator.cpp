// Tells libFuzzer how to change a whole ELF file, beside its own ways.
#include "fuzz/ElfMutator.h"

#include <algorithm>

extern "C" std::size_t LLVMFuzzerMutate(u8* data, std::size_t size, std::size_t maxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(u8* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    if (seed % 4 == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const std::string image(reinterpret_cast<const char*>(data), size);
    const std::string mutant = ElfMutator(seed).Mutate(image, image);
    const std::size_t length = std::min(mutant.size(), maxSize);
    std::copy_n(mutant.begin(), length, data);
    return std::max<std::size_t>(length, 1);
}
