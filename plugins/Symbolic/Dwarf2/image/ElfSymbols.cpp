// The questions that are answered from the ELF symbol table alone: a symbol by name, the function
// at an address, and ARM, Thumb or data by the mapping symbols of the ARM ELF supplement.
#include "image/Dwarf2File.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymbolicInterface.h"

#include <iterator>

namespace {

constexpr u32 kCodeArm = DbgSymbolicInterface::kCodeArm;
constexpr u32 kCodeThumb = DbgSymbolicInterface::kCodeThumb;
constexpr u32 kCodeData = DbgSymbolicInterface::kCodeData;

u32 CodeTypeOfLetter(char letter)
{
    switch (letter) {
    case 'a':
        return kCodeArm;
    case 't':
        return kCodeThumb;
    case 'd':
        return kCodeData;
    default:
        return kNone;
    }
}

u32 RangeSize(const elf32_sym& symbol, const elf32_sym* next, u32 address)
{
    // Compared in 64 bits: an extent may reach the top of the address space.
    if (u64{symbol.st_value} + symbol.st_size > address) {
        return symbol.st_size;
    }
    if (next != nullptr && next->st_value > symbol.st_value) {
        return next->st_value - symbol.st_value;
    }
    if (next != nullptr && next->st_value == symbol.st_value) {
        return next->st_size;
    }
    return 0;
}

} // namespace

bool Dwarf2File::NormaliseAddress(const DbgAddress* address, const DbgContext* dbgContext, u32& value) const
{
    if (address == nullptr) {
        return false;
    }
    DbgAddress copy = *address;
    if ((m_flags & kSectionRelative) != 0) {
        if (!copy.MakeSectionOffset(dbgContext) || copy.section != m_sectionId) {
            return false;
        }
    } else if (!copy.MakeAbsolute(dbgContext)) {
        return false;
    }
    value = copy.value;
    return true;
}

void Dwarf2File::FillRange(const elf32_sym& symbol, DbgAddrRange* range) const
{
    if ((m_flags & kSectionRelative) != 0) {
        range->SetAddress(symbol.st_value, m_sectionId, 1, 0xFFFF);
    } else {
        range->value = symbol.st_value;
        range->section = kNone;
    }
}

bool Dwarf2File::FindElfSymbolByName(const char* name, DbgAddrRange* range)
{
    const elf32_sym* symbol = m_elf.FindSymtabEntry(name);
    if (symbol == nullptr) {
        return false;
    }
    FillRange(*symbol, range);
    range->size = symbol->st_size;
    return true;
}

bool Dwarf2File::FindElfSymbolByAddress(const DbgContext* dbgContext, const DbgAddress* address, std::string* name,
                                        DbgAddrRange* range)
{
    u32 searchAddress = 0;
    if (!NormaliseAddress(address, dbgContext, searchAddress)) {
        return false;
    }
    const elf32_sym* next = nullptr;
    const elf32_sym* symbol = m_elf.FindSymtabFunctionEntryContainingAddr(searchAddress, &next);
    if (symbol == nullptr) {
        return false;
    }
    const char* text = m_elf.GetString(symbol->st_name);
    *name = text == nullptr ? "" : text;
    FillRange(*symbol, range);
    range->size = RangeSize(*symbol, next, searchAddress);
    return true;
}

void Dwarf2File::ScanMappingSymbols()
{
    for (u32 index = 1; const elf32_sym* symbol = m_elf.GetSymtabEntry(index); ++index) {
        const Elf32_Shdr* shdr = m_elf.GetSectionHeader(symbol->st_shndx);
        if (shdr == nullptr || (shdr->sh_flags & kShfExecInstr) == 0) {
            continue;
        }
        const char* name = m_elf.GetString(symbol->st_name);
        if (name == nullptr || name[0] != '$' || name[1] == 0 || name[2] != 0) {
            continue;
        }
        if (CodeTypeOfLetter(name[1]) != kNone) {
            m_mappingSymbols.emplace(symbol->st_value, name[1]); // the first one at an address stays
        }
    }
    // Of consecutive symbols that say the same, the first is enough; the very last one ends the run.
    char letter = 0;
    for (auto it = m_mappingSymbols.begin(); it != m_mappingSymbols.end() && std::next(it) != m_mappingSymbols.end();) {
        const bool change = it->second != letter;
        letter = it->second;
        it = change ? std::next(it) : m_mappingSymbols.erase(it);
    }
}

void Dwarf2File::DecideCodeType()
{
    const bool hasArm = m_elf.FindStrtabOffset("$a", 0) != VFKElfFile::npos;
    const bool hasThumb = m_elf.FindStrtabOffset("$t", 0) != VFKElfFile::npos;
    if (hasArm && hasThumb) {
        ScanMappingSymbols();
        m_codeTypeCache = kCodeTypeByAddress;
    } else if (hasArm) {
        m_codeTypeCache = kCodeArm;
    } else if (hasThumb) {
        m_codeTypeCache = kCodeThumb;
    } else {
        m_codeTypeCache = kCodeTypeByAddress;
    }
}

bool Dwarf2File::GetCodeType(const DbgAddress* address, u32* codeType, u32* runLength, const DbgContext* dbgContext)
{
    u32 searchAddress = 0;
    if (!NormaliseAddress(address, dbgContext, searchAddress)) {
        return false;
    }
    if (m_codeTypeCache == kCodeTypeUnknown) {
        DecideCodeType();
    }
    if (m_codeTypeCache != kCodeTypeByAddress) {
        *codeType = m_codeTypeCache;
        *runLength = kNone - searchAddress;
        return true;
    }
    auto it = m_mappingSymbols.upper_bound(searchAddress);
    if (it == m_mappingSymbols.end() || it == m_mappingSymbols.begin()) {
        return false;
    }
    const char letter = std::prev(it)->second;
    while (it != m_mappingSymbols.end() && it->second == letter) {
        ++it;
    }
    if (it == m_mappingSymbols.end()) {
        --it;
    }
    *codeType = CodeTypeOfLetter(letter);
    *runLength = it->first - searchAddress;
    return true;
}
