// Allocation in pages.
#include "PageArena.h"

#include "interfaces/Types.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

namespace engine {

void* AllocatePages(std::size_t size)
{
    if (size < kLargePage) {
        return ::operator new(size);
    }
    void* memory = ::operator new (size, std::align_val_t{kLargePage});
    // Only a request: small pages serve as well.
    static_cast<void>(madvise(memory, size & ~(kLargePage - 1), MADV_HUGEPAGE));
    return memory;
}

void FreePages(void* memory, std::size_t size)
{
    if (size < kLargePage) {
        ::operator delete(memory);
    } else {
        ::operator delete (memory, std::align_val_t{kLargePage});
    }
}

void* PageArena::Allocate(std::size_t size, std::size_t alignment)
{
    const std::size_t gap = (0 - reinterpret_cast<std::uintptr_t>(m_next)) & (alignment - 1);
    if (m_left >= gap && m_left - gap >= size) {
        char* memory = m_next + gap;
        m_next = memory + size;
        m_left -= gap + size;
        return memory;
    }
    if (size >= m_blockSize / 4) {
        return NewBlock(size); // what is left of the current block serves others
    }
    char* memory = NewBlock(m_blockSize);
    m_next = memory + size;
    m_left = m_blockSize - size;
    m_blockSize = std::min(m_blockSize * 2, kLargePage);
    return memory;
}

char* PageArena::NewBlock(std::size_t size)
{
    std::unique_ptr<char, Free> block(static_cast<char*>(AllocatePages(size)), Free{size});
    return m_blocks.emplace_back(std::move(block)).get();
}

} // namespace engine
