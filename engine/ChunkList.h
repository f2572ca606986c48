// A list that only grows and whose elements never move.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace engine {

/// Elements lie in chunks of equal length, so that an index finds its element in constant time.
template <typename Element>
class ChunkList {
public:
    /// The reference stays good while the list lives.
    Element& Add(Element element)
    {
        if (m_count % kPerChunk == 0) {
            std::vector<Element> chunk;
            chunk.reserve(kPerChunk);
            m_chunks.push_back(std::move(chunk));
        }
        Element& added = m_chunks.back().emplace_back(std::move(element));
        ++m_count;
        return added;
    }

    std::size_t Count() const { return m_count; }
    const Element& operator[](std::size_t index) const { return m_chunks[index / kPerChunk][index % kPerChunk]; }

private:
    static constexpr std::size_t kPerChunk = 512;
    std::vector<std::vector<Element>> m_chunks;
    std::size_t m_count = 0;
};

} // namespace engine
