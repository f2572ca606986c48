// Names of the codes of ELF (System V ABI, chapter 4, and the ARM ELF supplement) as listings
// print them.
#pragma once

#include "interfaces/Types.h"

#include <string>

/// The name of a code, or null for one that has none. `machine` is the file's `e_machine`: codes
/// that processors share mean something for ARM files only.
const char* ElfOsAbiName(u8 osAbi);
const char* ElfFileTypeName(u16 type);
const char* ElfMachineName(u16 machine);
const char* ElfSegmentTypeName(u32 type, u16 machine);
const char* ElfSectionTypeName(u32 type, u16 machine);
const char* ElfSymbolTypeName(u8 type, u16 machine);
const char* ElfSymbolBindingName(u8 binding);
const char* ElfVisibilityName(u8 other);
/// The name of a reserved section index such as SHN_ABS.
const char* ElfReservedSectionName(u16 section);

/// The names of all bits that are set, with a blank between them; what has no name comes last, as
/// one hexadecimal number. Empty if no bit is set.
std::string ElfSegmentFlagNames(u32 flags, u16 machine);
std::string ElfSectionFlagNames(u32 flags, u16 machine);
/// The same for `e_flags`, whose ARM meaning has the version of the ABI in the top byte.
std::string ElfHeaderFlagNames(u32 flags, u16 machine);
