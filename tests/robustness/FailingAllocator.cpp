#include "tests/robustness/FailingAllocator.h"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

u64 g_failAt = 0;
u64 g_count = 0;
FailingAllocator::Mode g_mode = FailingAllocator::Mode::Once;
bool g_counting = false;
bool g_failed = false;

bool FailsNow(bool pages = false) noexcept
{
    if (!g_counting || g_failAt == 0 || (g_mode == FailingAllocator::Mode::Pages && !pages)) {
        return false;
    }
    ++g_count;
    const bool fails = g_count == g_failAt || (g_mode == FailingAllocator::Mode::Onwards && g_count > g_failAt);
    g_failed = g_failed || fails;
    return fails;
}

void* Allocate(std::size_t size) noexcept
{
    return FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size)
{
    void* memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void FailingAllocator::FailAt(u64 number, Mode mode)
{
    g_failAt = number;
    g_mode = mode;
    g_count = 0;
    g_failed = false;
}

bool FailingAllocator::HasFailed()
{
    return g_failed;
}

FailingAllocator::Counting::Counting()
{
    g_counting = true;
}

FailingAllocator::Counting::~Counting()
{
    g_counting = false;
    if (g_failed) {
        g_failAt = 0;
    }
}

void* operator new(std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    void* memory = nullptr;
    if (FailsNow(true) || posix_memalign(&memory, static_cast<std::size_t>(alignment), size) != 0) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}

extern "C" void* mmap(void* address, std::size_t length, int protection, int flags, int descriptor,
                      off_t offset) noexcept
{
    if (FailsNow(true)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, descriptor, offset));
}
