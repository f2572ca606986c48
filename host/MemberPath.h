// The part of a variable that lies at an offset in it.
#pragma once

#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <string>

class DbgSymSymFile;

struct MemberPath {
    std::string path; ///< ".limits[2].low" behind the variable's name; empty for the variable itself
    u32 rest = 0;     ///< bytes from the start of that part
};

/// Follows a type as far down as members and array elements lead. Of a union the first member that reaches so far is
/// taken; in a hole the way ends at what has the hole.
MemberPath FindMember(DbgSymSymFile& store, const DbgTypeDescription& type, u32 offset);
