// The plain listings: ratings, sections, units and functions.
#include "host/Queries.h"

#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/UnitNames.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

const char* SectionTypeName(u32 type)
{
    switch (type) {
    case kSectionCode:
        return "code";
    case kSectionPiCode:
        return "pi code";
    case kSectionData:
        return "data";
    case kSectionPiData:
        return "pi data";
    default:
        return "?";
    }
}

/// Indices of the functions to list, unit by unit, each under the unit that UnitOf says. Those
/// under none come last.
std::vector<std::pair<u32, std::size_t>> FunctionsByUnit(const Loader& file, const std::vector<u32>& units, bool all)
{
    const DbgSymSymFile& store = file.Store();
    std::vector<u32> ids;
    for (const u32 unit : units) {
        ids.push_back(store.FileScopeAt(unit).GetId());
    }
    std::sort(ids.begin(), ids.end());
    std::vector<std::pair<u32, std::size_t>> rows;
    for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
        const DbgSymFuncScope& function = store.FuncScopeAt(i);
        const u32 unit = file.UnitOf(function.fileId, function.id);
        if (all || std::binary_search(ids.begin(), ids.end(), unit)) {
            rows.emplace_back(unit, i);
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
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
    line += '\n';
    return line;
}

} // namespace

int RateFiles(DbgSymbolicInterface& plugin, const std::vector<std::string>& paths, ConvertMode convert, Answer answer)
{
    int status = 0;
    u32 key = 0;
    JsonLine json;
    for (const std::string& path : paths) {
        const std::string why = WhyUnreadable(path);
        if (!why.empty()) {
            Complain(path, why);
            status = 1;
            continue;
        }
        ShownFile shown(path);
        if (!shown.Prepare(convert, false)) {
            status = 1;
            continue;
        }
        const u32 rating = Loader(plugin, shown, ++key).Rate();
        if (answer.json) {
            answer.output.Write(json.Begin().Text("path", path).Number("rating", rating).End());
        } else {
            answer.output.Write(std::to_string(rating) + '\t' + path + '\n');
        }
        const std::string whyNot = rating == 0 ? WhyNotElf32(path) : std::string();
        if (!whyNot.empty()) {
            Complain(path, whyNot);
            status = 1;
        }
    }
    return status;
}

int ListSections(Loader& file, Answer answer)
{
    file.LoadSections();
    const DbgSectionList& sections = file.Store().GetSectionList();
    RecordWriter records(answer.output);
    if (!answer.json) {
        answer.output.WriteHead("  id  type     base              size  name\n");
    }
    for (std::size_t i = 0; i < sections.Count(); ++i) {
        const DbgSection& section = sections.At(i);
        if (answer.json) {
            records.Section(section);
            continue;
        }
        std::string line;
        AppendDecimal(line, section.id, 4);
        line += "  ";
        line += SectionTypeName(section.type);
        PadTo(line, 15);
        AppendHex8(line, section.base);
        AppendDecimal(line, section.size, 12);
        line += "  ";
        AppendPrintable(line, section.name);
        answer.output.Write(line + '\n');
    }
    return 0;
}

int ListUnits(Loader& file, Answer answer)
{
    file.LoadIndex();
    RecordWriter records(answer.output);
    if (!answer.json) {
        answer.output.WriteHead("id          address           size  lines       path\n");
    }
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        const DbgSymSrcFile& unit = file.Store().FileScopeAt(i);
        const FileRange& range = file.Store().FileRangeAt(i);
        if (answer.json) {
            records.Unit(unit, range);
            continue;
        }
        std::string line;
        AppendHex8(line, unit.GetId());
        line += "  ";
        if (range.range.value == kNone) {
            line += "-         ";
        } else {
            AppendAddress(line, range.range);
        }
        AppendDecimal(line, range.range.size, 12);
        line += "  ";
        if (range.lineOffset == kNone) {
            line += "-         ";
        } else {
            AppendHex8(line, range.lineOffset);
        }
        line += "  ";
        AppendPrintable(line, unit.GetPath());
        answer.output.Write(line + '\n');
    }
    return 0;
}

int ListFunctions(Loader& file, Answer answer, const std::string& unit)
{
    const std::vector<u32> units = SelectUnits(file, unit);
    if (!unit.empty() && units.empty()) {
        return 1;
    }
    for (const u32 index : units) {
        file.LoadUnit(file.Store().FileScopeAt(index).GetId());
    }
    RecordWriter records(answer.output);
    if (!answer.json) {
        answer.output.WriteHead("  id          address           size  name\n");
    }
    bool first = true;
    u32 heading = kNone;
    for (const auto& [owner, index] : FunctionsByUnit(file, units, unit.empty())) {
        const DbgSymFuncScope& function = file.Store().FuncScopeAt(index);
        if (answer.json) {
            records.Function(function, owner);
            continue;
        }
        if (first || heading != owner) {
            WriteHeading(answer.output, file.Store().FindFileScope(owner, nullptr));
            heading = owner;
            first = false;
        }
        answer.output.Write(FunctionLine(function));
    }
    return 0;
}

void WriteHeading(Output& output, const DbgSymSrcFile* unit)
{
    std::string line;
    AppendShort(line, unit == nullptr ? "(in no unit)" : std::string_view(unit->GetPath()));
    output.Write(line + ":\n");
}
