// Finds the owner of an address among ranges that may overlap.
#pragma once

#include "interfaces/Types.h"

#include <vector>

namespace engine {

/// A run of keys and the number of the object that it belongs to. The key of an address has 64 bits: the upper half
/// tells sections apart.
struct AddressRun {
    u64 first;
    u64 last; ///< inclusive, not below `first`
    u32 owner;
};

/// If several ranges hold a key, the greatest owner has it. Building takes n log n and a look-up log n, whatever the
/// ranges are.
class AddressMap {
public:
    /// @param ranges in any order.
    void Build(std::vector<AddressRun> ranges);
    /// The owner of a key, or kNone.
    u32 Find(u64 key) const;

private:
    std::vector<AddressRun> m_runs; ///< disjoint, ascending
};

} // namespace engine
