// Chains of references that a file can make long or close: what guards them, and what is kept of the
// long ones so that a second walk along them is short.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <unordered_set>
#include <utility>
#include <vector>

/// Tells whether a chain has come to an offset before. Short chains, which is nearly all, cost no
/// allocation.
class ChainGuard {
public:
    /// False if the chain has been at `offset` already.
    bool Add(u32 offset)
    {
        if (m_count < m_first.size()) {
            if (std::find(m_first.begin(), m_first.begin() + m_count, offset) != m_first.begin() + m_count) {
                return false;
            }
            m_first[m_count++] = offset;
            return true;
        }
        if (std::find(m_first.begin(), m_first.end(), offset) != m_first.end() || !m_rest.insert(offset).second) {
            return false;
        }
        ++m_count;
        return true;
    }

    u32 Count() const { return m_count; }

private:
    std::array<u32, 16> m_first;
    std::unordered_set<u32> m_rest;
    u32 m_count = 0;
};

/// Where a long chain of const and volatile leads from one of its DIEs: to the type behind it, or back to the
/// DIE itself if the chain is closed.
struct ModifierEnd {
    u32 offset = kNone;
    u16 qualifiers = 0;
};

/// DIEs of such a chain in their order, with the qualifier of each.
using ModifierLinks = std::vector<std::pair<u32, u16>>;

/// What the DIEs of a chain of AT_specification say, the later ones having the last word.
struct DeclInfo {
    u32 end = kNone; ///< the DIE at the end of the chain
    const char* name = nullptr;
    u32 type = 0;
    bool artificial = false;
    bool hasName = false;
    bool hasType = false;
    bool hasArtificial = false;

    /// Adds what the links further on say.
    void AddFurther(const DeclInfo& further)
    {
        end = further.end;
        if (further.hasName) {
            hasName = true;
            name = further.name;
        }
        if (further.hasType) {
            hasType = true;
            type = further.type;
        }
        if (further.hasArtificial) {
            hasArtificial = true;
            artificial = further.artificial;
        }
    }
};

/// The scopes around a place: innermost block, outermost function, and the unit.
struct ScopeWords {
    u32 block = kNone;
    u32 function = kNone;
    u32 file = kNone;

    /// Adds the scopes further out.
    void AddFurther(const ScopeWords& outer)
    {
        if (block == kNone) {
            block = outer.block;
        }
        if (outer.function != kNone) {
            function = outer.function;
        }
        file = outer.file;
    }
};

/// Collects what the links of one chain say by themselves, so that the sums from places further on
/// can be kept. A chain that starts, or is joined, near such a place is short from then on.
template <typename Info>
class LongChain {
public:
    void Add(u32 offset, const Info& own)
    {
        if (++m_count > kShort) {
            m_links.emplace_back(offset, own);
        }
    }

    /// What is known already of the chain behind the last link.
    void SetRest(const Info& rest)
    {
        m_rest = rest;
        m_hasRest = true;
    }

    /// Keeps the sum from every eighth link on. False if the chain is too short for that.
    template <typename Kept>
    bool Keep(Kept& kept)
    {
        Info sum = m_rest;
        bool hasSum = m_hasRest;
        for (std::size_t index = m_links.size(); index-- != 0;) {
            Info from = m_links[index].second;
            if (hasSum) {
                from.AddFurther(sum);
            }
            sum = from;
            hasSum = true;
            if (index % kEvery == 0) {
                kept[m_links[index].first] = sum;
            }
        }
        return !m_links.empty();
    }

private:
    static constexpr u32 kShort = 16;
    static constexpr u32 kEvery = 8;

    std::vector<std::pair<u32, Info>> m_links; ///< those behind the first kShort
    Info m_rest;
    bool m_hasRest = false;
    u32 m_count = 0;
};
