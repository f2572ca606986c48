// The layout of a structure, a class or a union: its members, and the bytes between them that no member has.
#pragma once

#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <unordered_map>
#include <vector>

class DbgSymSymFile;

/// Types can refer to each other in any way, loops included: following them ends after so many references, more than
/// any program's type has.
inline constexpr u32 kMaxTypeDepth = 32;

bool HasName(const DbgUserDefinedVarType& type);

/// The type's members; null for one without.
const DbgUDTInfoMembers* MembersOf(const DbgUserDefinedVarType& type);

/// The size of a thing that is described as so large; where it was described before its type was complete, and so as 0,
/// that of its type.
u32 SizeOf(DbgSymSymFile& store, const DbgTypeDescription& type, u32 described);

/// A stretch of an aggregate. Bits are counted from its first byte on, as they follow one another in memory.
struct LayoutRow {
    enum Kind : u8 {
        Member,
        Hole,    ///< ahead of a member
        Padding, ///< at the end
        /// More bytes at the end of a class with virtual functions than alignment explains. The
        /// place of a virtual base is only known at run time, so the store has no virtual bases.
        VirtualBases,
        /// Enough bytes behind an array for more of it: of the bounds of an array with several dimensions
        /// the store has only the last.
        RestOfArray,
        /// Behind a member whose type the store has not: it, or a hole.
        Unknown,
    };

    Kind kind;
    const DbgUDTInfoMembers::Member* member; ///< null for what is none
    u32 size;                                ///< of the member, in bytes
    u64 begin;
    u64 end;

    /// Whole bytes that nothing has.
    u64 LostBytes() const;
};

class TypeLayouts {
public:
    /// @param bigEndian the file's byte order, which says where in the bytes a bit field lies.
    /// @param wholeArrays all dimensions of an array are in the store, as those of a converted file.
    TypeLayouts(DbgSymSymFile& store, bool bigEndian, bool wholeArrays)
        : m_store(store)
        , m_bigEndian(bigEndian)
        , m_wholeArrays(wholeArrays)
    {
    }

    /// In ascending order. Empty for a type without members.
    std::vector<LayoutRow> Of(const DbgUserDefinedVarType& type) const { return Of(type, 0); }

    /// Null for an id that the store doesn't hold.
    const DbgUserDefinedVarType* Find(u32 id) const;

private:
    std::vector<LayoutRow> Of(const DbgUserDefinedVarType& type, u32 depth) const;
    std::vector<LayoutRow> Members(const DbgUserDefinedVarType& type, u32 depth) const;
    u64 AlignmentOf(const DbgTypeDescription& type, u64 size, u32 depth) const;
    u64 AlignmentOf(const DbgUserDefinedVarType& type, u32 depth) const;
    bool IsUnknown(const LayoutRow& row) const;
    void AddGap(std::vector<LayoutRow>& rows, LayoutRow gap, u64 alignment) const;
    bool IsArray(const DbgTypeDescription& type) const;
    const DbgUserDefinedVarType* BaseClass(const DbgUDTInfoMembers::Member& member) const;
    bool HasVirtualFunctions(const DbgUserDefinedVarType& type) const;
    u64 EndInDerived(const DbgUserDefinedVarType& base, u64 size, u32 depth) const;

    DbgSymSymFile& m_store;
    bool m_bigEndian;
    bool m_wholeArrays;
    mutable std::unordered_map<u32, u64> m_ends;       ///< of base classes, by their ids
    mutable std::unordered_map<u32, u64> m_alignments; ///< by the ids of types
};
