// The forms of an answer. A row says for each column what is not known.
#include "host/AddressAnswer.h"

#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::size_t kNameColumn = 12;
constexpr std::size_t kCodeWidth = 4;

const char* CodeName(u32 type)
{
    switch (type) {
    case DbgSymbolicInterface::kCodeArm:
        return "ARM";
    case DbgSymbolicInterface::kCodeThumb:
        return "THMB";
    case DbgSymbolicInterface::kCodeData:
        return "DATA";
    default:
        return nullptr;
    }
}

const char* KindOf(const AddressFacts& facts)
{
    switch (facts.kind) {
    case 'a':
        return "ARM";
    case 't':
        return "THMB";
    case 'd':
        return "DATA";
    default:
        return "??";
    }
}

void AppendOffset(std::string& text, u32 offset)
{
    if (offset != 0) {
        text += '+';
        AppendDecimal(text, offset);
    }
}

void AppendLine(std::string& text, const AddressLookup::Place& place, bool nameAlone)
{
    std::string_view path = *place.path;
    if (nameAlone) {
        path.remove_prefix(path.find_last_of("/\\") + 1);
    }
    AppendShort(text, path);
    text += ':';
    AppendDecimal(text, place.entry->line);
}

std::string SectionOf(const AddressFacts& facts, const SymbolTable& symbols)
{
    std::string name;
    AppendShort(name, symbols.SectionName(*facts.section));
    return name;
}

/// Drops what is in the brackets of a name that is too long for a row: "std::sort<...>(...)".
std::string Abbreviated(std::string_view name)
{
    constexpr std::size_t kLongest = 100;
    if (name.size() <= kLongest) {
        return std::string(name);
    }
    std::string text;
    u32 depth = 0;
    for (const char character : name) {
        const bool closes = depth != 0 && (character == '>' || character == ')');
        depth -= closes ? 1 : 0;
        if (depth == 0) {
            text += character;
        }
        if (character == '<' || character == '(') {
            text += depth == 0 ? "..." : "";
            ++depth;
        }
    }
    if (text.size() > kLongest) {
        text.resize(kLongest);
        text += "...";
    }
    return text;
}

void ModulesKeys(JsonLine& json, const AddressFacts& facts)
{
    json.Number("address", facts.spot.address);
    if (facts.function) {
        json.Text("function", facts.function->name)
            .Number("function_address", facts.function->range.value)
            .Number("function_size", facts.function->range.size);
    } else {
        json.Null("function").Null("function_address").Null("function_size");
    }
    if (facts.code) {
        json.TextOrNull("code", CodeName(facts.code->type)).Number("run", facts.code->run);
    } else {
        json.Null("code").Null("run");
    }
    if (facts.place) {
        json.Text("file", *facts.place->path).Number("line", facts.place->entry->line);
    } else {
        json.Null("file").Null("line");
    }
}

void KnownKeys(JsonLine& json, const AddressFacts& facts)
{
    json.TextOrNull("kind", facts.IsKnown() && *KindOf(facts) != '?' ? KindOf(facts) : nullptr);
    json.TextUnlessEmpty("symbol", facts.symbol == nullptr ? std::string_view() : facts.symbol->name);
    json.TextUnlessEmpty("symbol_name", facts.name);
    json.NumberOrNull("offset", facts.name.empty() ? kNone : facts.offset);
    json.OpenList("inlined");
    for (const std::string& name : facts.inlined) {
        json.Text(nullptr, name);
    }
    json.CloseList();
    if (facts.isVariable) {
        json.Text("variable", facts.name + facts.member.path)
            .Number("variable_offset", facts.member.rest)
            .Text("variable_type", facts.type);
    } else {
        json.Null("variable").Null("variable_offset").Null("variable_type");
    }
    if (facts.source) {
        json.Text("source", *facts.source->path).Number("source_line", facts.source->entry->line);
    } else {
        json.Null("source").Null("source_line");
    }
}

} // namespace

std::string PlaceName(const AddressFacts& facts, const SymbolTable& symbols)
{
    if (!facts.IsKnown()) {
        return "(no section)";
    }
    std::string text;
    if (!facts.name.empty()) {
        AppendPrintable(text, Abbreviated(facts.name));
        text += facts.member.path;
        AppendOffset(text, facts.isVariable ? facts.member.rest : facts.offset);
        return text;
    }
    text = '(' + SectionOf(facts, symbols);
    AppendOffset(text, facts.spot.address - symbols.SectionAddress(*facts.section));
    return text + ')';
}

std::string AddressRow(const AddressFacts& facts, const SymbolTable& symbols, std::size_t width)
{
    const std::size_t codeColumn = kNameColumn + width + 2;
    std::string line;
    AppendHex8(line, facts.spot.address);
    line += "  ";
    line += PlaceName(facts, symbols);
    PadTo(line, std::max(line.size() + 2, codeColumn));
    line += KindOf(facts);
    PadTo(line, std::max(line.size() + 2, codeColumn + kCodeWidth + 2));
    if (facts.source) {
        AppendLine(line, *facts.source, false);
    } else if (facts.IsKnown() && !facts.isCode) {
        line += facts.isVariable ? facts.type + " in " : "in ";
        line += SectionOf(facts, symbols);
    } else if (facts.IsKnown() && symbols.IsRelocatable()) {
        line += "no line, in " + SectionOf(facts, symbols);
    } else {
        line += facts.IsKnown() ? "no line" : "??";
    }
    line += '\n';
    if (!facts.inlined.empty()) {
        line.append(kNameColumn, ' ');
        line += "  inlined ";
        for (std::size_t i = 0; i < facts.inlined.size(); ++i) {
            line += i == 0 ? "" : ", in ";
            AppendPrintable(line, Abbreviated(facts.inlined[i]));
        }
        line += '\n';
    }
    return line;
}

std::string AddressContent(const AddressFacts& facts)
{
    std::string text = facts.name + '\n' + KindOf(facts) + '\n';
    text += facts.section ? std::to_string(*facts.section) : "";
    if (facts.source) {
        AppendLine(text, *facts.source, false);
    }
    for (const std::string& name : facts.inlined) {
        text += '\n' + name;
    }
    return text;
}

std::string AddressNote(const AddressFacts& facts, const SymbolTable& symbols)
{
    std::string note = "<" + PlaceName(facts, symbols);
    if (facts.source) {
        note += ' ';
        AppendLine(note, *facts.source, true);
    }
    for (const std::string& name : facts.inlined) {
        note += &name == &facts.inlined.front() ? ", inlined " : ", in ";
        AppendPrintable(note, Abbreviated(name));
    }
    return note + '>';
}

std::string_view AddressObject(JsonLine& json, const std::string& query, const AddressFacts& facts,
                               const SymbolTable& symbols)
{
    json.Begin();
    ModulesKeys(json, facts);
    json.Text("query", query);
    json.TextUnlessEmpty("section_name", facts.section ? symbols.SectionName(*facts.section) : std::string_view());
    KnownKeys(json, facts);
    return json.End();
}
