// The walks: a unit's top level with its types, and the functions' scopes. And the rows and records behind them.
#include "benchmarks/Inputs.h"
#include "index/DieInfoMap.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"

#include <benchmark/benchmark.h>
#include <string>

namespace {

constexpr u32 kUnits = 50;
constexpr u32 kFunctions = 100;

void LoadUnits(Input& input)
{
    for (std::size_t i = 0; i < input.store->FileScopeCount(); ++i) {
        input.dwarf->LoadCompileUnitSymbols(input.store->FileScopeAt(i).GetId());
    }
}

/// Functions a second.
void LoadSymbols(benchmark::State& state)
{
    Input input(kUnits, kFunctions);
    for (auto _ : state) {
        state.PauseTiming();
        input.Reopen();
        input.dwarf->BuildCompileUnitIndex();
        state.ResumeTiming();
        LoadUnits(input);
    }
    state.SetItemsProcessed(state.iterations() * kUnits * kFunctions);
}
BENCHMARK(LoadSymbols);

void LoadScopes(benchmark::State& state)
{
    Input input(kUnits, kFunctions);
    for (auto _ : state) {
        state.PauseTiming();
        input.Reopen();
        input.dwarf->BuildCompileUnitIndex();
        LoadUnits(input);
        state.ResumeTiming();
        for (std::size_t i = 0; i < input.store->FuncScopeCount(); ++i) {
            DbgSymContext context;
            context.funcScope = input.store->FuncScopeAt(i).id;
            input.dwarf->LoadFunctionScopes(&context);
        }
    }
    state.SetItemsProcessed(state.iterations() * kUnits * kFunctions);
}
BENCHMARK(LoadScopes);

/// Rows a second, added in the order of a walk and found again.
void AddAndFindRows(benchmark::State& state)
{
    constexpr u32 kSection = 1 << 24;
    constexpr u32 kStep = 11; // bytes of an entry, on the average
    for (auto _ : state) {
        DieInfoMap rows;
        rows.SetSectionSize(kSection);
        for (u32 offset = 0; offset < kSection; offset += kStep) {
            rows.GetOrAdd(offset);
        }
        for (u32 offset = 0; offset < kSection; offset += kStep) {
            benchmark::DoNotOptimize(rows.Find(offset));
        }
    }
    state.SetItemsProcessed(state.iterations() * (kSection / kStep));
}
BENCHMARK(AddAndFindRows);

/// Types a second that a store takes, each with a name of its own, and finds again.
void AddAndFindTypes(benchmark::State& state)
{
    constexpr u32 kTypes = 100000;
    constexpr u32 kStep = 19; // bytes of `.debug_info` from a type to the next
    for (auto _ : state) {
        DbgSymSymFile store("a.axf", 1);
        for (u32 id = 0; id < kTypes * kStep; id += kStep) {
            const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, std::to_string(id).c_str(), 4);
            type->SetTypeInfo(new DbgUDTInfoTypedef(&store, kBaseInt, 0, kNone));
            store.AddUserDefinedType(type);
        }
        for (u32 id = 0; id < kTypes * kStep; id += kStep) {
            benchmark::DoNotOptimize(store.GetUserDefinedType(id));
        }
    }
    state.SetItemsProcessed(state.iterations() * kTypes);
}
BENCHMARK(AddAndFindTypes);

} // namespace
