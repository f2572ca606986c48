// A hash table from a 32-bit id to the index of the object that has it.
#pragma once

#include "Hashing.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <vector>

namespace engine {

/// Open addressing with linear probing, 8 bytes a slot. Any id may be a key; nothing is removed.
class IdIndex {
public:
    /// Files `index` (not kNone) under `id`. False, with nothing changed, if the id has one already.
    bool Insert(u32 id, u32 index)
    {
        if (m_count >= m_slots.size() / 8 * 5) {
            Grow();
        }
        Slot& slot = m_slots[Place(id)];
        if (slot.index != kNone) {
            return false;
        }
        slot = {id, index};
        ++m_count;
        return true;
    }

    /// The index filed under `id`, or kNone.
    u32 Find(u32 id) const { return m_count == 0 ? kNone : m_slots[Place(id)].index; }

private:
    struct Slot {
        u32 id = 0;
        u32 index = kNone; ///< kNone: free
    };

    /// The slot that holds `id`, else the free one where it belongs.
    std::size_t Place(u32 id) const
    {
        auto place = static_cast<std::size_t>(HashId(id, m_seed) >> m_shift);
        while (m_slots[place].index != kNone && m_slots[place].id != id) {
            place = (place + 1) & (m_slots.size() - 1);
        }
        return place;
    }

    void Grow()
    {
        std::vector<Slot> old(m_slots.empty() ? 64 : m_slots.size() * 2);
        old.swap(m_slots);
        m_shift = 64u - static_cast<u32>(__builtin_ctzll(m_slots.size()));
        for (const Slot& slot : old) {
            if (slot.index != kNone) {
                m_slots[Place(slot.id)] = slot;
            }
        }
    }

    std::vector<Slot> m_slots; ///< a power of two of them
    std::size_t m_count = 0;
    u32 m_shift = 64;
    u64 m_seed = ProcessSeed();
};

} // namespace engine
