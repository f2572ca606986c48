// The look-ups by address. Thousands of them in a row cost one load of each table concerned and
// two binary searches each. Where units overlap, each that may hold the address is asked.
#include "host/AddressLookup.h"

#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymSymFile.h"

AddressLookup::AddressLookup(Loader& file)
    : m_file(file)
    , m_section(file.RelocationSection())
{
    const DbgSymSymFile& store = file.Store();
    for (u32 unit = 0; unit < file.UnitCount(); ++unit) {
        const DbgAddrRange& range = store.FileRangeAt(unit).range;
        const bool usable = range.value != kNone && range.size != 0 && range.section == m_section;
        if (usable) {
            m_ranges.Add(range.value, range.size, unit);
        }
        m_groups[usable ? 1 : 0].push_back(unit);
    }
}

/// A table's last row ends at the unit's high address. If the programme ends with a sequence of code
/// that the linker dropped, the row lies near address 0 and covers all below that high address.
bool AddressLookup::IsStray(u32 unit, const DbgSymLineTable& table, u32 row) const
{
    const DbgAddrRange& own = m_file.Store().FileRangeAt(unit).range;
    const DbgAddrRange& range = table.GetLineEntryByIdx(row)->range;
    return row + 1 == table.Count() && own.value != kNone && own.size != 0 && range.value < own.value &&
           range.value + range.size == own.value + own.size;
}

/// A row that the next one doesn't advance from has no code, whatever size the table gives it: that would reach
/// into the next row, or behind the end of the unit.
bool AddressLookup::HasCode(const DbgSymLineTable& table, u32 row)
{
    const DbgSymLineEntry* next = table.GetLineEntryByIdx(row + 1);
    const DbgAddrRange& range = table.GetLineEntryByIdx(row)->range;
    return next == nullptr || next->range.value != range.value || next->range.section != range.section;
}

ExtentIndex& AddressLookup::RowsOf(u32 unit)
{
    const auto [found, added] = m_rows.try_emplace(unit);
    if (!added) {
        return found->second;
    }
    DbgSymSrcFile& source = m_file.Store().FileScopeAt(unit);
    m_file.LoadLines(source.GetId());
    const DbgSymLineTable* table = source.GetLineTableMember();
    for (u32 row = 0; table != nullptr && row < table->Count(); ++row) {
        const DbgAddrRange& range = table->GetLineEntryByIdx(row)->range;
        if (range.section == m_section && HasCode(*table, row) && !IsStray(unit, *table, row)) {
            found->second.Add(range.value, range.size, row);
        }
    }
    return found->second;
}

/// Of the rows that hold the address, takes the one that begins closest to it, the last added of
/// those: a row can reach over others, whose code was placed elsewhere by the linker.
std::optional<AddressLookup::Place> AddressLookup::FindInUnit(u32 unit, const DbgAddress& address)
{
    std::optional<Place> place;
    RowsOf(unit).Visiting(address.value, [&](u32 row) {
        DbgSymSrcFile& source = m_file.Store().FileScopeAt(unit);
        const DbgSymLineTable* table = source.GetLineTableMember();
        const DbgSymLineEntry* entry = table->GetLineEntryByIdx(row);
        const std::string* path = table->GetEntryPath(*entry);
        place = Place{&source, entry, path == nullptr ? &source.GetPath() : path, row + 1 == table->Count()};
        return true;
    });
    return place;
}

std::optional<AddressLookup::Place> AddressLookup::FindLine(const DbgAddress& address)
{
    // A table's last row is stretched to the end of its unit, and can cover what other units have lines for.
    std::optional<Place> place;
    const auto visit = [&](u32 unit) {
        const std::optional<Place> found = FindInUnit(unit, address);
        if (found && (!place || !found->isLast)) {
            place = found;
        }
        return place && !place->isLast;
    };
    m_ranges.Visiting(address.value, visit);
    while (!place) {
        m_runs.Visiting(address.value, visit);
        if (!place && !LoadNextGroup()) {
            break;
        }
    }
    return place;
}

bool AddressLookup::LoadNextGroup()
{
    if (m_nextGroup == std::size(m_groups)) {
        return false;
    }
    for (const u32 unit : m_groups[m_nextGroup]) {
        AddRuns(unit);
    }
    ++m_nextGroup;
    return true;
}

/// Rows that follow one another in memory make one run. There are few, mostly one per sequence.
void AddressLookup::AddRuns(u32 unit)
{
    DbgSymSrcFile& source = m_file.Store().FileScopeAt(unit);
    m_file.LoadLines(source.GetId());
    const DbgSymLineTable* table = source.GetLineTableMember();
    u64 begin = 0;
    u64 end = 0;
    const auto close = [&] {
        if (end > begin) {
            m_runs.Add(static_cast<u32>(begin), static_cast<u32>(std::min(end - begin, u64{kNone})), unit);
        }
    };
    for (u32 row = 0; table != nullptr && row < table->Count(); ++row) {
        const DbgAddrRange& range = table->GetLineEntryByIdx(row)->range;
        if (range.section != m_section || !HasCode(*table, row) || IsStray(unit, *table, row)) {
            continue;
        }
        if (range.value < begin || range.value > end) {
            close();
            begin = range.value;
            end = begin;
        }
        end = std::max(end, u64{range.value} + range.size);
    }
    close();
}

const DbgSymSrcFile* AddressLookup::FindUnit(const DbgAddress& address)
{
    const DbgSymSrcFile* source = nullptr;
    const auto take = [&](u32 unit) {
        source = &m_file.Store().FileScopeAt(unit);
        return true;
    };
    if (address.section == m_section && m_ranges.Visiting(address.value, take)) {
        return source;
    }
    const std::optional<Place> place = FindLine(address);
    return place ? place->unit : nullptr;
}

ExtentIndex& AddressLookup::FunctionsOf(u32 unitId)
{
    m_file.LoadUnit(unitId);
    const DbgSymSymFile& store = m_file.Store();
    for (; m_functionsSeen < store.FuncScopeCount(); ++m_functionsSeen) {
        const DbgSymFuncScope& function = store.FuncScopeAt(m_functionsSeen);
        if (function.range.section == m_section) {
            m_functions[m_file.UnitOf(function.fileId, function.id)].Add(function.range.value, function.range.size,
                                                                         static_cast<u32>(m_functionsSeen));
        }
    }
    return m_functions[unitId];
}

const DbgSymFuncScope* AddressLookup::FindFunction(const DbgAddress& address)
{
    const DbgSymSrcFile* unit = FindUnit(address);
    const DbgSymFuncScope* function = nullptr;
    if (unit != nullptr) {
        FunctionsOf(unit->GetId()).Visiting(address.value, [&](u32 index) {
            function = &m_file.Store().FuncScopeAt(index);
            return true;
        });
    }
    return function;
}
