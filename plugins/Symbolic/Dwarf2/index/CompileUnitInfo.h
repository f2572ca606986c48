// The header of a compile unit in `.debug_info` (DWARF 2.0, 7.5.1).
#pragma once

#include "interfaces/Types.h"

struct CompileUnitInfo {
    u32 offset = 0;       ///< of the header, in `.debug_info`
    u32 abbrevOffset = 0; ///< key of the unit's table of abbreviations
    u32 unitLength = 0;   ///< bytes after the length field
    u16 version = 0;      ///< stored and shown, never tested
    u8 addressSize = 0;
    /// The first entry of the top level that has not been walked, or must be read again; a walk would only hop over the
    /// rows of those before it. 0 if none has been walked. To find a class's name the unit may be walked once more for
    /// each function: the walk then goes on from here.
    u32 walked = 0;

    /// Bytes of the header: the unit's DIE stands there.
    static constexpr u32 kHeaderSize = 11;

    u32 FirstDie() const { return offset + kHeaderSize; }
    /// Offset after the unit, where the next header is. The sum wraps at 32 bits.
    u32 End() const { return offset + 4 + unitLength; }
    bool EndWraps() const { return u64{offset} + 4 + unitLength > kNone; }
};

/// A unit and the greatest end of it and all units before it, for the search for a DIE's unit.
struct UnitEnd {
    u32 maxEnd;
    CompileUnitInfo* unit;
};

/// The unit found last, and the offsets from `first` up to `end` for which it is the answer.
struct FoundUnit {
    u32 first = 0;
    u32 end = 0;
    CompileUnitInfo* unit = nullptr;
};
