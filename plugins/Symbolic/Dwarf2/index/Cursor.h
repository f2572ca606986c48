// Positioning in a section buffer.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"

/// The only way to move a cursor to an offset. An offset outside the section puts it at the end, where every loop
/// stops.
inline void Seek(VFKDataBuf& section, u32 offset)
{
    section.SetPos(offset);
}

inline bool AtEnd(const VFKDataBuf& section)
{
    return section.AtEnd();
}

/// True if `data` points to a byte of the section.
inline bool LiesIn(const VFKDataBuf& section, const u8* data)
{
    return data >= section.Begin() && data < section.End();
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
