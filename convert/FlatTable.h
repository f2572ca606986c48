// A hash table of numbers.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <vector>

namespace convert {

/// Offsets by a 64-bit key, which is hashed here and may be a hash already. A key may occur several times; a search
/// visits all its values. Nothing is ever removed.
class FlatTable {
public:
    /// Calls accept(value) for each value of the key until one is accepted. @return that value, or kNone.
    template <typename Accept>
    u32 Find(u64 key, Accept accept) const
    {
        for (std::size_t at = Spread(key) & m_mask; m_slots[at].value != kNone; at = (at + 1) & m_mask) {
            if (m_slots[at].key == key && accept(m_slots[at].value)) {
                return m_slots[at].value;
            }
        }
        return kNone;
    }

    /// @param value not kNone.
    void Add(u64 key, u32 value)
    {
        if (2 * (m_count + 1) > m_slots.size()) {
            Grow();
        }
        Put(key, value);
        ++m_count;
    }

private:
    struct Slot {
        u64 key = 0;
        u32 value = kNone;
    };
    static constexpr std::size_t kFirstSize = 1024;

    static std::size_t Spread(u64 key)
    {
        const u64 mixed = (key ^ key >> 32) * 0x9E3779B97F4A7C15;
        return static_cast<std::size_t>(mixed ^ mixed >> 29);
    }

    void Put(u64 key, u32 value)
    {
        std::size_t at = Spread(key) & m_mask;
        while (m_slots[at].value != kNone) {
            at = (at + 1) & m_mask;
        }
        m_slots[at] = {key, value};
    }

    void Grow()
    {
        std::vector<Slot> old(2 * m_slots.size());
        old.swap(m_slots);
        m_mask = m_slots.size() - 1;
        for (const Slot& slot : old) {
            if (slot.value != kNone) {
                Put(slot.key, slot.value);
            }
        }
    }

    std::vector<Slot> m_slots = std::vector<Slot>(kFirstSize);
    std::size_t m_mask = kFirstSize - 1;
    std::size_t m_count = 0;
};

} // namespace convert
