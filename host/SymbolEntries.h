// One pass over the ELF symbol table, which tells what each entry is.
#pragma once

#include "interfaces/Elf32.h"
#include "interfaces/Types.h"
#include "interfaces/VFKElfFile.h"

struct SymbolEntry {
    enum Role : u8 {
        Thing,   ///< a function, a variable, a label
        File,    ///< names the source file of the local symbols behind it
        Mapping, ///< says that ARM code, Thumb code or data begins there (ELF for the Arm Architecture, 5.5.5)
        Section, ///< or nothing that has a name
    };

    const elf32_sym* raw;
    const char* name; ///< in the string table; never null
    u32 address;      ///< the value without the Thumb bit
    Role role;
};

/// True for the types of functions, those of resolvers and of old Thumb code among them.
constexpr bool IsFunctionType(u8 type)
{
    constexpr u8 kSttGnuIfunc = 10;
    constexpr u8 kSttArmThumbFunc = 13;
    return type == kSttFunc || type == kSttGnuIfunc || type == kSttArmThumbFunc;
}

constexpr bool IsObjectType(u8 type)
{
    return type == 1; // STT_OBJECT
}

constexpr bool IsThreadLocalType(u8 type)
{
    return type == 6; // STT_TLS
}

inline SymbolEntry::Role RoleOf(u8 type, u8 binding, const char* name)
{
    constexpr u8 kSectionType = 3; // STT_SECTION
    constexpr u8 kFileType = 4;    // STT_FILE
    if (type == kSectionType || *name == 0) {
        return SymbolEntry::Section;
    }
    if (type == kFileType) {
        return SymbolEntry::File;
    }
    const bool letter = name[0] == '$' && (name[1] == 'a' || name[1] == 't' || name[1] == 'd');
    return letter && binding == 0 && (name[2] == 0 || name[2] == '.') ? SymbolEntry::Mapping : SymbolEntry::Thing;
}

/// Calls `visit(SymbolEntry)` for each entry, in the order of the table.
template <typename Visit>
void VisitSymbols(const VFKElfFile& elf, Visit&& visit)
{
    const bool arm = elf.m_ehdr.e_machine == kMachineArm;
    for (u32 index = 1; const elf32_sym* raw = elf.GetSymtabEntry(index); ++index) {
        const char* text = elf.GetString(raw->st_name);
        const char* name = text == nullptr ? "" : text;
        const u8 type = SymbolType(*raw);
        const u32 address = arm && IsFunctionType(type) ? raw->st_value & ~u32{1} : raw->st_value;
        visit(SymbolEntry{raw, name, address, RoleOf(type, SymbolBinding(*raw), name)});
    }
}
