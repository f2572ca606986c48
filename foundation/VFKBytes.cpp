// Where the bytes of a VFKBytes are: small runs on the heap, large ones in pages of their own that outlive their first
// owner for a while. A symbol file is rated through a short-lived object and opened again right after by a lasting one,
// which gets the pages of the first, already faulted in.
#include "interfaces/VFKBytes.h"

#include "interfaces/VFKArena.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <new>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#endif

namespace {

/// A run of at least this capacity is mapped; all others are on the heap.
constexpr std::size_t kLargeRun = std::size_t{1} << 20;

/// The most freed runs that are kept: a file has five early sections, and few of them are large.
constexpr std::size_t kKeptRuns = 8;

struct Run {
    u8* data = nullptr;
    std::size_t capacity = 0;
};

bool IsLarge(std::size_t capacity)
{
    return capacity >= kLargeRun;
}

/// In whole small pages: the rest after the last large page takes only what it needs.
std::size_t MappedCapacity(std::size_t needed)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (needed + page - 1) / page * page;
}

void Unmap(const Run& run)
{
    ASAN_UNPOISON_MEMORY_REGION(run.data, run.capacity);
    munmap(run.data, run.capacity);
}

/// Maps a run that begins at the boundary of a large page.
Run Map(std::size_t needed)
{
    const std::size_t capacity = MappedCapacity(needed);
    const std::size_t length = capacity + kLargePage;
    void* mapped = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    u8* start = static_cast<u8*>(mapped);
    const std::size_t head = (kLargePage - reinterpret_cast<std::uintptr_t>(start) % kLargePage) % kLargePage;
    if (head != 0) {
        munmap(start, head);
    }
    munmap(start + head + capacity, length - head - capacity);
    // A system without large pages refuses; small ones serve as well.
    static_cast<void>(madvise(start + head, capacity, MADV_HUGEPAGE));
    return {start + head, capacity};
}

/// The freed runs, the oldest first. There is no destructor: runs may be freed while the process ends, and the system
/// frees what is kept.
class RunCache {
public:
    /// Hands over the smallest kept run that fits and wastes no more than an eighth. If there is none, the kept runs
    /// are another file's and are dropped.
    Run Take(std::size_t needed)
    {
        const std::lock_guard lock(m_mutex);
        Run* best = nullptr;
        for (Run* run = m_runs.data(); run != m_runs.data() + m_count; ++run) {
            const bool fits = run->capacity >= needed && run->capacity - needed <= needed / 8;
            if (fits && (best == nullptr || run->capacity < best->capacity)) {
                best = run;
            }
        }
        if (best == nullptr) {
            std::for_each_n(m_runs.data(), m_count, Unmap);
            m_count = 0;
            return {};
        }
        const Run taken = *best;
        Remove(best);
        return taken;
    }

    void Keep(const Run& run)
    {
        // The system may take the pages when it is short of memory; until then they stay.
        static_cast<void>(madvise(run.data, run.capacity, MADV_FREE));
        ASAN_POISON_MEMORY_REGION(run.data, run.capacity);
        const std::lock_guard lock(m_mutex);
        if (m_count == m_runs.size()) {
            Unmap(m_runs.front());
            Remove(m_runs.data());
        }
        m_runs[m_count++] = run;
    }

private:
    void Remove(Run* run)
    {
        std::move(run + 1, m_runs.data() + m_count, run);
        --m_count;
    }

    std::mutex m_mutex;
    std::array<Run, kKeptRuns> m_runs{};
    std::size_t m_count = 0;
};

constinit RunCache g_freedRuns;

Run GetLargeRun(std::size_t needed)
{
    // A number larger than the address space must not wrap when it is rounded up.
    if (needed > SIZE_MAX / 2) {
        throw std::bad_alloc();
    }
    const Run kept = g_freedRuns.Take(needed);
    return kept.data != nullptr ? kept : Map(needed);
}

/// Lets AddressSanitizer see a read past the closing zero of a mapped run.
void FenceTail(u8* data, std::size_t size, std::size_t capacity)
{
    ASAN_UNPOISON_MEMORY_REGION(data, size + 1);
    ASAN_POISON_MEMORY_REGION(data + size + 1, capacity - size - 1);
}

} // namespace

const u8 VFKBytes::kEmpty[1] = {0};

VFKBytes::~VFKBytes()
{
    Clear();
}

u8* VFKBytes::Allocate(std::size_t size)
{
    Clear();
    const std::size_t needed = size + 1;
    if (needed == 0) {
        throw std::bad_alloc();
    }
    if (IsLarge(needed)) {
        const Run run = GetLargeRun(needed);
        m_data = run.data;
        m_capacity = run.capacity;
        FenceTail(m_data, size, m_capacity);
    } else {
        m_data = new u8[needed];
        m_capacity = needed;
    }
    m_size = size;
    m_data[size] = 0;
    return m_data;
}

void VFKBytes::Truncate(std::size_t size)
{
    if (size >= m_size) {
        return;
    }
    m_size = size;
    m_data[size] = 0;
    if (IsLarge(m_capacity)) {
        FenceTail(m_data, size, m_capacity);
    }
}

void VFKBytes::Clear()
{
    if (IsLarge(m_capacity)) {
        g_freedRuns.Keep({m_data, m_capacity});
    } else if (m_capacity != 0) {
        delete[] m_data;
    }
    m_data = const_cast<u8*>(kEmpty);
    m_size = 0;
    m_capacity = 0;
}
