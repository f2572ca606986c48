// Memory in large pages where the system has them: with millions of objects, touching each small page for the first
// time and finding it again costs more than what is written there.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

/// The size and alignment of a large page.
inline constexpr std::size_t kLargePage = std::size_t{2} << 20;

/// Memory for `size` bytes, in large pages if it is long enough. Throws std::bad_alloc.
void* AllocatePages(std::size_t size);
/// Releases it.
void FreePages(void* memory, std::size_t size);

/// For containers that grow large.
template <typename Element>
struct VFKPageAllocator {
    using value_type = Element;

    VFKPageAllocator() = default;
    template <typename Other>
    VFKPageAllocator(const VFKPageAllocator<Other>& /*other*/)
    {
    }

    Element* allocate(std::size_t count) { return static_cast<Element*>(AllocatePages(count * sizeof(Element))); }
    void deallocate(Element* elements, std::size_t count) { FreePages(elements, count * sizeof(Element)); }

    bool operator==(const VFKPageAllocator& /*other*/) const { return true; }
};

/// Hands out memory that lives as long as the arena.
///
/// The system clears each page that it provides, which takes up to a quarter of the time in which a large program is
/// loaded. So while one large page is being filled, a thread touches the next one; it does nothing else, and ends.
class VFKArena {
public:
    VFKArena();
    ~VFKArena();
    VFKArena(const VFKArena&) = delete;
    VFKArena& operator=(const VFKArena&) = delete;

    /// Throws std::bad_alloc, and then stays as it was.
    /// @param alignment a power of two, 16 at most.
    void* Allocate(std::size_t size, std::size_t alignment);

private:
    struct Free {
        std::size_t size;
        void operator()(char* block) const { FreePages(block, size); }
    };
    using Block = std::unique_ptr<char, Free>;

    class NextPage;

    static Block NewBlock(std::size_t size);
    char* Keep(Block block);
    Block TakeLargePage();

    std::vector<Block> m_blocks;
    std::size_t m_blockSize = 16 * 1024; ///< of the next block: doubles up to a large page
    char* m_next = nullptr;              ///< the free bytes of the newest block
    std::size_t m_left = 0;
    std::unique_ptr<NextPage> m_nextPage; ///< null until the first large page is taken
};
