// Reading and writing of numbers in the byte order of a file.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace convert {

/// Borrowed bytes of a section, from `data` on.
struct ByteView {
    const u8* data = nullptr;
    std::size_t size = 0;

    /// The bytes from `offset` on, `count` at most; empty beyond the end.
    ByteView From(u64 offset, u64 count = ~u64{0}) const
    {
        if (offset >= size) {
            return {};
        }
        const u64 rest = size - offset;
        return {data + offset, static_cast<std::size_t>(count < rest ? count : rest)};
    }
};

/// The operators of a location expression. A string, since there are many and most are short.
using ExpressionBytes = std::basic_string<u8>;

inline ByteView View(const ExpressionBytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

/// A number of 1 to 8 bytes.
inline u64 LoadNumber(const u8* at, u32 width, bool bigEndian)
{
    if (width == 4) { // by far the most frequent
        return bigEndian ? u32{at[0]} << 24 | u32{at[1]} << 16 | u32{at[2]} << 8 | at[3]
                         : u32{at[3]} << 24 | u32{at[2]} << 16 | u32{at[1]} << 8 | at[0];
    }
    u64 value = 0;
    for (u32 i = 0; i < width; ++i) {
        value = value << 8 | at[bigEndian ? i : width - 1 - i];
    }
    return value;
}

inline void StoreNumber(u8* at, u64 value, u32 width, bool bigEndian)
{
    if (width == 4) {
        for (u32 i = 0; i < 4; ++i) {
            at[i] = static_cast<u8>(value >> 8 * (bigEndian ? 3 - i : i));
        }
        return;
    }
    for (u32 i = 0; i < width; ++i) {
        at[bigEndian ? width - 1 - i : i] = static_cast<u8>(value >> 8 * i);
    }
}

/// A cursor over borrowed bytes. Reading beyond the end gives zeros, leaves the cursor at the end and sets Failed().
class ByteReader {
public:
    ByteReader(ByteView bytes, bool bigEndian)
        : m_bytes(bytes)
        , m_bigEndian(bigEndian)
    {
    }

    bool AtEnd() const { return m_offset >= m_bytes.size; }
    bool Failed() const { return m_failed; }
    std::size_t Offset() const { return m_offset; }
    std::size_t Size() const { return m_bytes.size; }
    const u8* Data() const { return m_bytes.data; }
    /// Goes to an offset from the start of the bytes; one beyond the end counts as the end and as a failure.
    void Seek(u64 offset);
    void Skip(u64 count);

    u8 U8() { return static_cast<u8>(Number(1)); }
    u16 U16() { return static_cast<u16>(Number(2)); }
    u32 U32() { return static_cast<u32>(Number(4)); }
    u64 U64() { return Number(8); }
    /// A number of 1 to 8 bytes.
    u64 Number(u32 width);
    u64 Uleb();
    i64 Sleb();
    /// Text up to its zero, which is skipped; empty if the bytes end before it.
    std::string_view Text();
    /// `count` bytes, or an empty view if there are fewer.
    ByteView Block(u64 count);

private:
    ByteView m_bytes;
    bool m_bigEndian;
    std::size_t m_offset = 0;
    bool m_failed = false;
};

/// Bytes to be written to a file, in its byte order. Grows as needed.
class ByteWriter {
public:
    explicit ByteWriter(bool bigEndian)
        : m_bigEndian(bigEndian)
    {
    }

    bool BigEndian() const { return m_bigEndian; }
    u32 Size() const { return static_cast<u32>(m_size); }
    ByteView View() const { return {m_bytes.get(), m_size}; }

    void U8(u64 value) { *Claim(1) = static_cast<u8>(value); }
    void U16(u64 value) { Number(value, 2); }
    void U32(u64 value) { Number(value, 4); }
    void U64(u64 value) { Number(value, 8); }
    void Number(u64 value, u32 width) { StoreNumber(Claim(width), value, width, m_bigEndian); }
    void Uleb(u64 value)
    {
        for (; value >= 0x80; value >>= 7) {
            U8(value | 0x80);
        }
        U8(value);
    }
    void Sleb(i64 value);
    /// The text and a zero.
    void Text(std::string_view text);
    void Append(ByteView bytes);
    /// Overwrites four existing bytes.
    void PatchU32(u32 offset, u32 value) { StoreNumber(m_bytes.get() + offset, value, 4, m_bigEndian); }
    /// Reserves room for that many bytes at once, instead of growing step by step.
    void Reserve(std::size_t size)
    {
        if (size > m_capacity) {
            Resize(size);
        }
    }
    /// Removes everything after the first `size` bytes.
    void Truncate(u32 size) { m_size = size; }

private:
    /// Room for `count` bytes at the end.
    u8* Claim(std::size_t count)
    {
        if (m_capacity - m_size < count) {
            Grow(count);
        }
        u8* const at = m_bytes.get() + m_size;
        m_size += count;
        return at;
    }
    void Grow(std::size_t count);
    void Resize(std::size_t capacity);

    std::unique_ptr<u8[]> m_bytes;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    bool m_bigEndian;
};

} // namespace convert
