// The row of a DIE that has been visited.
#pragma once

#include "interfaces/Types.h"

/// There is one for each entry of `.debug_info` that was read. It has four words: the abbreviation code is read again
/// from the section where it is wanted, and Dwarf2File::ChildOf says where the children start.
struct DIEInfo {
    u32 infoOffset = kNone; ///< of the DIE in `.debug_info`; the same as its key
    u32 parent = kNone;     ///< enclosing DIE
    u32 sibling = kNone;    ///< where the next entry of this level starts

    /// Built, or being built.
    static constexpr u32 kDieBuilt = 0x1;
    /// The builder has read the children itself; no walk descends.
    static constexpr u32 kDieChildrenRead = 0x2;
    /// A walk has put the DIE into the queue.
    static constexpr u32 kDieQueued = 0x4;
    /// m_scopes has, or once had, the scopes around its children.
    static constexpr u32 kScopesKnown = 0x8;

    bool Has(u32 flag) const { return (m_word & flag) != 0; }
    void Set(u32 flag) { m_word |= flag; }
    void Clear(u32 flag) { m_word &= ~flag; }

    /// Bytes from the DIE to its children; 0 if it has none, kFarChild if they are at least that far away.
    u32 ChildDistance() const { return m_word >> kFlagBits; }
    void SetChildDistance(u32 distance) { m_word = (m_word & kFlagMask) | distance << kFlagBits; }
    static constexpr u32 kFarChild = 0x0FFFFFFF;

private:
    static constexpr u32 kFlagBits = 4;
    static constexpr u32 kFlagMask = 0xF;
    u32 m_word = 0;
};
static_assert(sizeof(DIEInfo) == 16);
