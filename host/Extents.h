// Turns extents that may overlap into ones that don't, so that each byte has at most one owner.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <vector>

struct Extent {
    u64 begin;
    u64 end; ///< behind the last byte
    u32 owner;
    bool yields; ///< takes nothing if its first byte has an owner already
};

/// Gives each byte to the extent that begins first; of those that begin together, to one that doesn't yield, then to
/// the longest, then to the first in the list.
/// @return what each gets, in ascending order, without those that get nothing.
inline std::vector<Extent> WithoutOverlap(std::vector<Extent> extents)
{
    std::stable_sort(extents.begin(), extents.end(), [](const Extent& a, const Extent& b) {
        if (a.begin != b.begin) {
            return a.begin < b.begin;
        }
        return a.yields != b.yields ? b.yields : a.end > b.end;
    });
    u64 reached = 0;
    std::size_t kept = 0;
    for (Extent extent : extents) {
        if (extent.end <= reached || (extent.yields && extent.begin < reached)) {
            continue;
        }
        extent.begin = std::max(extent.begin, reached);
        if (extent.begin < extent.end) {
            reached = extent.end;
            extents[kept++] = extent;
        }
    }
    extents.resize(kept);
    return extents;
}
