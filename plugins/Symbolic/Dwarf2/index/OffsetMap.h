// A small hash map from section offsets to values.
#pragma once

#include "interfaces/Types.h"

#include <bit>
#include <cstddef>
#include <utility>
#include <vector>

/// A random odd number, so that no file can be made whose offsets all fall into the same slots.
extern const u64 kOffsetMultiplier;

/// Open addressing in one array: a look-up costs about one cache miss. Entries are never removed, and a pointer to a
/// value is valid until the next one is added. kNone is not a key: what is stored there is dropped.
template <typename Value>
class OffsetMap {
public:
    /// The value of `offset`, or null.
    const Value* Find(u32 offset) const
    {
        if (m_slots.empty() || offset == kNone) {
            return nullptr;
        }
        const Slot& slot = m_slots[SlotOf(offset)];
        return slot.offset == offset ? &slot.value : nullptr;
    }

    /// The value of `offset`, added if there is none.
    Value& operator[](u32 offset)
    {
        if (offset == kNone) {
            return m_dropped = Value{};
        }
        if (m_slots.size() < 2 * (m_count + 1)) {
            Grow();
        }
        Slot& slot = m_slots[SlotOf(offset)];
        if (slot.offset != offset) {
            slot.offset = offset;
            ++m_count;
        }
        return slot.value;
    }

    bool Empty() const { return m_count == 0; }
    void Clear()
    {
        m_slots.clear();
        m_count = 0;
    }

private:
    struct Slot {
        u32 offset = kNone;
        Value value{};
    };

    /// The slot of `offset`, or the free one where it belongs. Less than half of them are taken.
    std::size_t SlotOf(u32 offset) const
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t index = offset * kOffsetMultiplier >> m_shift;
        while (m_slots[index].offset != offset && m_slots[index].offset != kNone) {
            index = (index + 1) & mask;
        }
        return index;
    }

    void Grow()
    {
        std::vector<Slot> old(m_slots.empty() ? 16 : 2 * m_slots.size());
        old.swap(m_slots);
        m_shift = std::countl_zero(static_cast<u64>(m_slots.size())) + 1;
        for (Slot& slot : old) {
            if (slot.offset != kNone) {
                m_slots[SlotOf(slot.offset)] = std::move(slot);
            }
        }
    }

    std::vector<Slot> m_slots; ///< none, or a power of two
    int m_shift = 0;           ///< reduces a product to the upper bits that number the slots
    std::size_t m_count = 0;
    Value m_dropped{};
};
