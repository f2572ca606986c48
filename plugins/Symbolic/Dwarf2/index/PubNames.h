// What is kept of `.debug_pubnames` between searches.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

/// An entry, and where a search for its name ends.
struct PubName {
    const char* name; ///< in the section's bytes
    u32 die;
    u32 set; ///< offset of the header of its set
    u32 end; ///< of its name, behind the closing zero
};

/// The entries by their names, for an engine that asks for many.
class PubNameIndex {
public:
    void Add(const PubName& entry) { m_entries.push_back({entry, HashOf(entry.name)}); }

    /// To be called when all are there. Of equal names the one that was added first is found.
    void Sort()
    {
        std::stable_sort(m_entries.begin(), m_entries.end(),
                         [](const Entry& one, const Entry& other) { return one.hash < other.hash; });
    }

    /// The entry of that name, or null.
    const PubName* Find(const char* name) const
    {
        const u32 hash = HashOf(name);
        auto entry = std::lower_bound(m_entries.begin(), m_entries.end(), hash,
                                      [](const Entry& one, u32 value) { return one.hash < value; });
        for (; entry != m_entries.end() && entry->hash == hash; ++entry) {
            if (std::strcmp(entry->entry.name, name) == 0) {
                return &entry->entry;
            }
        }
        return nullptr;
    }

private:
    struct Entry {
        PubName entry;
        u32 hash;
    };

    static u32 HashOf(const char* name) { return static_cast<u32>(std::hash<std::string_view>()(name)); }

    std::vector<Entry> m_entries;
};

struct PubNames {
    u32 setLength = 0; ///< header of the set that is being searched; 0: none is open
    u32 setOffset = 0;
    u32 setVersion = 0;
    u32 infoOffset = 0;
    u32 infoLength = 0;
    u32 asked = 0; ///< how many names
    std::optional<PubNameIndex> index;
};
