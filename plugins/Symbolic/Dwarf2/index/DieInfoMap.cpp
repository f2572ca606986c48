// How rows are found and added.
#include "index/DieInfoMap.h"

#include <new>
#include <utility>

void DieInfoMap::SetSectionSize(u32 sectionSize)
{
    m_sectionSize = sectionSize;
    m_pages.resize(sectionSize / kPageOffsets + 1);
}

DIEInfo* DieInfoMap::FindOutside(u32 offset)
{
    const auto found = m_outside.find(offset);
    return found == m_outside.end() ? nullptr : &found->second;
}

DIEInfo* DieInfoMap::GetOrAdd(u32 offset)
{
    if (offset >= m_sectionSize) {
        DIEInfo& row = m_outside[offset];
        row.infoOffset = offset;
        return &row;
    }
    std::unique_ptr<Page>& page = m_pages[offset / kPageOffsets];
    if (page == nullptr) {
        page = std::make_unique<Page>();
    }
    Block& block = (*page)[offset % kPageOffsets / kBlockOffsets];
    const u32 bit = offset % kBlockOffsets;
    if ((block.used >> bit & 1) != 0) {
        return &Row(RowNumber(block, Rank(block.used, bit)));
    }
    return AddInside(block, bit, offset);
}

DIEInfo* DieInfoMap::AddInside(Block& block, u32 bit, u32 offset)
{
    if (m_rowCount == m_chunks.size() * kChunkRows) {
        void* chunk = m_rowMemory.Allocate(kChunkRows * sizeof(DIEInfo), alignof(DIEInfo));
        m_chunks.push_back(static_cast<DIEInfo*>(chunk));
    }
    const u32 number = m_rowCount;
    const u32 rank = Rank(block.used, bit);
    const u32 count = CountBits(block.used);
    if (count == 0) {
        block.first = number;
    } else if (!block.scattered && (rank != count || number != block.first + count)) {
        std::vector<u32> numbers(count);
        for (u32 i = 0; i < count; ++i) {
            numbers[i] = block.first + i;
        }
        m_scattered.push_back(std::move(numbers));
        block.first = static_cast<u32>(m_scattered.size() - 1);
        block.scattered = true;
    }
    if (block.scattered) {
        std::vector<u32>& numbers = m_scattered[block.first];
        numbers.insert(numbers.begin() + rank, number);
    }
    block.used |= u64{1} << bit;
    ++m_rowCount;
    auto* row = new (&Row(number)) DIEInfo;
    row->infoOffset = offset;
    return row;
}
