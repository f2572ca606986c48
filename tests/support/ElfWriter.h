// The tests' writer of 32-bit ELF files.
#pragma once

#include "interfaces/Elf32.h"
#include "interfaces/Types.h"
#include "tests/support/ByteSection.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Codes that only tests use.
inline constexpr u8 kSttNoType = 0;
inline constexpr u8 kSttObject = 1;
inline constexpr u8 kSttFile = 4;
inline constexpr u8 kStbLocal = 0;
inline constexpr u8 kStbGlobal = 1;
inline constexpr u8 kStbWeak = 2;
inline constexpr u16 kShnAbs = 0xFFF1;
inline constexpr u32 kCodeFlags = kShfAlloc | kShfExecInstr;

/// A file in the system's temporary folder, removed at the end.
class TempFile {
public:
    /// Throws std::runtime_error if the file can't be written.
    explicit TempFile(std::string_view contents, std::string_view suffix = ".axf");
    ~TempFile();
    TempFile(TempFile&& other) noexcept;
    TempFile& operator=(TempFile&&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path; ///< empty: nothing to remove
};

/// A section's header beyond its name and bytes.
struct SectionOptions {
    u32 type = 1; ///< SHT_PROGBITS
    u32 flags = 0;
    u32 address = 0;
    u32 link = 0;
    u32 entrySize = 0;
    std::optional<u32> size = {}; ///< else that of the bytes, as SHT_NOBITS needs
};

/// A segment without bytes of a section.
struct SegmentOptions {
    u32 type = kPtLoad;
    u32 address = 0;
    u32 physicalAddress = 0;
    u32 memorySize = 0;
    u32 flags = 0;
};

struct SymbolOptions {
    std::string name;
    u32 value = 0;
    u32 size = 0;
    u8 type = kSttFunc;
    u8 binding = kStbGlobal;
    u16 section = 1;
};

/// All records as they are about to be written, in host order.
struct ElfRecords {
    Elf32_Ehdr header{};
    std::vector<Elf32_Shdr> sections;
    std::vector<elf32_phdr> segments;
    std::vector<elf32_sym> symbols;
};

class ElfWriter {
public:
    explicit ElfWriter(ByteOrder order, u16 machine = kMachineArm)
        : m_order(order)
        , m_machine(machine)
    {
    }

    /// Returns the section's index. Indices count from 1: header 0 is the null section.
    u32 Section(const std::string& name, const ByteSection& bytes, const SectionOptions& options = {})
    {
        return Section(name, bytes.Bytes(), options);
    }
    u32 Section(const std::string& name, std::string_view bytes, const SectionOptions& options = {});

    /// A segment over the bytes of one section. Without a physical address it gets the virtual one, the
    /// section's.
    void Segment(u32 section, u32 flags, std::optional<u32> physicalAddress = {});
    void Segment(const SegmentOptions& segment);

    /// Symbols make a `.symtab` with its `.strtab`, after the other sections; entry 0 is added
    /// automatically.
    void Symbol(const SymbolOptions& symbol) { m_symbols.push_back(symbol); }

    /// Leaves the section headers out of the file.
    void OmitSectionHeaders() { m_omitSectionHeaders = true; }

    /// Changes the records after the layout is done, to make a malformed file. What the header then
    /// says of the tables moves nothing.
    void Edit(std::function<void(ElfRecords&)> edit) { m_edits.push_back(std::move(edit)); }

    std::string Image() const;
    TempFile Write() const { return TempFile(Image()); }

private:
    struct PendingSection {
        std::string name;
        std::string bytes;
        SectionOptions options;
    };
    struct PendingSegment {
        elf32_phdr header;
        u32 section; ///< whose place it takes over; 0: none
    };

    std::vector<PendingSection> AllSections() const;
    ElfRecords LayOut(const std::vector<PendingSection>& sections) const;
    void AddSymbols(ElfRecords& records) const;

    ByteOrder m_order;
    u16 m_machine;
    bool m_omitSectionHeaders = false;
    std::vector<PendingSection> m_sections;
    std::vector<PendingSegment> m_segments;
    std::vector<SymbolOptions> m_symbols;
    std::vector<std::function<void(ElfRecords&)>> m_edits;
};
