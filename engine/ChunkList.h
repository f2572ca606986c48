// A list that only grows and whose elements never move.
#pragma once

#include "interfaces/VFKArena.h"

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace engine {

/// Elements are in chunks of equal length, so that an index finds its element in constant time.
template <typename Element>
class ChunkList {
    static_assert(alignof(Element) <= 16);

public:
    /// @param arena borrowed; holds the elements.
    explicit ChunkList(VFKArena& arena)
        : m_arena(arena)
    {
    }
    ~ChunkList()
    {
        if constexpr (!std::is_trivially_destructible_v<Element>) {
            for (std::size_t i = 0; i < m_count; ++i) {
                (*this)[i].~Element();
            }
        }
    }
    ChunkList(const ChunkList&) = delete;
    ChunkList& operator=(const ChunkList&) = delete;

    /// The reference is valid while the arena lives.
    Element& Add(Element element)
    {
        if (m_count % kPerChunk == 0) {
            m_chunks.push_back(static_cast<Element*>(m_arena.Allocate(kPerChunk * sizeof(Element), alignof(Element))));
        }
        Element* place = m_chunks.back() + m_count % kPerChunk;
        ++m_count;
        return *new (place) Element(std::move(element));
    }

    std::size_t Count() const { return m_count; }
    /// The list must not be empty.
    Element& Last() { return m_chunks.back()[(m_count - 1) % kPerChunk]; }
    const Element& Last() const { return m_chunks.back()[(m_count - 1) % kPerChunk]; }
    Element& operator[](std::size_t index) { return m_chunks[index / kPerChunk][index % kPerChunk]; }
    const Element& operator[](std::size_t index) const { return m_chunks[index / kPerChunk][index % kPerChunk]; }

private:
    static constexpr std::size_t kPerChunk = 64;
    VFKArena& m_arena;
    std::vector<Element*> m_chunks;
    std::size_t m_count = 0;
};

} // namespace engine
