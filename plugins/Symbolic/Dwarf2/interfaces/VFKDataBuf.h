// A section's bytes with a read position. All reads are bounded: see each operation.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKBytes.h"

#include <bit>
#include <cstddef>
#include <cstring>

/// Owns a byte string and reads numbers and text from it at a cursor. A read never leaves the bytes: a number that does
/// not fit gets zeros for the missing bytes, and leaves the cursor at the end.
class VFKDataBuf {
public:
    /// @param reserved the library's first flag; no reader depends on it.
    /// @param littleEndian the byte order of the 16-, 32- and 64-bit reads.
    VFKDataBuf(bool reserved, bool littleEndian)
        : m_littleEndian(littleEndian)
    {
        static_cast<void>(reserved);
        Init();
    }
    VFKDataBuf(const VFKDataBuf&) = delete;
    VFKDataBuf& operator=(const VFKDataBuf&) = delete;

    /// The bytes. Whoever fills them calls Init() afterwards.
    VFKBytes bytes;

    /// Binds begin, cursor and end to the bytes; the cursor stands at the start.
    void Init()
    {
        m_begin = bytes.Data();
        m_cursor = m_begin;
        m_end = m_begin + bytes.Size();
    }

    u32 Size() const { return static_cast<u32>(m_end - m_begin); }
    const u8* Begin() const { return m_begin; }
    const u8* Cursor() const { return m_cursor; }
    const u8* End() const { return m_end; }
    bool AtEnd() const { return m_cursor >= m_end; }
    bool LittleEndian() const { return m_littleEndian; }

    /// The cursor's offset from the start.
    u32 Pos() const { return static_cast<u32>(m_cursor - m_begin); }

    /// Moves the cursor to an offset; one past the end moves it to the end.
    void SetPos(u32 offset) { m_cursor = offset < Size() ? m_begin + offset : m_end; }

    /// Moves the cursor on by `count` bytes, at most to the end.
    void Skip(u32 count) { m_cursor = count < static_cast<std::size_t>(m_end - m_cursor) ? m_cursor + count : m_end; }

    u8 Get8() { return m_cursor < m_end ? *m_cursor++ : u8{0}; }
    u16 Get16() { return Get<u16>(); }
    u32 Get32() { return Get<u32>(); }
    u64 Get64() { return Get<u64>(); }

    /// Reads an unsigned LEB128 number (DWARF 2.0, 7.6): all bytes up to one with a clear top
    /// bit; the low bits that fit into the width are kept.
    /// @param width the width of the result in bytes, always 4.
    u32 Get32_ULEB128(u32 width)
    {
        if (m_cursor < m_end && *m_cursor < 0x80) {
            return *m_cursor++;
        }
        return GetLongUleb128(width);
    }

    /// The same for a signed number, sign-extended from its last byte.
    i32 Get32_SLEB128(u32 width)
    {
        static_cast<void>(width);
        u32 value = 0;
        u32 shift = 0;
        while (m_cursor < m_end) {
            const u8 byte = *m_cursor++;
            if (shift < 32) {
                value |= static_cast<u32>(byte & 0x7Fu) << shift;
                shift += 7;
            }
            if (byte < 0x80) {
                if ((byte & 0x40u) != 0 && shift < 32) {
                    value |= ~u32{0} << shift;
                }
                break;
            }
        }
        return static_cast<i32>(value);
    }

    /// Text up to its end zero, which is stepped over too. Text without one reaches to the end of the bytes. Null at
    /// the end itself. The pointer is valid as long as the bytes are.
    const char* GetCStr()
    {
        if (m_cursor >= m_end) {
            return nullptr;
        }
        const char* text = reinterpret_cast<const char*>(m_cursor);
        const void* zero = std::memchr(m_cursor, 0, static_cast<std::size_t>(m_end - m_cursor));
        m_cursor = zero == nullptr ? m_end : static_cast<const u8*>(zero) + 1;
        return text;
    }

    /// A pointer to the next `count` bytes, which are stepped over. A block that does not fit is cut at the end: the
    /// caller must not read beyond End(). Never null.
    const u8* GetDataBlock(u32 count)
    {
        const u8* block = m_cursor;
        Skip(count);
        return block;
    }

private:
    template <typename Number>
    Number Get()
    {
        const auto left = static_cast<std::size_t>(m_end - m_cursor);
        u8 raw[sizeof(Number)] = {};
        if (left >= sizeof(Number)) [[likely]] {
            std::memcpy(raw, m_cursor, sizeof(Number));
            m_cursor += sizeof(Number);
        } else {
            if (left != 0) {
                std::memcpy(raw, m_cursor, left);
            }
            m_cursor = m_end;
        }
        Number value;
        std::memcpy(&value, raw, sizeof(Number));
        if (m_littleEndian != (std::endian::native == std::endian::little)) {
            value = Swap(value);
        }
        return value;
    }

    static u16 Swap(u16 value) { return __builtin_bswap16(value); }
    static u32 Swap(u32 value) { return __builtin_bswap32(value); }
    static u64 Swap(u64 value) { return __builtin_bswap64(value); }

    u32 GetLongUleb128(u32 width)
    {
        static_cast<void>(width);
        u32 value = 0;
        u32 shift = 0;
        while (m_cursor < m_end) {
            const u8 byte = *m_cursor++;
            if (shift < 32) {
                value |= static_cast<u32>(byte & 0x7Fu) << shift;
                shift += 7;
            }
            if (byte < 0x80) {
                break;
            }
        }
        return value;
    }

    const u8* m_begin = nullptr;
    const u8* m_cursor = nullptr;
    const u8* m_end = nullptr;
    bool m_littleEndian;
};
