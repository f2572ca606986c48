// How rows are found and added.
#include "index/DieInfoMap.h"

#include <algorithm>
#include <bit>
#include <new>
#include <numeric>
#include <utility>

void DieInfoMap::SetSectionSize(u32 sectionSize)
{
    m_sectionSize = sectionSize;
    m_pages.resize(sectionSize / kPageOffsets + 1);
}

DIEInfo DieInfoMap::FindOutside(u32 offset)
{
    const auto found = m_outside.find(offset);
    return found == m_outside.end() ? DIEInfo{} : DIEInfo(offset, found->second, &m_far);
}

DIEInfo DieInfoMap::GetOrAdd(u32 offset)
{
    if (offset >= m_sectionSize) {
        return {offset, m_outside[offset], &m_far};
    }
    std::unique_ptr<Page>& page = m_pages[offset / kPageOffsets];
    if (page == nullptr) {
        page = std::make_unique<Page>();
    }
    const u32 block = offset % kPageOffsets / kBlockOffsets;
    const u32 bit = offset % kBlockOffsets;
    const u64 used = page->used[block];
    if ((used >> bit & 1) != 0) {
        return At(offset, RowNumber(*page, block, Rank(used, bit)));
    }
    return AddInside(*page, block, bit, offset);
}

DIEInfo DieInfoMap::AddInside(Page& page, u32 block, u32 bit, u32 offset)
{
    if (m_rowCount == m_chunks.size() * kChunkRows) {
        void* chunk = m_rowMemory.Allocate(kChunkRows * sizeof(DieRow), alignof(DieRow));
        m_chunks.push_back(static_cast<DieRow*>(chunk));
    }
    const u32 number = m_rowCount;
    const u64 used = page.used[block];
    if (used == 0) {
        page.first[block] = number;
    } else {
        const u32 count = CountBits(used);
        const bool rises = used >> bit == 0 && number == page.first[block] + count;
        if (page.scattered[block] || !rises) {
            AddScattered(page, block, Rank(used, bit), count, number);
        }
    }
    page.used[block] = used | u64{1} << bit;
    ++m_rowCount;
    new (&Row(number)) DieRow;
    return At(offset, number);
}

void DieInfoMap::AddScattered(Page& page, u32 block, u32 rank, u32 count, u32 number)
{
    if (!page.scattered[block]) {
        const u32 run = NewRun(std::bit_ceil(count));
        std::iota(m_numbers.begin() + run, m_numbers.begin() + run + count, page.first[block]);
        page.first[block] = run;
        page.scattered[block] = true;
    }
    if (std::has_single_bit(count)) { // the run is full
        const u32 longer = NewRun(2 * count);
        std::copy_n(m_numbers.begin() + page.first[block], count, m_numbers.begin() + longer);
        FreeRun(page.first[block], count);
        page.first[block] = longer;
    }
    const auto run = m_numbers.begin() + page.first[block];
    std::copy_backward(run + rank, run + count, run + count + 1);
    run[rank] = number;
}

u32 DieInfoMap::NewRun(u32 size)
{
    u32& free = m_freeRuns[static_cast<u32>(std::countr_zero(size))];
    if (free != kNone) {
        return std::exchange(free, m_numbers[free]);
    }
    const std::size_t start = m_numbers.size();
    if (start > kNone - size) {
        throw std::bad_alloc();
    }
    m_numbers.resize(start + size);
    return static_cast<u32>(start);
}

void DieInfoMap::FreeRun(u32 run, u32 size)
{
    u32& free = m_freeRuns[static_cast<u32>(std::countr_zero(size))];
    m_numbers[run] = std::exchange(free, run);
}
