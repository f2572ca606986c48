// Names of ELF codes (System V ABI, chapter 4, and the ARM ELF supplement) as listings print them.
#pragma once

#include "interfaces/Types.h"

#include <string>

/// The name of a code, or null if it has none. `machine` is the file's `e_machine`: codes of the processor's range are
/// named for ARM files only.
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

/// The names of all bits that are set, separated by blanks; bits without a name come last, as one hexadecimal number.
/// Empty if no bit is set.
std::string ElfSegmentFlagNames(u32 flags, u16 machine);
std::string ElfSectionFlagNames(u32 flags, u16 machine);
/// The same for `e_flags`; in an ARM file its top byte is the version of the ABI.
std::string ElfHeaderFlagNames(u32 flags, u16 machine);
