// The units of the input, as their sections have them.
#pragma once

#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <vector>

namespace convert {

/// A unit of `.debug_info` or, in version 4, of `.debug_types`.
struct InputUnit {
    Dwarf_Die die;              ///< its own entry
    u64 offset = 0;             ///< of its header, in its section
    u64 entry = 0;              ///< offset in the section of its own entry
    u64 end = 0;                ///< offset in the section of what follows the unit
    u64 abbreviations = 0;      ///< offset of its table in `.debug_abbrev`
    u32 language = 0;           ///< AT_language, 0 if there is none
    u32 version = 0;            ///< 2 to 5
    u8 type = 0;                ///< DW_UT_*
    u8 addressSize = 0;         ///< of DW_FORM_addr, in bytes
    u8 offsetSize = 0;          ///< 4 or 8: 32- or 64-bit DWARF
    bool standsInTypes = false; ///< `.debug_types` instead of `.debug_info`
};

/// True for type units of version 4. libdw doesn't give the section of an entry, but it gives its unit.
bool StandsInTypes(Dwarf_CU* cu);

/// All units in the order of their sections, those of `.debug_types` last. No unit is found after one whose header
/// can't be read.
std::vector<InputUnit> ListUnits(Dwarf* dwarf);

/// The unit that contains an offset of its section; null if there is none.
const InputUnit* FindUnit(const std::vector<InputUnit>& units, u64 offset, bool inTypes);

} // namespace convert
