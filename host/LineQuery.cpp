// Line tables, whole or the rows of one source line.
#include "host/Listing.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/UnitNames.h"
#include "interfaces/DbgSymSrcFile.h"

#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

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

struct Row {
    const DbgSymSrcFile* source;
    const DbgSymLineTable* table;
    u32 index;

    const DbgSymLineEntry& Entry() const { return *table->GetLineEntryByIdx(index); }
    const std::string& Path() const
    {
        const std::string* path = table->GetEntryPath(Entry());
        return path == nullptr ? source->GetPath() : *path;
    }
};

class LineLister {
public:
    LineLister(Loader& file, Answer answer, const std::optional<SourceLine>& line, const Selection& selection)
        : m_file(file)
        , m_answer(answer)
        , m_line(line)
        , m_selection(selection)
        , m_records(answer.output)
    {
    }

    /// @return whether there were rows.
    bool List(const std::vector<u32>& units)
    {
        if (!m_answer.json) {
            m_answer.output.WriteHead("  address         line   col    size  file\n");
        }
        const bool byUnit = m_selection.sort == SortBy::Nothing;
        std::vector<Row> rows;
        for (const u32 unit : units) {
            AddRows(m_file.Store().FileScopeAt(unit), rows);
            if (byUnit) {
                WriteUnit(rows);
                rows.clear();
            }
        }
        SortRows(rows, m_selection.sort, [](const Row& row) {
            return SortKey{row.Entry().range.size, row.Entry().range, row.Path()};
        });
        for (const Row& row : rows) {
            Write(row);
        }
        if (!m_answer.json && m_count != 0) {
            m_answer.output.Write("total  " + Counted(m_count, "row") + '\n');
        }
        return m_count != 0;
    }

private:
    void AddRows(DbgSymSrcFile& source, std::vector<Row>& rows)
    {
        m_file.LoadLines(source.GetId());
        const DbgSymLineTable* table = source.GetLineTableMember();
        if (table == nullptr || m_answer.output.Error() != 0) {
            return;
        }
        std::vector<u32> indices;
        if (m_line) {
            indices = table->FindByLine(m_line->number);
        } else {
            indices.resize(table->Count());
            std::iota(indices.begin(), indices.end(), 0u);
        }
        for (const u32 index : indices) {
            const Row row{&source, table, index};
            if ((!m_line || IsOfLine(row)) && (!m_selection.match || IsMatched(row.Path()))) {
                rows.push_back(row);
            }
        }
    }

    /// The number is known to fit.
    bool IsOfLine(const Row& row) const
    {
        const std::string& wanted = m_line->path.empty() ? row.source->GetPath() : m_line->path;
        return row.Path() == wanted || EndsInPath(row.Path(), wanted);
    }

    /// There are few paths, and many rows of each.
    bool IsMatched(const std::string& path)
    {
        const auto [known, added] = m_matched.emplace(&path, false);
        if (added) {
            known->second = m_selection.TakesPath(path);
        }
        return known->second;
    }

    void WriteUnit(const std::vector<Row>& rows)
    {
        if (!rows.empty() && !m_answer.json) {
            WriteHeading(m_answer.output, rows.front().source);
        }
        for (const Row& row : rows) {
            Write(row);
        }
    }

    void Write(const Row& row)
    {
        ++m_count;
        if (m_answer.json) {
            m_records.Line(*row.table, row.index, row.Entry(), row.source->GetId());
            return;
        }
        const std::string text = RowLine(row.Entry(), m_paths.Shown(row.Path()));
        m_paths.Count(text.size());
        m_answer.output.Write(text);
    }

    Loader& m_file;
    Answer m_answer;
    const std::optional<SourceLine>& m_line;
    const Selection& m_selection;
    RecordWriter m_records;
    RowPaths m_paths;
    std::unordered_map<const std::string*, bool> m_matched;
    u64 m_count = 0;
};

} // namespace

int ListLines(Loader& file, Answer answer, const std::string& unit, const std::optional<SourceLine>& line,
              const Selection& selection)
{
    const std::vector<u32> units = SelectUnits(file, unit);
    if (!unit.empty() && units.empty()) {
        return 1;
    }
    const bool found = LineLister(file, answer, line, selection).List(units);
    if (found || units.empty() || (!line && !selection.match)) {
        return found || (!line && !selection.match) ? 0 : 1;
    }
    Complain(file.ShownPath(), line ? "No code is of line " + std::to_string(line->number)
                                    : "No code is of '" + selection.match->Text() + "'");
    return 1;
}
