// Keeps texts and byte strings once, however often they come.
#pragma once

#include "Hashing.h"
#include "PageArena.h"
#include "TextAllowance.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace engine {

/// An open-addressing set of views over chunks that never move. What is kept has a zero behind it
/// and lives as long as the arena.
///
/// A text is compared by its contents each time, also if the same pointer comes again: a caller may
/// build its texts in a buffer that it uses again. What a text can cost is bounded by an allowance, above
/// which it is cut (see TextAllowance).
class TextPool {
public:
    /// @param arena borrowed; the texts lie there.
    explicit TextPool(PageArena& arena)
        : m_arena(arena)
    {
    }

    /// The kept text that equals `text`, which is not null. A text beyond the allowance is cut.
    std::string_view Keep(const char* text);

    /// Delivers the kept bytes that equal `bytes`. False, with `kept` untouched, beyond the allowance: a
    /// part of them would mean something else.
    bool KeepBytes(std::string_view bytes, std::string_view& kept);

private:
    struct Slot {
        const char* data = nullptr; ///< null: free
        u32 size = 0;
        u32 hash = 0;
    };

    /// The slot that holds the bytes, else the free one where they belong.
    Slot& Place(std::string_view bytes, u32 hash);
    /// Files bytes that aren't there yet.
    std::string_view Add(Slot& slot, std::string_view bytes, u32 hash);
    void MakeRoom();
    u32 Hash(std::string_view bytes) const { return static_cast<u32>(HashBytes(bytes, m_seed)); }

    using Slots = std::vector<Slot, PageAllocator<Slot>>;
    PageArena& m_arena;
    Slots m_slots; ///< a power of two of them
    std::size_t m_count = 0;
    u64 m_seed = ProcessSeed();
    TextAllowance m_reading = TextAllowance::ForReading();
    TextAllowance m_keeping = TextAllowance::ForKeeping();
};

} // namespace engine
