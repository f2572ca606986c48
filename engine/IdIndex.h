// A hash table from a 32-bit id to the index of the object that has it.
#pragma once

#include "Hashing.h"
#include "interfaces/Types.h"
#include "interfaces/VFKArena.h"

#include <cstddef>
#include <vector>

namespace engine {

/// Open addressing with linear probing, 8 bytes a slot. Any id may be a key; nothing is removed.
///
/// Ids are offsets of DIEs, and successive questions mostly concern neighbours in the file. These are neighbours here
/// too: a block of offsets is hashed as a whole, and each id has its place among the block's slots.
class IdIndex {
public:
    /// Makes sure that the next Insert needs no memory.
    void MakeRoom()
    {
        if (m_count >= m_slots.size() / 8 * 5) {
            Grow();
        }
    }

    /// Stores `index` (not kNone) under `id`. False, with nothing changed, if the id has one already.
    bool Insert(u32 id, u32 index)
    {
        MakeRoom();
        Slot& slot = m_slots[Place(id)];
        if (slot.index != kNone) {
            return false;
        }
        slot = {id, index};
        ++m_count;
        return true;
    }

    /// Prefetches the place of `id`, for a caller that has other work to do first.
    void Prefetch(u32 id) const
    {
        if (m_count != 0) {
            __builtin_prefetch(&m_slots[Home(id)]);
        }
    }

    /// The index stored under `id`, or kNone.
    u32 Find(u32 id) const { return m_count == 0 ? kNone : m_slots[Place(id)].index; }

private:
    struct Slot {
        u32 id = 0;
        u32 index = kNone; ///< kNone: free
    };
    using Slots = std::vector<Slot, VFKPageAllocator<Slot>>;

    static constexpr u32 kBlock = 1024;       ///< offsets that are hashed as one
    static constexpr u32 kOffsetsPerSlot = 8; ///< few things of one kind are closer together
    static constexpr std::size_t kBlockSlots = kBlock / kOffsetsPerSlot;

    /// Where the search for `id` starts.
    std::size_t Home(u32 id) const
    {
        const auto block = static_cast<std::size_t>(HashId(id / kBlock, m_seed) >> m_shift) & ~(kBlockSlots - 1);
        return block | (id / kOffsetsPerSlot % kBlockSlots);
    }

    /// The slot that holds `id`, else the free one where it belongs.
    std::size_t Place(u32 id) const
    {
        std::size_t place = Home(id);
        while (m_slots[place].index != kNone && m_slots[place].id != id) {
            place = (place + 1) & (m_slots.size() - 1);
        }
        return place;
    }

    void Grow()
    {
        Slots old(m_slots.empty() ? kBlockSlots : m_slots.size() * 2);
        old.swap(m_slots);
        m_shift = 64u - static_cast<u32>(__builtin_ctzll(m_slots.size()));
        for (const Slot& slot : old) {
            if (slot.index != kNone) {
                m_slots[Place(slot.id)] = slot;
            }
        }
    }

    Slots m_slots; ///< a power of two of them, at least kBlockSlots
    std::size_t m_count = 0;
    u32 m_shift = 64;
    u64 m_seed = ProcessSeed();
};

} // namespace engine
