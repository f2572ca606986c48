// The byte string that owns what was read from a section.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>

/// An owned run of bytes with a zero after its end, which closes a text that has none. Its bytes are not initialised:
/// the caller is about to read into them. Large runs have pages of their own, large pages where the system has them,
/// and a freed run is kept for the next one of its size.
class VFKBytes {
public:
    VFKBytes() = default;
    ~VFKBytes();
    VFKBytes(const VFKBytes&) = delete;
    VFKBytes& operator=(const VFKBytes&) = delete;

    const u8* Data() const { return m_data; }
    std::size_t Size() const { return m_size; }
    bool Empty() const { return m_size == 0; }

    /// Drops the contents and makes room for `size` uninitialised bytes; the byte after them is 0. Throws
    /// std::bad_alloc when there is no memory.
    /// @return where to write, never null.
    u8* Allocate(std::size_t size);

    /// Cuts the contents to `size` bytes, if they are longer, and puts the zero after them.
    void Truncate(std::size_t size);

    void Clear();

private:
    u8* m_data = const_cast<u8*>(kEmpty);
    std::size_t m_size = 0;
    std::size_t m_capacity = 0; ///< bytes that are owned; 0 for the shared empty run

    static const u8 kEmpty[1];
};
