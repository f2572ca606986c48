// The member of a variable that lies at an offset in it.
#pragma once

#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>

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

/// The offset of the part with such a path, as FindMember words it; members of base classes and of parts without a name
/// need no path of their own, and what stands nearest is meant. Nothing if there is no such part.
std::optional<u32> FindMemberOffset(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size,
                                    std::string_view path);
