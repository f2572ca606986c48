// The rows of visited DIEs by offset.
#pragma once

#include "index/DIEInfo.h"
#include "interfaces/Types.h"

#include <bit>
#include <cstddef>
#include <deque>
#include <map>
#include <vector>

/// An ordered map from a DIE's offset to its row. Rows never move and never go away. An offset
/// inside the section costs a bitmap look-up; one outside has a map of its own.
///
/// The section is cut into blocks of 64 offsets. A block has a bitmap of the offsets that have a
/// row and, in offset order, the numbers of these rows. As long as a block's rows were added one
/// after the other in rising order, as a walk does, the first number tells the others.
class DieInfoMap {
public:
    /// Binds the map to a section. Called once, before the first row.
    /// @param sectionSize bytes of `.debug_info`.
    void SetSectionSize(u32 sectionSize);

    /// The row of `offset`, or null.
    DIEInfo* Find(u32 offset);

    /// The row of `offset`, added with its start values if there is none.
    DIEInfo* GetOrAdd(u32 offset);

    std::size_t Size() const { return m_rows.size() + m_outside.size(); }

    /// Calls `visit(const DIEInfo&)` for each row in ascending order of the offset.
    template <typename Visit>
    void ForEach(Visit&& visit) const
    {
        for (std::size_t index = 0; index < m_blocks.size(); ++index) {
            u64 used = m_blocks[index].used;
            for (u32 rank = 0; used != 0; ++rank, used &= used - 1) {
                visit(m_rows[RowNumber(m_blocks[index], rank)]);
            }
        }
        for (const auto& [offset, row] : m_outside) {
            visit(row);
        }
    }

private:
    static constexpr u32 kBlockOffsets = 64;

    struct Block {
        u64 used = 0;  ///< bit n: the block's n-th offset has a row
        u32 first = 0; ///< number of the first row, or index in m_scattered
        bool scattered = false;
    };

    u32 RowNumber(const Block& block, u32 rank) const
    {
        return block.scattered ? m_scattered[block.first][rank] : block.first + rank;
    }

    static u32 Rank(u64 used, u32 bit) { return static_cast<u32>(std::popcount(used & ((u64{1} << bit) - 1))); }

    DIEInfo* AddInside(Block& block, u32 bit, u32 offset);

    u32 m_sectionSize = 0;
    std::vector<Block> m_blocks;
    std::vector<std::vector<u32>> m_scattered; ///< row numbers of blocks that were not filled in order
    std::deque<DIEInfo> m_rows;
    std::map<u32, DIEInfo> m_outside;
};
