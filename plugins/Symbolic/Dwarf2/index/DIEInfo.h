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
    /// A kept climb to the unit leads over this row.
    static constexpr u32 kDieInDeepClimb = 0x4;
    /// A walk has put the DIE into the queue.
    static constexpr u32 kDieQueued = 0x8;
    /// The row counts as not visited: memory has run out when it was read for the first time, or
    /// for its type.
    static constexpr u32 kDieUnread = 0x10;
    /// A walk through the children has ended for want of memory: the next one goes through them again,
    /// though the DIE itself is built.
    static constexpr u32 kDieHalfWalked = 0x20;

    /// The upper 24 bits of the flags: which walk over the unit's top level has left the row so that
    /// another one would change nothing (see WalkedLevel). 0 for none.
    static constexpr u32 kMaxGeneration = 0xFFFFFF;
    u32 Generation() const { return flags >> 8; }
    void SetGeneration(u32 generation) { flags = (flags & 0xFF) | generation << 8; }
};

/// How far the top level of a unit has been walked without a gap, leaving rows that another walk
/// would only hop over. A class's name can send the walk over the unit again for each function: it
/// goes on where this ends.
struct WalkedLevel {
    u32 generation = 0; ///< mark of the rows; 0: nothing stands
    u32 end = kNone;    ///< first entry that isn't covered
};
