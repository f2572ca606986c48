// A source file of the store (one for each compile unit) and its line table.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class DbgSymSrcFile;
class VFKArena;

/// One row of a line table: a source line and the bytes of code that come from it.
struct DbgSymLineEntry {
    DbgAddrRange range; ///< a new row has the size 0
    u32 line = 0;
    u32 pathIndex = kNone; ///< kNone: the table's own file
    u16 column = 0;
};

/// The rows of one source file in the order in which they were added. Look-ups by address and by
/// line sort an index on first use after a change.
class DbgSymLineTable {
public:
    /// @param srcFile the file whose rows these are; may be null for a table of no file.
    /// @param memory where the rows lie, borrowed; null gives the table memory of its own.
    explicit DbgSymLineTable(const DbgSymSrcFile* srcFile, VFKArena* memory = nullptr);
    ~DbgSymLineTable();
    DbgSymLineTable(const DbgSymLineTable&) = delete;
    DbgSymLineTable& operator=(const DbgSymLineTable&) = delete;

    /// Adds a row. The entry stays good until the next call of AddLineEntry.
    /// @param path another file than the table's own, copied and shared between rows; else null.
    DbgSymLineEntry* AddLineEntry(u32 line, u32 offset, u32 sectionId, u16 column, const std::string* path);
    /// The same with an absolute address.
    DbgSymLineEntry* AddLineEntry(u32 line, u32 address, u16 column, const std::string* path);
    /// The same with a copy of `address`.
    DbgSymLineEntry* AddLineEntry(u32 line, const DbgAddress* address, u16 column, const std::string* path);

    std::size_t Count() const;
    /// Null past the last.
    const DbgSymLineEntry* GetLineEntryByIdx(u32 index) const;
    /// Path of the table's own file; null for a table of no file.
    const std::string* GetOrigFileDesc() const;
    /// Path of a row's file: null if it is the table's own.
    const std::string* GetEntryPath(const DbgSymLineEntry& entry) const;

    /// Makes the last row end at `address`, unless that is not above the row's own address.
    void SetLastEntrySizeByHiPC(const DbgAddress* address);

    /// The row whose bytes hold the address (value and section); among several the one added
    /// last. Null if there is none.
    const DbgSymLineEntry* FindByAddress(u32 value, u32 section) const;
    /// Indexes of the rows of a source line, whichever file it is in, ascending.
    std::vector<u32> FindByLine(u32 line) const;

private:
    struct Rows;
    std::unique_ptr<Rows> m_rows;
    const DbgSymSrcFile* m_srcFile;
    VFKArena* m_memory;
};

/// The source file of one compile unit.
class DbgSymSrcFile {
public:
    /// Bit of the flag word: the unit has a start address and no size.
    static constexpr u32 kNoSize = 0x40;

    /// @param memory where the rows of the line table lie; see DbgSymLineTable.
    DbgSymSrcFile(u32 id, std::string path, VFKArena* memory = nullptr);
    DbgSymSrcFile(const DbgSymSrcFile&) = delete;
    DbgSymSrcFile& operator=(const DbgSymSrcFile&) = delete;
    virtual ~DbgSymSrcFile() = default;

    u32 GetId() const { return m_id; }
    const std::string& GetPath() const { return m_path; }
    /// The file's line table, empty until it is loaded; may be null.
    virtual DbgSymLineTable* GetLineTableMember() { return &m_lineTable; }

    u32 m_flags = 0; ///< the engine's flag word; the plug-in sets kNoSize in it

private:
    u32 m_id;
    std::string m_path;
    DbgSymLineTable m_lineTable;
};
