// From a name to the things of a file that have it: functions, variables and types of the store, ELF symbols.
#pragma once

#include "host/AddressLookup.h"
#include "host/NamePattern.h"
#include "host/SymbolTable.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class Loader;
class VFKElfFile;
struct DbgVariable;

/// One thing with a name that was asked for.
struct NamedThing {
    enum class Kind : u8 { Function, Inlined, Variable, Type, Enumerator, Symbol };

    Kind kind;
    u32 index = 0; ///< in the store: of the function, block, variable or type; else in the symbol table
    u32 value = 0; ///< index of an enumerator in its type
    std::vector<const ElfSymbol*> symbols; ///< that stand for it, the preferred first
};

/// Where the location of a variable is an address by itself; nothing for any other.
std::optional<u32> FixedAddress(const DbgVariable& variable);

/// Works on a file whose index is loaded. Loads the units that mention the name or that hold its ELF
/// symbol; for a pattern, and after a handful of names, everything.
class NameLookup {
public:
    /// @param elf the same file.
    NameLookup(Loader& file, const VFKElfFile& elf);

    /// The things that the pattern fits best: by kind, and in the order of the store and the table.
    std::vector<NamedThing> Find(const NamePattern& pattern);
    /// The symbols with a place or an absolute value that the pattern fits best; loads nothing.
    std::vector<const ElfSymbol*> FindSymbols(const NamePattern& pattern);

    /// So many names will be asked for. Loads everything at once if that is cheaper than looking for them one by one.
    void Expect(std::size_t names);

    /// All units with all scopes.
    void LoadEverything();

    SymbolTable& Symbols() { return m_symbols; }
    /// The C++ name of a symbol; empty if it is none.
    std::string_view Demangled(const ElfSymbol& symbol);
    /// Names of the file, and their last words, for suggestions; of a large file only those that are loaded. Each
    /// stands there once, and is good until the next call of this class.
    const std::vector<std::string>& KnownNames();

private:
    /// A thing by a hash of its last word. A symbol can have two: its C++ name's as well.
    struct Entry {
        u32 hash;
        u32 index;
        u16 value;
        NamedThing::Kind kind;
    };
    struct Offered {
        NamedThing thing;
        NameMatch match;
    };

    void EnterSymbols();
    void EnterStore();
    void Enter(NamedThing::Kind kind, std::size_t index, std::size_t value = 0)
    {
        m_entries.push_back({0, static_cast<u32>(index), static_cast<u16>(value), kind});
    }
    void SortEntries();
    std::span<const Entry> Candidates(const NamePattern& pattern, const std::vector<std::string>& words);
    std::string_view NameOf(const Entry& entry) const;
    void Load(const NamePattern& pattern, const std::vector<u32>& symbols);
    void LoadUnit(u32 unitId);
    std::vector<u32> MatchSymbols(const NamePattern& pattern);
    Offered Offer(const NamePattern& pattern, const Entry& entry, NameMatch own) const;
    std::vector<Offered> Fitting(const NamePattern& pattern, std::span<const Entry> candidates);
    std::vector<const ElfSymbol*> SymbolsOf(const Entry& entry) const;
    u32 IndexOf(const ElfSymbol& symbol) const { return static_cast<u32>(&symbol - m_symbols.All().data()); }

    Loader& m_file;
    const VFKElfFile& m_elf;
    SymbolTable m_symbols;
    std::vector<std::string> m_demangled; ///< of each symbol
    AddressLookup m_addresses;
    std::vector<Entry> m_entries; ///< those up to m_sorted ascending by hash
    std::vector<Entry> m_candidates;
    std::unordered_map<const char*, u32> m_hashes; ///< of the last words of names
    std::size_t m_sorted = 0;
    std::size_t m_functions = 0; ///< entered so far
    std::size_t m_blocks = 0;
    std::size_t m_variables = 0;
    std::size_t m_types = 0;
    std::size_t m_scoped = 0; ///< functions whose scopes are loaded
    u32 m_searches = 0;       ///< through the sections
    bool m_everything = false;
    std::vector<std::string> m_knownNames;
    std::size_t m_known = 0; ///< entries that are among them
};

/// The end of a complaint that there is no such name: ". Did you mean ...?", if some are near.
std::string NearNames(NameLookup& lookup, const NamePattern& pattern);
