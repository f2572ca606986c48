// One declaration of `.debug_abbrev` (DWARF 2.0, 7.5.3).
#pragma once

#include "interfaces/Types.h"

#include <vector>

/// The head of a declaration. Readers that print take its attribute pairs from the section, at `offset + headerSize`;
/// for all others they are decoded.
struct AbbrevDecl {
    u32 offset;     ///< in `.debug_abbrev`, where the code begins
    u32 code;       ///< abbreviation code
    u32 tag;        ///< DwarfTag, or a code that has no name
    u32 firstSpec;  ///< index of its first AttrSpec; kNone if they aren't decoded
    u32 pairsEnd;   ///< in `.debug_abbrev`, after the last pair
    u8 hasChildren; ///< the children byte as stored: 0 is no, all else yes
    u8 headerSize;  ///< bytes from `offset` to the first attribute pair
};
static_assert(sizeof(AbbrevDecl) == 24);

/// An attribute pair, decoded. In the last one of a declaration the attribute or the form is 0.
struct AttrSpec {
    u32 attribute;
    u8 form;  ///< DwarfForm; kNoForm for each that has no meaning
    u8 width; ///< bytes of the value in `.debug_info` if all values of the form have as many, else 0
    /// Bytes before the value: of attributes that nobody reads, which have no AttrSpec of their own.
    u16 before;

    static constexpr u8 kNoForm = 0xFF;
};

/// The declarations of one table, in the order of the section.
using AbbrevList = std::vector<AbbrevDecl>;
