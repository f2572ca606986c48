// The working record of the member loop.
#pragma once

#include "interfaces/Types.h"
#include "symbols/TypeRef.h"

struct MemberRecord {
    const char* name = nullptr; ///< in the section's bytes; null for a base class
    u32 offset = 0;             ///< bytes from the start of the aggregate
    u32 bitOffset = 0;          ///< AT_bit_offset as stored
    u32 bitSize = 0;
    TypeRef type;
    bool offsetValid = false; ///< the location was evaluated: the member exists
};
