// Ranges of addresses of the program.
#pragma once

#include "interfaces/Types.h"

#include <vector>

namespace convert {

/// Addresses [begin, end), end > begin.
struct AddressRange {
    u32 begin = 0;
    u32 end = 0;

    bool operator==(const AddressRange&) const = default;
    bool Overlaps(u64 otherBegin, u64 otherEnd) const { return otherBegin < end && begin < otherEnd; }
    bool Contains(AddressRange other) const { return begin <= other.begin && other.end <= end; }
};

/// Sorted and disjoint; none touches the next.
using AddressRanges = std::vector<AddressRange>;

/// Turns any ranges into such ranges, which cover the same addresses.
AddressRanges Disjoint(AddressRanges ranges);

} // namespace convert
