// The lines of an object file with several sections of code.
#pragma once

#include "host/AddressLookup.h"
#include "host/ExtentIndex.h"
#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"

#include <optional>
#include <unordered_map>
#include <vector>

class Loader;
class VFKElfFile;

/// The addresses of all its sections begin at 0, so a row of a line table doesn't tell by itself which section it is
/// of. The relocations of `.debug_line` do: each place where a programme sets the address has one. A table whose rows
/// don't agree with them is left out.
class ObjectLines {
public:
    /// Loads all line tables.
    /// @param file, @param elf the same file, whose index is loaded; both outlive this.
    ObjectLines(Loader& file, const VFKElfFile& elf);

    std::optional<AddressLookup::Place> Find(u32 offset, u16 section);

    struct Row {
        u32 unit; ///< index in the store
        u32 row;  ///< in its table
        u16 section;
        u32 offset;
        u32 size;
    };
    /// Those that have code, unit by unit.
    const std::vector<Row>& Rows() const { return m_rows; }
    AddressLookup::Place PlaceOf(const Row& row) const;

private:
    /// A relocation of an address that a programme sets.
    struct Start {
        u16 section;
        u32 base; ///< of the symbol in that section
    };
    /// Rows behind one address that was set.
    struct Run {
        u32 place; ///< of the address in .debug_line
        u32 firstRow;
        u32 lastRow = 0; ///< behind it
    };

    void ReadStarts();
    std::vector<Run> RunsOf(u32 programme);
    bool Agree(const std::vector<Run>& runs, const DbgSymLineTable& table);
    void AddUnit(u32 unit, u32 programme);

    Loader& m_file;
    const VFKElfFile& m_elf;
    VFKDataBuf m_line; ///< .debug_line
    /// Bytes of programmes that may still be read. Each unit of a compiler has a programme of its own; any number of
    /// others could name one, or such as overlap. Beyond the bound their lines aren't known.
    u64 m_unread = 0;
    static constexpr u64 kReadings = 16;
    std::unordered_map<u32, Start> m_starts; ///< by the place of the address
    std::vector<Row> m_rows;
    std::unordered_map<u16, ExtentIndex> m_sections; ///< indices in m_rows
};
