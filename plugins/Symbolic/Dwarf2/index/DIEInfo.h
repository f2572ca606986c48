// The row of a DIE that has been visited.
#pragma once

#include "interfaces/Types.h"

struct DIEInfo {
    u32 infoOffset = kNone; ///< of the DIE in `.debug_info`; the same as its key
    u32 abbrIndex = 0;      ///< abbreviation code; 0 for a null entry
    u32 parent = kNone;     ///< enclosing DIE
    u32 sibling = kNone;    ///< where the next entry of this level starts
    u32 child = kNone;      ///< behind the attributes of a DIE that has children
    u32 flags = 0;

    /// Built, or being built.
    static constexpr u32 kDieBuilt = 0x1;
    /// The builder has read the children itself; no walk descends.
    static constexpr u32 kDieChildrenRead = 0x2;
    /// A walk has put the DIE into the queue.
    static constexpr u32 kDieQueued = 0x4;
    /// The scopes around its children have been filed once.
    static constexpr u32 kScopesKnown = 0x8;
};
