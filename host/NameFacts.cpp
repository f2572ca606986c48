// Facts out of the store, kind by kind.
#include "host/NameFacts.h"

#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"

#include <unordered_map>

namespace {

class FactMaker {
public:
    FactMaker(Loader& file, NameLookup& lookup, const TypeText& types, bool demangle)
        : m_file(file)
        , m_lookup(lookup)
        , m_types(types)
        , m_demangle(demangle)
    {
    }

    NameFact Make(const NamedThing& thing)
    {
        NameFact fact;
        fact.kind = thing.kind;
        fact.symbols = thing.symbols;
        switch (thing.kind) {
        case NamedThing::Kind::Function:
            Function(fact, m_file.Store().FuncScopeAt(thing.index));
            break;
        case NamedThing::Kind::Inlined:
            Inlined(fact, m_file.Store().SubScopeAt(thing.index));
            break;
        case NamedThing::Kind::Variable:
            Variable(fact, m_file.Store().VariableAt(thing.index));
            break;
        case NamedThing::Kind::Type:
            Type(fact, m_file.Store().TypeAt(thing.index));
            break;
        case NamedThing::Kind::Enumerator:
            Enumerator(fact, m_file.Store().TypeAt(thing.index), thing.value);
            break;
        case NamedThing::Kind::Symbol:
            break;
        }
        fact.name = fact.ownName;
        if (!fact.symbols.empty()) {
            const ElfSymbol& symbol = *fact.symbols.front();
            const std::string_view demangled = m_lookup.Demangled(symbol);
            fact.name = m_demangle && !demangled.empty() ? demangled : symbol.name;
        }
        return fact;
    }

private:
    void Owner(NameFact& fact, u32 id, u32 fileScope) const
    {
        fact.id = id;
        fact.unit = m_file.Store().FindFileScope(m_file.UnitOf(fileScope, id), nullptr);
    }

    std::string_view FunctionName(u32 id) const
    {
        const DbgSymFuncScope* function = m_file.Store().FindFuncScope(id);
        return function == nullptr ? std::string_view() : function->name;
    }

    void Function(NameFact& fact, const DbgSymFuncScope& function) const
    {
        fact.ownName = function.name;
        fact.place = function.range;
        fact.size = function.range.size;
        Owner(fact, function.id, function.fileId);
    }

    void Inlined(NameFact& fact, const DbgSymSubScope& block) const
    {
        fact.ownName = block.name;
        fact.place = block.range;
        fact.size = block.range.size;
        fact.function = FunctionName(block.context.funcScope);
        Owner(fact, block.id, block.context.fileScope);
    }

    void Variable(NameFact& fact, const DbgVariable& variable) const
    {
        fact.ownName = variable.name;
        fact.size = variable.byteSize;
        fact.function = FunctionName(variable.context.funcScope);
        fact.type = m_types.NameOf(DbgTypeDescription{variable.baseType, variable.qualifiers, variable.udtId});
        if (const std::optional<u32> address = FixedAddress(variable)) {
            fact.place.emplace();
            fact.place->value = *address;
        }
        Owner(fact, variable.id, variable.context.fileScope);
    }

    void Type(NameFact& fact, const DbgUserDefinedVarType& type) const
    {
        fact.ownName = type.GetName();
        fact.size = type.GetByteSize();
        fact.layout = &type;
        Owner(fact, type.GetId(), kNone);
    }

    void Enumerator(NameFact& fact, const DbgUserDefinedVarType& type, u32 index) const
    {
        const auto& values = static_cast<const DbgUDTInfoEnum32*>(type.GetInfo())->Values();
        fact.ownName = values[index].name;
        fact.value = values[index].value;
        fact.type = m_types.NameOf(type);
        Owner(fact, type.GetId(), kNone);
    }

    Loader& m_file;
    NameLookup& m_lookup;
    const TypeText& m_types;
    bool m_demangle;
};

} // namespace

std::vector<NameFact> FactsOf(const std::vector<NamedThing>& things, Loader& file, NameLookup& lookup,
                              const TypeText& types, bool demangle)
{
    FactMaker maker(file, lookup, types, demangle);
    std::vector<NameFact> facts;
    std::unordered_map<std::size_t, std::size_t> layouts;
    for (const NamedThing& thing : things) {
        if (thing.kind == NamedThing::Kind::Type || thing.kind == NamedThing::Kind::Enumerator) {
            // Units that include one header hold its types alike.
            const std::size_t hash = types.LayoutHash(file.Store().TypeAt(thing.index)) + thing.value +
                                     (thing.kind == NamedThing::Kind::Type ? 0 : 1);
            const auto [known, added] = layouts.try_emplace(hash, facts.size());
            if (!added) {
                ++facts[known->second].units;
                continue;
            }
        }
        facts.push_back(maker.Make(thing));
    }
    return facts;
}
