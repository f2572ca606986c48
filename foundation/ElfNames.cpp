// One table for each kind of ELF code.
#include "ElfNames.h"

#include "interfaces/Elf32.h"

#include <cstddef>
#include <cstdio>

namespace {

struct Name {
    u32 code;
    const char* text;
};

constexpr Name kOsAbis[] = {{0, "System V"},  {3, "GNU/Linux"}, {9, "FreeBSD"},
                            {64, "ARM EABI"}, {97, "ARM"},      {255, "standalone"}};

constexpr Name kFileTypes[] = {
    {0, "NONE"}, {1, "REL, relocatable"}, {2, "EXEC, executable"}, {3, "DYN, shared object"}, {4, "CORE, core image"}};

constexpr Name kMachines[] = {{0, "none"},      {2, "SPARC"},    {3, "Intel 80386"}, {4, "Motorola 68000"},
                              {8, "MIPS"},      {20, "PowerPC"}, {21, "PowerPC 64"}, {22, "S/390"},
                              {40, "ARM"},      {42, "SuperH"},  {50, "IA-64"},      {62, "x86-64"},
                              {83, "AVR"},      {94, "Xtensa"},  {105, "MSP430"},    {164, "Hexagon"},
                              {183, "AArch64"}, {243, "RISC-V"}, {258, "LoongArch"}};

constexpr Name kSegmentTypes[] = {{0, "NULL"},
                                  {1, "LOAD"},
                                  {2, "DYNAMIC"},
                                  {3, "INTERP"},
                                  {4, "NOTE"},
                                  {5, "SHLIB"},
                                  {6, "PHDR"},
                                  {7, "TLS"},
                                  {0x6474E550, "GNU_EH_FRAME"},
                                  {0x6474E551, "GNU_STACK"},
                                  {0x6474E552, "GNU_RELRO"},
                                  {0x6474E553, "GNU_PROPERTY"}};

constexpr Name kArmSegmentTypes[] = {{0x70000000, "ARM_ARCHEXT"}, {0x70000001, "ARM_EXIDX"}};

constexpr Name kSectionTypes[] = {{0, "NULL"},
                                  {1, "PROGBITS"},
                                  {2, "SYMTAB"},
                                  {3, "STRTAB"},
                                  {4, "RELA"},
                                  {5, "HASH"},
                                  {6, "DYNAMIC"},
                                  {7, "NOTE"},
                                  {8, "NOBITS"},
                                  {9, "REL"},
                                  {10, "SHLIB"},
                                  {11, "DYNSYM"},
                                  {14, "INIT_ARRAY"},
                                  {15, "FINI_ARRAY"},
                                  {16, "PREINIT_ARRAY"},
                                  {17, "GROUP"},
                                  {18, "SYMTAB_SHNDX"},
                                  {0x6FFFFFF6, "GNU_HASH"},
                                  {0x6FFFFFFD, "GNU_VERDEF"},
                                  {0x6FFFFFFE, "GNU_VERNEED"},
                                  {0x6FFFFFFF, "GNU_VERSYM"}};

constexpr Name kArmSectionTypes[] = {{0x70000001, "ARM_EXIDX"},
                                     {0x70000002, "ARM_PREEMPTMAP"},
                                     {0x70000003, "ARM_ATTRIBUTES"},
                                     {0x70000004, "ARM_DEBUGOVERLAY"},
                                     {0x70000005, "ARM_OVERLAYSECTION"}};

constexpr Name kSymbolTypes[] = {{0, "NOTYPE"}, {1, "OBJECT"}, {2, "FUNC"}, {3, "SECTION"},
                                 {4, "FILE"},   {5, "COMMON"}, {6, "TLS"},  {10, "GNU_IFUNC"}};

constexpr Name kArmSymbolTypes[] = {{13, "ARM_TFUNC"}, {15, "ARM_16BIT"}};

constexpr Name kBindings[] = {{0, "LOCAL"}, {1, "GLOBAL"}, {2, "WEAK"}, {10, "GNU_UNIQUE"}};

constexpr Name kVisibilities[] = {{0, "DEFAULT"}, {1, "INTERNAL"}, {2, "HIDDEN"}, {3, "PROTECTED"}};

constexpr Name kReservedSections[] = {{0, "UNDEF"}, {0xFFF1, "ABS"}, {0xFFF2, "COMMON"}, {0xFFFF, "XINDEX"}};

constexpr Name kSegmentFlags[] = {{4, "R"}, {2, "W"}, {1, "X"}};

constexpr Name kArmSegmentFlags[] = {{0x10000000, "ARM_SB"}, {kPfArmPi, "ARM_PI"}, {0x40000000, "ARM_ABS"}};

constexpr Name kSectionFlags[] = {{kShfWrite, "WRITE"}, {kShfAlloc, "ALLOC"},        {kShfExecInstr, "EXECINSTR"},
                                  {0x10, "MERGE"},      {0x20, "STRINGS"},           {0x40, "INFO_LINK"},
                                  {0x80, "LINK_ORDER"}, {0x100, "OS_NONCONFORMING"}, {0x200, "GROUP"},
                                  {0x400, "TLS"},       {0x800, "COMPRESSED"}};

constexpr Name kArmSectionFlags[] = {
    {0x10000000, "ARM_ENTRYSECT"}, {0x20000000, "ARM_PURECODE"}, {0x80000000, "ARM_COMDEF"}};

constexpr Name kArmHeaderFlags[] = {{0x1, "RELEXEC"},      {0x2, "HASENTRY"}, {0x200, "SOFT_FLOAT"},
                                    {0x400, "HARD_FLOAT"}, {0x400000, "LE8"}, {0x800000, "BE8"}};

template <std::size_t count>
const char* Find(const Name (&names)[count], u32 code)
{
    for (const Name& name : names) {
        if (name.code == code) {
            return name.text;
        }
    }
    return nullptr;
}

template <std::size_t count, std::size_t armCount>
const char* Find(const Name (&names)[count], const Name (&armNames)[armCount], u32 code, u16 machine)
{
    const char* name = Find(names, code);
    return name == nullptr && machine == kMachineArm ? Find(armNames, code) : name;
}

void AppendWord(std::string& words, const char* word)
{
    if (!words.empty()) {
        words += ' ';
    }
    words += word;
}

/// Names the bits and takes them out of `flags`.
template <std::size_t count>
void AppendFlags(std::string& words, const Name (&names)[count], u32& flags)
{
    for (const Name& name : names) {
        if ((flags & name.code) != 0) {
            AppendWord(words, name.text);
            flags &= ~name.code;
        }
    }
}

void AppendRest(std::string& words, u32 flags)
{
    if (flags != 0) {
        char number[16];
        std::snprintf(number, sizeof number, "0x%x", flags);
        AppendWord(words, number);
    }
}

template <std::size_t count, std::size_t armCount>
std::string FlagNames(const Name (&names)[count], const Name (&armNames)[armCount], u32 flags, u16 machine)
{
    std::string words;
    AppendFlags(words, names, flags);
    if (machine == kMachineArm) {
        AppendFlags(words, armNames, flags);
    }
    AppendRest(words, flags);
    return words;
}

} // namespace

const char* ElfOsAbiName(u8 osAbi)
{
    return Find(kOsAbis, osAbi);
}

const char* ElfFileTypeName(u16 type)
{
    return Find(kFileTypes, type);
}

const char* ElfMachineName(u16 machine)
{
    return Find(kMachines, machine);
}

const char* ElfSegmentTypeName(u32 type, u16 machine)
{
    return Find(kSegmentTypes, kArmSegmentTypes, type, machine);
}

const char* ElfSectionTypeName(u32 type, u16 machine)
{
    return Find(kSectionTypes, kArmSectionTypes, type, machine);
}

const char* ElfSymbolTypeName(u8 type, u16 machine)
{
    return Find(kSymbolTypes, kArmSymbolTypes, type, machine);
}

const char* ElfSymbolBindingName(u8 binding)
{
    return Find(kBindings, binding);
}

const char* ElfVisibilityName(u8 other)
{
    return Find(kVisibilities, other & 3u);
}

const char* ElfReservedSectionName(u16 section)
{
    return Find(kReservedSections, section);
}

std::string ElfSegmentFlagNames(u32 flags, u16 machine)
{
    return FlagNames(kSegmentFlags, kArmSegmentFlags, flags, machine);
}

std::string ElfSectionFlagNames(u32 flags, u16 machine)
{
    return FlagNames(kSectionFlags, kArmSectionFlags, flags, machine);
}

std::string ElfHeaderFlagNames(u32 flags, u16 machine)
{
    std::string words;
    if (machine == kMachineArm) {
        words = "EABI " + std::to_string(flags >> 24);
        flags &= 0x00FFFFFFu;
        AppendFlags(words, kArmHeaderFlags, flags);
    }
    AppendRest(words, flags);
    return words;
}
