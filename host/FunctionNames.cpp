// Functions by id, address or name. Symbols have complete C++ names and tell which units to load, so they are searched
// first.
#include "host/FunctionNames.h"

#include "host/AddressLookup.h"
#include "host/Loader.h"
#include "host/NameLookup.h"
#include "host/Output.h"
#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/VFKElfFile.h"

#include <optional>
#include <unordered_set>

namespace {

using Functions = std::vector<std::size_t>;

Functions IndicesOf(const DbgSymSymFile& store, const std::unordered_set<const DbgSymFuncScope*>& functions)
{
    Functions indices;
    for (std::size_t i = 0; indices.size() < functions.size() && i < store.FuncScopeCount(); ++i) {
        if (functions.contains(&store.FuncScopeAt(i))) {
            indices.push_back(i);
        }
    }
    return indices;
}

Functions IndexOf(const DbgSymSymFile& store, const DbgSymFuncScope* function)
{
    return function == nullptr ? Functions() : IndicesOf(store, {function});
}

Functions FindByNumber(Loader& file, u32 number)
{
    if (const DbgSymSrcFile* unit = file.Store().FileScopeOfDie(number)) {
        file.LoadUnit(unit->GetId());
    }
    const DbgSymFuncScope* function = file.Store().FindFuncScope(number);
    return function != nullptr ? IndexOf(file.Store(), function)
                               : IndexOf(file.Store(), AddressLookup(file).FindFunction(file.AddressOf(number)));
}

Functions FindBySymbol(Loader& file, NameLookup& names, const NamePattern& pattern)
{
    AddressLookup addresses(file);
    std::unordered_set<const DbgSymFuncScope*> found;
    for (const ElfSymbol* symbol : names.FindSymbols(pattern)) {
        const DbgAddress address = file.AddressOf(symbol->address);
        const DbgSymFuncScope* function = symbol->IsFunction() ? addresses.FindFunction(address) : nullptr;
        if (function != nullptr && function->range.value == address.value) {
            found.insert(function);
        }
    }
    return IndicesOf(file.Store(), found);
}

Functions FindByName(NameLookup& names, const NamePattern& pattern)
{
    Functions found;
    for (const NamedThing& thing : names.Find(pattern)) {
        if (thing.kind == NamedThing::Kind::Function) {
            found.push_back(thing.index);
        }
    }
    return found;
}

/// Those that something else has the name better than.
Functions FindAmongAll(Loader& file, const NamePattern& pattern)
{
    file.Load(LoadDepth::Symbols);
    BestMatches<std::size_t> best;
    for (std::size_t i = 0; i < file.Store().FuncScopeCount(); ++i) {
        best.Offer(pattern.Match(file.Store().FuncScopeAt(i).name), i);
    }
    return best.Things();
}

} // namespace

std::vector<std::size_t> SelectFunctions(Loader& file, const NamePattern& pattern)
{
    file.LoadIndex();
    if (const std::optional<u32> number = ParseNumber(pattern.Text())) {
        Functions found = FindByNumber(file, *number);
        if (found.empty()) {
            Complain(file.ShownPath(), "There is no function '" + pattern.Text() + "'");
        }
        return found;
    }
    const VFKElfFile elf(file.Store().GetPath());
    NameLookup names(file, elf);
    // In an object file the functions of all sections begin at 0: a symbol's address doesn't tell which is meant.
    Functions found = names.Symbols().IsRelocatable() ? Functions() : FindBySymbol(file, names, pattern);
    if (found.empty()) {
        found = FindByName(names, pattern);
    }
    if (found.empty()) {
        found = FindAmongAll(file, pattern);
    }
    if (found.empty()) {
        const bool hasSymbol = !names.FindSymbols(pattern).empty();
        Complain(file.ShownPath(), hasSymbol
                                       ? "There is no debug information about '" + pattern.Text() + "'"
                                       : "There is no function '" + pattern.Text() + "'" + NearNames(names, pattern));
    }
    return found;
}

std::vector<std::size_t> FunctionsOf(NameLookup& names, const ElfSymbol& symbol)
{
    return FindByName(names, NamePattern(std::string(symbol.name)));
}

std::vector<std::size_t> FunctionsAt(Loader& file, const DbgAddress& address, const std::string& hint)
{
    file.LoadIndex();
    Functions found = IndexOf(file.Store(), AddressLookup(file).FindFunction(address));
    if (found.empty()) {
        std::string text = "There is no function at ";
        AppendHex8(text, address.value);
        Complain(file.ShownPath(), hint.empty() ? text : text + ": " + hint);
    }
    return found;
}
