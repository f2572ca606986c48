// Growable bytes addressed by offset, for expressions and small records.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <string>

/// A byte string whose numbers are read and written at a caller's offset. A read moves the offset past what it took and
/// stays inside the bytes, as in VFKDataBuf; a write grows the string as needed and fills a gap with zeros.
class VFKDataString {
public:
    /// @param reserved the library's first flag, copied along; no reader depends on it.
    /// @param littleEndian the byte order of the 16- and 32-bit operations.
    VFKDataString(bool reserved, bool littleEndian);
    VFKDataString(bool reserved, bool littleEndian, std::string contents);
    VFKDataString(bool reserved, bool littleEndian, const u8* data, u32 length);

    /// The bytes; callers insert and erase directly.
    std::string bytes;

    bool Reserved() const { return m_reserved; }
    bool LittleEndian() const { return m_littleEndian; }
    u32 Size() const { return static_cast<u32>(bytes.size()); }

    /// True if the offset lies inside the bytes.
    bool ValidOffset(u32 pos) const { return pos < bytes.size(); }

    u8 Get8(u32* pos) const;
    u16 Get16(u32* pos) const;
    u32 Get32(u32* pos) const;

    /// LEB128 numbers as VFKDataBuf reads them.
    /// @param width the width of the result in bytes, always 4.
    /// @param ok set to whether the number had its last byte; may be null.
    u32 Get32_ULEB128(u32* pos, u32 width, bool* ok) const;
    i32 Get32_SLEB128(u32* pos, u32 width, bool* ok) const;

    /// Text up to its end zero or the end of the bytes; null at the end itself. The pointer is valid until the bytes
    /// change.
    const char* GetCStr(u32* pos) const;

    /// Each writes at `pos` and returns the offset after what it wrote.
    u32 Put8(u32 pos, u8 value);
    u32 Put16(u32 pos, u16 value);
    u32 Put32(u32 pos, u32 value);
    u32 Put(u32 pos, const void* data, u32 length);

private:
    bool m_reserved;
    bool m_littleEndian;
};
