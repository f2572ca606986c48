// Location lists as their sections have them: `.debug_loc` of DWARF 2 to 4, `.debug_loclists` of DWARF 5.
#pragma once

#include "convert/AddressRange.h"
#include "convert/Bytes.h"
#include "convert/Expressions.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <optional>
#include <vector>

namespace convert {

/// What the addresses of a list of version 2 to 4 are relative to.
enum class ListBase : u8 { Unit, Zero };

/// What the lists and expressions of a unit depend on.
struct LocationUnit {
    u32 version = 0;
    u8 offsetSize = 4;
    u64 base = 0; ///< what lists are relative to at first
    u64 listsBase = 0;
    bool isSplit = false;
    ListBase listBase = ListBase::Unit; ///< of the list that was read last
    ExpressionFormat format;
};

/// Borrowed from the section.
struct ListEntry {
    u32 begin = 0;
    u32 end = 0;
    ByteView expression;
    bool isDefault = false; ///< holds where no other one of the list does; begin and end have no meaning
};

class LocationLists {
public:
    /// @param dwarf outlives this.
    LocationLists(Dwarf* dwarf, bool bigEndian);

    LocationUnit UnitOf(Dwarf_CU* cu) const;

    /// True if the attribute's form leads to a list.
    static bool IsList(const Dwarf_Attribute& attribute, const LocationUnit& unit);

    /// The list of an attribute that leads to one, with absolute addresses. Entries without addresses are left out.
    /// Valid until the next call. Entries after one that can't be read are missing.
    /// @param scope decides whether a list of version 2 to 4 is absolute, see LocationReader::Read.
    /// @return false if the list, or a part of it, can't be read.
    bool Read(const Dwarf_Attribute& attribute, LocationUnit& unit, const AddressRanges& scope,
              std::vector<ListEntry>& entries) const;

private:
    bool ReadOld(u64 offset, LocationUnit& unit, const AddressRanges& scope, std::vector<ListEntry>& entries) const;
    bool ReadNew(u64 offset, const LocationUnit& unit, std::vector<ListEntry>& entries) const;

    std::optional<u64> ListOffset(const Dwarf_Attribute& attribute, const LocationUnit& unit) const;

    bool m_bigEndian;
    ByteView m_info;
    ByteView m_loc;
    ByteView m_loclists;
    ByteView m_addr;
};

} // namespace convert
