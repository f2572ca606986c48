// Turns extents that may overlap into ones that don't, so that each byte has at most one owner.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <tuple>
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

/// Gives each byte to the shortest extent that has it; of those as short, to the first in the list.
/// @return what each gets, in ascending order, and in pieces if others lie in it.
inline std::vector<Extent> Innermost(std::vector<Extent> extents)
{
    std::stable_sort(extents.begin(), extents.end(),
                     [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    std::vector<u64> bounds;
    for (const Extent& extent : extents) {
        bounds.insert(bounds.end(), {extent.begin, extent.end});
    }
    std::sort(bounds.begin(), bounds.end());
    bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
    using Open = std::tuple<u64, std::size_t>; // its length, and its place in the list
    std::priority_queue<Open, std::vector<Open>, std::greater<>> open;
    std::vector<Extent> pieces;
    std::size_t next = 0;
    for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
        for (; next < extents.size() && extents[next].begin == bounds[i]; ++next) {
            open.emplace(extents[next].end - extents[next].begin, next);
        }
        while (!open.empty() && extents[std::get<1>(open.top())].end <= bounds[i]) {
            open.pop();
        }
        if (open.empty()) {
            continue;
        }
        const u32 owner = extents[std::get<1>(open.top())].owner;
        if (!pieces.empty() && pieces.back().end == bounds[i] && pieces.back().owner == owner) {
            pieces.back().end = bounds[i + 1];
        } else {
            pieces.push_back({bounds[i], bounds[i + 1], owner, false});
        }
    }
    return pieces;
}
