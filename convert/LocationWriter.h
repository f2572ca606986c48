// `.debug_loc` of DWARF 2.0.
#pragma once

#include "convert/Bytes.h"
#include "convert/FlatTable.h"
#include "convert/Locations.h"
#include "interfaces/Types.h"

#include <vector>

namespace convert {

/// The bytes of a list.
/// @param pieces of a Location that is a List. Those with expressions of more than 65,535 bytes, an empty range, or an
///        address below `base` are left out.
ByteWriter ListBytes(const std::vector<LocationPiece>& pieces, u32 base, bool bigEndian);

/// `.debug_loc`: lists relative to their unit's AT_low_pc. Equal ones of a unit are written once, but units share none:
/// readers that go through the section unit by unit don't expect lists of another unit.
class LocationWriter {
public:
    explicit LocationWriter(bool bigEndian)
        : m_out(bigEndian)
    {
    }

    void BeginUnit() { m_written = {}; }
    /// Throws Failure if the section would grow beyond 4 GiB.
    /// @return the offset of the list in the section.
    u32 Write(ByteView bytes);

    const ByteWriter& Section() const { return m_out; }
    ByteWriter& Section() { return m_out; }

private:
    ByteWriter m_out;
    FlatTable m_written; ///< those of the unit, by hash of the list's bytes
};

} // namespace convert
