// Line tables, whole or the rows of one source line.
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/UnitNames.h"
#include "interfaces/DbgSymSrcFile.h"

#include <numeric>
#include <string_view>
#include <utility>

namespace {

std::string RowLine(const DbgSymLineEntry& entry, std::string_view path)
{
    std::string line = "  ";
    AppendAddress(line, entry.range);
    for (const auto& [number, width] : {std::pair(entry.line, 7), {u32{entry.column}, 5}, {entry.range.size, 7}}) {
        line += ' '; // also between numbers of ten digits
        AppendDecimal(line, number, static_cast<u32>(width));
    }
    line += "  ";
    AppendPrintable(line, path);
    line += '\n';
    return line;
}

/// Indexes of the rows to list, ascending.
std::vector<u32> RowsOf(const DbgSymSrcFile& source, const DbgSymLineTable& table,
                        const std::optional<SourceLine>& line)
{
    std::vector<u32> rows;
    if (!line) {
        rows.resize(table.Count());
        std::iota(rows.begin(), rows.end(), 0u);
        return rows;
    }
    rows = table.FindByLine(line->number);
    std::erase_if(rows, [&](u32 row) {
        const std::string* path = table.GetEntryPath(*table.GetLineEntryByIdx(row));
        const std::string& file = path == nullptr ? source.GetPath() : *path;
        const std::string& wanted = line->path.empty() ? source.GetPath() : line->path;
        return file != wanted && !EndsInPath(file, wanted);
    });
    return rows;
}

} // namespace

int ListLines(Loader& file, Answer answer, const std::string& unit, const std::optional<SourceLine>& line)
{
    const std::vector<u32> units = SelectUnits(file, unit);
    if (!unit.empty() && units.empty()) {
        return 1;
    }
    bool found = !line;
    RecordWriter records(answer.output);
    RowPaths paths;
    if (!answer.json) {
        answer.output.WriteHead("  address         line   col    size  file\n");
    }
    for (const u32 index : units) {
        DbgSymSrcFile& source = file.Store().FileScopeAt(index);
        file.LoadLines(source.GetId());
        const DbgSymLineTable* table = source.GetLineTableMember();
        if (table == nullptr || answer.output.Error() != 0) {
            continue;
        }
        const std::vector<u32> rows = RowsOf(source, *table, line);
        if (!answer.json && !(line && rows.empty())) {
            WriteHeading(answer.output, &source);
        }
        for (const u32 row : rows) {
            found = true;
            const DbgSymLineEntry& entry = *table->GetLineEntryByIdx(row);
            if (answer.json) {
                records.Line(*table, row, entry, source.GetId());
            } else {
                const std::string* path = table->GetEntryPath(entry);
                const std::string text = RowLine(entry, paths.Shown(path == nullptr ? source.GetPath() : *path));
                paths.Count(text.size());
                answer.output.Write(text);
            }
        }
    }
    if (!found && !units.empty()) {
        Complain(file.ShownPath(), "No code is of line " + std::to_string(line->number));
    }
    return found ? 0 : 1;
}
