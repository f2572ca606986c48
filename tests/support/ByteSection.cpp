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
    u32 written = 0;
    do {
        const u8 low = value & 0x7F;
        value >>= 7;
        ++written;
        U8(value != 0 || written < length ? low | 0x80u : low);
    } while (value != 0 || written < length);
    return *this;
}

ByteSection& ByteSection::Sleb(i64 value, u32 length)
{
    bool more = true;
    for (u32 written = 1; more; ++written) {
        const u8 low = value & 0x7F;
        value >>= 7;
        const bool fits = (value == 0 && (low & 0x40) == 0) || (value == -1 && (low & 0x40) != 0);
        more = !fits || written < length;
        U8(more ? low | 0x80u : low);
    }
    return *this;
}

ByteSection& ByteSection::Text(std::string_view text)
{
    return Raw(text).U8(0);
}

ByteSection& ByteSection::Raw(std::string_view bytes)
{
    m_bytes.append(bytes);
    return *this;
}

ByteSection& ByteSection::Raw(std::initializer_list<u8> bytes)
{
    m_bytes.append(bytes.begin(), bytes.end());
    return *this;
}

ByteSection& ByteSection::Fill(u32 count, u8 byte)
{
    m_bytes.append(count, static_cast<char>(byte));
    return *this;
}

ByteSection& ByteSection::PadTo(u32 offset, u8 byte)
{
    return offset > Size() ? Fill(offset - Size(), byte) : *this;
}

ByteSection& ByteSection::Align(u32 alignment)
{
    return PadTo((Size() + alignment - 1) / alignment * alignment);
}

ByteSection& ByteSection::Label(const std::string& name)
{
    m_labels[name] = Size();
    return *this;
}

ByteSection& ByteSection::Ref(const std::string& name, u32 width, u32 base)
{
    m_references[Size()] = {name, width, base};
    return Number(0, width);
}

u32 ByteSection::OpenLength()
{
    const u32 at = Size();
    U32(0);
    return at;
}

ByteSection& ByteSection::CloseLength(u32 at)
{
    return Patch(at, Size() - at - 4, 4);
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
