// The member of a variable that lies at an offset in it.
#pragma once

#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <string>

class TypeLayouts;

struct MemberPath {
    std::string path;        ///< ".limits[2].low" behind the variable's name; empty for the variable itself
    u32 rest = 0;            ///< bytes from the start of that part
    DbgTypeDescription type; ///< of that part
};

/// Follows a type down through members and array elements. Of a union it takes the first member that reaches
/// far enough; in a hole it ends at the type with the hole, and at an array that may have further dimensions, which the
/// store has not, at the array.
/// @param size bytes that the variable takes, which can be more than its type tells.
MemberPath FindMember(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size, u32 offset);
