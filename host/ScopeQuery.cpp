// One function's blocks, parameters and locals, nested.
#include "host/AddressLookup.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

/// Deeper levels are printed at this indent, or 100,000 nested blocks would print gigabytes.
constexpr u32 kMaxIndent = 30;

using Functions = std::vector<std::size_t>; ///< indices in the store

/// Loads units, `first` ahead of the others, up to the one that has functions of that name.
Functions FindExactName(Loader& file, const std::string& name, u32 first)
{
    const DbgSymSymFile& store = file.Store();
    Functions found;
    std::size_t seen = 0;
    const auto look = [&](u32 unitId) {
        file.LoadUnit(unitId);
        for (; seen < store.FuncScopeCount(); ++seen) {
            if (store.FuncScopeAt(seen).name == name) {
                found.push_back(seen);
            }
        }
    };
    if (first != kNone) {
        look(first);
    }
    for (std::size_t unit = 0; unit < file.UnitCount() && found.empty(); ++unit) {
        look(store.FileScopeAt(unit).GetId());
    }
    return found;
}

/// Functions called CLASS::name, among those that are loaded: the ones of the first unit with any.
Functions FindNameInClass(const Loader& file, const std::string& name)
{
    const DbgSymSymFile& store = file.Store();
    const std::string tail = "::" + name;
    Functions found;
    u32 unit = kNone;
    for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
        const DbgSymFuncScope& function = store.FuncScopeAt(i);
        const std::string_view text = function.name;
        if (text.size() < tail.size() || text.substr(text.size() - tail.size()) != tail) {
            continue;
        }
        const u32 owner = file.UnitOf(function.fileId, function.id);
        if (found.empty() || owner == unit) {
            unit = owner;
            found.push_back(i);
        }
    }
    return found;
}

Functions ByPointer(const DbgSymSymFile& store, const DbgSymFuncScope* function)
{
    for (std::size_t i = 0; function != nullptr && i < store.FuncScopeCount(); ++i) {
        if (&store.FuncScopeAt(i) == function) {
            return {i};
        }
    }
    return {};
}

Functions FindFunctions(Loader& file, const std::string& text)
{
    file.LoadIndex();
    AddressLookup addresses(file);
    if (const std::optional<u32> number = ParseNumber(text)) {
        if (const DbgSymSrcFile* unit = file.Store().FileScopeOfDie(*number)) {
            file.LoadUnit(unit->GetId());
        }
        const DbgSymFuncScope* byId = file.Store().FindFuncScope(*number);
        return ByPointer(file.Store(), byId != nullptr ? byId : addresses.FindFunction(file.AddressOf(*number)));
    }
    // The symbol table is a cheap hint at the unit of a C function.
    const DbgSymContext context = file.Context();
    DbgAddrRange range;
    const DbgSymSrcFile* hint = nullptr;
    if (file.Plugin().FindElfSymbolByName(&context, text.c_str(), &range)) {
        hint = addresses.FindUnit(range);
    }
    const Functions exact = FindExactName(file, text, hint == nullptr ? kNone : hint->GetId());
    return exact.empty() ? FindNameInClass(file, text) : exact;
}

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
    Contents Of(u32 function)
    {
        Update();
        Contents contents = m_named[function];
        const auto next = m_starts.upper_bound(function);
        const u32 end = next == m_starts.end() ? kNone : *next;
        TakeBetween(m_poorBlocks, function, end, contents.blocks);
        TakeBetween(m_poorVariables, function, end, contents.variables);
        return contents;
    }

private:
    using ById = std::multimap<u32, std::size_t>;

    static void TakeBetween(const ById& poor, u32 function, u32 end, Places& places)
    {
        const std::size_t named = places.size();
        for (auto at = poor.upper_bound(function); at != poor.end() && at->first < end; ++at) {
            places.push_back(at->second);
        }
        if (places.size() != named) {
            std::sort(places.begin(), places.end());
        }
    }

    void Update()
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

    void Enter(const DbgSymContext& context, u32 id, std::size_t place, Places Contents::*kind, ById& poor)
    {
        if (context.funcScope != kNone) {
            (m_named[context.funcScope].*kind).push_back(place);
        } else if (context.fileScope == kNone) {
            poor.emplace(id, place);
        }
    }

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

/// Prints one function's tree. The nesting is that of the context words: an inlined function names
/// no level of its own, and its variables stand in the block around it.
class ScopePrinter {
public:
    ScopePrinter(Loader& file, Answer answer, const DbgSymFuncScope& function)
        : m_file(file)
        , m_answer(answer)
        , m_function(function)
        , m_unit(file.UnitOf(function.fileId, function.id))
        , m_records(answer.output)
        , m_types(file.Store(), false)
    {
    }

    void Print(ScopeIndex& index)
    {
        Collect(index.Of(m_function.id));
        PrintFunction();
        PrintItems();
    }

private:
    struct Item {
        u32 id;
        const DbgSymSubScope* block; ///< null: a variable, or a block that the store doesn't hold
        const DbgVariable* variable; ///< null: a block
    };

    void Collect(const ScopeIndex::Contents& contents)
    {
        const DbgSymSymFile& store = m_file.Store();
        std::unordered_map<u32, bool> known;
        std::vector<std::pair<u32, Item>> items; // the block around it, and the item
        for (const std::size_t place : contents.blocks) {
            const DbgSymSubScope& block = store.SubScopeAt(place);
            items.push_back({block.context.subScope, {block.id, &block, nullptr}});
            known[block.id] = true;
        }
        for (const std::size_t place : contents.variables) {
            const DbgVariable& variable = store.VariableAt(place);
            items.push_back({variable.context.subScope, {variable.id, nullptr, &variable}});
        }
        for (const auto& [around, item] : items) {
            // What encloses an entry stands in front of it; with anything else there could be loops.
            const u32 parent = around < item.id ? around : kNone;
            if (parent != kNone && known.emplace(parent, true).second) {
                m_children[kNone].push_back({parent, nullptr, nullptr});
            }
            m_children[parent].push_back(item);
        }
        for (auto& [parent, children] : m_children) {
            std::stable_sort(children.begin(), children.end(),
                             [](const Item& a, const Item& b) { return a.id < b.id; });
        }
    }

    void PrintFunction()
    {
        if (m_answer.json) {
            m_records.Function(m_function, m_unit);
            return;
        }
        std::string line;
        AppendPrintable(line, m_function.name);
        line += "  ";
        AppendAddress(line, m_function.range);
        line += "  size ";
        AppendDecimal(line, m_function.range.size);
        line += "  id ";
        AppendHex8(line, m_function.id);
        if (const DbgSymSrcFile* unit = m_file.Store().FindFileScope(m_unit, nullptr)) {
            line += "  ";
            AppendShort(line, unit->GetPath());
        }
        m_answer.output.Write(line + '\n');
    }

    void PrintItems()
    {
        struct Level {
            const std::vector<Item>* items;
            std::size_t next;
        };
        std::vector<Level> levels{{&m_children[kNone], 0}};
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.next == level.items->size()) {
                levels.pop_back();
                continue;
            }
            const Item& item = (*level.items)[level.next++];
            PrintItem(item, static_cast<u32>(levels.size()));
            const auto below = m_children.find(item.id);
            if (item.variable == nullptr && below != m_children.end()) {
                levels.push_back({&below->second, 0});
            }
        }
    }

    void PrintItem(const Item& item, u32 depth)
    {
        if (m_answer.json) {
            WriteItem(item, depth);
            return;
        }
        std::string line(std::size_t{2} * std::min(depth, kMaxIndent), ' ');
        if (item.variable != nullptr) {
            AppendVariable(line, *item.variable);
        } else {
            AppendBlock(line, item);
        }
        m_answer.output.Write(line + '\n');
    }

    void WriteItem(const Item& item, u32 depth)
    {
        if (item.variable != nullptr) {
            m_records.VariableKeys(*item.variable, UnitOf(item.variable->context, item.id))
                .Number("depth", depth)
                .Text("type_name", TypeOf(*item.variable))
                .Text("location_text", LocationOf(*item.variable));
        } else if (item.block != nullptr) {
            m_records.BlockKeys(*item.block, UnitOf(item.block->context, item.id)).Number("depth", depth);
        } else {
            return;
        }
        m_records.Finish();
    }

    void AppendBlock(std::string& line, const Item& item) const
    {
        if (item.block == nullptr) {
            line += "block ";
            AppendHex8(line, item.id);
            line += "  (no range)";
            return;
        }
        line += item.block->name == nullptr ? "block" : "inlined ";
        AppendPrintable(line, item.block->name == nullptr ? "" : item.block->name);
        line += "  ";
        AppendAddress(line, item.block->range);
        line += "  size ";
        AppendDecimal(line, item.block->range.size);
        line += "  id ";
        AppendHex8(line, item.id);
    }

    void AppendVariable(std::string& line, const DbgVariable& variable) const
    {
        const std::size_t start = line.size();
        line += variable.scope == kScopeParameter ? "parameter" : variable.scope == kScopeLocal ? "local" : "static";
        PadTo(line, start + 11);
        AppendPrintable(line, variable.name);
        PadTo(line, start + 31);
        line += TypeOf(variable);
        PadTo(line, start + 55);
        AppendPrintable(line, LocationOf(variable));
    }

    u32 UnitOf(const DbgSymContext& context, u32 id) const { return m_file.UnitOf(context.fileScope, id); }

    std::string TypeOf(const DbgVariable& variable) const
    {
        return m_types.NameOf(DbgTypeDescription{variable.baseType, variable.qualifiers, variable.udtId});
    }

    static std::string LocationOf(const DbgVariable& variable)
    {
        const VFKDataString bytes(false, variable.littleEndian, std::string(variable.location));
        std::string text;
        DbgExpression(bytes, nullptr, nullptr).GetText(text, false);
        return text;
    }

    Loader& m_file;
    Answer m_answer;
    const DbgSymFuncScope& m_function;
    u32 m_unit;
    RecordWriter m_records;
    TypeText m_types;
    std::unordered_map<u32, std::vector<Item>> m_children; ///< by the block around them; kNone: the function
};

} // namespace

int ShowScopes(Loader& file, Answer answer, const std::string& function)
{
    const Functions found = FindFunctions(file, function);
    if (found.empty()) {
        Complain(file.ShownPath(), "There is no function '" + function + "'");
        return 1;
    }
    ScopeIndex scopes(file.Store());
    for (const std::size_t index : found) {
        file.LoadScopes(file.Store().FuncScopeAt(index));
        ScopePrinter(file, answer, file.Store().FuncScopeAt(index)).Print(scopes);
    }
    return 0;
}
