// Numbers of up to eight bytes and LEB128; reading stops at the end of the bytes.
#include "convert/Bytes.h"

#include <algorithm>
#include <utility>

namespace convert {

void ByteReader::Seek(u64 offset)
{
    if (offset > m_bytes.size) {
        m_failed = true;
        offset = m_bytes.size;
    }
    m_offset = static_cast<std::size_t>(offset);
}

void ByteReader::Skip(u64 count)
{
    if (count > m_bytes.size - m_offset) {
        m_failed = true;
        m_offset = m_bytes.size;
    } else {
        m_offset += static_cast<std::size_t>(count);
    }
}

u64 ByteReader::Number(u32 width)
{
    if (width > 8 || width > m_bytes.size - m_offset) {
        m_failed = true;
        m_offset = m_bytes.size;
        return 0;
    }
    const u64 value = LoadNumber(m_bytes.data + m_offset, width, m_bigEndian);
    m_offset += width;
    return value;
}

u64 ByteReader::Uleb()
{
    u64 value = 0;
    for (u32 shift = 0; m_offset < m_bytes.size; shift += 7) {
        const u8 byte = m_bytes.data[m_offset++];
        if (shift < 64) {
            value |= u64{byte & 0x7Fu} << shift;
        }
        if ((byte & 0x80) == 0) {
            return value;
        }
    }
    m_failed = true;
    return 0;
}

i64 ByteReader::Sleb()
{
    u64 value = 0;
    for (u32 shift = 0; m_offset < m_bytes.size;) {
        const u8 byte = m_bytes.data[m_offset++];
        if (shift < 64) {
            value |= u64{byte & 0x7Fu} << shift;
            shift += 7;
        }
        if ((byte & 0x80) == 0) {
            if (shift < 64 && (byte & 0x40) != 0) {
                value |= ~u64{0} << shift;
            }
            return static_cast<i64>(value);
        }
    }
    m_failed = true;
    return 0;
}

std::string_view ByteReader::Text()
{
    const std::size_t rest = m_bytes.size - m_offset;
    const void* end = rest == 0 ? nullptr : std::memchr(m_bytes.data + m_offset, 0, rest);
    if (end == nullptr) {
        m_failed = true;
        m_offset = m_bytes.size;
        return {};
    }
    const char* begin = reinterpret_cast<const char*>(m_bytes.data + m_offset);
    const std::size_t length = static_cast<std::size_t>(static_cast<const char*>(end) - begin);
    m_offset += length + 1;
    return {begin, length};
}

ByteView ByteReader::Block(u64 count)
{
    if (count > m_bytes.size - m_offset) {
        m_failed = true;
        m_offset = m_bytes.size;
        return {};
    }
    const ByteView block{m_bytes.data + m_offset, static_cast<std::size_t>(count)};
    m_offset += block.size;
    return block;
}

void ByteWriter::Sleb(i64 value)
{
    for (bool more = true; more;) {
        const u8 low = static_cast<u8>(value & 0x7F);
        value >>= 7; // arithmetic
        more = !((value == 0 && (low & 0x40) == 0) || (value == -1 && (low & 0x40) != 0));
        U8(low | (more ? 0x80u : 0u));
    }
}

void ByteWriter::Text(std::string_view text)
{
    Append({reinterpret_cast<const u8*>(text.data()), text.size()});
    U8(0);
}

void ByteWriter::Append(ByteView bytes)
{
    if (bytes.size != 0) {
        std::memcpy(Claim(bytes.size), bytes.data, bytes.size);
    }
}

void ByteWriter::Grow(std::size_t count)
{
    constexpr std::size_t kFirstCapacity = 256;
    Resize(std::max({kFirstCapacity, 2 * m_capacity, m_size + count}));
}

void ByteWriter::Resize(std::size_t capacity)
{
    auto bytes = std::make_unique_for_overwrite<u8[]>(capacity);
    if (m_size != 0) {
        std::memcpy(bytes.get(), m_bytes.get(), m_size);
    }
    m_bytes = std::move(bytes);
    m_capacity = capacity;
}

} // namespace convert
