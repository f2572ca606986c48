// From a name to the DIE that `.debug_pubnames` (DWARF 2.0, 6.1.1) gives for it.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"

#include <cstring>
#include <utility>
#include <vector>

namespace {

/// Which entries a search has passed. Sets whose declared lengths are too short overlap, and what follows an entry that
/// has been passed has been passed as well. Nothing is noted until such a set appears.
class SearchedEntries {
public:
    void StartNoting(u32 sectionSize) { m_passed.resize(sectionSize); }

    /// False if the search has been at `offset` before.
    bool Add(u32 offset)
    {
        if (offset >= m_passed.size()) {
            return true;
        }
        const bool first = !m_passed[offset];
        m_passed[offset] = true;
        return first;
    }

    /// Reads the text at the cursor. One that starts within the last one ends where that ends.
    const char* ReadText(VFKDataBuf& section)
    {
        const u32 start = section.Pos();
        if (start < m_textStart || start >= m_textEnd) {
            const char* text = section.GetCStr();
            m_textStart = start;
            m_textEnd = section.Pos();
            return text;
        }
        const u8* text = section.Cursor();
        Seek(section, m_textEnd);
        return reinterpret_cast<const char*>(text);
    }

private:
    std::vector<bool> m_passed;
    u32 m_textStart = 0;
    u32 m_textEnd = 0;
};

} // namespace

u32 Dwarf2File::FindPubName(const char* name, bool restart)
{
    ReadLateSection(m_debug_pubnames, ".debug_pubnames", false);
    if (restart || AtEnd(m_debug_pubnames)) {
        Seek(m_debug_pubnames, 0);
        m_pubNames.setLength = 0;
    }
    if (name == nullptr) {
        return kNone;
    }
    return SearchPubNames([name](const char* text, u32) { return std::strcmp(text, name) == 0; });
}

void Dwarf2File::OpenPubNameSet()
{
    m_pubNames.setLength = m_debug_pubnames.Get32();
    m_pubNames.setOffset = m_debug_pubnames.Pos();
    m_pubNames.setVersion = m_debug_pubnames.Get16();
    m_pubNames.infoOffset = m_debug_pubnames.Get32();
    m_pubNames.infoLength = m_debug_pubnames.Get32();
}

/// From the cursor on, up to the entry for which `isWanted(text, DIE)` is true.
template <typename Wanted>
u32 Dwarf2File::SearchPubNames(Wanted&& isWanted)
{
    SearchedEntries searched;
    while (!AtEnd(m_debug_pubnames)) {
        if (m_pubNames.setLength == 0) {
            OpenPubNameSet();
        }
        while (searched.Add(m_debug_pubnames.Pos())) {
            const u32 entry = m_debug_pubnames.Get32();
            if (entry == 0) {
                break;
            }
            const char* text = searched.ReadText(m_debug_pubnames);
            if (text != nullptr && isWanted(text, m_pubNames.infoOffset + entry)) {
                return m_pubNames.infoOffset + entry;
            }
        }
        // The next set is where the declared length says. A sum that wraps would lead back to what has been searched:
        // it ends the search.
        const u64 next = u64{m_pubNames.setOffset} + m_pubNames.setLength;
        if (next < m_debug_pubnames.Pos()) {
            searched.StartNoting(m_debug_pubnames.Size());
        }
        Seek(m_debug_pubnames, next < kNone ? static_cast<u32>(next) : kNone);
        m_pubNames.setLength = 0;
    }
    return kNone;
}

/// At the fifth name makes the index.
/// @return true if it is there.
bool Dwarf2File::IndexPubNames()
{
    constexpr u32 kFew = 4;
    if (m_pubNames.asked++ != kFew) {
        return m_pubNames.index.has_value();
    }
    FindPubName(nullptr, true);
    PubNameIndex index;
    u64 length = 0;
    SearchPubNames([&](const char* text, u32 die) {
        length += std::strlen(text);
        index.Add({text, die, m_pubNames.setOffset - 4, m_debug_pubnames.Pos()});
        return length > m_debug_pubnames.Size();
    });
    if (length <= m_debug_pubnames.Size()) { // else sets overlap, and have one long text many times
        index.Sort();
        m_pubNames.index = std::move(index);
    }
    return m_pubNames.index.has_value();
}

u32 Dwarf2File::FindIndexedPubName(const char* name)
{
    // The cursor, at whose place a dump looks, goes where a search would have left it.
    const PubName* found = m_pubNames.index->Find(name);
    Seek(m_debug_pubnames, found == nullptr ? kNone : found->set);
    m_pubNames.setLength = 0;
    if (found == nullptr) {
        return kNone;
    }
    OpenPubNameSet();
    Seek(m_debug_pubnames, found->end);
    return found->die;
}

bool Dwarf2File::LoadSymbolByName(const DbgSymContext*, const char* name)
{
    const u32 offset = name != nullptr && IndexPubNames() ? FindIndexedPubName(name) : FindPubName(name, true);
    if (offset == kNone) {
        return false;
    }
    // The selection set here stays after the load.
    m_flags &= ~(kLoadFunctions | kLoadBlocks | kLoadVariables);
    m_flags |= kLoadTypeModifiers | kResolveTypes | kLoadTypes;
    m_pendingDies.push_back(offset);
    LoadPendingDies();
    return true;
}
