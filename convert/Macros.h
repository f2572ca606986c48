// Macros of any version in, `.debug_macinfo` of DWARF 2.0 out.
#pragma once

#include "convert/Bytes.h"
#include "convert/LineTables.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <optional>

namespace convert {

/// Writes the macros of units one after the other. Each unit gets a full copy of what units share by imports, so the
/// section may be far larger than its input; its growth has a bound.
class MacroWriter {
public:
    explicit MacroWriter(bool bigEndian)
        : m_out(bigEndian)
    {
    }

    /// Appends the macros of a unit, from `.debug_macinfo` or `.debug_macro` (GNU's of version 4 and that of version
    /// 5), with the unit's files numbered as LineWriter does: index in LineTable::files + 1. A file that the table
    /// doesn't have is 0. Left out are macros whose text can't be read, and everything after a damaged place.
    /// @param unitDie the unit's own entry. @param lines its line table, as it was read.
    /// @return offset in the section, the value of AT_macro_info; nothing if the unit has none or they were left out.
    std::optional<u32> Write(Dwarf_Die* unitDie, const LineTable& lines);

    const ByteWriter& Section() const { return m_out; }
    /// Units that have macros but got none, because the section would have grown too far.
    u64 UnitsLeftOut() const { return m_unitsLeftOut; }

private:
    ByteWriter m_out;
    /// What all units together may still spend; known when the first unit comes. Each byte written costs one, and each
    /// entry read some more, since imports of parts with nothing but imports write nothing.
    std::optional<u64> m_budget;
    u64 m_unitsLeftOut = 0;
};

} // namespace convert
