// Reads unit headers and abbreviation declarations, as far as needed to tell what wrote a file.
#include "host/DebugSurvey.h"

#include "interfaces/Elf32.h"
#include "interfaces/VFKBytes.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr u32 kShfCompressed = 0x800;
constexpr u32 kFirstNewer = 4;
constexpr std::size_t kNamedVersions = 3;
constexpr u32 kAbbrevLimit = 16 << 20;

/// Reads at any place of a file. Bytes near the last read cost nothing.
class SmallReads {
public:
    explicit SmallReads(const std::string& path)
        : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
    }
    ~SmallReads()
    {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    SmallReads(const SmallReads&) = delete;
    SmallReads& operator=(const SmallReads&) = delete;

    u64 FileSize() const
    {
        struct stat status {};
        return m_descriptor >= 0 && fstat(m_descriptor, &status) == 0 ? static_cast<u64>(status.st_size) : 0;
    }

    /// @return false if the file doesn't have all the bytes.
    bool Read(u64 offset, u8* to, std::size_t count)
    {
        if (offset < m_begin || offset + count > m_begin + m_count) {
            const ssize_t got = pread(m_descriptor, m_bytes, sizeof m_bytes, static_cast<off_t>(offset));
            m_begin = offset;
            m_count = got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        if (offset + count > m_begin + m_count) {
            return false;
        }
        std::memcpy(to, m_bytes + (offset - m_begin), count);
        return true;
    }

private:
    int m_descriptor;
    u64 m_begin = 0;
    std::size_t m_count = 0;
    u8 m_bytes[512];
};

u64 Number(const u8* bytes, u32 width, bool bigEndian)
{
    u64 value = 0;
    for (u32 i = 0; i < width; ++i) {
        value = value << 8 | bytes[bigEndian ? i : width - 1 - i];
    }
    return value;
}

/// Counts the units of one section, whose stated size may be wrong.
void CountUnits(SmallReads& file, const Elf32_Shdr& section, bool bigEndian, DebugSurvey& survey)
{
    constexpr u64 kShortLength = 4;
    constexpr u64 kLongLength = 12; // the escape and eight bytes: 64-bit DWARF
    constexpr u64 kEscape = 0xFFFFFFFF;
    u64 at = section.sh_offset;
    const u64 end = std::min(at + section.sh_size, file.FileSize());
    u8 bytes[kLongLength + 2];
    // A last header with nothing behind it may lie less than the longest one in front of the end.
    while (at + kShortLength + 2 <= end && file.Read(at, bytes, kShortLength + 2)) {
        u64 length = Number(bytes, 4, bigEndian);
        u64 lengthSize = kShortLength;
        if (length == kEscape) {
            lengthSize = kLongLength;
            if (at + sizeof bytes > end || !file.Read(at, bytes, sizeof bytes)) {
                return;
            }
            length = Number(bytes + 4, 8, bigEndian);
        }
        if (length >= 2) { // padding counts as no unit
            const auto version = static_cast<u16>(Number(bytes + lengthSize, 2, bigEndian));
            ++survey.units;
            if (version >= kFirstNewer) {
                ++survey.newer[version];
            }
        }
        if (length > end - at) {
            return;
        }
        at += lengthSize + length;
    }
}

/// A cursor over `.debug_abbrev` that stays at the end once there.
class AbbrevCursor {
public:
    explicit AbbrevCursor(const VFKBytes& bytes)
        : m_at(bytes.Data())
        , m_end(bytes.Data() + bytes.Size())
    {
    }

    bool AtEnd() const { return m_at == m_end; }
    u8 Byte() { return AtEnd() ? u8{0} : *m_at++; }
    /// Codes are small: of a longer number the lowest 32 bits will do.
    u32 Uleb()
    {
        u32 value = 0;
        u32 shift = 0;
        u8 byte = 0x80;
        while ((byte & 0x80) != 0 && !AtEnd()) {
            byte = *m_at++;
            value |= shift < 32 ? u32{byte & 0x7Fu} << shift : 0;
            shift = std::min(shift + 7, 32u);
        }
        return value;
    }

private:
    const u8* m_at;
    const u8* m_end;
};

enum : u32 {
    kTagArrayType = 0x01,
    kTagClassType = 0x02,
    kTagEnumerationType = 0x04,
    kTagStructureType = 0x13,
    kTagSubroutineType = 0x15,
    kTagUnionType = 0x17,
    kTagPtrToMemberType = 0x1F,
    kTagSubprogram = 0x2E,
    kTagNamespace = 0x39,
    kTagUnspecifiedType = 0x3B,
    kAtSibling = 0x01,
    kFormImplicitConst = 0x21,
};

/// Whether one table is of a producer that writes no AT_sibling. One that does leaves it out where an entry is the last
/// of its level, so a unit of few entries can be without any: then those with children lie one within the other, and
/// are functions and blocks. A type with children next to anything else with children tells the two apart.
class SiblingHabit {
public:
    void Declare(u32 tag, bool hasChildren, bool hasSibling)
    {
        m_siblings = m_siblings || hasSibling;
        if (!hasChildren) {
            return;
        }
        switch (tag) {
        case kTagArrayType:
        case kTagClassType:
        case kTagEnumerationType:
        case kTagStructureType:
        case kTagSubroutineType:
        case kTagUnionType:
            ++m_types;
            break;
        case kTagSubprogram:
            ++m_functions;
            break;
        default:
            break;
        }
    }
    bool NeverWritten() const { return !m_siblings && m_types != 0 && m_types + m_functions > 1; }

private:
    bool m_siblings = false;
    u32 m_types = 0;
    u32 m_functions = 0;
};

bool DeclaresPassedOver(AbbrevCursor abbrev)
{
    SiblingHabit habit;
    while (!abbrev.AtEnd()) {
        if (abbrev.Uleb() == 0) { // the end of a table
            if (habit.NeverWritten()) {
                return true;
            }
            habit = {};
            continue;
        }
        const u32 tag = abbrev.Uleb();
        if (tag == kTagUnspecifiedType || tag == kTagPtrToMemberType || tag == kTagNamespace) {
            return true;
        }
        const bool hasChildren = abbrev.Byte() != 0;
        bool hasSibling = false;
        while (!abbrev.AtEnd()) {
            const u32 attribute = abbrev.Uleb();
            const u32 form = abbrev.Uleb();
            if (attribute == 0 && form == 0) {
                break;
            }
            if (form == kFormImplicitConst) {
                abbrev.Uleb();
            }
            hasSibling = hasSibling || attribute == kAtSibling;
        }
        habit.Declare(tag, hasChildren, hasSibling);
    }
    return habit.NeverWritten();
}

bool StartsWith(const char* text, const char* start)
{
    return std::strncmp(text, start, std::strlen(start)) == 0;
}

} // namespace

std::string DebugSurvey::WhyNewer() const
{
    if (newer.empty()) {
        return "The debug sections are compressed";
    }
    u64 count = 0;
    std::string versions;
    std::size_t left = newer.size();
    for (const auto& [version, ofVersion] : newer) {
        count += ofVersion;
        --left;
        versions += (versions.empty() ? "" : left == 0 ? " and " : ", ") + std::to_string(version);
    }
    if (newer.size() > kNamedVersions) {
        versions = std::to_string(newer.begin()->first) + " and later";
    }
    return std::to_string(count) + " of " + std::to_string(units) + (units == 1 ? " unit" : " units") +
           (count == 1 ? " is" : " are") + " DWARF " + versions;
}

DebugSurvey SurveyDebugInfo(const std::string& path)
{
    DebugSurvey survey;
    const VFKElfFile elf(path);
    survey.isElf32 = elf.m_valid;
    SmallReads file(path);
    for (u32 index = 1; const Elf32_Shdr* section = elf.GetSectionHeader(index); ++index) {
        const char* name = elf.GetShdrString(section->sh_name);
        if (name == nullptr || section->sh_type == kShtNobits) {
            continue;
        }
        if (StartsWith(name, ".zdebug_")) {
            survey.compressed = true;
        } else if (StartsWith(name, ".debug_")) {
            if ((section->sh_flags & kShfCompressed) != 0) {
                survey.compressed = true;
            } else if (std::strcmp(name, ".debug_info") == 0 || std::strcmp(name, ".debug_types") == 0) {
                CountUnits(file, *section, elf.m_byteOrder == kElfDataMsb, survey);
            }
        }
    }
    return survey;
}

bool HasEntriesPassedOver(const std::string& path)
{
    VFKBytes abbrev;
    return VFKElfFile(path).GetSectionData(".debug_abbrev", abbrev, 0, kAbbrevLimit) &&
           DeclaresPassedOver(AbbrevCursor(abbrev));
}
