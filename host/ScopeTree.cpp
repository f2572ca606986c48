// Builds the tree of a function's scopes from the flat lists of the store.
#include "host/ScopeTree.h"

#include "interfaces/DbgVariable.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>
#include <utility>

ScopeTree::ScopeTree(const DbgSymSymFile& store, const ScopeIndex::Contents& contents)
{
    std::unordered_map<u32, bool> known;
    std::vector<std::pair<u32, ScopeItem>> items; // the block around it, and the item
    for (const std::size_t place : contents.blocks) {
        const DbgSymSubScope& block = store.SubScopeAt(place);
        items.push_back({block.context.subScope, {block.id, &block, nullptr, false}});
        known[block.id] = true;
    }
    for (const std::size_t place : contents.variables) {
        const DbgVariable& variable = store.VariableAt(place);
        items.push_back({variable.context.subScope, {variable.id, nullptr, &variable, false}});
    }
    for (const auto& [around, item] : items) {
        // What encloses an entry stands in front of it; with anything else there could be loops.
        const u32 parent = around < item.id ? around : kNone;
        if (parent != kNone && known.emplace(parent, true).second) {
            m_children[kNone].push_back({parent, nullptr, nullptr, false});
        }
        m_children[parent].push_back(item);
    }
    for (auto& [parent, children] : m_children) {
        std::stable_sort(children.begin(), children.end(),
                         [](const ScopeItem& a, const ScopeItem& b) { return a.id < b.id; });
    }
    NestInlined();
}

/// Moves what belongs to inlined functions below them.
void ScopeTree::NestInlined()
{
    std::vector<u32> parents;
    for (const auto& [parent, children] : m_children) {
        parents.push_back(parent);
    }
    for (const u32 parent : parents) {
        std::vector<ScopeItem> items;
        std::swap(items, m_children[parent]);
        std::vector<const ScopeItem*> inlined; // those that are open, the innermost last
        const ScopeItem* last = nullptr;       // that is no variable
        bool stray = false;
        for (ScopeItem& item : items) {
            while (item.variable == nullptr && !inlined.empty() && !IsWithin(item, *inlined.back())) {
                inlined.pop_back();
            }
            const bool own = item.variable == nullptr ? !inlined.empty() : last != nullptr && last->IsInlined();
            // A function's parameters stand ahead of all; what follows such a one is of the same scope.
            stray = item.variable != nullptr && !own && last != nullptr &&
                    (stray || item.variable->scope == kScopeParameter);
            item.isStray = stray;
            m_children[own ? inlined.back()->id : parent].push_back(item);
            if (item.variable != nullptr) {
                continue;
            }
            last = &item;
            if (item.IsInlined()) {
                inlined.push_back(&item);
            }
        }
    }
}

bool ScopeTree::IsWithin(const ScopeItem& item, const ScopeItem& outer)
{
    if (item.block == nullptr) {
        return false;
    }
    const DbgAddrRange& inner = item.block->range;
    const DbgAddrRange& range = outer.block->range;
    return inner.section == range.section && inner.value >= range.value && inner.size <= range.size &&
           inner.value - range.value <= range.size - inner.size;
}

std::vector<ScopeRow> ScopeTree::Rows(std::optional<u32> at) const
{
    struct Level {
        const std::vector<ScopeItem>* items;
        std::size_t next;
        InScope inScope;
    };
    std::vector<ScopeRow> rows;
    std::vector<Level> levels;
    std::unordered_set<u32> entered; // a second item of one id shows nothing twice
    const auto enter = [&](u32 id, InScope inScope) {
        const auto below = m_children.find(id);
        if (below != m_children.end() && entered.insert(id).second) {
            levels.push_back({&below->second, 0, inScope});
        }
    };
    enter(kNone, InScope::Yes);
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.items->size()) {
            levels.pop_back();
            continue;
        }
        const ScopeItem& item = (*level.items)[level.next++];
        const InScope inScope = at ? std::min(level.inScope, IsInScope(item, *at)) : InScope::Yes;
        if (inScope == InScope::No) {
            continue;
        }
        rows.push_back({item, static_cast<u32>(levels.size()), inScope});
        if (item.variable == nullptr) {
            enter(item.id, inScope);
        }
    }
    return rows;
}

InScope ScopeTree::IsInScope(const ScopeItem& item, u32 at)
{
    if (item.variable != nullptr) {
        return item.isStray ? InScope::Unknown : InScope::Yes;
    }
    // Scopes of code in several places have no range here, or an empty one.
    if (item.block == nullptr || item.block->range.size == 0) {
        return InScope::Unknown;
    }
    const DbgAddrRange& range = item.block->range;
    return at >= range.value && at - range.value < range.size ? InScope::Yes : InScope::No;
}
