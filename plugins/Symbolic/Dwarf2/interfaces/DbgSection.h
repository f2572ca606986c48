// Sections of a symbol file as the debug engine knows them.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>

/// eDbgSectionTypeTag: 16 marks data, 2 position-independent, and the two combine.
enum eDbgSectionTypeTag : u32 {
    kSectionCode = 0,
    kSectionPiCode = 2,
    kSectionData = 16,
    kSectionPiData = 18,
};

class DbgSection {
public:
    /// @param name may be null, which counts as empty.
    /// @param parent the engine's own; kNone for an ELF section.
    DbgSection(const char* name, u32 type, u32 id, u32 parent, u32 size, u32 base);

    std::string name;
    u32 type;
    u32 id;
    u32 parent;
    u32 size; ///< bytes
    u32 base; ///< address at which the section is linked
};

/// The sections of one symbol file in the order in which they were added. While the list lives,
/// the engine's address conversions know its sections.
class DbgSectionList {
public:
    DbgSectionList() = default;
    ~DbgSectionList();
    DbgSectionList(const DbgSectionList&) = delete;
    DbgSectionList& operator=(const DbgSectionList&) = delete;

    /// Adds a copy.
    void AddSection(const DbgSection* section);
    /// Null if there is none of that id. The pointer stays good while the list lives.
    const DbgSection* FindSection(u32 id) const;

    std::size_t Count() const { return m_sections.size(); }
    const DbgSection& At(std::size_t index) const { return m_sections[index]; }

private:
    std::deque<DbgSection> m_sections;
    std::unordered_map<u32, const DbgSection*> m_byId;
};
