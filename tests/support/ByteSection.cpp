// Writing and patching of bytes. References stay open until the bytes are asked for.
#include "tests/support/ByteSection.h"

ByteSection& ByteSection::Number(u64 value, u32 width)
{
    const u32 offset = Size();
    m_bytes.resize(offset + width);
    Store(m_bytes, offset, value, width);
    return *this;
}

ByteSection& ByteSection::Uleb(u64 value, u32 length)
{
    for (u32 written = 1; value > 0x7F || written < length; ++written, value >>= 7) {
        U8((value & 0x7F) | 0x80u);
    }
    return U8(value);
}

ByteSection& ByteSection::Sleb(i64 value, u32 length)
{
    for (u32 written = 1; value < -0x40 || value > 0x3F || written < length; ++written, value >>= 7) {
        U8(static_cast<u64>(value & 0x7F) | 0x80u);
    }
    return U8(static_cast<u64>(value & 0x7F));
}

ByteSection& ByteSection::Ref(const std::string& name, u32 width, u32 base)
{
    m_references[Size()] = {name, width, base};
    return Number(0, width);
}

ByteSection& ByteSection::Patch(u32 offset, u64 value, u32 width)
{
    m_references.erase(offset);
    Store(m_bytes, offset, value, width);
    return *this;
}

ByteSection& ByteSection::Truncate(u32 size)
{
    m_bytes.resize(size);
    std::erase_if(m_references, [size](const auto& entry) { return entry.first + entry.second.width > size; });
    return *this;
}

std::string ByteSection::Bytes() const
{
    std::string bytes = m_bytes;
    for (const auto& [offset, reference] : m_references) {
        Store(bytes, offset, Offset(reference.label) - reference.base, reference.width);
    }
    return bytes;
}

void ByteSection::Store(std::string& bytes, u32 offset, u64 value, u32 width) const
{
    for (u32 i = 0; i < width; ++i) {
        const u32 shift = 8 * (m_order == ByteOrder::Little ? i : width - 1 - i);
        bytes.at(offset + i) = static_cast<char>(value >> shift);
    }
}
