// Look-ups in an ELF symbol table: by name, by value, by extent, and the function at an address. Each index is made on
// first use.
#pragma once

#include "interfaces/Elf32.h"
#include "interfaces/Types.h"

#include <string_view>
#include <vector>

/// Answers are positions in the symbol table, or kNone. Entry 0, the reserved null symbol, is never an answer. Building
/// an index of n symbols takes O(n log n), an answer O(log n), whatever the table holds; the name index also reads the
/// string table once.
class SymbolIndex {
public:
    /// Borrows both, which must not change afterwards.
    /// @param strings the string table; a zero follows its end.
    /// @param thumbBit true if bit 0 of a function's value marks Thumb code and is not part of the address.
    SymbolIndex(const std::vector<elf32_sym>& symbols, std::string_view strings, bool thumbBit);

    /// The first symbol of that name in table order. A symbol whose name is outside the string table has none.
    u32 FindName(const char* name);

    /// The first symbol of exactly that value in table order.
    u32 FindValue(u32 value);
    /// The first symbol of that value and size, found by looking through the symbols of that value.
    u32 FindValueAndSize(u32 value, u32 size);
    /// The symbol after another in ascending order of value, table order among equals.
    u32 NextByValue(u32 symbol);

    /// The symbol with the smallest extent that contains the address, the first of the table among
    /// equals. Extents end at 4 GiB at the latest.
    u32 FindContaining(u32 address);

    /// Of the defined STT_FUNC symbols at or below the address, the first with the greatest value.
    /// @param next gets the function after it in ascending order; untouched if there is no answer.
    u32 FindFunction(u32 address, u32& next);

private:
    /// A key in the upper half and a symbol in the lower, sorted: table order among equal keys.
    using SortedKeys = std::vector<u64>;

    /// From `start` up to the next run's start the same symbol is the answer; kNone for none.
    struct ExtentRun {
        u32 start;
        u32 symbol;
    };

    const SortedKeys& ByName();
    const SortedKeys& ByValue();
    const SortedKeys& Functions();
    const std::vector<ExtentRun>& ExtentRuns();

    const std::vector<elf32_sym>& m_symbols;
    std::string_view m_strings;
    bool m_thumbBit;
    bool m_namesBuilt = false;
    bool m_extentsBuilt = false;
    bool m_functionsBuilt = false;
    SortedKeys m_byName; ///< by a hash of the name
    SortedKeys m_byValue;
    SortedKeys m_functions;
    std::vector<ExtentRun> m_extentRuns;
};
