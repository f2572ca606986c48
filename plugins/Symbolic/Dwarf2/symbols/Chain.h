// Chains of references that a file can make long or close.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <array>
#include <memory>
#include <unordered_set>

/// Tells whether a chain has come to an offset before. Short chains, nearly all of them, cost no allocation.
class ChainGuard {
public:
    /// False if the chain has been at `offset` already.
    bool Add(u32 offset)
    {
        const auto end = m_first.begin() + m_count;
        if (std::find(m_first.begin(), end, offset) != end) {
            return false;
        }
        if (m_count == m_first.size()) {
            if (m_rest == nullptr) {
                m_rest = std::make_unique<std::unordered_set<u32>>();
            }
            return m_rest->insert(offset).second;
        }
        m_first[m_count++] = offset;
        return true;
    }

private:
    std::array<u32, 16> m_first;
    std::unique_ptr<std::unordered_set<u32>> m_rest;
    u32 m_count = 0; ///< of those in m_first
};

/// The scopes around a place: innermost block, outermost function, and the unit.
struct ScopeWords {
    u32 block = kNone;
    u32 function = kNone;
    u32 file = kNone;
};
