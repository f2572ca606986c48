// Variables of the symbol store, and the numbers by which variables and types are described.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <string_view>

enum DbgVariableScope : u16 {
    kScopeLocal = 1,
    kScopeExternal = 2,
    kScopeFileStatic = 3,
    kScopeParameter = 4,
};

/// Base type codes. Code 0 is void, and also means that no base type is known.
enum DbgVariableBaseType : u16 {
    kBaseVoid = 0x00,
    kBaseChar = 0x10,
    kBaseShort = 0x12,
    kBaseInt = 0x13,
    kBaseLong = 0x14,
    kBaseLongLong = 0x15,
    kBaseSignedChar = 0x20,
    kBaseSignedShort = 0x22,
    kBaseSignedInt = 0x23,
    kBaseSignedLong = 0x24,
    kBaseSignedLongLong = 0x25,
    kBaseUnsignedChar = 0x30,
    kBaseUnsignedShort = 0x32,
    kBaseUnsignedInt = 0x33,
    kBaseUnsignedLong = 0x34,
    kBaseUnsignedLongLong = 0x35,
    kBaseBool = 0x40,
    kBaseFloat = 0x41,
    kBaseDouble = 0x42,
    kBaseLongDouble = 0x43,
    kBaseComplexFloat = 0x45,
    kBaseUserDefined = 0x50, ///< the user-defined id says which
};

/// Qualifier bits of a described type.
inline constexpr u16 kQualifierConst = 0x4;
inline constexpr u16 kQualifierVolatile = 0x10;

/// A variable or parameter. Texts and bytes belong to the store.
struct DbgVariable {
    DbgSymContext context;
    u32 id = kNone; ///< DIE offset
    u32 byteSize = 0;
    u32 udtId = kNone;
    std::string_view name;
    std::string_view location; ///< the prepared expression's bytes
    DbgVariableBaseType baseType = kBaseVoid;
    u16 qualifiers = 0;
    DbgVariableScope scope = kScopeLocal;
    bool littleEndian = true; ///< byte order of the numbers in `location`
};
