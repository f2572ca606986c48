// The rows of visited DIEs by offset.
#pragma once

#include "index/DIEInfo.h"
#include "index/OffsetMap.h"
#include "interfaces/Types.h"
#include "interfaces/VFKArena.h"

#include <array>
#include <bitset>
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
    DieInfoMap() { m_freeRuns.fill(kNone); }

    /// Binds the map to a section. Called once, before the first row.
    /// @param sectionSize bytes of `.debug_info`.
    void SetSectionSize(u32 sectionSize);

    /// The DIE at `offset`; none if it has no row.
    DIEInfo Find(u32 offset)
    {
        if (offset >= m_sectionSize) [[unlikely]] {
            return FindOutside(offset);
        }
        const Page* page = m_pages[offset / kPageOffsets].get();
        if (page == nullptr) {
            return {};
        }
        const u32 block = offset % kPageOffsets / kBlockOffsets;
        const u32 bit = offset % kBlockOffsets;
        const u64 used = page->used[block];
        return (used >> bit & 1) == 0 ? DIEInfo{} : At(offset, RowNumber(*page, block, Rank(used, bit)));
    }

    /// The same, but adds a row if there is none.
    DIEInfo GetOrAdd(u32 offset);

    std::size_t Size() const { return m_rowCount + m_outside.size(); }

    /// Calls `visit(const DIEInfo&)` for each row in ascending order of the offset.
    template <typename Visit>
    void ForEach(Visit&& visit)
    {
        for (std::size_t number = 0; number < m_pages.size(); ++number) {
            const u32 first = static_cast<u32>(number) * kPageOffsets;
            for (u32 block = 0; m_pages[number] != nullptr && block < kPageBlocks; ++block) {
                VisitBlock(*m_pages[number], block, first + block * kBlockOffsets, visit);
            }
        }
        for (auto& [offset, row] : m_outside) {
            visit(DIEInfo(offset, row, &m_far));
        }
    }

private:
    static constexpr u32 kBlockOffsets = 64;
    static constexpr u32 kPageBlocks = 256;
    static constexpr u32 kPageOffsets = kPageBlocks * kBlockOffsets;
    static constexpr u32 kChunkRows = 2048;

    /// The blocks of a page, field by field.
    struct Page {
        std::array<u64, kPageBlocks> used{};  ///< bit n: the block's n-th offset has a row
        std::array<u32, kPageBlocks> first{}; ///< number of the first row, or index in m_numbers
        std::bitset<kPageBlocks> scattered{}; ///< the block wasn't filled in rising order
    };

    u32 RowNumber(const Page& page, u32 block, u32 rank) const
    {
        const u32 place = page.first[block] + rank;
        return page.scattered[block] ? m_numbers[place] : place;
    }

    DieRow& Row(u32 number) const { return m_chunks[number / kChunkRows][number % kChunkRows]; }
    DIEInfo At(u32 offset, u32 number) { return {offset, Row(number), &m_far}; }

    template <typename Visit>
    void VisitBlock(const Page& page, u32 block, u32 offset, Visit& visit)
    {
        u32 rank = 0;
        for (u64 left = page.used[block]; left != 0; left >>= 1, ++offset) {
            if ((left & 1) != 0) {
                visit(At(offset, RowNumber(page, block, rank++)));
            }
        }
    }

    static u32 Rank(u64 used, u32 bit) { return CountBits(used & ((u64{1} << bit) - 1)); }

    /// Counts in parallel fields: for the baseline machine std::popcount is a function call.
    static u32 CountBits(u64 bits)
    {
        bits -= bits >> 1 & 0x5555555555555555u;
        bits = (bits & 0x3333333333333333u) + (bits >> 2 & 0x3333333333333333u);
        bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
        return static_cast<u32>(bits * 0x0101010101010101u >> 56);
    }

    DIEInfo FindOutside(u32 offset);
    DIEInfo AddInside(Page& page, u32 block, u32 bit, u32 offset);
    u32 NewRun(u32 size); ///< a power of two
    void FreeRun(u32 run, u32 size);
    void AddScattered(Page& page, u32 block, u32 rank, u32 count, u32 number);

    u32 m_sectionSize = 0;
    std::vector<std::unique_ptr<Page>> m_pages;
    /// Row numbers of scattered blocks, each block's in a run with room for a power of two of them.
    std::vector<u32, VFKPageAllocator<u32>> m_numbers;
    std::array<u32, 7> m_freeRuns; ///< of 1 to 64 numbers: the first free run, in which the next one stands; or kNone
    VFKArena m_rowMemory;
    std::vector<DieRow*> m_chunks;
    u32 m_rowCount = 0; ///< rows in the chunks
    std::map<u32, DieRow> m_outside;
    OffsetMap<FarPlaces> m_far;
};
