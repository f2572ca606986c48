#include "tests/robustness/FailingAllocator.h"

#include <cstdlib>
#include <new>

namespace {

u64 g_failAt = 0;
u64 g_count = 0;
bool g_onwards = false;
bool g_counting = false;
bool g_failed = false;

void* Allocate(std::size_t size) noexcept
{
    if (g_counting && g_failAt != 0) {
        ++g_count;
        if (g_count == g_failAt || (g_onwards && g_count > g_failAt)) {
            g_failed = true;
            return nullptr;
        }
    }
    return std::malloc(size == 0 ? 1 : size);
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
    g_onwards = mode == Mode::Onwards;
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

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
