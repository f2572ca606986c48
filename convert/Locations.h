// Where things are: location expressions and lists of DWARF 2 to 5 turned into those of DWARF 2.0.
#pragma once

#include "convert/AddressRange.h"
#include "convert/Bytes.h"
#include "convert/Expressions.h"
#include "convert/FrameRules.h"
#include "convert/LocationLists.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <elfutils/libdw.h>
#include <unordered_map>
#include <vector>

namespace convert {

/// An expression of DWARF 2.0 that holds at [begin, end).
struct LocationPiece {
    u32 begin = 0;
    u32 end = 0;
    ExpressionBytes expression;
};

/// Where a variable is, or a frame base.
struct Location {
    enum class Kind : u8 {
        None,     ///< nowhere, or at no place that DWARF 2.0 can express
        Whole,    ///< `expression`, at each address of the scope
        List,     ///< `pieces`, not empty, absolute addresses; ascending, but as they were given where that would bring
                  ///< an overlapping one ahead of an earlier one
        Constant, ///< one value in the whole scope instead of a place: `expression` has its bytes as in memory; if that
                  ///< is empty, `value` is the number, not cut to the type's size
    };
    Kind kind = Kind::None;
    ExpressionBytes expression;
    std::vector<LocationPiece> pieces;
    i64 value = 0;
};

/// Turns location attributes into those of DWARF 2.0.
class LocationReader {
public:
    /// @param dwarf and @param frames outlive this.
    LocationReader(Dwarf* dwarf, FrameRules& frames, bool bigEndian);

    /// Reads AT_location, AT_frame_base, AT_data_member_location in expression form, AT_vtable_elem_location, ...
    /// - DW_OP_addrx and constx are resolved; DW_OP_GNU_uninit and nops are dropped; pieces of bits that are whole
    ///   bytes become DW_OP_piece; a DW_OP_call_frame_cfa is replaced by the rule of the frame section, which turns an
    ///   expression into a list if there are several rules in `scope`.
    /// - An expression that is a constant with DW_OP_stack_value, or DW_OP_implicit_value, is a Constant if it isn't in
    ///   a list.
    /// - Pieces of lists with an empty range or expression are dropped. A default entry (DWARF 5) holds in the rest of
    ///   `scope`. Other entries aren't cut to `scope`.
    /// - Lists of versions 2 to 4 are relative to the unit's base, except those of compilers that write absolute
    ///   addresses although the unit has a base: if more of a list is in `scope` without the base than with it, it is
    ///   absolute; where that doesn't decide, it is like the unit's previous list.
    /// - What can't be expressed is left out and counted, in Counts(), once for each range.
    /// @param attribute may have a form of block, exprloc, or a list; others give None.
    /// @param scope the addresses of the function around (or of the block), for which the location is wanted; empty
    ///        outside functions, where DW_OP_call_frame_cfa can't be expressed.
    Location Read(Dwarf_Attribute& attribute, const AddressRanges& scope);

    /// How many ranges of variables had to be left out, by Unsaid.
    const std::vector<u64>& Counts() const { return m_counts; }

    /// True if one of the expressions of the last Read was DW_OP_addr, and nothing else: then Address() has it.
    bool IsAddress() const { return m_isAddress; }
    u32 Address() const { return m_address; }

private:
    LocationUnit& UnitOf(Dwarf_CU* cu);
    Location ReadExpression(ByteView expression, const LocationUnit& unit, const AddressRanges& scope);
    Location ReadList(const Dwarf_Attribute& attribute, LocationUnit& unit, const AddressRanges& scope);
    void AddPieces(ByteView expression, const LocationUnit& unit, AddressRange range, const AddressRanges& scope,
                   std::vector<LocationPiece>& pieces);
    void AddFrameBound(ByteView expression, const LocationUnit& unit, AddressRange range, const AddressRanges& scope,
                       std::vector<LocationPiece>& pieces);
    bool Rewrite(ByteView expression, const LocationUnit& unit, ByteView cfa, ExpressionBytes& out);
    void LeaveOut(Unsaid reason) { ++m_counts[static_cast<std::size_t>(reason)]; }
    void NoteAddress(const ExpressionBytes& expression);

    FrameRules& m_frames;
    bool m_bigEndian;
    LocationLists m_lists;
    std::unordered_map<Dwarf_CU*, LocationUnit> m_units;
    Dwarf_CU* m_lastCu = nullptr;
    LocationUnit* m_lastUnit = nullptr;
    std::vector<ListEntry> m_entries; ///< of the list that is being read
    std::vector<u64> m_counts = std::vector<u64>(kUnsaidCount);
    bool m_isAddress = false;
    u32 m_address = 0;
};

/// The location as it is within `range`: a list cut to it, None if nothing is left; Whole and Constant stay.
Location Within(const Location& location, AddressRange range);

/// Makes each bare register of a frame base (DW_OP_reg<n>) that register plus 0.
void MakeFrameBase(Location& location);

} // namespace convert
