// From a name to the DIE that `.debug_pubnames` (DWARF 2.0, 6.1.1) gives for it.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"

#include <cstring>

u32 Dwarf2File::FindPubName(const char* name, bool restart)
{
    ReadLateSection(m_debug_pubnames, ".debug_pubnames", false);
    if (restart || AtEnd(m_debug_pubnames)) {
        Seek(m_debug_pubnames, 0);
        m_pubLength = 0;
    }
    if (name == nullptr) {
        return kNone;
    }
    while (!AtEnd(m_debug_pubnames)) {
        if (m_pubLength == 0) {
            m_pubLength = m_debug_pubnames.Get32();
            m_pubSetOffset = m_debug_pubnames.Pos();
            m_pubVersion = m_debug_pubnames.Get16();
            m_pubInfoOffset = m_debug_pubnames.Get32();
            m_pubInfoLength = m_debug_pubnames.Get32();
        }
        while (const u32 entry = m_debug_pubnames.Get32()) {
            const char* text = m_debug_pubnames.GetCStr();
            if (text != nullptr && std::strcmp(text, name) == 0) {
                return m_pubInfoOffset + entry;
            }
        }
        // The set is corrected by its declared length. A sum that wraps ends the search: it would
        // lead back to what the search has passed.
        const u64 next = u64{m_pubSetOffset} + m_pubLength;
        Seek(m_debug_pubnames, next < kNone ? static_cast<u32>(next) : kNone);
        m_pubLength = 0;
    }
    return kNone;
}

bool Dwarf2File::LoadSymbolByName(const DbgSymContext*, const char* name)
{
    const u32 offset = FindPubName(name, true);
    if (offset == kNone) {
        return false;
    }
    // The selection stays as it is set here.
    m_flags &= ~(kLoadFunctions | kLoadBlocks | kLoadVariables);
    m_flags |= kLoadTypeModifiers | kResolveTypes | kLoadTypes;
    m_pendingDies.push_back(offset);
    LoadPendingDies();
    return true;
}
