// A reference to a type, as the engine takes it.
#pragma once

#include "interfaces/DbgVariable.h"
#include "interfaces/Types.h"

/// The start values describe `void` of size 1: the type of what has no AT_type.
struct TypeRef {
    u32 byteSize = 1;
    DbgVariableBaseType baseType = kBaseVoid;
    u16 qualifiers = 0;
    u32 udtId = kNone; ///< DIE offset of the user-defined type
};
