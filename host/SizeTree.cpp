// Lays out the symbols of each section, then fills what is left with what the debug information names, then with gaps.
#include "host/SizeTree.h"

#include "host/Loader.h"

#include <algorithm>
#include <bit>
#include <tuple>

namespace {

SizeKind KindOf(SymbolKind kind)
{
    switch (kind) {
    case SymbolKind::Function:
        return SizeKind::Function;
    case SymbolKind::Variable:
        return SizeKind::Variable;
    default:
        return SizeKind::Data;
    }
}

/// Which of several symbols gives its name to the same bytes: the least of these numbers.
u32 RankOf(const ProgramSymbol& symbol)
{
    constexpr u8 kGlobal = 1;
    constexpr u8 kWeak = 2;
    const u32 binding = symbol.binding == kGlobal ? 0 : symbol.binding == kWeak ? 1 : 2;
    return (symbol.size == 0 ? 8 : 0) + (symbol.isTyped ? 0 : 4) + binding;
}

/// Begins and ends of symbols in one section. Those without size end where the next symbol begins.
/// @param symbols indices of them.
std::vector<Extent> ExtentsOf(const std::vector<ProgramSymbol>& all, std::vector<u32> symbols, u64 sectionSize)
{
    std::sort(symbols.begin(), symbols.end(), [&](u32 a, u32 b) {
        const auto key = [&](u32 i) { return std::tuple(all[i].offset, RankOf(all[i]), i); };
        return key(a) < key(b);
    });
    std::vector<Extent> extents(symbols.size());
    u64 next = sectionSize;
    for (std::size_t i = symbols.size(); i-- != 0;) {
        const ProgramSymbol& symbol = all[symbols[i]];
        const bool sized = symbol.size != 0;
        const bool nextIsBehind = i + 1 != symbols.size() && all[symbols[i + 1]].offset != symbol.offset;
        next = nextIsBehind ? all[symbols[i + 1]].offset : next;
        extents[i] = {symbol.offset, sized ? u64{symbol.offset} + symbol.size : next, symbols[i], !sized};
    }
    return extents;
}

} // namespace

SizeTree::SizeTree(Loader& file)
    : m_image(file.Store().GetPath())
    , m_units(file, m_image)
{
    FindOwnAddresses();
    std::vector<std::vector<u32>> bySection(m_image.Sections().size());
    for (u32 i = 0; i < m_image.Symbols().size(); ++i) {
        bySection[m_image.Symbols()[i].section].push_back(i);
    }
    for (u32 section = 0; section < bySection.size(); ++section) {
        FillSection(section, bySection[section]);
    }
    GivePaddingToUnits();
}

void SizeTree::FindOwnAddresses()
{
    m_own.resize(Sections().size());
    if (m_image.IsRelocatable()) {
        return; // all sections begin at 0
    }
    std::vector<Extent> extents;
    for (u32 i = 0; i < Sections().size(); ++i) {
        extents.push_back({AddressOf(i), AddressOf(i) + Sections()[i].size, i, false});
    }
    for (const Extent& extent : WithoutOverlap(std::move(extents))) {
        m_own[extent.owner] = extent;
    }
}

u64 SizeTree::AddressOf(u32 section) const
{
    return m_image.Sections()[section].address;
}

void SizeTree::FillSection(u32 section, const std::vector<u32>& symbols)
{
    const u64 size = m_image.Sections()[section].size;
    u64 reached = 0;
    for (const Extent& extent : WithoutOverlap(ExtentsOf(m_image.Symbols(), symbols, size))) {
        AddGap(section, reached, extent.begin);
        AddSymbol(extent);
        reached = extent.end;
    }
    AddGap(section, reached, size);
}

void SizeTree::AddSymbol(const Extent& extent)
{
    const ProgramSymbol& symbol = m_image.Symbols()[extent.owner];
    m_items.push_back({symbol.name, symbol.section, m_units.UnitOf(symbol),
                       static_cast<u32>(AddressOf(symbol.section) + extent.begin),
                       static_cast<u32>(extent.end - extent.begin), KindOf(symbol.kind)});
}

void SizeTree::AddGap(u32 section, u64 begin, u64 end)
{
    if (begin == end) {
        return;
    }
    if (m_image.IsRelocatable()) {
        AddPiece(section, begin, end, m_units.Paths().size() == 1 ? 0 : kNone);
    } else {
        AddThings(section, begin, end);
    }
}

void SizeTree::AddThings(u32 section, u64 begin, u64 end)
{
    const std::vector<SymbolUnits::Thing>& things = m_units.Things();
    const u64 base = AddressOf(section);
    // Code that was dropped has the address 0.
    const u64 first = std::max({base + begin, m_own[section].begin, u64{1}});
    const u64 last = std::min(base + end, m_own[section].end);
    auto thing = std::lower_bound(things.begin(), things.end(), first,
                                  [](const SymbolUnits::Thing& a, u64 address) { return a.address < address; });
    std::vector<Extent> extents;
    for (; thing != things.end() && thing->address < last; ++thing) {
        const u64 offset = thing->address - base;
        extents.push_back(
            {offset, std::min(offset + thing->size, end), static_cast<u32>(thing - things.begin()), false});
    }
    for (const Extent& extent : WithoutOverlap(std::move(extents))) {
        const SymbolUnits::Thing& found = things[extent.owner];
        AddNameless(section, begin, extent.begin);
        m_items.push_back({found.name, section, found.unit, static_cast<u32>(base + extent.begin),
                           static_cast<u32>(extent.end - extent.begin), KindOf(found.kind)});
        begin = extent.end;
    }
    AddNameless(section, begin, end);
}

void SizeTree::AddNameless(u32 section, u64 begin, u64 end)
{
    const std::vector<Extent>& ranges = m_units.Ranges();
    const u64 base = AddressOf(section);
    const u64 first = std::max(base + begin, m_own[section].begin);
    const u64 last = std::min(base + end, m_own[section].end);
    auto range = std::upper_bound(ranges.begin(), ranges.end(), first,
                                  [](u64 address, const Extent& a) { return address < a.end; });
    for (; range != ranges.end() && range->begin < last; ++range) {
        const u64 from = std::max(range->begin, first) - base;
        const u64 to = std::min(range->end, last) - base;
        AddPiece(section, begin, from, kNone);
        AddPiece(section, from, to, range->owner);
        begin = to;
    }
    AddPiece(section, begin, end, kNone);
}

void SizeTree::AddPiece(u32 section, u64 begin, u64 end, u32 unit)
{
    while (begin < end) {
        u64 last = end;
        if (Sections()[section].isCode) {
            last = std::min<u64>(end, m_image.NextMark(section, static_cast<u32>(begin)));
        }
        m_items.push_back({{},
                           section,
                           unit,
                           static_cast<u32>(AddressOf(section) + begin),
                           static_cast<u32>(last - begin),
                           KindOfGap(section, begin, last)});
        begin = last;
    }
}

SizeKind SizeTree::KindOfGap(u32 section, u64 begin, u64 end) const
{
    constexpr u64 kMostPadding = 8;
    const ProgramSection& in = m_image.Sections()[section];
    if (in.hasUnwinding) {
        return SizeKind::Unwinding;
    }
    if (in.isCode && m_image.IsDataInCode(section, static_cast<u32>(begin))) {
        return SizeKind::Literals;
    }
    const u64 behind = AddressOf(section) + end;
    if (end - begin < kMostPadding && behind % std::bit_ceil(end - begin + 1) == 0) {
        return SizeKind::Padding;
    }
    return in.hasStrings ? SizeKind::Strings : SizeKind::Unexplained;
}

void SizeTree::GivePaddingToUnits()
{
    for (std::size_t i = 1; i + 1 < m_items.size(); ++i) {
        const SizeItem& before = m_items[i - 1];
        const SizeItem& behind = m_items[i + 1];
        SizeItem& item = m_items[i];
        const bool together = before.section == item.section && behind.section == item.section;
        if (item.unit == kNone && item.kind == SizeKind::Padding && together && before.unit == behind.unit) {
            item.unit = before.unit;
        }
    }
}
