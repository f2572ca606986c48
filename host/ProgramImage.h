// The part of an ELF file that a running program has: sections, the memory they take, and the symbols for their bytes.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKElfFile.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct SymbolEntry;

/// Where the bytes of a section are: as an image that outlives a reset, while the program runs, or at either time.
enum class MemoryUse : u8 { Flash, Ram, Both };

constexpr bool TakesFlash(MemoryUse memory)
{
    return memory != MemoryUse::Ram;
}

constexpr bool TakesRam(MemoryUse memory)
{
    return memory != MemoryUse::Flash;
}

/// "flash", "ram" or "both".
const char* MemoryName(MemoryUse memory);

struct ProgramSection {
    std::string name;
    u32 address;
    u32 size;
    MemoryUse memory;
    bool isCode;       ///< may be run
    bool hasStrings;   ///< of nothing but texts
    bool hasUnwinding; ///< tables for exceptions
};

enum class SymbolKind : u8 { Function, Variable, Data };

/// "function", "variable" or "data".
const char* SymbolKindName(SymbolKind kind);

/// Names bytes of one section: at least one of its address or its size is the section's.
struct ProgramSymbol {
    std::string_view name; ///< as the file has it
    std::string_view file; ///< the source file that a local symbol follows in the table; empty if there is none
    u32 section;           ///< index of it in Sections()
    u32 offset;            ///< in the section
    u32 size;              ///< that the table states, as far as the section goes; 0 if it states none
    SymbolKind kind;
    bool isTyped; ///< the table says whether it is a function or a variable
    u8 binding;   ///< STB_LOCAL, STB_GLOBAL, STB_WEAK

    bool IsLocal() const { return binding == 0; }
};

/// Sections and symbols that the program has while it runs, in the order of the file.
class ProgramImage {
public:
    explicit ProgramImage(const std::string& path);

    const std::vector<ProgramSection>& Sections() const { return m_sections; }
    const std::vector<ProgramSymbol>& Symbols() const { return m_symbols; }

    const VFKElfFile& Elf() const { return m_elf; }
    /// True for an object file: each section begins at 0, and its addresses are offsets.
    bool IsRelocatable() const { return m_relocatable; }
    /// Whether the bytes there are data inside code (a literal pool, a table of jumps): the mapping symbols of the
    /// ELF for the ARM architecture say so.
    bool IsDataInCode(u32 section, u32 offset) const;
    /// Where the next mapping symbol stands behind an offset; the section's size if there is none.
    u32 NextMark(u32 section, u32 offset) const;

private:
    void ReadSections();
    MemoryUse MemoryOf(const Elf32_Shdr& section, bool moves) const;
    void ReadSymbols();
    void AddSymbol(const SymbolEntry& entry, std::string_view name, std::string_view file);
    void SettleKinds();

    struct Mark {
        u32 section;
        u32 offset;
        bool data;
        auto Place() const { return std::pair(section, offset); }
    };

    std::vector<Mark>::const_iterator MarkBehind(u32 section, u32 offset) const;

    VFKElfFile m_elf; ///< owns the names of the symbols
    bool m_relocatable;
    u32 m_threadBase = 0; ///< address that the values of thread-local symbols count from
    std::vector<ProgramSection> m_sections;
    std::vector<u32> m_byIndex; ///< index in m_sections by the index of the header; kNone for others
    std::vector<ProgramSymbol> m_symbols;
    std::vector<Mark> m_marks; ///< mapping symbols, sorted by place
};
