// Extents that may overlap, made into ones that don't, so that each byte has one owner at most.
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

/// Gives each byte to the extent that begins first. Of those that begin together one that doesn't yield has it, then
/// the longest, and among equal ones the one that stands first here.
/// @return what each has got, in ascending order. An extent that has got nothing isn't there.
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
