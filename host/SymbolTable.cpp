// Places are looked up among sorted symbols; those of other sections are passed over, which only an object file has at
// the same addresses.
#include "host/SymbolTable.h"

#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace {

constexpr u8 kStbGlobal = 1;
constexpr u8 kStbWeak = 2;
constexpr u32 kShfTls = 0x400;

/// How well a symbol names the place at which several begin.
auto Rank(const ElfSymbol& symbol)
{
    const bool thing = symbol.IsFunction() || IsObjectType(symbol.type);
    const int binding = symbol.binding == kStbGlobal ? 2 : symbol.binding == kStbWeak ? 1 : 0;
    return std::tuple(symbol.size != 0, thing, binding);
}

/// True for what a running program has at its address. Thread-local data without bytes only takes up numbers.
bool IsInMemory(const Elf32_Shdr& section)
{
    return (section.sh_flags & kShfAlloc) != 0 && !(section.sh_type == kShtNobits && (section.sh_flags & kShfTls) != 0);
}

} // namespace

bool ElfSymbol::HasPlace() const
{
    return section != kShnUndef && section < kShnLoReserve && !IsThreadLocalType(type);
}

SymbolTable::SymbolTable(const VFKElfFile& elf)
    : m_elf(elf)
{
    for (u16 index = 1; index < kShnLoReserve; ++index) {
        const Elf32_Shdr* section = elf.GetSectionHeader(index);
        if (section == nullptr) {
            break;
        }
        if (IsInMemory(*section)) {
            m_sections.push_back({index, section->sh_addr, section->sh_size});
        }
    }
    VisitSymbols(elf, [&](const SymbolEntry& entry) {
        const elf32_sym& raw = *entry.raw;
        if (entry.role == SymbolEntry::Mapping) {
            m_marks.push_back({raw.st_shndx, raw.st_value, entry.name[1]});
        } else if (entry.role == SymbolEntry::Thing) {
            m_symbols.push_back({entry.name, raw.st_value, entry.address, raw.st_size, raw.st_shndx, SymbolType(raw),
                                 SymbolBinding(raw)});
        }
    });
    std::stable_sort(m_marks.begin(), m_marks.end(),
                     [](const Mark& one, const Mark& other) { return one.Place() < other.Place(); });
    // The first of the table is preferred among equals, as the plug-in does.
    for (u32 i = static_cast<u32>(m_symbols.size()); i-- != 0;) {
        if (m_symbols[i].HasPlace()) {
            m_places.push_back(i);
        }
    }
    std::stable_sort(m_places.begin(), m_places.end(),
                     [&](u32 one, u32 other) { return Precedes(m_symbols[one], m_symbols[other]); });
    for (const u32 place : m_places) {
        if (m_symbols[place].size != 0) {
            m_extents.Add(m_symbols[place].address, m_symbols[place].size, place);
        }
    }
}

bool SymbolTable::Precedes(const ElfSymbol& one, const ElfSymbol& other) const
{
    return one.address != other.address ? one.address < other.address : Rank(one) < Rank(other);
}

const ElfSymbol* SymbolTable::FindAt(u32 address, u16 section)
{
    const ElfSymbol* found = nullptr;
    m_extents.Visiting(address, [&](u32 place) {
        found = m_symbols[place].section == section ? &m_symbols[place] : nullptr;
        return found != nullptr;
    });
    if (found != nullptr) {
        return found;
    }
    const auto above = std::upper_bound(m_places.begin(), m_places.end(), address,
                                        [&](u32 value, u32 place) { return value < m_symbols[place].address; });
    for (auto at = above; at != m_places.begin();) {
        const ElfSymbol& symbol = m_symbols[*--at];
        if (symbol.section == section) {
            return symbol.size == 0 && !IsInside(symbol) ? &symbol : nullptr;
        }
    }
    return nullptr;
}

bool SymbolTable::IsInside(const ElfSymbol& label)
{
    return m_extents.Visiting(label.address, [&](u32 place) { return m_symbols[place].section == label.section; });
}

std::vector<const ElfSymbol*> SymbolTable::StandingAt(u32 address, u16 section) const
{
    std::vector<const ElfSymbol*> found;
    const auto above = std::upper_bound(m_places.begin(), m_places.end(), address,
                                        [&](u32 value, u32 place) { return value < m_symbols[place].address; });
    for (auto at = above; at != m_places.begin() && m_symbols[*(at - 1)].address == address; --at) {
        if (section == kAnySection || m_symbols[*(at - 1)].section == section) {
            found.push_back(&m_symbols[*(at - 1)]);
        }
    }
    return found;
}

char SymbolTable::MarkAt(u32 address, u16 section) const
{
    const auto behind = std::upper_bound(m_marks.begin(), m_marks.end(), std::pair(section, address),
                                         [](const auto& place, const Mark& mark) { return place < mark.Place(); });
    return behind != m_marks.begin() && std::prev(behind)->section == section ? std::prev(behind)->kind : '\0';
}

bool SymbolTable::IsRelocatable() const
{
    constexpr u16 kEtRel = 1;
    return m_elf.m_ehdr.e_type == kEtRel;
}

bool SymbolTable::HasSizes(u16 section) const
{
    return std::any_of(m_symbols.begin(), m_symbols.end(), [&](const ElfSymbol& symbol) {
        return symbol.HasPlace() && symbol.section == section && symbol.size != 0;
    });
}

std::vector<u16> SymbolTable::SectionsAt(u32 address) const
{
    std::vector<u16> found;
    for (const MemorySection& section : m_sections) {
        if (address >= section.address && address - section.address < section.size) {
            found.push_back(section.index);
        }
    }
    return found;
}

std::vector<u32> SymbolTable::SectionStarts() const
{
    std::vector<u32> starts;
    for (const MemorySection& section : m_sections) {
        starts.push_back(section.address);
    }
    return starts;
}

std::string_view SymbolTable::SectionName(u16 section) const
{
    const Elf32_Shdr* header = section < kShnLoReserve ? m_elf.GetSectionHeader(section) : nullptr;
    const char* name = header == nullptr ? nullptr : m_elf.GetShdrString(header->sh_name);
    return name == nullptr ? "" : name;
}

bool SymbolTable::IsCode(u16 section) const
{
    const Elf32_Shdr* header = m_elf.GetSectionHeader(section);
    return header != nullptr && (header->sh_flags & kShfExecInstr) != 0;
}

u32 SymbolTable::CodeSections() const
{
    u32 count = 0;
    for (u32 index = 1; const Elf32_Shdr* section = m_elf.GetSectionHeader(index); ++index) {
        count += (section->sh_flags & kShfExecInstr) != 0 && section->sh_size != 0 ? 1 : 0;
    }
    return count;
}

u32 SymbolTable::SectionAddress(u16 section) const
{
    const Elf32_Shdr* header = m_elf.GetSectionHeader(section);
    return header == nullptr ? 0 : header->sh_addr;
}
