// Bounds what long texts may cost. In a string section without a closing zero every name reaches to the section's end,
// so all names together can be as long as the square of the file. This limits what is read and kept of them.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <cstddef>

namespace engine {

/// The bytes that texts may take together. There is a capital, and each text adds a little, so that only texts that are
/// long on average and huge in sum ever reach the limit. Then texts are cut to kShortText bytes, which are never
/// refused.
class TextAllowance {
public:
    static constexpr std::size_t kShortText = 256;

    constexpr TextAllowance(u64 capital, u64 perText)
        : m_capital(capital)
        , m_perText(perText)
        , m_left(capital)
    {
    }

    /// For what is read and compared, which takes time: 64 MiB and 1 KiB a text.
    static constexpr TextAllowance ForReading() { return {u64{64} << 20, 1024}; }
    /// For what is kept, which takes memory: 32 MiB and 256 bytes a text.
    static constexpr TextAllowance ForKeeping() { return {u64{32} << 20, 256}; }

    /// Starts on the next text.
    /// @return the bytes that it may take, at least kShortText.
    std::size_t Next()
    {
        m_left = std::min(m_capital, m_left + m_perText);
        return std::max(static_cast<std::size_t>(m_left), kShortText);
    }

    /// Takes the bytes of the current text.
    void Spend(std::size_t size) { m_left -= std::min<u64>(m_left, size); }

    /// Starts on a text of `size` bytes and takes it.
    /// @return `size`, or kShortText if the text must be cut.
    std::size_t Take(std::size_t size)
    {
        const std::size_t taken = size <= Next() ? size : kShortText;
        Spend(taken);
        return taken;
    }

private:
    u64 m_capital;
    u64 m_perText;
    u64 m_left;
};

/// The allowance for names of types that are not in a store yet. They count for the store that was last asked for a
/// type or given one, since whoever builds a type asks for it first. Null if there is none.
inline TextAllowance* g_typeNames = nullptr;

} // namespace engine
