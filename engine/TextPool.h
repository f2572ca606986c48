// Keeps each text and byte string once, however often it comes.
#pragma once

#include "Hashing.h"
#include "TextAllowance.h"
#include "interfaces/Types.h"
#include "interfaces/VFKArena.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace engine {

/// An open-addressing set of views of bytes that never move. What is kept has a zero after it and lives as long as the
/// arena.
///
/// A text is compared by its contents each time, even if the same pointer comes again: a caller may build its texts in
/// a buffer that it reuses. An allowance bounds what texts can cost; beyond it they are cut (see TextAllowance).
class TextPool {
public:
    /// @param arena borrowed; holds the texts.
    explicit TextPool(VFKArena& arena)
        : m_arena(arena)
    {
    }

    /// The kept text that equals `text`, which is not null. A text beyond the allowance is cut.
    std::string_view Keep(const char* text);

    /// Delivers the kept bytes that equal `bytes`. Beyond the allowance false, with `kept` untouched: a part of the
    /// bytes would mean something else.
    bool KeepBytes(std::string_view bytes, std::string_view& kept);

private:
    struct Slot {
        const char* data = nullptr; ///< null: free
        u32 size = 0;
        u32 hash = 0;
    };

    /// The slot that holds the bytes, else the free one where they belong.
    Slot& Place(std::string_view bytes, u32 hash);
    /// Stores bytes that aren't there yet.
    std::string_view Add(Slot& slot, std::string_view bytes, u32 hash);
    void MakeRoom();
    u32 Hash(std::string_view bytes) const { return static_cast<u32>(HashBytes(bytes, m_seed)); }

    using Slots = std::vector<Slot, VFKPageAllocator<Slot>>;
    VFKArena& m_arena;
    Slots m_slots; ///< a power of two of them
    std::size_t m_count = 0;
    u64 m_seed = ProcessSeed();
    TextAllowance m_reading = TextAllowance::ForReading();
    TextAllowance m_keeping = TextAllowance::ForKeeping();
};

} // namespace engine
