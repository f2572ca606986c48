// The builder of one type of the store. Each part names the file that defines it.
#pragma once

#include "image/Dwarf2File.h"
#include "index/Entry.h"
#include "interfaces/DbgUserDefinedVarType.h"

/// Bounds of an array. Each subrange overwrites them, so the last dimension counts.
struct Bounds {
    u32 lower = 0;
    u32 upper = 0;
};

class Dwarf2File::TypeBuilder {
public:
    TypeBuilder(Dwarf2File& file, const Entry& entry, DbgUserDefinedVarType& type)
        : m_file(file)
        , m_entry(entry)
        , m_type(type)
    {
    }

    /// Builds what the entry's tag says.
    void Build();
    static void BuildSubrange(Dwarf2File& file, const Entry& entry, Bounds& bounds);

private:
    // symbols/DerivedTypes.cpp
    void BuildPointer();
    void BuildSubroutineType();
    void BuildArray();
    void ReadSubranges(Bounds& bounds);

    // symbols/BaseTypes.cpp
    void BuildBaseType();

    // symbols/Aggregates.cpp
    /// Reads sibling, name and size of an aggregate or an enumeration.
    void ReadHead();
    void BuildAggregate(DbgVariableUserDefinedType kind);
    void ReadMembers(DbgVariableUserDefinedType kind);

    // symbols/Enumerations.cpp
    void BuildEnumeration();
    void ReadEnumerators(DbgUDTInfoEnum32& info);
    void BuildEnumerator(const Entry& enumerator, DbgUDTInfoEnum32& info);

    Dwarf2File& m_file;
    const Entry& m_entry;
    DbgUserDefinedVarType& m_type;
};
