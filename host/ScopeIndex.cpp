// Blocks and variables by the function that their context names, or by their offset.
#include "host/ScopeIndex.h"

#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>

ScopeIndex::Contents ScopeIndex::Of(u32 function)
{
    Update();
    Contents contents = m_named[function];
    const auto next = m_starts.upper_bound(function);
    const u32 end = next == m_starts.end() ? kNone : *next;
    TakeBetween(m_poorBlocks, function, end, contents.blocks);
    TakeBetween(m_poorVariables, function, end, contents.variables);
    return contents;
}

void ScopeIndex::TakeBetween(const ById& poor, u32 function, u32 end, Places& places)
{
    const std::size_t named = places.size();
    for (auto at = poor.upper_bound(function); at != poor.end() && at->first < end; ++at) {
        places.push_back(at->second);
    }
    if (places.size() != named) {
        std::sort(places.begin(), places.end());
    }
}

void ScopeIndex::Update()
{
    for (; m_functions < m_store.FuncScopeCount(); ++m_functions) {
        m_starts.insert(m_store.FuncScopeAt(m_functions).id);
    }
    for (; m_units < m_store.FileScopeCount(); ++m_units) {
        m_starts.insert(m_store.FileScopeAt(m_units).GetId());
    }
    for (; m_blocks < m_store.SubScopeCount(); ++m_blocks) {
        const DbgSymSubScope& block = m_store.SubScopeAt(m_blocks);
        Enter(block.context, block.id, m_blocks, &Contents::blocks, m_poorBlocks);
    }
    for (; m_variables < m_store.VariableCount(); ++m_variables) {
        const DbgVariable& variable = m_store.VariableAt(m_variables);
        Enter(variable.context, variable.id, m_variables, &Contents::variables, m_poorVariables);
    }
}

void ScopeIndex::Enter(const DbgSymContext& context, u32 id, std::size_t place, Places Contents::*kind, ById& poor)
{
    if (context.funcScope != kNone) {
        (m_named[context.funcScope].*kind).push_back(place);
    } else if (context.fileScope == kNone) {
        poor.emplace(id, place);
    }
}
