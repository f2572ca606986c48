// Lays an ELF file out: header, program headers, the bytes of the sections, section headers.
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace {

constexpr u32 kHeaderSize = sizeof(Elf32_Ehdr);

void Append(ByteSection& file, const Elf32_Ehdr& header)
{
    file.Raw(std::string_view(reinterpret_cast<const char*>(header.e_ident), sizeof(header.e_ident)));
    file.U16(header.e_type).U16(header.e_machine).U32(header.e_version).U32(header.e_entry);
    file.U32(header.e_phoff).U32(header.e_shoff).U32(header.e_flags).U16(header.e_ehsize);
    file.U16(header.e_phentsize).U16(header.e_phnum);
    file.U16(header.e_shentsize).U16(header.e_shnum).U16(header.e_shstrndx);
}

void Append(ByteSection& file, const Elf32_Shdr& section)
{
    file.U32(section.sh_name).U32(section.sh_type).U32(section.sh_flags).U32(section.sh_addr);
    file.U32(section.sh_offset).U32(section.sh_size).U32(section.sh_link).U32(section.sh_info);
    file.U32(section.sh_addralign).U32(section.sh_entsize);
}

void Append(ByteSection& file, const elf32_phdr& segment)
{
    file.U32(segment.p_type).U32(segment.p_offset).U32(segment.p_vaddr).U32(segment.p_paddr);
    file.U32(segment.p_filesz).U32(segment.p_memsz).U32(segment.p_flags).U32(segment.p_align);
}

void Append(ByteSection& file, const elf32_sym& symbol)
{
    file.U32(symbol.st_name).U32(symbol.st_value).U32(symbol.st_size);
    file.U8(symbol.st_info).U8(symbol.st_other).U16(symbol.st_shndx);
}

constexpr u32 AlignedUp(std::size_t offset)
{
    return static_cast<u32>((offset + 3) & ~std::size_t{3});
}

} // namespace

TempFile::TempFile(std::string_view contents, std::string_view suffix)
{
    std::string pattern = std::filesystem::temp_directory_path() / "dwarf2-XXXXXX";
    pattern += suffix;
    const int descriptor = mkstemps(pattern.data(), static_cast<int>(suffix.size()));
    if (descriptor < 0) {
        throw std::runtime_error("can't make a file like " + pattern);
    }
    close(descriptor);
    m_path = pattern;
    std::ofstream stream(m_path, std::ios::binary);
    stream.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    if (!stream.flush()) {
        throw std::runtime_error("can't write " + m_path);
    }
}

TempFile::TempFile(TempFile&& other) noexcept
    : m_path(std::exchange(other.m_path, {}))
{
}

TempFile::~TempFile()
{
    if (!m_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
}

u32 ElfWriter::Section(const std::string& name, std::string_view bytes, const SectionOptions& options)
{
    m_sections.push_back({name, std::string(bytes), options});
    return static_cast<u32>(m_sections.size());
}

void ElfWriter::Segment(u32 section, u32 flags, std::optional<u32> physicalAddress)
{
    const SectionOptions& options = m_sections.at(section - 1).options;
    const auto fileSize = static_cast<u32>(m_sections.at(section - 1).bytes.size());
    const u32 physical = physicalAddress.value_or(options.address);
    m_segments.push_back(
        {{kPtLoad, 0, options.address, physical, fileSize, options.size.value_or(fileSize), flags, 4}, section});
}

void ElfWriter::Segment(const SegmentOptions& segment)
{
    m_segments.push_back(
        {{segment.type, 0, segment.address, segment.physicalAddress, 0, segment.memorySize, segment.flags, 4}, 0});
}

std::string ElfWriter::Image() const
{
    const std::vector<PendingSection> sections = AllSections();
    ElfRecords records = LayOut(sections);
    std::vector<u32> places;
    for (const Elf32_Shdr& header : records.sections) {
        places.push_back(header.sh_offset);
    }
    const u32 tableOffset = records.header.e_shoff;
    for (const auto& edit : m_edits) {
        edit(records);
    }

    ByteSection file(m_order);
    Append(file, records.header);
    for (const elf32_phdr& segment : records.segments) {
        Append(file, segment);
    }
    for (std::size_t i = 0; i < sections.size(); ++i) {
        file.PadTo(places[i + 1]);
        if (sections[i].name == ".symtab" && sections[i].bytes.empty()) {
            for (const elf32_sym& symbol : records.symbols) {
                Append(file, symbol);
            }
        }
        file.Raw(sections[i].bytes);
    }
    if (!m_omitSectionHeaders) {
        file.PadTo(tableOffset);
        for (const Elf32_Shdr& section : records.sections) {
            Append(file, section);
        }
    }
    return file.Bytes();
}

std::vector<ElfWriter::PendingSection> ElfWriter::AllSections() const
{
    std::vector<PendingSection> sections = m_sections;
    if (!m_symbols.empty()) {
        std::string names(1, '\0');
        for (const SymbolOptions& symbol : m_symbols) {
            names += symbol.name + '\0';
        }
        const auto strings = static_cast<u32>(sections.size() + 2);
        const auto size = static_cast<u32>((m_symbols.size() + 1) * sizeof(elf32_sym));
        sections.push_back({".symtab", {}, {.type = kShtSymtab, .link = strings, .entrySize = 16, .size = size}});
        sections.push_back({".strtab", names, {.type = kShtStrtab}});
    }
    if (!m_omitSectionHeaders) {
        std::string names(1, '\0');
        for (const PendingSection& section : sections) {
            names += section.name + '\0';
        }
        sections.push_back({".shstrtab", names + ".shstrtab" + '\0', {.type = kShtStrtab}});
    }
    return sections;
}

/// Fills in all records. The section headers exist even if they won't be written: they say where the
/// bytes go.
ElfRecords ElfWriter::LayOut(const std::vector<PendingSection>& sections) const
{
    ElfRecords records;
    records.sections.push_back({});
    u32 place = kHeaderSize + static_cast<u32>(m_segments.size() * sizeof(elf32_phdr));
    u32 name = 1;
    for (const PendingSection& section : sections) {
        const SectionOptions& options = section.options;
        const auto bytes = static_cast<u32>(section.bytes.size());
        place = AlignedUp(place);
        records.sections.push_back({name, options.type, options.flags, options.address, place,
                                    options.size.value_or(bytes), options.link, 0, 1, options.entrySize});
        place += options.type == kShtSymtab ? records.sections.back().sh_size : bytes;
        name += static_cast<u32>(section.name.size() + 1);
    }
    for (const PendingSegment& segment : m_segments) {
        records.segments.push_back(segment.header);
        if (segment.section != 0) {
            records.segments.back().p_offset = records.sections[segment.section].sh_offset;
        }
    }
    AddSymbols(records);

    Elf32_Ehdr& header = records.header;
    const u8 data = m_order == ByteOrder::Big ? kElfDataMsb : kElfDataLsb;
    header.e_type = 2; // ET_EXEC
    header.e_machine = m_machine;
    header.e_version = 1;
    header.e_phoff = m_segments.empty() ? 0 : kHeaderSize;
    header.e_flags = 0x05000000; // EF_ARM_EABI_VER5
    header.e_ehsize = kHeaderSize;
    header.e_phentsize = sizeof(elf32_phdr);
    header.e_phnum = static_cast<u16>(m_segments.size());
    header.e_shentsize = sizeof(Elf32_Shdr);
    std::copy_n(std::initializer_list<u8>{0x7F, 'E', 'L', 'F', kElfClass32, data, 1}.begin(), 7, header.e_ident);
    if (!m_omitSectionHeaders) {
        header.e_shoff = AlignedUp(place);
        header.e_shnum = static_cast<u16>(records.sections.size());
        header.e_shstrndx = static_cast<u16>(sections.size());
    }
    return records;
}

void ElfWriter::AddSymbols(ElfRecords& records) const
{
    records.symbols.push_back({});
    u32 name = 1;
    for (const SymbolOptions& symbol : m_symbols) {
        const auto info = static_cast<u8>(symbol.binding << 4 | symbol.type);
        records.symbols.push_back({name, symbol.value, symbol.size, info, 0, symbol.section});
        name += static_cast<u32>(symbol.name.size() + 1);
    }
}
