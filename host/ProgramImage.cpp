// Reads the section headers, the segments and the symbol table. Numbers of a file may be anything: an address in a
// section is an offset below the section's size from here on.
#include "host/ProgramImage.h"

#include "host/SymbolEntries.h"
#include "host/Text.h"
#include "interfaces/Elf32.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr u16 kTypeRelocatable = 1; // ET_REL
constexpr u32 kPtTls = 7;
constexpr u32 kShtArmExidx = 0x70000001;
constexpr u32 kShfStrings = 0x20;

constexpr u8 kSttCommon = 5;

/// Longer names are cut: any number of symbols can share one long text.
constexpr std::size_t kMaxName = 4096;

std::string_view Bounded(const char* text)
{
    return text == nullptr ? std::string_view() : std::string_view(text, strnlen(text, kMaxName));
}

bool IsVariable(u8 type)
{
    return IsObjectType(type) || type == kSttCommon || IsThreadLocalType(type);
}

} // namespace

const char* MemoryName(MemoryUse memory)
{
    switch (memory) {
    case MemoryUse::Flash:
        return "flash";
    case MemoryUse::Ram:
        return "ram";
    default:
        return "both";
    }
}

const char* SymbolKindName(SymbolKind kind)
{
    switch (kind) {
    case SymbolKind::Function:
        return "function";
    case SymbolKind::Variable:
        return "variable";
    default:
        return "data";
    }
}

ProgramImage::ProgramImage(const std::string& path)
    : m_elf(path)
    , m_relocatable(m_elf.m_ehdr.e_type == kTypeRelocatable)
{
    ReadSections();
    ReadSymbols();
    SettleKinds();
}

void ProgramImage::ReadSections()
{
    // Only a linker that was told of flash gives a segment two addresses.
    bool moves = false;
    const elf32_phdr* segment = nullptr;
    for (u32 i = 0; (segment = m_elf.GetProgramHeader(i)) != nullptr; ++i) {
        moves = moves || (segment->p_type == kPtLoad && segment->p_filesz != 0 && segment->p_paddr != segment->p_vaddr);
        m_threadBase = segment->p_type == kPtTls ? segment->p_vaddr : m_threadBase;
    }
    const Elf32_Shdr* header = nullptr;
    for (u32 i = 0; (header = m_elf.GetSectionHeader(i)) != nullptr; ++i) {
        m_byIndex.push_back(kNone);
        if ((header->sh_flags & kShfAlloc) == 0) {
            continue;
        }
        m_byIndex.back() = static_cast<u32>(m_sections.size());
        ProgramSection section;
        section.name = Bounded(m_elf.GetShdrString(header->sh_name));
        section.address = header->sh_addr;
        section.size = header->sh_size;
        section.memory = MemoryOf(*header, moves);
        section.isCode = (header->sh_flags & kShfExecInstr) != 0;
        section.hasStrings = (header->sh_flags & kShfStrings) != 0;
        section.hasUnwinding = header->sh_type == kShtArmExidx || section.name.starts_with(".ARM.ex");
        m_sections.push_back(std::move(section));
    }
}

MemoryUse ProgramImage::MemoryOf(const Elf32_Shdr& section, bool moves) const
{
    if (section.sh_type == kShtNobits) {
        return MemoryUse::Ram;
    }
    const elf32_phdr* segment = m_elf.GetProgramHeader(&section);
    if (moves && segment != nullptr) {
        // What runs where it is loaded isn't copied, also if it could be written: tables of constructors, say.
        return segment->p_paddr != segment->p_vaddr ? MemoryUse::Both : MemoryUse::Flash;
    }
    return (section.sh_flags & kShfWrite) != 0 ? MemoryUse::Both : MemoryUse::Flash;
}

void ProgramImage::ReadSymbols()
{
    RowPaths names;
    std::string_view file;
    VisitSymbols(m_elf, [&](const SymbolEntry& entry) {
        const bool isFile = entry.role == SymbolEntry::File;
        const u16 section = entry.raw->st_shndx;
        const bool isInProgram = section < kShnLoReserve && section < m_byIndex.size() && m_byIndex[section] != kNone;
        if (entry.role == SymbolEntry::Section || (!isFile && !isInProgram)) {
            return;
        }
        const std::string_view name = names.Shown(Bounded(entry.name));
        names.Count(name.size());
        if (isFile) {
            file = name;
        } else {
            AddSymbol(entry, name, file);
        }
    });
    std::stable_sort(m_marks.begin(), m_marks.end(),
                     [](const Mark& a, const Mark& b) { return a.Place() < b.Place(); });
}

void ProgramImage::AddSymbol(const SymbolEntry& entry, std::string_view name, std::string_view file)
{
    const elf32_sym& symbol = *entry.raw;
    const u32 index = m_byIndex[symbol.st_shndx];
    const ProgramSection& section = m_sections[index];
    const u8 type = SymbolType(symbol);
    u32 offset = entry.address - (m_relocatable ? 0 : section.address); // may wrap: too large then
    if (IsThreadLocalType(type) && !m_relocatable) {
        offset += m_threadBase;
    }
    if (offset >= section.size) {
        return;
    }
    const u8 binding = SymbolBinding(symbol);
    if (entry.role == SymbolEntry::Mapping) {
        m_marks.push_back({index, offset, name[1] == 'd'});
        return;
    }
    ProgramSymbol& added = m_symbols.emplace_back();
    added.name = name;
    added.file = binding == 0 ? file : std::string_view();
    added.section = index;
    added.offset = offset;
    added.size = std::min(symbol.st_size, section.size - offset);
    added.kind = IsFunctionType(type) ? SymbolKind::Function : SymbolKind::Variable;
    added.isTyped = IsFunctionType(type) || IsVariable(type);
    added.binding = binding;
}

void ProgramImage::SettleKinds()
{
    for (ProgramSymbol& symbol : m_symbols) {
        if (!symbol.isTyped) {
            const bool code = m_sections[symbol.section].isCode && !IsDataInCode(symbol.section, symbol.offset);
            // Compilers leave the type out of some variables that they make room for; a bare label has no size.
            const SymbolKind data = symbol.size != 0 ? SymbolKind::Variable : SymbolKind::Data;
            symbol.kind = code ? SymbolKind::Function : data;
        }
    }
}

std::vector<ProgramImage::Mark>::const_iterator ProgramImage::MarkBehind(u32 section, u32 offset) const
{
    return std::upper_bound(m_marks.begin(), m_marks.end(), std::pair(section, offset),
                            [](const auto& place, const Mark& mark) { return place < mark.Place(); });
}

bool ProgramImage::IsDataInCode(u32 section, u32 offset) const
{
    const auto behind = MarkBehind(section, offset);
    return behind != m_marks.begin() && std::prev(behind)->section == section && std::prev(behind)->data;
}

u32 ProgramImage::NextMark(u32 section, u32 offset) const
{
    const auto behind = MarkBehind(section, offset);
    return behind != m_marks.end() && behind->section == section ? behind->offset : m_sections[section].size;
}
