// Reads the tables of a 32-bit ELF file and answers what is where. Nothing of the file is copied except section headers
// and names, and an index of the symbols if one is needed.
#include "convert/Program.h"

#include "convert/Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace convert {

namespace {

constexpr std::size_t kLongestSectionName = 255;
constexpr u64 kAddressSpace = u64{1} << 32;
/// A greater alignment doesn't make neighbours of sections that are far from each other.
constexpr u32 kNeighbourAlignment = 4096;

/// What the ELF header says, checked as far as it can be by itself.
struct Header {
    bool bigEndian = false;
    u16 machine = 0;
    u32 segments = 0; ///< file offsets
    u32 sections = 0;
    u16 segmentSize = 0;
    u16 segmentCount = 0;
    u16 sectionSize = 0;
    u16 sectionCount = 0;
    u16 nameTable = 0;
};

void CheckIdent(ByteView file)
{
    if (file.size <= EI_CLASS || std::memcmp(file.data, ELFMAG, SELFMAG) != 0) {
        throw Failure("Not an ELF file");
    }
    if (file.data[EI_CLASS] == ELFCLASS64) {
        throw Failure("A 64-bit ELF file; only 32-bit ones are read");
    }
    const bool damaged = file.size < sizeof(Elf32_Ehdr) || file.data[EI_CLASS] != ELFCLASS32 ||
                         (file.data[EI_DATA] != ELFDATA2LSB && file.data[EI_DATA] != ELFDATA2MSB);
    if (damaged) {
        throw Failure("A damaged ELF header");
    }
}

Header ReadHeader(ByteView file)
{
    CheckIdent(file);
    Header header;
    header.bigEndian = file.data[EI_DATA] == ELFDATA2MSB;
    ByteReader reader(file, header.bigEndian);
    reader.Seek(offsetof(Elf32_Ehdr, e_type));
    if (reader.U16() == ET_REL) {
        throw Failure("A relocatable object; link it first");
    }
    header.machine = reader.U16();
    reader.Seek(offsetof(Elf32_Ehdr, e_phoff));
    header.segments = reader.U32();
    header.sections = reader.U32();
    reader.Seek(offsetof(Elf32_Ehdr, e_phentsize));
    header.segmentSize = reader.U16();
    header.segmentCount = reader.U16();
    header.sectionSize = reader.U16();
    header.sectionCount = reader.U16();
    header.nameTable = reader.U16();
    return header;
}

ProgramSection ReadSection(ByteReader& reader)
{
    ProgramSection section;
    section.nameOffset = reader.U32();
    section.type = reader.U32();
    section.flags = reader.U32();
    section.address = reader.U32();
    section.offset = reader.U32();
    section.size = reader.U32();
    section.link = reader.U32();
    section.info = reader.U32();
    section.alignment = reader.U32();
    section.entrySize = reader.U32();
    return section;
}

bool IsDebugName(std::string_view name)
{
    return (name.starts_with(".debug_") && name != ".debug_gdb_scripts") || name.starts_with(".zdebug_") ||
           name == ".gdb_index";
}

/// True if the symbol contains the name, with nothing or a dot on either side.
bool HasPart(std::string_view symbol, std::string_view name)
{
    for (std::size_t at = symbol.find(name); at != std::string_view::npos; at = symbol.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        if ((at == 0 || symbol[at - 1] == '.') && (end == symbol.size() || symbol[end] == '.')) {
            return true;
        }
    }
    return false;
}

/// True if the symbol is a C++ one in which the identifier of a plain name occurs, as "3Foo" does for "Foo<int>" and
/// "~Foo". Operators and lambdas have none: any C++ symbol may be theirs.
bool MayBeMangled(std::string_view symbol, std::string_view name)
{
    if (!symbol.starts_with("_Z")) {
        return false;
    }
    if (name.starts_with("~")) {
        name.remove_prefix(1);
    }
    name = name.substr(0, name.find('<'));
    return name.empty() || name.starts_with("operator") ||
           symbol.find(std::to_string(name.size()) + std::string(name)) != std::string_view::npos;
}

/// Something without names may be anything.
bool IsNamed(std::string_view symbol, std::span<const std::string_view> names)
{
    std::size_t count = 0;
    std::string_view last;
    for (const std::string_view name : names) {
        if (!name.empty()) {
            if (HasPart(symbol, name)) {
                return true;
            }
            last = name;
            ++count;
        }
    }
    return count == 0 || (count == 1 && MayBeMangled(symbol, last));
}

} // namespace

bool ProgramSection::IsAllocated() const
{
    return (flags & SHF_ALLOC) != 0;
}

bool ProgramSection::IsDebug() const
{
    std::string_view of = name;
    if (type == SHT_RELA && of.starts_with(".rela.")) {
        of.remove_prefix(5);
    } else if (type == SHT_REL && of.starts_with(".rel.")) {
        of.remove_prefix(4);
    }
    return !IsAllocated() && IsDebugName(of);
}

bool ProgramSection::IsCompressed() const
{
    return (flags & SHF_COMPRESSED) != 0 || name.starts_with(".zdebug_");
}

MappedFile::MappedFile(const std::string& path)
    // Without O_NONBLOCK a pipe with that name would block the program.
    : m_descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
{
    if (m_descriptor < 0) {
        throw Failure(std::strerror(errno));
    }
    try {
        Map();
    } catch (const Failure&) {
        close(m_descriptor);
        throw;
    }
}

void MappedFile::Map()
{
    struct stat status {};
    if (fstat(m_descriptor, &status) != 0) {
        throw Failure(std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "Not a regular file");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        return; // nothing can't be mapped
    }
    void* mapping = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, m_descriptor, 0);
    if (mapping == MAP_FAILED) {
        throw Failure(std::strerror(errno));
    }
    m_bytes = {static_cast<const u8*>(mapping), size};
}

MappedFile::~MappedFile()
{
    if (m_bytes.size != 0) {
        munmap(const_cast<u8*>(m_bytes.data), m_bytes.size);
    }
    close(m_descriptor);
}

Program::Program(const std::string& path)
    : m_mapped(path)
{
    const Header header = ReadHeader(File());
    m_bigEndian = header.bigEndian;
    m_machine = header.machine;
    if (header.sections == 0) {
        throw Failure("No section headers");
    }
    if (header.sectionSize != sizeof(Elf32_Shdr)) {
        throw Failure("A damaged section header table");
    }
    ReadSections(header.sections, header.sectionCount, header.nameTable);
    // Numbers that the header has no room for are in the null section's header.
    const u32 segmentCount = header.segmentCount == PN_XNUM ? m_sections[0].info : header.segmentCount;
    if (segmentCount != 0 && header.segmentSize != sizeof(Elf32_Phdr)) {
        throw Failure("A damaged program header table");
    }
    FindFixedSize(header.segments, segmentCount);
    FindLoaded();
}

void Program::ReadSections(u64 offset, u32 count, u32 nameTable)
{
    ByteReader reader(File(), m_bigEndian);
    reader.Seek(offset);
    const ProgramSection null = ReadSection(reader);
    if (reader.Failed()) {
        throw Failure("A damaged section header table");
    }
    if (count == 0) {
        count = null.size;
    }
    if (count == 0) {
        throw Failure("No section headers");
    }
    if (count >= SHN_LORESERVE) {
        throw Failure("More than 65,279 sections");
    }
    if ((count - u64{1}) * sizeof(Elf32_Shdr) > reader.Size() - reader.Offset()) {
        throw Failure("A damaged section header table");
    }
    m_sections.reserve(count);
    m_sections.push_back(null);
    while (m_sections.size() < count) {
        m_sections.push_back(ReadSection(reader));
    }
    m_nameTable = nameTable == SHN_XINDEX ? null.link : nameTable;
    if (m_nameTable >= count || Bytes(m_sections[m_nameTable]).size == 0) {
        m_nameTable = 0;
    }
    NameSections();
}

void Program::NameSections()
{
    if (m_nameTable == 0) {
        return;
    }
    const ByteView names = Bytes(m_sections[m_nameTable]);
    for (ProgramSection& section : m_sections) {
        const ByteView name = names.From(section.nameOffset, kLongestSectionName);
        const u8* end = std::find(name.data, name.data + name.size, u8{0});
        section.name.assign(name.data, end);
    }
    m_sections[0].name.clear();
}

ByteView Program::Bytes(const ProgramSection& section) const
{
    const bool none = section.type == SHT_NOBITS || section.type == SHT_NULL;
    return none ? ByteView{} : File().From(section.offset, section.size);
}

void Program::FindFixedSize(u64 segments, u32 count)
{
    const u64 fileSize = File().size;
    m_fixedSize = sizeof(Elf32_Ehdr);
    const auto reach = [&](u64 offset, u64 size) {
        if (size != 0 && offset < fileSize) {
            m_fixedSize = std::max(m_fixedSize, std::min(offset + size, fileSize));
        }
    };
    if (count != 0 && (segments > fileSize || u64{count} * sizeof(Elf32_Phdr) > fileSize - segments)) {
        throw Failure("A damaged program header table");
    }
    reach(segments, u64{count} * sizeof(Elf32_Phdr));
    ByteReader reader(File(), m_bigEndian);
    for (u32 i = 0; i < count; ++i) {
        reader.Seek(segments + u64{i} * sizeof(Elf32_Phdr) + offsetof(Elf32_Phdr, p_offset));
        const u32 offset = reader.U32();
        reader.Skip(8); // the addresses
        reach(offset, reader.U32());
    }
    for (const ProgramSection& section : m_sections) {
        if (section.IsAllocated()) {
            reach(section.offset, Bytes(section).size);
        }
    }
}

void Program::FindLoaded()
{
    std::vector<const ProgramSection*> sections;
    for (const ProgramSection& section : m_sections) {
        // Thread-local data without bytes has an address, but takes no room there.
        const bool noPlace = section.type == SHT_NOBITS && (section.flags & SHF_TLS) != 0;
        if (section.IsAllocated() && section.type != SHT_NULL && section.size != 0 && !noPlace) {
            sections.push_back(&section);
        }
    }
    std::stable_sort(sections.begin(), sections.end(), [](const ProgramSection* left, const ProgramSection* right) {
        return left->address < right->address;
    });
    for (const ProgramSection* section : sections) {
        const u64 begin = section->address;
        const u64 end = std::min(begin + section->size, kAddressSpace);
        if (m_loaded.empty() || begin > m_loaded.back().end) {
            m_loaded.push_back({begin, end});
        } else {
            m_loaded.back().end = std::max(m_loaded.back().end, end);
        }
        const u64 alignment = std::clamp(section->alignment, u32{1}, kNeighbourAlignment);
        const u64 next = (m_nearZeroEnd + alignment - 1) / alignment * alignment;
        if (begin <= next) {
            m_nearZeroEnd = std::max(m_nearZeroEnd, end);
        }
    }
}

bool Program::IsLoaded(u32 begin, u32 end) const
{
    // A range up to the end of the address space ends at 0.
    u64 behind = end == 0 && begin != 0 ? kAddressSpace : end;
    if (behind < begin) {
        return false;
    }
    behind = std::max(behind, u64{begin} + 1);
    const auto next = std::upper_bound(m_loaded.begin(), m_loaded.end(), u64{begin},
                                       [](u64 address, const Range& range) { return address < range.begin; });
    return next != m_loaded.begin() && behind <= std::prev(next)->end;
}

bool Program::Stands(u32 begin, u32 end, std::span<const std::string_view> names) const
{
    // Debug information that assemblers make states the addresses of functions with the Thumb bit.
    const u32 thumb = m_machine == EM_ARM ? begin & 1u : 0;
    if (!IsLoaded(begin, end) && !IsLoaded(begin - thumb, end - thumb)) {
        return false;
    }
    if (!NearZero(begin)) {
        return true;
    }
    const SymbolIndex& index = Symbols();
    const auto behind = std::upper_bound(index.symbols.begin(), index.symbols.end(), begin,
                                         [](u32 address, const Symbol& symbol) { return address < symbol.address; });
    if (behind == index.symbols.begin()) {
        return true;
    }
    ByteReader text(index.names, m_bigEndian);
    bool isTaken = std::prev(behind)->reach > begin;
    for (auto next = behind; next != index.symbols.begin() && std::prev(next)->address >= begin - thumb; --next) {
        const Symbol& symbol = *std::prev(next);
        if (symbol.address == begin || symbol.isFunction) {
            isTaken = true;
            text.Seek(symbol.name);
            if (IsNamed(text.Text(), names)) {
                return true;
            }
        }
    }
    return !isTaken;
}

const Program::SymbolIndex& Program::Symbols() const
{
    if (!m_symbols) {
        m_symbols = ReadSymbols();
    }
    return *m_symbols;
}

/// A symbol counts if it belongs to a function, a variable or an assembler's label: to something at an address of the
/// program.
bool Program::IsPlace(u8 type, u16 section) const
{
    const bool isThing = type == STT_FUNC || type == STT_OBJECT || type == STT_GNU_IFUNC ||
                         (type == STT_ARM_TFUNC && m_machine == EM_ARM);
    if (!isThing && type != STT_NOTYPE) {
        return false;
    }
    if (section < SHN_LORESERVE) {
        return section < m_sections.size() && m_sections[section].IsAllocated();
    }
    // An absolute symbol without a type is a number, such as a size that the linker script sets.
    return section == SHN_XINDEX || (section == SHN_ABS && isThing);
}

/// "$a", "$t", "$d" and "$t.17" mark where code and data begin (ELF for the Arm Architecture).
bool Program::IsMappingSymbol(u8 type, std::string_view name) const
{
    return m_machine == EM_ARM && type == STT_NOTYPE && name.size() >= 2 && name[0] == '$' &&
           std::string_view("atd").find(name[1]) != std::string_view::npos && (name.size() == 2 || name[2] == '.');
}

Program::SymbolIndex Program::ReadSymbols() const
{
    auto table = m_sections.end();
    for (const u32 type : {u32{SHT_SYMTAB}, u32{SHT_DYNSYM}}) {
        if (table == m_sections.end()) {
            table = std::find_if(m_sections.begin(), m_sections.end(),
                                 [&](const ProgramSection& section) { return section.type == type; });
        }
    }
    SymbolIndex index;
    if (table == m_sections.end() || table->link >= m_sections.size()) {
        return index;
    }
    index.names = Bytes(m_sections[table->link]);
    ByteReader names(index.names, m_bigEndian);
    ByteReader reader(Bytes(*table), m_bigEndian);
    while (reader.Size() - reader.Offset() >= sizeof(Elf32_Sym)) {
        Symbol symbol{};
        symbol.name = reader.U32();
        symbol.address = reader.U32();
        const u32 size = reader.U32();
        const u8 type = ELF32_ST_TYPE(reader.U8());
        reader.Skip(1);
        if (!IsPlace(type, reader.U16())) {
            continue;
        }
        names.Seek(symbol.name);
        if (IsMappingSymbol(type, names.Text())) {
            continue;
        }
        symbol.isFunction = type != STT_OBJECT && type != STT_NOTYPE;
        if (m_machine == EM_ARM && symbol.isFunction) {
            symbol.address &= ~1u; // the Thumb bit
        }
        symbol.reach = u64{symbol.address} + size;
        index.symbols.push_back(symbol);
    }
    std::stable_sort(index.symbols.begin(), index.symbols.end(),
                     [](const Symbol& left, const Symbol& right) { return left.address < right.address; });
    u64 reach = 0;
    for (Symbol& symbol : index.symbols) {
        reach = symbol.reach = std::max(reach, symbol.reach);
    }
    return index;
}

} // namespace convert
