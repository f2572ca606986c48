// Reads and writes numbers and text at an offset in a growing byte string.
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

/// Moves an offset past the end back to the end, and returns it.
std::size_t Clamp(const std::string& bytes, u32 pos)
{
    return std::min<std::size_t>(pos, bytes.size());
}

/// The place in a number of `width` bytes of the lowest bit of its byte `index`.
u32 ByteShift(u32 index, u32 width, bool littleEndian)
{
    return 8 * (littleEndian ? index : width - 1 - index);
}

u32 GetNumber(const std::string& bytes, u32* pos, u32 width, bool littleEndian)
{
    std::size_t at = Clamp(bytes, *pos);
    u32 value = 0;
    for (u32 index = 0; index < width && at < bytes.size(); ++index, ++at) {
        value |= static_cast<u32>(static_cast<u8>(bytes[at])) << ByteShift(index, width, littleEndian);
    }
    *pos = static_cast<u32>(at);
    return value;
}

struct Leb128 {
    u32 value = 0;
    u32 shift = 0;         ///< bits read, counted until they are 32 or more
    u8 last = 0;           ///< the last byte read
    bool complete = false; ///< the last byte has a clear top bit
};

/// Takes all bytes up to one with a clear top bit and keeps the low 32 bits (DWARF 2.0, 7.6).
Leb128 GetLeb128(const std::string& bytes, u32* pos)
{
    Leb128 number;
    std::size_t at = Clamp(bytes, *pos);
    while (at < bytes.size() && !number.complete) {
        number.last = static_cast<u8>(bytes[at++]);
        number.complete = number.last < 0x80;
        if (number.shift < 32) {
            number.value |= static_cast<u32>(number.last & 0x7Fu) << number.shift;
            number.shift += 7;
        }
    }
    *pos = static_cast<u32>(at);
    return number;
}

} // namespace

VFKDataString::VFKDataString(bool reserved, bool littleEndian)
    : m_reserved(reserved)
    , m_littleEndian(littleEndian)
{
}

VFKDataString::VFKDataString(bool reserved, bool littleEndian, std::string contents)
    : bytes(std::move(contents))
    , m_reserved(reserved)
    , m_littleEndian(littleEndian)
{
}

VFKDataString::VFKDataString(bool reserved, bool littleEndian, const u8* data, u32 length)
    : m_reserved(reserved)
    , m_littleEndian(littleEndian)
{
    if (data != nullptr) {
        bytes.assign(reinterpret_cast<const char*>(data), length);
    }
}

u8 VFKDataString::Get8(u32* pos) const
{
    return static_cast<u8>(GetNumber(bytes, pos, 1, m_littleEndian));
}

u16 VFKDataString::Get16(u32* pos) const
{
    return static_cast<u16>(GetNumber(bytes, pos, 2, m_littleEndian));
}

u32 VFKDataString::Get32(u32* pos) const
{
    return GetNumber(bytes, pos, 4, m_littleEndian);
}

u32 VFKDataString::Get32_ULEB128(u32* pos, u32 width, bool* ok) const
{
    static_cast<void>(width);
    const Leb128 number = GetLeb128(bytes, pos);
    if (ok != nullptr) {
        *ok = number.complete;
    }
    return number.value;
}

i32 VFKDataString::Get32_SLEB128(u32* pos, u32 width, bool* ok) const
{
    static_cast<void>(width);
    Leb128 number = GetLeb128(bytes, pos);
    if (ok != nullptr) {
        *ok = number.complete;
    }
    if (number.complete && (number.last & 0x40u) != 0 && number.shift < 32) {
        number.value |= ~u32{0} << number.shift;
    }
    return static_cast<i32>(number.value);
}

const char* VFKDataString::GetCStr(u32* pos) const
{
    const std::size_t start = Clamp(bytes, *pos);
    *pos = static_cast<u32>(start);
    if (start == bytes.size()) {
        return nullptr;
    }
    const std::size_t zero = bytes.find('\0', start);
    *pos = static_cast<u32>(zero == std::string::npos ? bytes.size() : zero + 1);
    return bytes.data() + start;
}

u32 VFKDataString::Put8(u32 pos, u8 value)
{
    return Put(pos, &value, 1);
}

u32 VFKDataString::Put16(u32 pos, u16 value)
{
    u8 raw[2];
    for (u32 index = 0; index < 2; ++index) {
        raw[index] = static_cast<u8>(value >> ByteShift(index, 2, m_littleEndian));
    }
    return Put(pos, raw, 2);
}

u32 VFKDataString::Put32(u32 pos, u32 value)
{
    u8 raw[4];
    for (u32 index = 0; index < 4; ++index) {
        raw[index] = static_cast<u8>(value >> ByteShift(index, 4, m_littleEndian));
    }
    return Put(pos, raw, 4);
}

u32 VFKDataString::Put(u32 pos, const void* data, u32 length)
{
    if (length == 0) {
        return pos;
    }
    const std::size_t end = std::size_t{pos} + length;
    if (bytes.size() < end) {
        bytes.resize(end, '\0');
    }
    std::memcpy(bytes.data() + pos, data, length);
    return static_cast<u32>(end);
}
