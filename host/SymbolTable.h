// The ELF symbols of places and names in the program.
#pragma once

#include "host/ExtentIndex.h"
#include "host/SymbolEntries.h"
#include "interfaces/Elf32.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class VFKElfFile;

struct ElfSymbol {
    std::string_view name;
    u32 value = 0;   ///< as the table has it
    u32 address = 0; ///< the same without the Thumb bit; in an object file an offset in the section
    u32 size = 0;    ///< 0: not known
    u16 section = 0; ///< index of its section header, or a reserved one: undefined, absolute, ...
    u8 type = 0;
    u8 binding = 0;

    bool IsFunction() const { return IsFunctionType(type); }
    bool IsDefined() const { return section != kShnUndef; }
    /// True if the symbol stands for a place in a section.
    bool HasPlace() const;
};

/// Symbols of the table but for those of the format itself: sections, files, and the mapping symbols that say ARM,
/// Thumb or data. Reads the table at construction.
class SymbolTable {
public:
    /// @param elf outlives this.
    explicit SymbolTable(const VFKElfFile& elf);

    const std::vector<ElfSymbol>& All() const { return m_symbols; }

    /// The symbol that a place belongs to: of those whose extent holds it, the one that begins closest, a function or
    /// an object before a label, a global one before others; else a label without size that stands at it, or in
    /// front of it with no other symbol between. Null if there is none.
    const ElfSymbol* FindAt(u32 address, u16 section);
    static constexpr u16 kAnySection = 0;
    /// All symbols that stand at just this place, whatever their size; in the order of preference.
    std::vector<const ElfSymbol*> StandingAt(u32 address, u16 section) const;
    /// What the mapping symbols say of a place (ELF for the Arm Architecture, 5.5.5): 'a', 't' or 'd' for ARM code,
    /// Thumb code or data; 0 if they say nothing.
    char MarkAt(u32 address, u16 section) const;
    /// True for an object file: the addresses of its symbols are offsets in their sections.
    bool IsRelocatable() const;
    /// True if a symbol of a known size lies in the section.
    bool HasSizes(u16 section) const;

    /// Indices of the sections that hold an address in the running program: one, unless the file is an object file,
    /// whose sections all begin at 0.
    std::vector<u16> SectionsAt(u32 address) const;
    /// Where the sections begin that SectionsAt knows.
    std::vector<u32> SectionStarts() const;
    /// Name of a section, "" for a reserved index.
    std::string_view SectionName(u16 section) const;
    bool IsCode(u16 section) const;
    /// The number of sections that hold code.
    u32 CodeSections() const;
    u32 SectionAddress(u16 section) const;

private:
    /// True for a label inside the extent of a symbol, where the label ends too.
    bool IsInside(const ElfSymbol& label);
    bool Precedes(const ElfSymbol& one, const ElfSymbol& other) const;

    struct MemorySection {
        u16 index;
        u32 address;
        u32 size;
    };

    struct Mark {
        u16 section;
        u32 address;
        char kind;
        auto Place() const { return std::pair(section, address); }
    };

    const VFKElfFile& m_elf;
    std::vector<MemorySection> m_sections; ///< that a running program has
    std::vector<ElfSymbol> m_symbols;      ///< in the order of the table
    std::vector<u32> m_places;             ///< of those with a place: ascending by address, the preferred last
    ExtentIndex m_extents;                 ///< of those with a size
    std::vector<Mark> m_marks;             ///< mapping symbols, sorted by place
};
