// Allocation in pages.
#include "interfaces/VFKArena.h"

#include "interfaces/Types.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/mman.h>

namespace {

/// Makes the system provide all pages of a block.
void Touch(char* block, std::size_t size)
{
    constexpr std::size_t kSmallPage = 4096;
    for (std::size_t at = 0; at < size; at += kSmallPage) {
        *static_cast<volatile char*>(block + at) = 0;
    }
}

} // namespace

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

/// A large page, and the thread that makes the system clear it.
class VFKArena::NextPage {
public:
    NextPage()
        : m_page(NewBlock(kLargePage))
    {
        try {
            m_thread = std::thread(Touch, m_page.get(), kLargePage);
        } catch (const std::system_error&) {
            // Without a thread the page is cleared when it is used.
        }
    }
    ~NextPage() { Wait(); }
    NextPage(const NextPage&) = delete;
    NextPage& operator=(const NextPage&) = delete;

    Block Take()
    {
        Wait();
        return std::move(m_page);
    }

private:
    void Wait()
    {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    Block m_page;
    std::thread m_thread;
};

VFKArena::VFKArena() = default;
VFKArena::~VFKArena() = default;

void* VFKArena::Allocate(std::size_t size, std::size_t alignment)
{
    const std::size_t gap = (0 - reinterpret_cast<std::uintptr_t>(m_next)) & (alignment - 1);
    if (m_left >= gap && m_left - gap >= size) {
        char* memory = m_next + gap;
        m_next = memory + size;
        m_left -= gap + size;
        return memory;
    }
    if (size >= kLargePage / 4) {
        return Keep(NewBlock(size)); // what is left of the present block serves others
    }
    while (size >= m_blockSize / 4) {
        m_blockSize *= 2;
    }
    char* memory = Keep(m_blockSize == kLargePage ? TakeLargePage() : NewBlock(m_blockSize));
    m_next = memory + size;
    m_left = m_blockSize - size;
    m_blockSize = std::min(m_blockSize * 2, kLargePage);
    return memory;
}

VFKArena::Block VFKArena::NewBlock(std::size_t size)
{
    return Block(static_cast<char*>(AllocatePages(size)), Free{size});
}

char* VFKArena::Keep(Block block)
{
    return m_blocks.emplace_back(std::move(block)).get();
}

VFKArena::Block VFKArena::TakeLargePage()
{
    Block page = m_nextPage == nullptr ? NewBlock(kLargePage) : m_nextPage->Take();
    m_nextPage.reset();
    try {
        m_nextPage = std::make_unique<NextPage>();
    } catch (const std::bad_alloc&) {
        // It is allocated when it is needed.
    }
    return page;
}
