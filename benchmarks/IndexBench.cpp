// The abbreviation tables, the attribute reader and the compile-unit index, one at a time.
#include "benchmarks/Inputs.h"
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "tests/support/Dwarf2FileProbe.h"

#include <benchmark/benchmark.h>

namespace {

using Probe = Dwarf2FileProbe;

constexpr u32 kUnits = 200;
constexpr u32 kFunctions = 50;

/// Bytes of `.debug_abbrev` a second.
void ReadAbbrevTables(benchmark::State& state)
{
    Input input(kUnits, kFunctions);
    for (auto _ : state) {
        Probe::m_abbrListMap(*input.dwarf).clear();
        Probe::ReadAbbrevTables(*input.dwarf);
    }
    state.SetBytesProcessed(state.iterations() * Probe::m_debug_abbrev(*input.dwarf).Size());
}
BENCHMARK(ReadAbbrevTables);

/// Bytes of `.debug_info` a second, every attribute decoded or stepped over.
void ReadAttributes(benchmark::State& state)
{
    Input input(kUnits, kFunctions);
    Dwarf2File& file = *input.dwarf;
    file.BuildCompileUnitIndex();
    VFKDataBuf& info = Probe::m_debug_info(file);
    const bool wanted = state.range(0) != 0;
    u64 bytes = 0;
    for (auto _ : state) {
        for (const auto& [offset, unit] : Probe::m_cuHeaderMap(file)) {
            Seek(info, offset + CompileUnitInfo::kHeaderSize);
            while (!AtEnd(info) && info.Pos() < unit.End()) {
                const AbbrevDecl* decl = Probe::FindAbbrevDecl(file, unit.abbrevOffset, info.Get32_ULEB128(4));
                if (decl != nullptr) {
                    Seek(Probe::m_debug_abbrev(file), decl->offset + decl->headerSize);
                    Probe::ForEachAttribute(file, Entry{&unit, DIEInfo(), decl, false}, [&](u32, AttrReader& read) {
                        if (wanted) {
                            benchmark::DoNotOptimize(read());
                        }
                    });
                }
            }
            bytes += unit.unitLength;
        }
    }
    state.SetBytesProcessed(static_cast<i64>(bytes));
}
BENCHMARK(ReadAttributes)->ArgName("wanted")->Arg(0)->Arg(1);

/// Units a second, from a file that has just been opened.
void BuildIndex(benchmark::State& state)
{
    Input input(kUnits, kFunctions);
    for (auto _ : state) {
        state.PauseTiming();
        input.Reopen();
        state.ResumeTiming();
        input.dwarf->BuildCompileUnitIndex();
    }
    state.SetItemsProcessed(state.iterations() * kUnits);
}
BENCHMARK(BuildIndex);

} // namespace
