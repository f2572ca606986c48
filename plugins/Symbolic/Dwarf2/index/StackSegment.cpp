// Stack segments, switched with ucontext. AddressSanitizer is told of each switch.
#include "index/StackSegment.h"

#include <cstdint>
#include <exception>
#include <new>
#include <sys/mman.h>
#include <ucontext.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DWARF2_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define DWARF2_ADDRESS_SANITIZER
#endif

#ifdef DWARF2_ADDRESS_SANITIZER
#include <sanitizer/common_interface_defs.h>
#endif

#ifdef DWARF2_ADDRESS_SANITIZER
constexpr std::size_t kStackSegmentSize = std::size_t{8} << 20; // instrumented frames are larger
#else
constexpr std::size_t kStackSegmentSize = std::size_t{1} << 20;
#endif

namespace {

constexpr std::size_t kGuard = 64 * 1024; ///< a multiple of any page size

/// Pages for a stack, with a guard below them. Only those that are touched take memory.
class Segment {
public:
    Segment()
        : m_pages(mmap(nullptr, kGuard + kStackSegmentSize, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0))
    {
        if (m_pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        if (mprotect(m_pages, kGuard, PROT_NONE) != 0) {
            munmap(m_pages, kGuard + kStackSegmentSize);
            throw std::bad_alloc();
        }
    }
    ~Segment() { munmap(m_pages, kGuard + kStackSegmentSize); }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    char* Bottom() const { return static_cast<char*>(m_pages) + kGuard; }

private:
    void* m_pages;
};

/// One call on a segment, shared by both sides of the switch.
struct Call {
    void (*body)(void*);
    void* argument;
    std::exception_ptr thrown;
    ucontext_t caller;
    ucontext_t callee;
    const void* callerBottom = nullptr;
    std::size_t callerSize = 0;
};

void StartSwitch([[maybe_unused]] void** fakeStack, [[maybe_unused]] const void* bottom,
                 [[maybe_unused]] std::size_t size)
{
#ifdef DWARF2_ADDRESS_SANITIZER
    __sanitizer_start_switch_fiber(fakeStack, bottom, size);
#endif
}

void FinishSwitch([[maybe_unused]] void* fakeStack, [[maybe_unused]] const void** bottom,
                  [[maybe_unused]] std::size_t* size)
{
#ifdef DWARF2_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(fakeStack, bottom, size);
#endif
}

/// The first frame of a segment. A context's arguments are ints, so the pointer comes in two.
void Enter(unsigned high, unsigned low)
{
    Call& call = *reinterpret_cast<Call*>(static_cast<std::uintptr_t>(std::uint64_t{high} << 32 | low));
    FinishSwitch(nullptr, &call.callerBottom, &call.callerSize);
    try {
        call.body(call.argument);
    } catch (...) {
        call.thrown = std::current_exception(); // no exception may leave the segment
    }
    StartSwitch(nullptr, call.callerBottom, call.callerSize);
    setcontext(&call.caller);
}

} // namespace

void RunOnNewStack(void (*body)(void*), void* argument)
{
    const Segment segment;
    Call call{.body = body, .argument = argument, .thrown = {}, .caller = {}, .callee = {}};
    getcontext(&call.callee);
    call.callee.uc_stack.ss_sp = segment.Bottom();
    call.callee.uc_stack.ss_size = kStackSegmentSize;
    call.callee.uc_link = nullptr; // Enter goes back by itself
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(&call);
    makecontext(&call.callee, reinterpret_cast<void (*)()>(Enter), 2, static_cast<unsigned>(address >> 32),
                static_cast<unsigned>(address));
    void* fakeStack = nullptr;
    StartSwitch(&fakeStack, segment.Bottom(), kStackSegmentSize);
    swapcontext(&call.caller, &call.callee);
    FinishSwitch(fakeStack, nullptr, nullptr);
    if (call.thrown) {
        std::rethrow_exception(call.thrown);
    }
}
