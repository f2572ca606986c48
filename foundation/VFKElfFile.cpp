// Reads a 32-bit ELF file (System V ABI, chapter 4). A number from the file is checked against the file's size before
// it is used as a size or an offset, and sums of two have 64 bits.
#include "interfaces/VFKElfFile.h"

#include "SymbolIndex.h"
#include "interfaces/VFKArena.h"
#include "interfaces/VFKBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

namespace {

/// How much of a table is read at a time.
constexpr std::size_t kTablePiece = 64 * 1024;

/// An open regular file. Nothing else is read: a device or a pipe could block or never end.
class OpenFile {
public:
    explicit OpenFile(const std::string& path)
    {
        // O_NONBLOCK avoids waiting for the other side of a pipe; it doesn't affect regular files.
        do {
            m_fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        } while (m_fd < 0 && errno == EINTR);
        struct stat status;
        if (m_fd >= 0 && fstat(m_fd, &status) == 0 && S_ISREG(status.st_mode)) {
            m_size = static_cast<u64>(status.st_size);
        }
    }
    ~OpenFile()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// The size when the file was opened; 0 for what isn't a regular file.
    u64 Size() const { return m_size; }

    /// How many of `length` bytes from `offset` on are in the file.
    std::size_t Within(u64 offset, u64 length) const
    {
        return offset >= m_size ? 0 : static_cast<std::size_t>(std::min(length, m_size - offset));
    }

    /// @return the number of bytes read: fewer than asked for if the file ends before.
    std::size_t Read(u64 offset, void* to, std::size_t length) const
    {
        u8* bytes = static_cast<u8*>(to);
        length = Within(offset, length);
        if (length < kTwoThreads) {
            return ReadPiece(offset, bytes, length);
        }
        // Most of the time is spent on fresh pages, and two processors need half of it.
        const std::size_t half = length / 2 / kLargePage * kLargePage;
        std::size_t behind = 0;
        std::thread other;
        try {
            other = std::thread([&] { behind = ReadPiece(offset + half, bytes + half, length - half); });
        } catch (const std::exception&) {
            return ReadPiece(offset, bytes, length);
        }
        const std::size_t got = ReadPiece(offset, bytes, half);
        other.join();
        return got < half ? got : half + behind;
    }

private:
    static constexpr std::size_t kTwoThreads = std::size_t{8} << 20;

    std::size_t ReadPiece(u64 offset, u8* to, std::size_t length) const
    {
        std::size_t done = 0;
        while (done < length) {
            const ssize_t got = pread(m_fd, to + done, length - done, static_cast<off_t>(offset + done));
            if (got > 0) {
                done += static_cast<std::size_t>(got);
            } else if (got == 0 || errno != EINTR) {
                break;
            }
        }
        return done;
    }

    int m_fd = -1;
    u64 m_size = 0;
};

u8 Swapped(u8 value)
{
    return value;
}

u16 Swapped(u16 value)
{
    return __builtin_bswap16(value);
}

u32 Swapped(u32 value)
{
    return __builtin_bswap32(value);
}

template <typename... Fields>
void SwapFields(Fields&... fields)
{
    ((fields = Swapped(fields)), ...);
}

void SwapRecord(Elf32_Ehdr& r)
{
    SwapFields(r.e_type, r.e_machine, r.e_version, r.e_entry, r.e_phoff, r.e_shoff, r.e_flags);
    SwapFields(r.e_ehsize, r.e_phentsize, r.e_phnum, r.e_shentsize, r.e_shnum, r.e_shstrndx);
}

void SwapRecord(Elf32_Shdr& r)
{
    SwapFields(r.sh_name, r.sh_type, r.sh_flags, r.sh_addr, r.sh_offset, r.sh_size, r.sh_link, r.sh_info);
    SwapFields(r.sh_addralign, r.sh_entsize);
}

void SwapRecord(elf32_phdr& r)
{
    SwapFields(r.p_type, r.p_offset, r.p_vaddr, r.p_paddr, r.p_filesz, r.p_memsz, r.p_flags, r.p_align);
}

void SwapRecord(elf32_sym& r)
{
    SwapFields(r.st_name, r.st_value, r.st_size, r.st_info, r.st_other, r.st_shndx);
}

bool ReadValidHeader(const OpenFile& file, Elf32_Ehdr& header)
{
    Elf32_Ehdr read;
    if (file.Read(0, &read, sizeof read) != sizeof read) {
        return false;
    }
    if (std::memcmp(read.e_ident, kElfMagic, sizeof kElfMagic) != 0 || read.e_ident[kIdentClass] != kElfClass32) {
        return false;
    }
    header = read;
    return true;
}

} // namespace

struct VFKElfFile::Tables {
    explicit Tables(const std::string& path)
        : file(path)
    {
    }

    /// Up to `count` records, `stride` bytes apart, of which all are whole within the `length` bytes from `offset` on.
    /// None if the stride is shorter than a record or the offset is 0.
    template <typename Record>
    std::vector<Record> ReadRecords(u32 offset, u64 length, u32 stride, u64 count) const;

    const Elf32_Shdr* Section(u32 index) const { return index < sections.size() ? &sections[index] : nullptr; }

    /// How many bytes a section has in the file after the first `skipped`, at most `length`.
    std::size_t BytesOf(const Elf32_Shdr& shdr, u32 skipped, u32 length) const;
    /// Reads a whole section.
    void ReadSection(const Elf32_Shdr* shdr, VFKBytes& bytes) const;

    /// Each of these reads its table when it is first called.
    std::string_view SectionNames();
    const std::vector<elf32_sym>& Symbols();
    std::string_view SymbolNames();
    SymbolIndex& Index();

    const elf32_sym* SymbolAt(u32 index) { return index < Symbols().size() ? &m_symbols[index] : nullptr; }

    OpenFile file;
    bool swap = false;
    bool thumbBit = false;
    u32 nameSection = 0;
    std::vector<Elf32_Shdr> sections;
    std::vector<elf32_phdr> segments;

private:
    void LoadSymbols();

    bool m_sectionNamesLoaded = false;
    bool m_symbolsLoaded = false;
    VFKBytes m_sectionNames;
    VFKBytes m_symbolNames;
    std::vector<elf32_sym> m_symbols;
    std::optional<SymbolIndex> m_index;
};

template <typename Record>
std::vector<Record> VFKElfFile::Tables::ReadRecords(u32 offset, u64 length, u32 stride, u64 count) const
{
    std::vector<Record> records;
    const u64 bytes = file.Within(offset, length);
    if (offset == 0 || stride < sizeof(Record) || bytes < sizeof(Record)) {
        return records;
    }
    // The last record may lack the rest of its stride.
    count = std::min(count, (bytes - sizeof(Record)) / stride + 1);
    records.reserve(static_cast<std::size_t>(count));

    const std::size_t perPiece = std::max<std::size_t>(kTablePiece / stride, 1);
    std::vector<u8> piece((perPiece - 1) * stride + sizeof(Record));
    while (records.size() < count) {
        const std::size_t wanted = std::min(perPiece, static_cast<std::size_t>(count) - records.size());
        const std::size_t got =
            file.Read(offset + u64{records.size()} * stride, piece.data(), (wanted - 1) * stride + sizeof(Record));
        for (std::size_t index = 0; index < wanted; ++index) {
            if (got < index * stride + sizeof(Record)) {
                return records; // the file has been cut since it was opened
            }
            Record& record = records.emplace_back();
            std::memcpy(&record, piece.data() + index * stride, sizeof(Record));
            if (swap) {
                SwapRecord(record);
            }
        }
    }
    return records;
}

std::size_t VFKElfFile::Tables::BytesOf(const Elf32_Shdr& shdr, u32 skipped, u32 length) const
{
    if (shdr.sh_type == kShtNobits || skipped >= shdr.sh_size) {
        return 0;
    }
    return file.Within(u64{shdr.sh_offset} + skipped, std::min(length, shdr.sh_size - skipped));
}

void VFKElfFile::Tables::ReadSection(const Elf32_Shdr* shdr, VFKBytes& bytes) const
{
    if (shdr != nullptr) {
        const std::size_t size = BytesOf(*shdr, 0, kNone);
        u8* to = bytes.Allocate(size);
        bytes.Truncate(file.Read(shdr->sh_offset, to, size));
    }
}

std::string_view VFKElfFile::Tables::SectionNames()
{
    if (!m_sectionNamesLoaded) {
        // Section index 0 means "no section".
        ReadSection(nameSection == 0 ? nullptr : Section(nameSection), m_sectionNames);
        m_sectionNamesLoaded = true; // last: if memory runs out before, it is tried again
    }
    return {reinterpret_cast<const char*>(m_sectionNames.Data()), m_sectionNames.Size()};
}

void VFKElfFile::Tables::LoadSymbols()
{
    if (m_symbolsLoaded) {
        return;
    }
    const auto isSymtab = [](const Elf32_Shdr& shdr) { return shdr.sh_type == kShtSymtab; };
    const auto table = std::find_if(sections.begin(), sections.end(), isSymtab);
    if (table != sections.end()) {
        m_symbols = ReadRecords<elf32_sym>(table->sh_offset, table->sh_size, table->sh_entsize, ~u64{0});
        ReadSection(table->sh_link == 0 ? nullptr : Section(table->sh_link), m_symbolNames);
    }
    m_symbolsLoaded = true;
}

const std::vector<elf32_sym>& VFKElfFile::Tables::Symbols()
{
    LoadSymbols();
    return m_symbols;
}

std::string_view VFKElfFile::Tables::SymbolNames()
{
    LoadSymbols();
    return {reinterpret_cast<const char*>(m_symbolNames.Data()), m_symbolNames.Size()};
}

SymbolIndex& VFKElfFile::Tables::Index()
{
    if (!m_index) {
        m_index.emplace(Symbols(), SymbolNames(), thumbBit);
    }
    return *m_index;
}

VFKElfFile::VFKElfFile(const std::string& path)
    : VFKFile(path)
    , m_tables(std::make_unique<Tables>(path))
{
    m_valid = ReadValidHeader(m_tables->file, m_ehdr);
    if (!m_valid) {
        return;
    }
    m_byteOrder = m_ehdr.e_ident[kIdentData];
    const bool bigEndian = m_byteOrder == kElfDataMsb;
    m_tables->swap = bigEndian != (std::endian::native == std::endian::big);
    if (m_tables->swap) {
        SwapRecord(m_ehdr);
    }
    m_tables->thumbBit = m_ehdr.e_machine == kMachineArm;
    m_tables->nameSection = m_ehdr.e_shstrndx;
    const u64 whole = m_tables->file.Size();
    m_tables->sections = m_tables->ReadRecords<Elf32_Shdr>(m_ehdr.e_shoff, whole, m_ehdr.e_shentsize, m_ehdr.e_shnum);
    m_tables->segments = m_tables->ReadRecords<elf32_phdr>(m_ehdr.e_phoff, whole, m_ehdr.e_phentsize, m_ehdr.e_phnum);
}

VFKElfFile::~VFKElfFile() = default;

bool VFKElfFile::QuickValidityCheck(const std::string& path)
{
    const OpenFile file(path);
    Elf32_Ehdr header;
    return ReadValidHeader(file, header);
}

bool VFKElfFile::GetSectionData(const char* name, VFKBytes& bytes, u32 offset, u32 length) const
{
    const Elf32_Shdr* shdr = GetSectionHeader(name);
    if (shdr == nullptr) {
        return false;
    }
    const std::size_t size = m_tables->BytesOf(*shdr, offset, length);
    u8* to = bytes.Allocate(size);
    bytes.Truncate(m_tables->file.Read(u64{shdr->sh_offset} + offset, to, size));
    return true;
}

bool VFKElfFile::GetSectionData(const char* name, std::string& bytes, u32 offset, u32 length) const
{
    const Elf32_Shdr* shdr = GetSectionHeader(name);
    if (shdr == nullptr) {
        return false;
    }
    bytes.resize(m_tables->BytesOf(*shdr, offset, length));
    bytes.resize(m_tables->file.Read(u64{shdr->sh_offset} + offset, bytes.data(), bytes.size()));
    return true;
}

const Elf32_Shdr* VFKElfFile::GetSectionHeader(u32 index) const
{
    return m_tables->Section(index);
}

const Elf32_Shdr* VFKElfFile::GetSectionHeader(const char* name) const
{
    if (name == nullptr) {
        return nullptr;
    }
    for (const Elf32_Shdr& shdr : m_tables->sections) {
        const char* text = GetShdrString(shdr.sh_name);
        if (text != nullptr && std::strcmp(text, name) == 0) {
            return &shdr;
        }
    }
    return nullptr;
}

const elf32_phdr* VFKElfFile::GetProgramHeader(u32 index) const
{
    return index < m_tables->segments.size() ? &m_tables->segments[index] : nullptr;
}

const elf32_phdr* VFKElfFile::GetProgramHeader(const Elf32_Shdr* shdr) const
{
    if (shdr == nullptr || (shdr->sh_flags & kShfAlloc) == 0) {
        return nullptr;
    }
    const bool byAddress = shdr->sh_type == kShtNobits;
    const u64 start = byAddress ? shdr->sh_addr : shdr->sh_offset;
    for (const elf32_phdr& phdr : m_tables->segments) {
        const u64 segment = byAddress ? phdr.p_vaddr : phdr.p_offset;
        const u64 length = byAddress ? phdr.p_memsz : phdr.p_filesz;
        if (phdr.p_type == kPtLoad && start >= segment && start + shdr->sh_size <= segment + length) {
            return &phdr;
        }
    }
    return nullptr;
}

const Elf32_Shdr* VFKElfFile::GetShdrWithPhdr(u32 index, const elf32_phdr** phdr) const
{
    const Elf32_Shdr* shdr = GetSectionHeader(index);
    if (shdr != nullptr && phdr != nullptr) {
        *phdr = GetProgramHeader(shdr);
    }
    return shdr;
}

const char* VFKElfFile::GetShdrString(u32 offset) const
{
    const std::string_view names = m_tables->SectionNames();
    return offset < names.size() ? names.data() + offset : nullptr;
}

const char* VFKElfFile::GetString(u32 offset) const
{
    const std::string_view names = m_tables->SymbolNames();
    return offset < names.size() ? names.data() + offset : nullptr;
}

u32 VFKElfFile::FindStrtabOffset(const char* text, u32 start) const
{
    if (text == nullptr) {
        return npos;
    }
    const std::size_t found = m_tables->SymbolNames().find(text, start);
    return found == std::string_view::npos ? npos : static_cast<u32>(found);
}

const elf32_sym* VFKElfFile::GetSymtabEntry(u32 index) const
{
    return m_tables->SymbolAt(index);
}

const elf32_sym* VFKElfFile::FindSymtabEntry(const char* name) const
{
    return name == nullptr ? nullptr : m_tables->SymbolAt(m_tables->Index().FindName(name));
}

const elf32_sym* VFKElfFile::FindSymtabEntry(u32 value, u32 size, const elf32_sym** next) const
{
    SymbolIndex& index = m_tables->Index();
    u32 found = size == kNone ? index.FindValue(value) : index.FindValueAndSize(value, size);
    if (found == kNone && size == kNone) {
        found = index.FindContaining(value);
    }
    if (found != kNone && next != nullptr) {
        *next = m_tables->SymbolAt(index.NextByValue(found));
    }
    return m_tables->SymbolAt(found);
}

const elf32_sym* VFKElfFile::FindSymtabFunctionEntryContainingAddr(u32 address, const elf32_sym** next) const
{
    u32 behind = kNone;
    const u32 found = m_tables->Index().FindFunction(address, behind);
    if (found != kNone && next != nullptr) {
        *next = m_tables->SymbolAt(behind);
    }
    return m_tables->SymbolAt(found);
}
