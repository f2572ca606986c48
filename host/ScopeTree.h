// The contents of a function, nested as in the source.
#pragma once

#include "host/ScopeIndex.h"
#include "interfaces/Types.h"

#include <optional>
#include <unordered_map>
#include <vector>

/// Whether code at an address is in a scope.
enum class InScope { No, Unknown, Yes };

struct ScopeItem {
    u32 id;
    const DbgSymSubScope* block; ///< null: a variable, or a block that the store doesn't hold
    const DbgVariable* variable; ///< null: a block
    bool isStray;                ///< of an inlined function that the store doesn't hold

    bool IsInlined() const { return block != nullptr && block->name != nullptr; }
};

struct ScopeRow {
    ScopeItem item;
    u32 depth; ///< from 1
    InScope inScope;
};

/// The nesting is that of the context words, which name no inlined function: what is in one has the words of the block
/// around it. Compilers write a scope's variables ahead of the scopes in it, so those that stand behind an inlined
/// function are its own, and blocks are if their code is.
class ScopeTree {
public:
    ScopeTree(const DbgSymSymFile& store, const ScopeIndex::Contents& contents);

    /// Each item with those below it behind it.
    /// @param at leaves out the scopes without this address, given as the function's are held.
    std::vector<ScopeRow> Rows(std::optional<u32> at) const;

private:
    void NestInlined();
    static bool IsWithin(const ScopeItem& item, const ScopeItem& outer);
    static InScope IsInScope(const ScopeItem& item, u32 at);

    std::unordered_map<u32, std::vector<ScopeItem>> m_children; ///< by the block around them; kNone: the function
};
