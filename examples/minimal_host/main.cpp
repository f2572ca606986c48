// A small host: loads the installed module, opens a symbol file with it, and asks three things.
//
//   minimal_host FILE ADDRESS NAME
#include <interfaces/DbgAddress.h>
#include <interfaces/DbgExpression.h>
#include <interfaces/DbgSymSrcFile.h>
#include <interfaces/DbgSymSymFile.h>
#include <interfaces/DbgSymbolicInterface.h>
#include <interfaces/VFKDataString.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <string>

namespace {

/// The number by which the plug-in knows the file. Any will do but kNone and kContents.
constexpr u32 kKey = 1;

/// The module stays loaded: the plug-in object is its own.
DbgSymbolicInterface* LoadPlugIn(const char* path)
{
    void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return nullptr;
    }
    using GetInterface = void*(u32);
    const auto get = reinterpret_cast<GetInterface*>(dlsym(module, "GetInterface"));
    return get == nullptr ? nullptr : static_cast<DbgSymbolicInterface*>(get(DbgSymbolicInterface::kTag));
}

DbgSymContext FileContext()
{
    DbgSymContext context;
    context.symFile = kKey;
    return context;
}

/// The compile units, and nothing below them.
void LoadIndex(DbgSymbolicInterface& plugIn)
{
    DbgSymContext context = FileContext();
    plugIn.LoadSections(&context);
    context.fileScope = kContents;
    plugIn.LoadSymbols(&context);
}

/// What belongs to one unit: its line table, and its functions, variables and types.
void LoadUnit(DbgSymbolicInterface& plugIn, u32 unit)
{
    DbgSymContext context = FileContext();
    context.fileScope = unit;
    context.loadTarget = unit;
    plugIn.LoadLineTable(&context);
    context.funcScope = kContents;
    plugIn.LoadSymbols(&context);
}

/// 1: where does the code at an address come from? Loads the units that may hold it.
void ShowAddress(DbgSymbolicInterface& plugIn, DbgSymSymFile& file, u32 value)
{
    DbgAddress address;
    address.value = value; // linked at absolute addresses; a library's would be offsets in a section
    const DbgSymContext context = FileContext();
    std::string name = "no function";
    DbgAddrRange extent;
    plugIn.FindElfSymbolByAddress(&context, nullptr, &address, &name, &extent);
    std::printf("0x%08x: in %s, ", value, name.c_str());
    for (std::size_t i = 0; i < file.FileScopeCount(); ++i) {
        const DbgAddrRange& range = file.FileRangeAt(i).range;
        if (value - range.value < range.size) {
            DbgSymSrcFile& unit = file.FileScopeAt(i);
            LoadUnit(plugIn, unit.GetId());
            const DbgSymLineTable* const lines = unit.GetLineTableMember();
            const DbgSymLineEntry* const row = lines == nullptr ? nullptr : lines->FindByAddress(value, kNone);
            if (row != nullptr) {
                const std::string* const path = lines->GetEntryPath(*row);
                std::printf("%s:%u\n", path == nullptr ? unit.GetPath().c_str() : path->c_str(), row->line);
                return;
            }
        }
    }
    std::printf("no line\n");
}

/// 2: where is a symbol?
void ShowSymbol(DbgSymbolicInterface& plugIn, const char* name)
{
    const DbgSymContext context = FileContext();
    DbgAddrRange range; // its value is kNone where there is no such symbol
    plugIn.FindElfSymbolByName(&context, name, &range);
    std::printf("%s: at 0x%08x, %u bytes\n", name, range.value, range.size);
}

/// 3: which variables has a function, and where? Its unit has to be loaded by now.
void ShowVariables(DbgSymbolicInterface& plugIn, DbgSymSymFile& file, u32 address)
{
    for (std::size_t i = 0; i < file.FuncScopeCount(); ++i) {
        const DbgSymFuncScope& function = file.FuncScopeAt(i);
        if (address - function.range.value >= function.range.size) {
            continue;
        }
        DbgSymContext context = FileContext();
        context.fileScope = function.fileId;
        context.funcScope = function.id;
        context.subScope = kContents;
        plugIn.LoadSymbols(&context);
        for (std::size_t v = 0; v < file.VariableCount(); ++v) {
            const DbgVariable& variable = file.VariableAt(v);
            if (variable.context.funcScope == function.id) {
                std::string location;
                const VFKDataString bytes(false, variable.littleEndian, std::string(variable.location));
                DbgExpression(bytes, nullptr, nullptr).GetText(location, false);
                std::printf("  %s: %u bytes, %s\n", std::string(variable.name).c_str(), variable.byteSize,
                            location.c_str());
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    DbgSymbolicInterface* const plugIn = argc == 4 ? LoadPlugIn(DWARF2_MODULE) : nullptr;
    if (plugIn == nullptr) {
        std::fprintf(stderr, "usage: minimal_host FILE ADDRESS NAME\n");
        return 2;
    }
    DbgSymSymFile file(argv[1], kKey); // the store, which outlives the registration below
    std::printf("%s: rated %u\n", plugIn->GetName(), plugIn->CheckFile(&file));
    if (!plugIn->AddFile(&file, kKey)) {
        return 1;
    }
    LoadIndex(*plugIn);
    std::printf("%zu units\n", file.FileScopeCount());
    const u32 address = static_cast<u32>(std::strtoul(argv[2], nullptr, 0));
    ShowAddress(*plugIn, file, address);
    ShowSymbol(*plugIn, argv[3]);
    ShowVariables(*plugIn, file, address);
    const DbgSymContext context = FileContext();
    plugIn->RemoveFile(&context);
    return 0;
}
