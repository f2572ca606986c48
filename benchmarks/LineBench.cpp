// Line number programmes into the engine's tables.
#include "benchmarks/Inputs.h"
#include "interfaces/DbgSymSrcFile.h"

#include <benchmark/benchmark.h>

namespace {

/// Rows a second, every third of them of another file than the one before.
void BuildLineTables(benchmark::State& state)
{
    constexpr u32 kUnits = 50;
    Input input(kUnits, 200);
    input.dwarf->BuildCompileUnitIndex();
    i64 rows = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < input.store->FileScopeCount(); ++i) {
            DbgSymSrcFile& file = input.store->FileScopeAt(i);
            const FileRange& range = input.store->FileRangeAt(i);
            DbgSymLineTable table(&file);
            input.dwarf->BuildLineTable(&file, &table, &range.range, range.lineOffset);
            rows += static_cast<i64>(table.Count());
        }
    }
    state.SetItemsProcessed(rows);
}
BENCHMARK(BuildLineTables);

} // namespace
