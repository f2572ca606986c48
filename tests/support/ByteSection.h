// The tests' assembler: bytes in either byte order, with labels, references to them and patches.
#pragma once

#include "interfaces/Types.h"

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

enum class ByteOrder { Little, Big };

/// A section under construction. Every writer appends and returns the section, so that writers chain:
///
///     ByteSection expression(order);
///     expression.U8(0x03).U32(0x8000).U8(0x23).Uleb(4);
class ByteSection {
public:
    explicit ByteSection(ByteOrder order)
        : m_order(order)
    {
    }

    ByteOrder Order() const { return m_order; }
    /// Bytes written so far, which is the offset of the next one.
    u32 Size() const { return static_cast<u32>(m_bytes.size()); }
    bool Empty() const { return m_bytes.empty(); }

    ByteSection& U8(u64 value) { return Number(value, 1); }
    ByteSection& U16(u64 value) { return Number(value, 2); }
    ByteSection& U32(u64 value) { return Number(value, 4); }
    ByteSection& U64(u64 value) { return Number(value, 8); }
    ByteSection& Number(u64 value, u32 width);
    /// LEB128 numbers. With `length` they are padded to that many bytes, as by producers that patch
    /// them later.
    ByteSection& Uleb(u64 value, u32 length = 1);
    ByteSection& Sleb(i64 value, u32 length = 1);
    /// Text with its terminating zero.
    ByteSection& Text(std::string_view text) { return Raw(text).U8(0); }
    ByteSection& Raw(std::string_view bytes) { return m_bytes.append(bytes), *this; }
    ByteSection& Raw(std::initializer_list<u8> bytes) { return m_bytes.append(bytes.begin(), bytes.end()), *this; }
    ByteSection& Raw(const ByteSection& other) { return Raw(other.Bytes()); }
    ByteSection& Fill(u32 count, u8 byte = 0) { return m_bytes.append(count, static_cast<char>(byte)), *this; }
    ByteSection& PadTo(u32 offset, u8 byte = 0) { return Fill(offset > Size() ? offset - Size() : 0, byte); }

    /// Names the current offset.
    ByteSection& Label(const std::string& name) { return m_labels[name] = Size(), *this; }
    /// Writes the offset of a label, which may come later, minus `base`.
    ByteSection& Ref(const std::string& name, u32 width = 4, u32 base = 0);
    /// Offset of a label. Throws std::out_of_range if there is none.
    u32 Offset(const std::string& name) const { return m_labels.at(name); }

    /// Leaves room for a 32-bit length and returns its offset; CloseLength writes there how many bytes
    /// have followed it.
    u32 OpenLength() { return U32(0).Size() - 4; }
    ByteSection& CloseLength(u32 at) { return Patch(at, Size() - at - 4, 4); }

    /// Overwrites what is at an offset, a reference included.
    ByteSection& Patch(u32 offset, u64 value, u32 width);
    ByteSection& Truncate(u32 size);

    /// The bytes with all references filled in. Throws std::out_of_range for an unknown label.
    std::string Bytes() const;

private:
    struct Reference {
        std::string label;
        u32 width;
        u32 base;
    };
    void Store(std::string& bytes, u32 offset, u64 value, u32 width) const;

    ByteOrder m_order;
    std::string m_bytes;
    std::map<std::string, u32> m_labels;
    std::map<u32, Reference> m_references; ///< by offset
};
