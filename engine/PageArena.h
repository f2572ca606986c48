// Memory in large pages where the system has them: with millions of objects, touching each small page for the first
// time and finding it again costs more than what is written there.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace engine {

inline constexpr std::size_t kLargePage = std::size_t{2} << 20;

/// Memory for `size` bytes, in large pages if it is long enough. Throws std::bad_alloc.
void* AllocatePages(std::size_t size);
/// Releases it.
void FreePages(void* memory, std::size_t size);

/// For containers that grow large.
template <typename Element>
struct PageAllocator {
    using value_type = Element;

    PageAllocator() = default;
    template <typename Other>
    PageAllocator(const PageAllocator<Other>& /*other*/)
    {
    }

    Element* allocate(std::size_t count) { return static_cast<Element*>(AllocatePages(count * sizeof(Element))); }
    void deallocate(Element* elements, std::size_t count) { FreePages(elements, count * sizeof(Element)); }

    bool operator==(const PageAllocator& /*other*/) const { return true; }
};

/// Hands out memory that lives as long as the arena.
class PageArena {
public:
    PageArena() = default;
    PageArena(const PageArena&) = delete;
    PageArena& operator=(const PageArena&) = delete;

    /// @param alignment a power of two, 16 at most.
    void* Allocate(std::size_t size, std::size_t alignment);

private:
    struct Free {
        std::size_t size;
        void operator()(char* block) const { FreePages(block, size); }
    };
    char* NewBlock(std::size_t size);

    std::vector<std::unique_ptr<char, Free>> m_blocks;
    std::size_t m_blockSize = 16 * 1024; ///< of the next block: doubles up to a large page
    char* m_next = nullptr;              ///< the free bytes of the newest block
    std::size_t m_left = 0;
};

} // namespace engine
