// Sets of addresses.
#include "convert/AddressRange.h"

#include <algorithm>

namespace convert {

AddressRanges Disjoint(AddressRanges ranges)
{
    std::sort(ranges.begin(), ranges.end(),
              [](const AddressRange& a, const AddressRange& b) { return a.begin < b.begin; });
    AddressRanges joined;
    for (const AddressRange& range : ranges) {
        if (!joined.empty() && range.begin <= joined.back().end) {
            joined.back().end = std::max(joined.back().end, range.end);
        } else {
            joined.push_back(range);
        }
    }
    return joined;
}

} // namespace convert
