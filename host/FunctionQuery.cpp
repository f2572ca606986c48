// The functions of a file, unit by unit or in one order.
#include "host/Listing.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/UnitNames.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <tuple>

namespace {

struct FunctionRow {
    u32 unit; ///< kNone: none
    const DbgSymFuncScope* function;
};

/// Unit by unit, each under the unit that UnitOf says. Those under none come last.
std::vector<FunctionRow> FunctionsByUnit(const Loader& file, const std::vector<u32>& units, bool all,
                                         const Selection& selection)
{
    const DbgSymSymFile& store = file.Store();
    std::vector<u32> ids;
    for (const u32 unit : units) {
        ids.push_back(store.FileScopeAt(unit).GetId());
    }
    std::sort(ids.begin(), ids.end());
    std::vector<FunctionRow> rows;
    for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
        const DbgSymFuncScope& function = store.FuncScopeAt(i);
        const u32 unit = file.UnitOf(function.fileId, function.id);
        if ((all || std::binary_search(ids.begin(), ids.end(), unit)) && selection.Takes(function.name)) {
            rows.push_back({unit, &function});
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const FunctionRow& a, const FunctionRow& b) { return a.unit < b.unit; });
    return rows;
}

std::string FunctionLine(const DbgSymFuncScope& function)
{
    std::string line = "  ";
    AppendHex8(line, function.id);
    line += "  ";
    AppendAddress(line, function.range);
    AppendDecimal(line, function.range.size, 10);
    line += "  ";
    AppendPrintable(line, function.name);
    return line;
}

void WriteTable(Loader& file, Output& output, const std::vector<FunctionRow>& rows, bool byUnit)
{
    output.WriteHead(byUnit ? "  id          address           size  name\n"
                            : "  id          address           size  name  unit\n");
    u64 bytes = 0;
    std::set<std::tuple<u32, u32, u32>> counted;
    const FunctionRow* last = nullptr;
    for (const FunctionRow& row : rows) {
        const DbgSymSrcFile* unit = file.Store().FindFileScope(row.unit, nullptr);
        if (byUnit && (last == nullptr || last->unit != row.unit)) {
            WriteHeading(output, unit);
        }
        last = &row;
        const DbgAddrRange& range = row.function->range;
        // Two names of one function don't make it two.
        bytes += counted.emplace(range.section, range.value, range.size).second ? range.size : 0;
        std::string line = FunctionLine(*row.function);
        if (!byUnit && unit != nullptr) {
            line += "  ";
            AppendShort(line, unit->GetPath());
        }
        output.Write(line + '\n');
    }
    if (!rows.empty()) {
        WriteTotal(output, Counted(rows.size(), "function"), bytes);
    }
}

void ComplainOfNone(Loader& file, const std::vector<u32>& units, const NamePattern& match, const std::string& unit)
{
    const std::vector<FunctionRow> all = FunctionsByUnit(file, units, unit.empty(), {});
    const auto nameOf = [](const FunctionRow& row) { return row.function->name; };
    Complain(file.ShownPath(), "There is no function '" + match.Text() + "'" +
                                   (unit.empty() ? "" : " in the unit '" + unit + "'") +
                                   NearMatches(match, all, nameOf));
}

} // namespace

int ListFunctions(Loader& file, Answer answer, const std::string& unit, const Selection& selection)
{
    const std::vector<u32> units = SelectUnits(file, unit);
    if (!unit.empty() && units.empty()) {
        return 1;
    }
    for (const u32 index : units) {
        file.LoadUnit(file.Store().FileScopeAt(index).GetId());
    }
    std::vector<FunctionRow> rows = FunctionsByUnit(file, units, unit.empty(), selection);
    if (rows.empty() && selection.match) {
        ComplainOfNone(file, units, *selection.match, unit);
        return 1;
    }
    SortRows(rows, selection.sort, [](const FunctionRow& row) {
        return SortKey{row.function->range.size, row.function->range, row.function->name};
    });
    if (!answer.json) {
        WriteTable(file, answer.output, rows, selection.sort == SortBy::Nothing);
        return 0;
    }
    RecordWriter records(answer.output);
    for (const FunctionRow& row : rows) {
        records.Function(*row.function, row.unit);
    }
    return 0;
}
