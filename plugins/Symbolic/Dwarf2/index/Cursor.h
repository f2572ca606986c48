// Positioning in a section buffer.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"

/// The clamped seek: the one way to an offset. One that isn't below the section's size puts the
/// cursor at the end, where every loop stops.
inline void Seek(VFKDataBuf& section, u32 offset)
{
    section.SetPos(offset);
}

inline bool AtEnd(const VFKDataBuf& section)
{
    return section.AtEnd();
}

/// Notes a section's cursor and puts it back, by offset, at the scope's end.
class SavedCursor {
public:
    explicit SavedCursor(VFKDataBuf& section)
        : m_section(section)
        , m_offset(section.Pos())
    {
    }
    ~SavedCursor() { Seek(m_section, m_offset); }
    SavedCursor(const SavedCursor&) = delete;
    SavedCursor& operator=(const SavedCursor&) = delete;

private:
    VFKDataBuf& m_section;
    u32 m_offset;
};

/// Counts a nested operation for the length of a scope.
class DepthGuard {
public:
    explicit DepthGuard(u32& depth)
        : m_depth(depth)
    {
        ++m_depth;
    }
    ~DepthGuard() { --m_depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

private:
    u32& m_depth;
};
