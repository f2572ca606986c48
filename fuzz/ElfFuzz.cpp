// The ELF reader: its tables, strings and look-ups as they are, and what the plug-in makes of them
// without debug information.
#include "fuzz/Driver.h"
#include "interfaces/VFKBytes.h"
#include "interfaces/VFKElfFile.h"

#include <sstream>

namespace {

constexpr u32 kMaxSymbols = 64;

void ReadTables(const VFKElfFile& elf)
{
    VFKBytes bytes;
    std::string text;
    for (u32 index = 0; const Elf32_Shdr* shdr = elf.GetSectionHeader(index); ++index) {
        const elf32_phdr* phdr = nullptr;
        elf.GetShdrWithPhdr(index, &phdr);
        if (const char* name = elf.GetShdrString(shdr->sh_name); name != nullptr && index < kMaxSymbols) {
            elf.GetSectionData(name, bytes, index, kNone);
            elf.GetSectionData(name, text, 1, shdr->sh_size / 2);
        }
    }
    for (u32 index = 0; elf.GetProgramHeader(index) != nullptr; ++index) {
    }
}

void ReadSymbols(const VFKElfFile& elf)
{
    std::ostringstream out;
    elf.FindStrtabOffset("$a", 0);
    elf.FindStrtabOffset("$t", 1);
    for (u32 index = 0; index < kMaxSymbols; ++index) {
        const elf32_sym* symbol = elf.GetSymtabEntry(index);
        if (symbol == nullptr) {
            break;
        }
        const elf32_sym* next = nullptr;
        elf.FindSymtabEntry(elf.GetString(symbol->st_name));
        elf.FindSymtabEntry(symbol->st_value, kNone, &next);
        elf.FindSymtabEntry(symbol->st_value, symbol->st_size, &next);
        elf.FindSymtabEntry(symbol->st_value + symbol->st_size / 2, kNone, &next);
        elf.FindSymtabFunctionEntryContainingAddr(symbol->st_value + 1, &next);
        elf.DumpSymtabEntry(out, symbol);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    // The lowest bit of the byte behind the magic and the header's four classes is free for a choice.
    Session session({reinterpret_cast<const char*>(data), size}, Settings(size > 9 ? data[9] : u8{0}));
    const VFKElfFile elf(session.File().Store().GetPath());
    ReadTables(elf);
    ReadSymbols(elf);
    session.File().Rate();
    session.File().Add();
    session.File().LoadIndex();
    session.LookUp();
    for (const char* line : {"elf", "elfsymtab", "elfsymtab -v", "elfsymtab -a", "elfsymtab -n", "elffind main",
                             "elffind 8000", "elffind 8002", "elfsect .text", "elfsect .shstrtab", "orloinfo"}) {
        session.Console(line);
    }
    return 0;
}
