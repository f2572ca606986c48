// Reads the section headers by itself: the reader of the system is what the mutants are made for.
#include "fuzz/ElfMutator.h"

#include "interfaces/Elf32.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace {

constexpr u32 kMaxSections = 64;
constexpr std::size_t kLargestFile = std::size_t{1} << 20;

} // namespace

ElfMutator::ElfMutator(u64 seed)
    : m_random(seed)
{
}

u32 ElfMutator::Below(std::size_t limit)
{
    // The library's distributions differ from system to system.
    return limit == 0 ? 0 : static_cast<u32>(m_random() % limit);
}

u32 ElfMutator::Interesting(std::size_t near)
{
    constexpr u32 kValues[] = {0,      1,      2,      3,       0x7F,     0x80,       0xFF,       0x100,
                               0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x100000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0};
    switch (Below(4)) {
    case 0:
        return static_cast<u32>(m_random());
    case 1:
        return static_cast<u32>(near) + Below(9) - 4;
    case 2:
        return 0u - Below(9);
    default:
        return kValues[Below(std::size(kValues))];
    }
}

u32 ElfMutator::Get(const std::string& bytes, std::size_t at, u32 width) const
{
    u32 value = 0;
    for (u32 index = 0; index < width && at + index < bytes.size(); ++index) {
        const u32 shift = 8 * (m_bigEndian ? width - 1 - index : index);
        value |= static_cast<u32>(static_cast<u8>(bytes[at + index])) << shift;
    }
    return value;
}

void ElfMutator::Put(std::string& bytes, std::size_t at, u32 value, u32 width) const
{
    for (u32 index = 0; index < width && at + index < bytes.size(); ++index) {
        const u32 shift = 8 * (m_bigEndian ? width - 1 - index : index);
        bytes[at + index] = static_cast<char>(value >> shift);
    }
}

std::vector<ElfMutator::Section> ElfMutator::SectionsOf(const std::string& image) const
{
    std::vector<Section> sections;
    const std::size_t table = Get(image, offsetof(Elf32_Ehdr, e_shoff), 4);
    const u32 count = std::min(Get(image, offsetof(Elf32_Ehdr, e_shnum), 2), kMaxSections);
    const u32 names = Get(image, offsetof(Elf32_Ehdr, e_shstrndx), 2);
    const std::size_t texts = Get(image, table + sizeof(Elf32_Shdr) * names + offsetof(Elf32_Shdr, sh_offset), 4);
    for (u32 index = 1; index < count; ++index) {
        const std::size_t header = table + sizeof(Elf32_Shdr) * index;
        Section section{header,
                        {},
                        Get(image, header + offsetof(Elf32_Shdr, sh_offset), 4),
                        Get(image, header + offsetof(Elf32_Shdr, sh_size), 4)};
        const std::size_t name = texts + Get(image, header + offsetof(Elf32_Shdr, sh_name), 4);
        if (name < image.size()) {
            section.name = image.substr(name, 32).c_str(); // up to the end zero
        }
        if (section.offset < image.size() && section.size != 0) {
            section.size = std::min(section.size, static_cast<u32>(image.size() - section.offset));
            sections.push_back(section);
        }
    }
    return sections;
}

const ElfMutator::Section* ElfMutator::Pick(const std::vector<Section>& sections)
{
    if (sections.empty()) {
        return nullptr;
    }
    const Section* picked = &sections[Below(sections.size())];
    // Most changes go to what takes most reading.
    for (u32 again = 0; again < 3 && !picked->name.starts_with(".debug_"); ++again) {
        picked = &sections[Below(sections.size())];
    }
    return picked;
}

void ElfMutator::ChangeBytes(std::string& bytes)
{
    const u32 at = Below(bytes.size());
    const u32 length = 1 + Below(std::min<std::size_t>(bytes.size() - at, 64));
    switch (Below(10)) {
    case 0:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << Below(8)));
        break;
    case 1:
        bytes[at] = static_cast<char>(m_random());
        break;
    case 2:
        Put(bytes, at, Interesting(bytes.size()), 4);
        break;
    case 3:
        Put(bytes, at, Interesting(bytes.size()), 2);
        break;
    case 4:
        bytes[at] = static_cast<char>(Get(bytes, at, 1) + Below(5) - 2);
        break;
    case 5:
        bytes.erase(at, length);
        break;
    case 6: // moves bytes to another place
        bytes.insert(Below(bytes.size()), bytes.substr(at, length));
        break;
    case 7: // overwrites with others
        bytes.replace(at, length, bytes.substr(Below(bytes.size()), length));
        break;
    case 8: // a number in LEB128 that goes on
        std::fill_n(bytes.begin() + at, length, static_cast<char>(0x80 | Below(0x80)));
        break;
    default: // one entry very often
        for (u32 count = Below(64); count != 0 && bytes.size() < kLargestFile / 4; --count) {
            bytes.insert(at, bytes.substr(at, length));
        }
        break;
    }
}

void ElfMutator::Replace(std::string& image, const Section& section, const std::string& bytes)
{
    std::size_t offset = section.offset;
    if (bytes.size() > section.size) {
        offset = image.size(); // there is room behind all others
        image.resize(offset + bytes.size());
        Put(image, section.header + offsetof(Elf32_Shdr, sh_offset), static_cast<u32>(offset), 4);
    }
    std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    Put(image, section.header + offsetof(Elf32_Shdr, sh_size), static_cast<u32>(bytes.size()), 4);
}

void ElfMutator::ChangeSection(std::string& image, const std::vector<Section>& sections, const std::string& donor)
{
    const Section* section = Pick(sections);
    if (section == nullptr) {
        ChangeBytes(image);
        return;
    }
    std::string bytes = image.substr(section->offset, section->size);
    const Section target = *section;
    if (Below(16) == 0) {
        for (const Section& other : SectionsOf(donor)) {
            if (other.name == target.name) {
                bytes = donor.substr(other.offset, other.size);
            }
        }
    } else {
        for (u32 count = 1 + Below(4); count != 0 && !bytes.empty(); --count) {
            ChangeBytes(bytes);
        }
    }
    if (image.size() + bytes.size() <= kLargestFile) {
        Replace(image, target, bytes);
    }
}

void ElfMutator::ChangeRecord(std::string& image, const std::vector<Section>& sections)
{
    const Section* section = Pick(sections);
    const Section* other = Pick(sections);
    switch (Below(section == nullptr ? 2 : 6)) {
    case 0: // the ELF header behind the magic
        Put(image, 4 + Below(sizeof(Elf32_Ehdr) - 4), Interesting(image.size()), 1 + Below(4));
        break;
    case 1:
        image.resize(Below(image.size() + 1));
        break;
    case 2: // one field of a section header
        Put(image, section->header + 4 * Below(sizeof(Elf32_Shdr) / 4), Interesting(section->size), 4);
        break;
    case 3:
        Put(image, section->header + offsetof(Elf32_Shdr, sh_size), Below(section->size), 4);
        break;
    case 4: // two sections change their names
        for (const auto& [to, from] : {std::pair(section, other), std::pair(other, section)}) {
            Put(image, to->header, Get(image, from->header, 4), 4);
        }
        break;
    default: // the same bytes under two names
        Put(image, section->header + offsetof(Elf32_Shdr, sh_offset), other->offset, 4);
        break;
    }
}

std::string ElfMutator::Mutate(std::string image, const std::string& donor)
{
    for (u32 count = 1 + Below(4); count != 0 && !image.empty(); --count) {
        m_bigEndian = image.size() > 5 && static_cast<u8>(image[5]) == kElfDataMsb;
        const std::vector<Section> sections = SectionsOf(image);
        if (Below(8) != 0) {
            ChangeSection(image, sections, donor);
        } else {
            ChangeRecord(image, sections);
        }
    }
    return image;
}
