// Records and codes of the 32-bit ELF object file format (System V ABI, chapter 4, and the ARM
// ELF supplement). The records hold numbers in host order: the reader has already swapped them.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>

struct Elf32_Ehdr {
    u8 e_ident[16];
    u16 e_type;
    u16 e_machine;
    u32 e_version;
    u32 e_entry;
    u32 e_phoff;
    u32 e_shoff;
    u32 e_flags;
    u16 e_ehsize;
    u16 e_phentsize;
    u16 e_phnum;
    u16 e_shentsize;
    u16 e_shnum;
    u16 e_shstrndx;
};
static_assert(sizeof(Elf32_Ehdr) == 52);

struct Elf32_Shdr {
    u32 sh_name;
    u32 sh_type;
    u32 sh_flags;
    u32 sh_addr;
    u32 sh_offset;
    u32 sh_size;
    u32 sh_link;
    u32 sh_info;
    u32 sh_addralign;
    u32 sh_entsize;
};
static_assert(sizeof(Elf32_Shdr) == 40);

struct elf32_phdr {
    u32 p_type;
    u32 p_offset;
    u32 p_vaddr;
    u32 p_paddr;
    u32 p_filesz;
    u32 p_memsz;
    u32 p_flags;
    u32 p_align;
};
static_assert(sizeof(elf32_phdr) == 32);

struct elf32_sym {
    u32 st_name;
    u32 st_value;
    u32 st_size;
    u8 st_info;
    u8 st_other;
    u16 st_shndx;
};
static_assert(sizeof(elf32_sym) == 16);

inline constexpr u8 kElfMagic[4] = {0x7F, 'E', 'L', 'F'}; ///< what `e_ident` begins with
inline constexpr std::size_t kIdentClass = 4;             ///< EI_CLASS, and so on: places in `e_ident`
inline constexpr std::size_t kIdentData = 5;
inline constexpr std::size_t kIdentOsAbi = 7;
inline constexpr std::size_t kIdentAbiVersion = 8;
inline constexpr u8 kElfClass32 = 1;
inline constexpr u8 kElfClass64 = 2;
inline constexpr u32 kElfDataLsb = 1;  ///< ELFDATA2LSB
inline constexpr u32 kElfDataMsb = 2;  ///< ELFDATA2MSB
inline constexpr u16 kMachineArm = 40; ///< EM_ARM

inline constexpr u32 kShtSymtab = 2;
inline constexpr u32 kShtStrtab = 3;
inline constexpr u32 kShtNobits = 8;

inline constexpr u32 kShfWrite = 1;
inline constexpr u32 kShfAlloc = 2;
inline constexpr u32 kShfExecInstr = 4;

inline constexpr u32 kPtLoad = 1;
inline constexpr u32 kPfX = 1;
inline constexpr u32 kPfArmPi = 0x20000000; ///< PF_ARM_PI: position-independent segment

inline constexpr u16 kShnUndef = 0;
inline constexpr u16 kShnLoReserve = 0xFF00; ///< from here on indexes are reserved

inline constexpr u8 kSttFunc = 2;

constexpr u8 SymbolType(const elf32_sym& symbol)
{
    return symbol.st_info & 0xFu;
}

constexpr u8 SymbolBinding(const elf32_sym& symbol)
{
    return static_cast<u8>(symbol.st_info >> 4);
}
