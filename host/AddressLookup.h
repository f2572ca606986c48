// From an address to its line and its function, with line tables and symbols loaded as needed.
#pragma once

#include "host/ExtentIndex.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

class DbgSymLineTable;
class DbgSymSrcFile;
class Loader;
struct DbgSymFuncScope;
struct DbgSymLineEntry;

/// Works on a file whose index is loaded. The first question about a unit loads what it needs; an
/// address that lies in no unit's range is looked for in the tables of the units that have none,
/// then in those of all others, whose code can lie outside the range they state. Each table is
/// loaded once.
class AddressLookup {
public:
    explicit AddressLookup(Loader& file);

    struct Place {
        const DbgSymSrcFile* unit;
        const DbgSymLineEntry* entry;
        const std::string* path; ///< the row's file, or the unit's own
        bool isLast;             ///< of its table
    };
    std::optional<Place> FindLine(const DbgAddress& address);

    /// The unit of an address, by its range or by its lines; null if no unit has it.
    const DbgSymSrcFile* FindUnit(const DbgAddress& address);

    /// The function of the store whose range holds the address, after its unit's symbols have been
    /// loaded. Null if there is none.
    const DbgSymFuncScope* FindFunction(const DbgAddress& address);

    /// False if the next row has the same address.
    static bool HasCode(const DbgSymLineTable& table, u32 row);

private:
    std::optional<Place> FindInUnit(u32 unit, const DbgAddress& address);
    bool LoadNextGroup();
    void AddRuns(u32 unit);
    ExtentIndex& RowsOf(u32 unit);
    bool IsStray(u32 unit, const DbgSymLineTable& table, u32 row) const;
    ExtentIndex& FunctionsOf(u32 unitId);

    Loader& m_file;
    u32 m_section;                               ///< of the addresses of this file; kNone if absolute
    ExtentIndex m_ranges;                        ///< of the units that state one
    ExtentIndex m_runs;                          ///< runs of rows of the units whose tables were searched
    std::vector<u32> m_groups[2];                ///< units whose runs aren't in m_runs yet: without range, with
    std::unordered_map<u32, ExtentIndex> m_rows; ///< of the units that were asked, by their index
    std::size_t m_nextGroup = 0;
    std::unordered_map<u32, ExtentIndex> m_functions; ///< by the id of the unit
    std::size_t m_functionsSeen = 0;                  ///< those of the store that are in there
};
