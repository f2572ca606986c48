// A 32-bit ELF file, read through bounded, on-demand reads.
#pragma once

#include "interfaces/Elf32.h"
#include "interfaces/VFKFile.h"

#include <iosfwd>
#include <memory>
#include <string>

class VFKBytes;

/// Opens and checks a file at construction and delivers its tables, sections, strings and symbols as far as their bytes
/// are in it. Only the headers are read before something is asked for. The file is read, not mapped: if it is cut or
/// rebuilt meanwhile, bytes are missing or changed, and nothing worse happens. Records handed out by pointer live as
/// long as the reader.
class VFKElfFile : public VFKFile {
public:
    /// "No position", as in the string class.
    static constexpr u32 npos = kNone;

    /// The order of DumpSymtab.
    enum DumpSymtabType : u32 { kSymtabOrder = 0, kByValue = 1, kByAddressRange = 2, kByName = 3 };

    explicit VFKElfFile(const std::string& path);
    ~VFKElfFile() override;
    VFKElfFile(const VFKElfFile&) = delete;
    VFKElfFile& operator=(const VFKElfFile&) = delete;

    /// True if the file can be opened, has at least 52 bytes, the ELF magic and class 32.
    static bool QuickValidityCheck(const std::string& path);

    /// The same test, made by the constructor. A file that fails it has no tables.
    bool m_valid = false;
    /// `e_ident[EI_DATA]`; 2 is big-endian, all else counts as little-endian.
    u32 m_byteOrder = 0;
    /// The ELF header; all zero in a file that is not valid.
    Elf32_Ehdr m_ehdr{};

    /// Copies up to `length` bytes of the section `name` from `offset` on, as far as the section
    /// and the file have them; kNone takes all. SHT_NOBITS has no bytes.
    /// @return true if there is such a section. On false `bytes` stays untouched.
    bool GetSectionData(const char* name, VFKBytes& bytes, u32 offset, u32 length) const;
    bool GetSectionData(const char* name, std::string& bytes, u32 offset, u32 length) const;

    /// Section header by index or by name (the first of that name); null when there is none.
    const Elf32_Shdr* GetSectionHeader(u32 index) const;
    const Elf32_Shdr* GetSectionHeader(const char* name) const;

    /// Program header by index; null when there is none.
    const elf32_phdr* GetProgramHeader(u32 index) const;
    /// The segment that holds a section: the first PT_LOAD that contains its bytes by file offset
    /// (by address for SHT_NOBITS), for sections with SHF_ALLOC only. Else null.
    const elf32_phdr* GetProgramHeader(const Elf32_Shdr* shdr) const;

    /// The `index`-th section header, and in `phdr` the header of its segment or null.
    const Elf32_Shdr* GetShdrWithPhdr(u32 index, const elf32_phdr** phdr) const;

    /// Text of the section-name table (`e_shstrndx`) or of the symbol table's string table; null
    /// for an offset outside.
    const char* GetShdrString(u32 offset) const;
    const char* GetString(u32 offset) const;

    /// Finds a text anywhere in the string table from `start` on, as a string's `find` does.
    u32 FindStrtabOffset(const char* text, u32 start) const;

    /// Symbols of the first SHT_SYMTAB, by index from 0; null past the last.
    const elf32_sym* GetSymtabEntry(u32 index) const;
    /// The first entry of that name in table order, without entry 0; null when there is none.
    const elf32_sym* FindSymtabEntry(const char* name) const;
    /// With `size` 0xFFFFFFFF: the first entry of exactly that value, else the one with the smallest extent that
    /// contains it. With another size: the first entry of that value and size. `next`, unless null, gets the entry
    /// after it in ascending order of value.
    const elf32_sym* FindSymtabEntry(u32 value, u32 size, const elf32_sym** next) const;
    /// Of the defined STT_FUNC symbols at or below the address, the first with the greatest value. `next` gets the one
    /// after it in ascending order of value (table order among equals), or null. In an ARM file the Thumb bit does not
    /// count.
    const elf32_sym* FindSymtabFunctionEntryContainingAddr(u32 address, const elf32_sym** next) const;

    /// Readable listings of what is in the file.
    void DumpEhdr(std::ostream& stream) const;
    void DumpPhdrList(std::ostream& stream) const;
    void DumpShdrList(std::ostream& stream) const;
    void DumpSymtab(std::ostream& stream, DumpSymtabType type) const;
    void DumpSymtabEntry(std::ostream& stream, const elf32_sym* entry) const;
    /// @param perLine bytes a line.
    /// @param withText adds the bytes as text after the hexadecimal columns.
    void DumpSectionContents(std::ostream& stream, const char* name, u32 perLine, bool withText) const;

private:
    struct Tables; ///< what has been read, and the look-up indexes made on first use
    std::unique_ptr<Tables> m_tables;
};
