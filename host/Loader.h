// One symbol file in the engine: its store, and what is asked of the plug-in for it, in which order.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_set>

class DbgSymbolicInterface;
class ShownFile;

/// How much is loaded ahead of the first request.
enum class LoadDepth {
    None,    ///< the file itself
    Index,   ///< its sections and compile units
    Symbols, ///< each unit's functions, file-level variables and types
    All,     ///< each function's scopes, and each unit's line table
};

/// Asks for each thing once: a second request for a unit, say, does nothing. Whatever the plug-in
/// finds comes to the store.
class Loader {
public:
    /// @param plugin outlives this.
    /// @param key the store's id, and the first word of every context.
    Loader(DbgSymbolicInterface& plugin, const std::string& path, u32 key = 1);
    /// @param file outlives this.
    Loader(DbgSymbolicInterface& plugin, const ShownFile& file, u32 key = 1);
    /// Removes the file from the plug-in.
    ~Loader();
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    DbgSymbolicInterface& Plugin() const { return m_plugin; }
    DbgSymSymFile& Store() { return m_store; }
    const DbgSymSymFile& Store() const { return m_store; }
    /// The path to show to a person; the store's own may be that of a converted file.
    const std::string& ShownPath() const { return m_shownPath; }
    /// True if the store is that of a converted file.
    bool IsConverted() const { return m_store.GetPath() != m_shownPath; }

    /// CheckFile: how much of the file the plug-in can serve, 0 for nothing.
    u32 Rate();
    /// What Rate() said last.
    u32 Rating() const { return m_rating; }

    /// Called as a unit has been loaded, or its lines, with the number of those that have.
    std::function<void(std::size_t)> onUnit;

    /// AddFile, once: every request below needs it.
    /// @return false if the plug-in has no memory for the file.
    bool Add();

    void LoadSections();
    /// The sections, then the compile-unit index.
    void LoadIndex();
    /// One unit's functions, file-level variables and types.
    void LoadUnit(u32 unitId);
    /// One function's blocks, parameters and locals.
    void LoadScopes(const DbgSymFuncScope& function);
    void LoadLines(u32 unitId);

    /// Everything up to a depth, in the order on which the order of the store rests: the sections
    /// and the index; unit by unit the unit's symbols and, at LoadDepth::All, at once the scopes of
    /// the functions that this request brought; then, at LoadDepth::All, the line tables.
    void Load(LoadDepth depth);

    /// Every line table.
    void LoadAllLines();

    /// The number of units that the index gave. They stand at the head of the store's file scopes,
    /// in the order of the section; a walk that meets the entry of a unit adds further ones.
    std::size_t UnitCount() const { return m_unitCount; }

    /// True if the index made a section to which all addresses of the file are relative.
    bool SectionRelative() const { return m_relocationSection != kNone; }
    /// Its id, or kNone.
    u32 RelocationSection() const { return m_relocationSection; }

    /// A link address in the form in which the file's addresses are held. A section-relative file
    /// is linked at 0, so its link addresses are the offsets.
    DbgAddress AddressOf(u32 linkAddress) const;

    /// The unit that a thing of the store is listed under: the file scope it was given with, else
    /// the unit in which its id, a DIE offset, lies; kNone if there is none.
    u32 UnitOf(u32 fileScope, u32 id) const;

    /// A context that names the file and nothing in it.
    DbgSymContext Context() const;

private:
    void LoadUnitsUpTo(LoadDepth depth);

    DbgSymbolicInterface& m_plugin;
    DbgSymSymFile m_store;
    const std::string m_shownPath;
    u32 m_rating = 0;
    bool m_added = false;
    bool m_sectionsLoaded = false;
    bool m_indexLoaded = false;
    std::size_t m_unitCount = 0;
    u32 m_relocationSection = kNone;
    std::unordered_set<u32> m_unitsLoaded;
    std::unordered_set<u32> m_scopesLoaded;
    std::unordered_set<u32> m_linesLoaded;
};

/// Why a file can't be read at all (not there, a directory, ...), in the system's words; empty if it
/// can.
std::string WhyUnreadable(const std::string& path);

/// Why a readable file is not one for a plug-in; empty if it is a 32-bit ELF file.
std::string WhyNotElf32(const std::string& path);
