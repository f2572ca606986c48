// What is known of the types asked for most recently.
#pragma once

#include "index/OffsetMap.h"
#include "interfaces/Types.h"

#include <array>
#include <cstddef>

/// What one AT_type leads to.
struct TypeStep {
    u32 word = 0;      ///< byte size of a type; for a const or volatile, the DIE that it refers to
    u16 qualifier = 0; ///< 0 for a type
};

/// Answers by DIE offset; a new one may displace an older one. The parameters of a unit's functions have few types, so
/// nearly all of them are answered here instead of by the store.
class KnownTypes {
public:
    /// Null if the answer isn't known.
    const TypeStep* Find(u32 offset) const
    {
        const Slot& slot = m_slots[PlaceOf(offset)];
        return slot.offset == offset && offset != kNone ? &slot.step : nullptr;
    }

    /// @return the answer, valid until the next one is noted.
    const TypeStep* Note(u32 offset, TypeStep step)
    {
        Slot& slot = m_slots[PlaceOf(offset)];
        slot = {offset, step};
        return &slot.step;
    }

    void Forget(u32 offset)
    {
        Slot& slot = m_slots[PlaceOf(offset)];
        if (slot.offset == offset) {
            slot.offset = kNone;
        }
    }

private:
    static constexpr u32 kSlotBits = 12;
    struct Slot {
        u32 offset = kNone;
        TypeStep step;
    };

    static std::size_t PlaceOf(u32 offset) { return offset * kOffsetMultiplier >> (64 - kSlotBits); }

    std::array<Slot, std::size_t{1} << kSlotBits> m_slots;
};
