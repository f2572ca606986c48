// Which blocks and variables of the store belong to a function.
#pragma once

#include "interfaces/DbgSymSymFile.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

/// The store's blocks and variables by their function. The store only grows: each is entered once.
class ScopeIndex {
public:
    using Places = std::vector<std::size_t>; ///< in the store, in its order

    struct Contents {
        Places blocks;
        Places variables;
    };

    explicit ScopeIndex(const DbgSymSymFile& store)
        : m_store(store)
    {
    }

    /// What belongs to a function. A context whose climb ended early names neither function nor unit;
    /// the offset tells then: between the function and the next one or the next unit.
    Contents Of(u32 function);

private:
    using ById = std::multimap<u32, std::size_t>;

    static void TakeBetween(const ById& poor, u32 function, u32 end, Places& places);
    void Update();
    void Enter(const DbgSymContext& context, u32 id, std::size_t place, Places Contents::*kind, ById& poor);

    const DbgSymSymFile& m_store;
    std::unordered_map<u32, Contents> m_named; ///< by the id of the function
    ById m_poorBlocks;
    ById m_poorVariables;
    std::set<u32> m_starts; ///< ids of functions and units
    std::size_t m_functions = 0;
    std::size_t m_units = 0;
    std::size_t m_blocks = 0;
    std::size_t m_variables = 0;
};
