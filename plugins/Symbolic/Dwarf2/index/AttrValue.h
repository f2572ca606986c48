// The value of one attribute.
#pragma once

#include "interfaces/Types.h"

/// What an attribute's form delivered. A form that sets nothing leaves the start values.
struct AttrValue {
    u32 value = kNone;        ///< constant, flag, reference, address, string offset, or a block's length
    u32 textLength = 0;       ///< of a text that was printed
    u64 value64 = 0;          ///< of an 8-byte form
    const u8* data = nullptr; ///< a block or text in the section's bytes, or null for a number

    const char* Text() const { return reinterpret_cast<const char*>(data); }
};
