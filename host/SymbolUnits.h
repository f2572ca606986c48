// Which compile unit a symbol comes from, and what the debug information names that the symbol table doesn't.
#pragma once

#include "host/Extents.h"
#include "host/ProgramImage.h"
#include "interfaces/Types.h"

#include <string_view>
#include <unordered_map>
#include <vector>

class DbgSymSymFile;
class Loader;

/// Units of one path are one unit here.
class SymbolUnits {
public:
    /// Loads the symbols of all units. If they don't know all variables, looks for those in `.debug_pubnames` as well,
    /// and loads what is local to functions.
    SymbolUnits(Loader& file, const ProgramImage& image);

    const std::vector<std::string_view>& Paths() const { return m_paths; }

    /// Index of the unit in Paths(), or kNone.
    u32 UnitOf(const ProgramSymbol& symbol) const;

    /// A function, or a variable at a fixed address.
    struct Thing {
        u32 address;
        u32 size;
        std::string_view name;
        u32 unit;
        SymbolKind kind;
        auto Place() const { return std::pair(address, name); }
    };
    /// Those of the store in ascending order of address.
    const std::vector<Thing>& Things() const { return m_things; }
    /// The addresses that units state for their code, ascending, without overlap.
    const std::vector<Extent>& Ranges() const { return m_ranges; }
    /// The unit whose range holds an address, or kNone.
    u32 UnitAt(u32 address) const;

private:
    void AddRanges(Loader& file);
    void AddLines(Loader& file);
    void AddThings(Loader& file);
    void AddVariables(const Loader& file);
    void Add(u32 address, u32 size, std::string_view name, u32 unit, SymbolKind kind);
    u32 IndexOf(std::string_view path);
    void AddPublicNames(Loader& file);
    bool LacksStatics() const;
    bool IsOfOthers(const ProgramSymbol& symbol, u32 address, u32 unit) const;
    bool IsUnknownVariable(const ProgramSymbol& symbol) const;

    const ProgramImage& m_image;
    std::vector<std::string_view> m_paths;
    std::unordered_map<std::string_view, u32> m_byPath;
    std::unordered_map<u32, u32> m_byId;                     ///< index of a unit by the id of its file scope
    std::unordered_map<std::string_view, u32> m_publicNames; ///< units of variables by the names of their symbols
    std::vector<Thing> m_things;
    std::vector<Extent> m_ranges;
    std::vector<bool> m_reachesOver; ///< of each unit that states a range: whether other units lie in that
    std::unordered_map<u32, std::vector<Extent>> m_lines; ///< of those that do: what has lines, in ascending order
};

/// A symbol's name without the number by which a compiler tells local ones apart: "count" for "count.0".
std::string_view WithoutNumber(std::string_view name);
