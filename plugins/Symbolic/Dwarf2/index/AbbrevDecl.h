// One declaration of `.debug_abbrev` (DWARF 2.0, 7.5.3).
#pragma once

#include "interfaces/Types.h"

#include <vector>

/// The head of a declaration. Its attribute pairs stay in the section, at `offset + headerSize`.
struct AbbrevDecl {
    u32 offset;     ///< in `.debug_abbrev`, where the code begins
    u32 code;       ///< abbreviation code
    u32 tag;        ///< DwarfTag, or a code that has no name
    u8 hasChildren; ///< the children byte as stored: 0 is no, all else yes
    u8 headerSize;  ///< bytes from `offset` to the first attribute pair
};
static_assert(sizeof(AbbrevDecl) == 16);

/// The declarations of one table, in the order of the section.
using AbbrevList = std::vector<AbbrevDecl>;
