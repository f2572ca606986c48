// Reads location lists from the bytes of their sections. libdw's dwarf_getlocations gives the ranges too, but decodes
// and keeps each expression, rejects a whole list for one bad operator, and adds the unit's base to lists that are
// absolute.
#include "convert/LocationLists.h"

#include "convert/DebugSections.h"

#include <algorithm>
#include <cstdint>
#include <dwarf.h>
#include <optional>

namespace convert {

namespace {

constexpr std::size_t kMaxEntries = 0xFFFF;
constexpr u64 kAddressLimit = u64{1} << 32;

/// The numbers of an entry of `.debug_loc`, and what they are relative to.
struct OldEntry {
    u64 begin;
    u64 end;
    std::optional<u64> base; ///< nothing: the unit's
    ByteView expression;
};

std::optional<u64> AddressOf(Dwarf_Die* die, u32 name)
{
    Dwarf_Attribute attribute;
    Dwarf_Addr address = 0;
    if (dwarf_attr(die, name, &attribute) == nullptr || dwarf_formaddr(&attribute, &address) != 0) {
        return std::nullopt;
    }
    return address;
}

std::optional<u64> OffsetOf(Dwarf_Die* die, u32 name)
{
    Dwarf_Attribute attribute;
    Dwarf_Word offset = 0;
    if (dwarf_attr(die, name, &attribute) == nullptr || dwarf_formudata(&attribute, &offset) != 0) {
        return std::nullopt;
    }
    return offset;
}

/// Adds [begin, end) if it is a range of addresses.
void Add(std::vector<ListEntry>& entries, u64 begin, u64 end, ByteView expression)
{
    if (begin < end && end < kAddressLimit) {
        entries.push_back({static_cast<u32>(begin), static_cast<u32>(end), expression, false});
    }
}

/// How well a range fits into a scope: 2 if all of it is inside, 1 if a part of it is.
u32 Fit(const AddressRanges& scope, u64 begin, u64 end)
{
    u32 best = 0;
    for (const AddressRange& range : scope) {
        if (begin < end && range.Overlaps(begin, end)) {
            best = std::max(best, begin >= range.begin && end <= range.end ? 2u : 1u);
        }
    }
    return best;
}

/// Some compilers' lists hold absolute addresses although their unit has a base. The reading that fits the scope better
/// is taken; if both fit equally well, as they may close to address 0, that of the unit's previous list.
ListBase BaseOf(const std::vector<OldEntry>& entries, const LocationUnit& unit, const AddressRanges& scope)
{
    u64 relative = 0;
    u64 absolute = 0;
    for (const OldEntry& entry : entries) {
        if (entry.base) {
            return ListBase::Unit;
        }
        relative += Fit(scope, entry.begin + unit.base, entry.end + unit.base);
        absolute += Fit(scope, entry.begin, entry.end);
    }
    return relative == absolute ? unit.listBase : relative > absolute ? ListBase::Unit : ListBase::Zero;
}

/// Reads one list of DWARF 5.
class NewListReader {
public:
    NewListReader(ByteReader reader, const LocationUnit& unit, std::vector<ListEntry>& entries)
        : m_reader(reader)
        , m_unit(unit)
        , m_entries(entries)
        , m_base(unit.base)
    {
    }

    bool Run()
    {
        for (std::size_t count = 0; count < kMaxEntries; ++count) {
            const u8 kind = m_reader.U8();
            if (m_reader.Failed()) {
                return false;
            }
            if (kind == DW_LLE_end_of_list) {
                return true;
            }
            if (!Take(kind) || m_reader.Failed()) {
                return false;
            }
        }
        return false;
    }

private:
    u64 Address() { return m_reader.Number(m_unit.format.addressSize); }

    u64 Indexed()
    {
        const std::optional<u64> address = m_unit.format.addresses.At(m_reader.Uleb());
        m_isLost |= !address;
        return address.value_or(0);
    }

    /// The expression that follows the addresses. A range that wraps is none.
    bool Entry(u64 begin, u64 end)
    {
        const ByteView expression = m_reader.Block(m_reader.Uleb());
        if (!m_isLost && !m_reader.Failed()) {
            Add(m_entries, begin, end, expression);
        }
        return !m_isLost;
    }

    bool Take(u8 kind)
    {
        m_isLost = false;
        switch (kind) {
        case DW_LLE_base_addressx:
            m_base = Indexed();
            return !m_isLost;
        case DW_LLE_startx_endx: {
            const u64 begin = Indexed();
            return Entry(begin, Indexed());
        }
        case DW_LLE_startx_length: {
            const u64 begin = Indexed();
            return Entry(begin, begin + m_reader.Uleb());
        }
        case DW_LLE_offset_pair: {
            const u64 begin = m_base + m_reader.Uleb();
            return Entry(begin, m_base + m_reader.Uleb());
        }
        case DW_LLE_default_location:
            m_entries.push_back({0, 0, m_reader.Block(m_reader.Uleb()), true});
            return true;
        case DW_LLE_base_address:
            m_base = Address();
            return true;
        case DW_LLE_start_end: {
            const u64 begin = Address();
            return Entry(begin, Address());
        }
        case DW_LLE_start_length: {
            const u64 begin = Address();
            return Entry(begin, begin + m_reader.Uleb());
        }
        case DW_LLE_GNU_view_pair:
            m_reader.Uleb();
            m_reader.Uleb();
            return true;
        default:
            return false;
        }
    }

    ByteReader m_reader;
    const LocationUnit& m_unit;
    std::vector<ListEntry>& m_entries;
    u64 m_base;
    bool m_isLost = false; ///< an address is missing
};

} // namespace

LocationLists::LocationLists(Dwarf* dwarf, bool bigEndian)
    : m_bigEndian(bigEndian)
    , m_info(FindDebugSection(dwarf, ".debug_info").bytes)
    , m_loc(FindDebugSection(dwarf, ".debug_loc").bytes)
    , m_loclists(FindDebugSection(dwarf, ".debug_loclists").bytes)
    , m_addr(FindDebugSection(dwarf, ".debug_addr").bytes)
{
}

LocationUnit LocationLists::UnitOf(Dwarf_CU* cu) const
{
    LocationUnit unit;
    Dwarf_Half version = 0;
    u8 type = 0;
    Dwarf_Die die;
    u8 addressSize = 4;
    unit.format.bigEndian = m_bigEndian;
    if (dwarf_cu_info(cu, &version, &type, &die, nullptr, nullptr, &addressSize, &unit.offsetSize) != 0) {
        return unit;
    }
    unit.version = version;
    unit.isSplit = type == DW_UT_split_compile || type == DW_UT_split_type;
    unit.format.addressSize = addressSize;
    unit.format.referenceSize = version < 3 ? addressSize : unit.offsetSize;
    const u32 header = unit.offsetSize == 8 ? 16 : 8; // of the section's first table, where no base is stated
    const u64 addresses = OffsetOf(&die, DW_AT_addr_base)
                              .value_or(OffsetOf(&die, DW_AT_GNU_addr_base).value_or(version < 5 ? 0 : header));
    unit.format.addresses = {m_addr.From(addresses), addressSize, m_bigEndian};
    unit.listsBase = OffsetOf(&die, DW_AT_loclists_base).value_or(header + 4);
    const std::optional<u64> low = AddressOf(&die, DW_AT_low_pc);
    unit.base = low ? *low : AddressOf(&die, DW_AT_entry_pc).value_or(0);
    return unit;
}

bool LocationLists::IsList(const Dwarf_Attribute& attribute, const LocationUnit& unit)
{
    switch (attribute.form) {
    case DW_FORM_sec_offset:
    case DW_FORM_loclistx:
        return true;
    case DW_FORM_data4:
    case DW_FORM_data8:
        return unit.version < 4;
    default:
        return false;
    }
}

bool LocationLists::Read(const Dwarf_Attribute& attribute, LocationUnit& unit, const AddressRanges& scope,
                         std::vector<ListEntry>& entries) const
{
    entries.clear();
    // a split unit's lists are in another file
    if (unit.isSplit || unit.format.addressSize == 0 || unit.format.addressSize > 8) {
        return false;
    }
    const std::optional<u64> offset = ListOffset(attribute, unit);
    if (!offset) {
        return false;
    }
    return unit.version < 5 ? ReadOld(*offset, unit, scope, entries) : ReadNew(*offset, unit, entries);
}

std::optional<u64> LocationLists::ListOffset(const Dwarf_Attribute& attribute, const LocationUnit& unit) const
{
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(attribute.valp);
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(m_info.data);
    ByteReader value(at < start ? ByteView() : m_info.From(at - start), m_bigEndian);
    if (value.AtEnd()) { // `.debug_types`, where there are no indices
        value = ByteReader({attribute.valp, attribute.form == DW_FORM_loclistx ? 0u : 4u}, m_bigEndian);
    }
    if (attribute.form != DW_FORM_loclistx) {
        const u64 offset = value.Number(attribute.form == DW_FORM_sec_offset ? unit.offsetSize
                                        : attribute.form == DW_FORM_data8    ? 8
                                                                             : 4);
        return value.Failed() ? std::nullopt : std::optional(offset);
    }
    ByteReader table(m_loclists.From(unit.listsBase), m_bigEndian);
    const u64 index = value.Uleb();
    if (value.Failed() || index > table.Size() / unit.offsetSize) {
        return std::nullopt;
    }
    table.Seek(index * unit.offsetSize);
    const u64 offset = table.Number(unit.offsetSize);
    if (table.Failed() || offset > m_loclists.size) {
        return std::nullopt;
    }
    return unit.listsBase + offset;
}

bool LocationLists::ReadOld(u64 offset, LocationUnit& unit, const AddressRanges& scope,
                            std::vector<ListEntry>& entries) const
{
    const u32 width = unit.format.addressSize;
    const u64 selection = ~u64{0} >> (64 - 8 * width);
    ByteReader reader(m_loc, m_bigEndian);
    reader.Seek(offset);
    std::vector<OldEntry> read;
    std::optional<u64> base;
    bool isWhole = false;
    while (!reader.Failed() && read.size() < kMaxEntries) {
        const u64 begin = reader.Number(width);
        const u64 end = reader.Number(width);
        if (begin == 0 && end == 0) {
            isWhole = !reader.Failed();
            break;
        }
        if (begin == selection) {
            base = end;
            continue;
        }
        const ByteView expression = reader.Block(reader.U16());
        if (!reader.Failed()) {
            read.push_back({begin, end, base, expression});
        }
    }
    unit.listBase = BaseOf(read, unit, scope);
    const u64 unitBase = unit.listBase == ListBase::Zero ? 0 : unit.base;
    for (const OldEntry& entry : read) {
        const u64 from = entry.base.value_or(unitBase);
        Add(entries, from + entry.begin, from + entry.end, entry.expression);
    }
    return isWhole;
}

bool LocationLists::ReadNew(u64 offset, const LocationUnit& unit, std::vector<ListEntry>& entries) const
{
    ByteReader reader(m_loclists, m_bigEndian);
    reader.Seek(offset);
    return NewListReader(reader, unit, entries).Run();
}

} // namespace convert
