// Address ranges with owners, and which of them hold an address.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <cstddef>
#include <vector>

/// Ranges may overlap. Sorted at the first look-up after a change.
class ExtentIndex {
public:
    /// @param size bytes; a range that would wrap at 32 bits ends at 4 GiB.
    void Add(u32 begin, u32 size, u32 owner)
    {
        m_extents.push_back({begin, u64{begin} + size, owner});
        m_sorted = false;
    }

    /// Calls `visit(owner)` for the ranges that hold the address, those that begin closest to it
    /// first, until it answers true.
    /// @return whether one did.
    template <typename Visit>
    bool Visiting(u32 address, Visit&& visit)
    {
        Sort();
        std::size_t i = static_cast<std::size_t>(
            std::upper_bound(m_extents.begin(), m_extents.end(), u64{address},
                             [](u64 value, const Extent& extent) { return value < extent.begin; }) -
            m_extents.begin());
        for (; i != 0 && m_maxEnd[i - 1] > address; --i) {
            if (m_extents[i - 1].end > address && visit(m_extents[i - 1].owner)) {
                return true;
            }
        }
        return false;
    }

private:
    struct Extent {
        u64 begin;
        u64 end;
        u32 owner;
    };

    void Sort()
    {
        if (m_sorted) {
            return;
        }
        m_sorted = true;
        std::stable_sort(m_extents.begin(), m_extents.end(),
                         [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
        m_maxEnd.clear();
        u64 end = 0;
        for (const Extent& extent : m_extents) {
            end = std::max(end, extent.end);
            m_maxEnd.push_back(end);
        }
    }

    std::vector<Extent> m_extents;
    std::vector<u64> m_maxEnd; ///< the greatest end among the extents up to each
    bool m_sorted = true;
};
