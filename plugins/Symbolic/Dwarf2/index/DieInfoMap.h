// The rows of visited DIEs by offset.
#pragma once

#include "index/DIEInfo.h"
#include "interfaces/Types.h"
#include "interfaces/VFKArena.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <vector>

/// An ordered map from a DIE's offset to its row. Rows never move and never go away. An offset inside the section costs
/// a bitmap look-up; those outside are in a map of their own.
///
/// The section is divided into pages, made when a row falls into them, and these into blocks of 64 offsets. A block has
/// a bitmap of the offsets that have a row and, in offset order, the numbers of these rows. As long as rows are added
/// in rising order, as in a walk, the first number determines the others.
class DieInfoMap {
public:
    /// Binds the map to a section. Called once, before the first row.
    /// @param sectionSize bytes of `.debug_info`.
    void SetSectionSize(u32 sectionSize);

    /// The row of `offset`, or null.
    DIEInfo* Find(u32 offset)
    {
        if (offset >= m_sectionSize) [[unlikely]] {
            return FindOutside(offset);
        }
        const Page* page = m_pages[offset / kPageOffsets].get();
        if (page == nullptr) {
            return nullptr;
        }
        const Block& block = (*page)[offset % kPageOffsets / kBlockOffsets];
        const u32 bit = offset % kBlockOffsets;
        return (block.used >> bit & 1) == 0 ? nullptr : &Row(RowNumber(block, Rank(block.used, bit)));
    }

    /// The row of `offset`, added with its start values if there is none.
    DIEInfo* GetOrAdd(u32 offset);

    std::size_t Size() const { return m_rowCount + m_outside.size(); }

    /// Calls `visit(const DIEInfo&)` for each row in ascending order of the offset.
    template <typename Visit>
    void ForEach(Visit&& visit) const
    {
        for (const auto& page : m_pages) {
            if (page != nullptr) {
                for (const Block& block : *page) {
                    const u32 count = CountBits(block.used);
                    for (u32 rank = 0; rank < count; ++rank) {
                        visit(Row(RowNumber(block, rank)));
                    }
                }
            }
        }
        for (const auto& [offset, row] : m_outside) {
            visit(row);
        }
    }

private:
    static constexpr u32 kBlockOffsets = 64;
    static constexpr u32 kPageOffsets = 256 * kBlockOffsets;
    static constexpr u32 kChunkRows = 1024;

    struct Block {
        u64 used = 0;  ///< bit n: the block's n-th offset has a row
        u32 first = 0; ///< number of the first row, or index in m_scattered
        bool scattered = false;
    };
    using Page = std::array<Block, kPageOffsets / kBlockOffsets>;

    u32 RowNumber(const Block& block, u32 rank) const
    {
        return block.scattered ? m_scattered[block.first][rank] : block.first + rank;
    }

    DIEInfo& Row(u32 number) const { return m_chunks[number / kChunkRows][number % kChunkRows]; }

    static u32 Rank(u64 used, u32 bit) { return CountBits(used & ((u64{1} << bit) - 1)); }

    /// Counts in parallel fields: for the baseline machine std::popcount is a function call.
    static u32 CountBits(u64 bits)
    {
        bits -= bits >> 1 & 0x5555555555555555u;
        bits = (bits & 0x3333333333333333u) + (bits >> 2 & 0x3333333333333333u);
        bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
        return static_cast<u32>(bits * 0x0101010101010101u >> 56);
    }

    DIEInfo* FindOutside(u32 offset);
    DIEInfo* AddInside(Block& block, u32 bit, u32 offset);

    u32 m_sectionSize = 0;
    std::vector<std::unique_ptr<Page>> m_pages;
    std::vector<std::vector<u32>> m_scattered; ///< row numbers of blocks that were not filled in order
    VFKArena m_rowMemory;
    std::vector<DIEInfo*> m_chunks;
    u32 m_rowCount = 0; ///< rows in the chunks
    std::map<u32, DIEInfo> m_outside;
};
