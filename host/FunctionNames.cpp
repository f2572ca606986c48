// Functions by id, address, symbol or name. The symbol table is small and has C++ names whole, so it is asked first:
// only the units of what it finds are loaded.
#include "host/FunctionNames.h"

#include "host/AddressLookup.h"
#include "host/Loader.h"
#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace {

using Functions = std::vector<std::size_t>;

Functions IndicesOf(const DbgSymSymFile& store, const std::unordered_set<const DbgSymFuncScope*>& functions)
{
    Functions indices;
    for (std::size_t i = 0; !functions.empty() && i < store.FuncScopeCount(); ++i) {
        if (functions.contains(&store.FuncScopeAt(i))) {
            indices.push_back(i);
        }
    }
    return indices;
}

Functions FindByNumber(Loader& file, AddressLookup& addresses, u32 number)
{
    if (const DbgSymSrcFile* unit = file.Store().FileScopeOfDie(number)) {
        file.LoadUnit(unit->GetId());
    }
    const DbgSymFuncScope* function = file.Store().FindFuncScope(number);
    return function == nullptr ? FunctionsAt(file, addresses, file.AddressOf(number))
                               : IndicesOf(file.Store(), {function});
}

Functions FindBySymbol(Loader& file, AddressLookup& addresses, const NamePattern& pattern)
{
    const VFKElfFile elf(file.Store().GetPath());
    BestMatches<u32> best;
    const elf32_sym* symbol = nullptr;
    for (u32 i = 1; (symbol = elf.GetSymtabEntry(i)) != nullptr; ++i) {
        const bool isFunction = (symbol->st_info & 0xFu) == kSttFunc && symbol->st_shndx != kShnUndef;
        const char* name = isFunction ? elf.GetString(symbol->st_name) : nullptr;
        if (name != nullptr) {
            best.Offer(pattern.Match(name), symbol->st_value & ~1u);
        }
    }
    std::unordered_set<const DbgSymFuncScope*> found;
    for (const u32 address : best.Things()) {
        const DbgSymFuncScope* function = addresses.FindFunction(file.AddressOf(address));
        if (function != nullptr && function->range.value == file.AddressOf(address).value) {
            found.insert(function);
        }
    }
    return IndicesOf(file.Store(), found);
}

Functions FindByName(Loader& file, const NamePattern& pattern)
{
    file.Load(LoadDepth::Symbols);
    BestMatches<std::size_t> best;
    for (std::size_t i = 0; i < file.Store().FuncScopeCount(); ++i) {
        best.Offer(pattern.Match(file.Store().FuncScopeAt(i).name), i);
    }
    return best.Things();
}

} // namespace

std::vector<std::size_t> SelectFunctions(Loader& file, AddressLookup& addresses, const NamePattern& pattern)
{
    if (const std::optional<u32> number = ParseNumber(pattern.Text())) {
        return FindByNumber(file, addresses, *number);
    }
    Functions found = FindBySymbol(file, addresses, pattern);
    return found.empty() ? FindByName(file, pattern) : found;
}

std::vector<std::size_t> FunctionsAt(Loader& file, AddressLookup& addresses, const DbgAddress& address)
{
    const DbgSymFuncScope* function = addresses.FindFunction(address);
    return function == nullptr ? Functions() : IndicesOf(file.Store(), {function});
}
