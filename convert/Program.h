// The program that debug information describes: its sections and symbols, and which of its code the linker dropped.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

/// One section header, with the numbers as in the file.
struct ProgramSection {
    std::string name; ///< cut at 255 bytes
    u32 nameOffset = 0;
    u32 type = 0;
    u32 flags = 0;
    u32 address = 0;
    u32 offset = 0;
    u32 size = 0;
    u32 link = 0;
    u32 info = 0;
    u32 alignment = 0;
    u32 entrySize = 0;

    /// True if a running program has it.
    bool IsAllocated() const;
    /// ".debug_*", ".zdebug_*", ".gdb_index", and relocations of these; but nothing that a running program has, and not
    /// ".debug_gdb_scripts", which isn't debug information.
    bool IsDebug() const;
    /// Compressed as in the ELF standard (SHF_COMPRESSED) or as ".zdebug_*".
    bool IsCompressed() const;
};

/// A file in memory, read-only, for as long as the object lives.
class MappedFile {
public:
    /// Throws Failure with the system's message, or if it isn't a regular file.
    explicit MappedFile(const std::string& path);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    ByteView Bytes() const { return m_bytes; }
    int Descriptor() const { return m_descriptor; }

private:
    void Map();

    int m_descriptor = -1;
    ByteView m_bytes;
};

/// A 32-bit ELF file, whose bytes stay as they are.
class Program {
public:
    /// Maps the file. Throws Failure: can't be read, not ELF, not 32-bit, damaged header or tables, a relocatable
    /// object, no section headers, more than 65,279 sections. Sections may be anywhere: Bytes() gives as much as the
    /// file has.
    explicit Program(const std::string& path);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    ByteView File() const { return m_mapped.Bytes(); }
    /// The file's descriptor, open for reading, for libraries that want one.
    int Descriptor() const { return m_mapped.Descriptor(); }
    bool BigEndian() const { return m_bigEndian; }
    u16 Machine() const { return m_machine; }
    /// With the null section at index 0.
    const std::vector<ProgramSection>& Sections() const { return m_sections; }
    /// The bytes of a section as they are in the file (a compressed one's are compressed), as far as the file has them.
    ByteView Bytes(const ProgramSection& section) const;
    /// Index of the section with the section names; 0 if there is none.
    u32 NameTable() const { return m_nameTable; }
    /// The file offset after the ELF header, the program headers, and all bytes of segments and allocated sections.
    u64 FixedSize() const { return m_fixedSize; }

    /// True if all bytes of [begin, end) have a place in a running program: they are in sections that it has. For an
    /// empty range only `begin` counts.
    bool IsLoaded(u32 begin, u32 end) const;

    /// Whether a function or variable with these names, which its debug information places at [begin, end), is really
    /// there. The linker leaves what it dropped at 0 (and what followed it in its section, at the addresses after
    /// that), or at -1 and -2. What isn't loaded was dropped. Where NearZero() holds, the ELF symbols decide: if there
    /// are symbols exactly at `begin` (addresses of functions are compared without the Thumb bit), one must have one of
    /// the names, as a whole or between dots, as compilers name clones and the statics of functions ("f.part.0",
    /// "f.table"), or, where there is no linkage name, be a C++ symbol that the plain name may have; if there is none,
    /// but a sized symbol covers `begin`, it was dropped. Without symbols everything that is loaded is there.
    /// @param names linkage name, plain name; empty ones are ignored.
    bool Stands(u32 begin, u32 end, std::span<const std::string_view> names) const;

    /// True if `address` is where dropped things seem to be: in the section that contains address 0, or in those that
    /// follow it without a gap beyond that of their alignment.
    bool NearZero(u32 address) const { return address < m_nearZeroEnd; }

private:
    struct Range {
        u64 begin;
        u64 end;
    };
    struct Symbol {
        u32 address;
        u32 name;
        bool isFunction;
        u64 reach; ///< the greatest end of a symbol that begins here or at a lower address
    };
    struct SymbolIndex {
        ByteView names;
        std::vector<Symbol> symbols; ///< by address
    };

    void ReadSections(u64 offset, u32 count, u32 nameTable);
    void NameSections();
    void FindFixedSize(u64 segments, u32 count);
    void FindLoaded();
    const SymbolIndex& Symbols() const;
    SymbolIndex ReadSymbols() const;
    bool IsPlace(u8 type, u16 section) const;
    bool IsMappingSymbol(u8 type, std::string_view name) const;

    MappedFile m_mapped;
    bool m_bigEndian = false;
    u16 m_machine = 0;
    u32 m_nameTable = 0;
    u64 m_fixedSize = 0;
    u64 m_nearZeroEnd = 0;
    std::vector<ProgramSection> m_sections;
    std::vector<Range> m_loaded;                  ///< ascending; none touches the next
    mutable std::optional<SymbolIndex> m_symbols; ///< made when first asked for
};

} // namespace convert
