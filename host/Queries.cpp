// The simple listings: ratings, sections and units.
#include "host/Queries.h"

#include "host/Json.h"
#include "host/Listing.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Records.h"
#include "host/Text.h"
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

std::string UnitLine(const DbgSymSrcFile& unit, const FileRange& range)
{
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
    return line + '\n';
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
        if (!shown.Prepare(convert, Hint::None)) {
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

int ListUnits(Loader& file, Answer answer, const Selection& selection)
{
    file.LoadIndex();
    const DbgSymSymFile& store = file.Store();
    std::vector<std::size_t> units;
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        if (selection.TakesPath(store.FileScopeAt(i).GetPath())) {
            units.push_back(i);
        }
    }
    if (units.empty() && selection.match) {
        const std::string near = selection.path ? NearUnits(file, selection.match->Text()) : std::string();
        Complain(file.ShownPath(), "There is no unit '" + selection.match->Text() + "'" + near);
        return 1;
    }
    SortRows(units, selection.sort, [&](std::size_t i) {
        const DbgAddrRange& range = store.FileRangeAt(i).range;
        return SortKey{range.size, range, store.FileScopeAt(i).GetPath()};
    });
    RecordWriter records(answer.output);
    if (!answer.json) {
        answer.output.WriteHead("id          address           size  lines       path\n");
    }
    u64 bytes = 0;
    for (const std::size_t i : units) {
        bytes += store.FileRangeAt(i).range.size;
        if (answer.json) {
            records.Unit(store.FileScopeAt(i), store.FileRangeAt(i));
        } else {
            answer.output.Write(UnitLine(store.FileScopeAt(i), store.FileRangeAt(i)));
        }
    }
    if (!answer.json && !units.empty()) {
        WriteTotal(answer.output, Counted(units.size(), "unit"), bytes);
    }
    return 0;
}

void WriteHeading(Output& output, const DbgSymSrcFile* unit)
{
    std::string line;
    AppendShort(line, unit == nullptr ? "(in no unit)" : std::string_view(unit->GetPath()));
    output.Write(line + ":\n");
}
