// The sections of all living lists, for the conversions of addresses.
#pragma once

#include "AddressMap.h"
#include "interfaces/DbgSection.h"
#include "interfaces/Types.h"

#include <unordered_map>
#include <vector>

namespace engine {

/// One for the process. Like the engine, it is used from one thread.
class SectionRegistry {
public:
    static SectionRegistry& Get();

    /// Makes sure that the next Add needs no memory.
    void MakeRoom();
    /// @param section borrowed from `owner`.
    void Add(const DbgSectionList* owner, const DbgSection* section);
    /// Needs no memory: a list may be destroyed when there is none.
    void Remove(const DbgSectionList* owner);

    /// The section of that id, the one added last if there are several; null if there is none.
    const DbgSection* Find(u32 id);
    /// The section that contains the address, the one added last if there are several; else null.
    const DbgSection* FindContaining(u32 address);

private:
    struct Entry {
        const DbgSectionList* owner;
        const DbgSection* section;
    };
    std::vector<Entry> m_entries;                      ///< in the order in which they were added
    std::unordered_map<u32, const DbgSection*> m_byId; ///< made on first use after a change
    bool m_idsChanged = false;
    AddressMap m_byAddress; ///< of indexes in m_entries; made on first use after a change
    bool m_changed = false;
};

} // namespace engine
