// The differences of two programs as tables or as JSON. Equal programs make no table.
#include "host/DiffQuery.h"

#include "host/Demangle.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/ProgramDiff.h"
#include "host/Text.h"

#include <algorithm>

namespace {

constexpr std::size_t kNumberWidth = 10;

void AppendSize(std::string& line, const std::optional<u64>& size)
{
    if (size) {
        AppendDecimal(line, static_cast<i64>(*size), kNumberWidth);
    } else {
        line.append(kNumberWidth - 1, ' ');
        line += '-';
    }
}

void AppendGrowth(std::string& line, i64 growth)
{
    std::string number = growth > 0 ? "+" : "";
    AppendDecimal(number, growth);
    line.append(number.size() < kNumberWidth ? kNumberWidth - number.size() : 0, ' ');
    line += number;
}

std::string Numbers(const std::optional<u64>& before, const std::optional<u64>& now)
{
    std::string line;
    AppendSize(line, before);
    AppendSize(line, now);
    AppendGrowth(line, static_cast<i64>(now.value_or(0)) - static_cast<i64>(before.value_or(0)));
    return line + "  ";
}

std::optional<u64> Wide(const std::optional<u32>& size)
{
    return size ? std::optional<u64>(*size) : std::nullopt;
}

const char* ChangeOf(bool before, bool now)
{
    return !before ? "added" : !now ? "removed" : "changed";
}

class DiffTables {
public:
    DiffTables(const ProgramDiff& diff, Answer answer)
        : m_diff(diff)
        , m_answer(answer)
    {
    }

    void Write()
    {
        WriteSections();
        if (!m_diff.symbols.empty()) {
            WriteSymbols();
        }
        for (const TypeDifference& type : m_diff.types) {
            WriteType(type);
        }
    }

private:
    void WriteSections()
    {
        m_answer.output.WriteHead("       old       new    change  section\n");
        SectionDifference sum;
        for (const SectionDifference& section : m_diff.sections) {
            std::string line = Numbers(section.oldSize, section.newSize);
            AppendShort(line, section.name);
            m_answer.output.Write(line + '\n');
            sum.oldFlash += section.oldFlash;
            sum.newFlash += section.newFlash;
            sum.oldRam += section.oldRam;
            sum.newRam += section.newRam;
        }
        m_answer.output.Write(Numbers(sum.oldFlash, sum.newFlash) + "flash\n");
        m_answer.output.Write(Numbers(sum.oldRam, sum.newRam) + "ram\n");
    }

    void WriteSymbols()
    {
        m_answer.output.WriteHead("\n       old       new    change  section       name\n");
        std::string last;
        for (const SymbolDifference& symbol : m_diff.symbols) {
            std::string line = Numbers(Wide(symbol.oldSize), Wide(symbol.newSize));
            AppendShort(line, symbol.section);
            PadTo(line, 3 * kNumberWidth + 16);
            AppendShort(line, ShownName(symbol.symbol->name, m_answer.demangle));
            if (!symbol.unit.empty()) {
                line += "  ";
                AppendShort(line, symbol.unit);
            }
            if (line != last) { // a constructor has several symbols of the same C++ name
                m_answer.output.Write(line + '\n');
            }
            last = std::move(line);
        }
    }

    void WriteType(const TypeDifference& difference)
    {
        const TypeShape* before = difference.oldType;
        const TypeShape* now = difference.newType;
        const TypeShape& type = now == nullptr ? *before : *now;
        std::string line = std::string("\n") + ChangeOf(before != nullptr, now != nullptr) + "  " + type.kind + ' ';
        AppendShort(line, type.name.empty() ? "(no name)" : type.name);
        AppendSizes(line, before, now);
        m_answer.output.Write(line + '\n');
        for (const MemberDifference& member : m_diff.MembersOf(difference)) {
            WriteMember(member);
        }
    }

    static void AppendSizes(std::string& line, const TypeShape* before, const TypeShape* now)
    {
        const TypeShape& first = before == nullptr ? *now : *before;
        if (!first.size) {
            return;
        }
        line += "  size ";
        AppendDecimal(line, *first.size);
        if (now != nullptr && now->size && *now->size != *first.size) {
            line += " -> ";
            AppendDecimal(line, *now->size);
        }
    }

    void WriteMember(const MemberDifference& member)
    {
        for (const auto& [row, sign] : {std::pair(&member.oldRow, '-'), std::pair(&member.newRow, '+')}) {
            if (*row) {
                WriteRow(**row, sign);
            }
        }
    }

    void WriteRow(const ShapeRow& row, char sign)
    {
        std::string line = std::string("  ") + sign + ' ';
        if (row.value) {
            AppendShort(line, row.name);
            line += " = ";
            AppendDecimal(line, *row.value);
        } else {
            if (!row.isTarget) {
                AppendPlace(line, row);
            }
            AppendShort(line, row.type);
            line += row.name.empty() ? "" : "  ";
            AppendShort(line, row.name);
        }
        m_answer.output.Write(line + '\n');
    }

    static void AppendPlace(std::string& line, const ShapeRow& row)
    {
        line += "offset ";
        AppendDecimal(line, static_cast<i64>(row.offset));
        line += "  size ";
        AppendDecimal(line, row.size);
        if (row.bitSize != 0) {
            line += "  bits ";
            AppendDecimal(line, row.bitSize);
        }
        line += "  ";
    }

    const ProgramDiff& m_diff;
    Answer m_answer;
};

class DiffRecords {
public:
    DiffRecords(const ProgramDiff& diff, Output& output)
        : m_diff(diff)
        , m_output(output)
    {
    }

    void Write()
    {
        for (const SectionDifference& section : m_diff.sections) {
            m_json.Begin("section").Text("name", section.name);
            m_output.Write(Size("new", section.newSize, Size("old", section.oldSize, m_json)).End());
        }
        for (const SymbolDifference& symbol : m_diff.symbols) {
            WriteSymbol(symbol);
        }
        for (const TypeDifference& type : m_diff.types) {
            WriteType(type);
        }
    }

private:
    static JsonLine& Size(const char* key, const std::optional<u64>& size, JsonLine& json)
    {
        return size ? json.Number64(key, *size) : json.Null(key);
    }

    void WriteSymbol(const SymbolDifference& symbol)
    {
        m_json.Begin("symbol")
            .Text("name", symbol.symbol->name)
            .Text("kind", SymbolKindName(symbol.symbol->kind))
            .Text("change", symbol.Change())
            .Text("section", symbol.section);
        Size("new", Wide(symbol.newSize), Size("old", Wide(symbol.oldSize), m_json));
        if (symbol.unit.empty()) {
            m_json.Null("unit");
        } else {
            m_json.Text("unit", symbol.unit);
        }
        if (const std::optional<std::string> plain = Demangle(symbol.symbol->name)) {
            m_json.Text("demangled", *plain);
        }
        m_output.Write(m_json.End());
    }

    void WriteType(const TypeDifference& difference)
    {
        const TypeShape& type = difference.newType == nullptr ? *difference.oldType : *difference.newType;
        m_json.Begin("type");
        Name(type.name).Text("change", ChangeOf(difference.oldType != nullptr, difference.newType != nullptr));
        for (const auto& [key, shape] : {std::pair("old", difference.oldType), std::pair("new", difference.newType)}) {
            Size(key, shape == nullptr ? std::nullopt : Wide(shape->size), m_json);
        }
        m_json.OpenList("members");
        for (const MemberDifference& member : m_diff.MembersOf(difference)) {
            m_json.OpenObject();
            const ShapeRow& row = member.newRow ? *member.newRow : *member.oldRow;
            Name(row.name).Text("change", ChangeOf(member.oldRow.has_value(), member.newRow.has_value()));
            WriteRow("old", member.oldRow);
            WriteRow("new", member.newRow);
            m_json.CloseObject();
        }
        m_output.Write(m_json.CloseList().Text("kind", type.kind).End());
    }

    JsonLine& Name(std::string_view name) { return name.empty() ? m_json.Null("name") : m_json.Text("name", name); }

    void WriteRow(const char* key, const std::optional<ShapeRow>& row)
    {
        if (!row) {
            m_json.Null(key);
            return;
        }
        m_json.OpenObject(key);
        if (row->value) {
            m_json.Signed("value", *row->value);
        } else if (row->isTarget) {
            m_json.Text("type", row->type);
        } else {
            m_json.Text("type", row->type).Number64("offset", row->offset).Number("size", row->size);
            m_json.Number("bit_size", row->bitSize).Number("bit_offset", row->bitOffset);
        }
        m_json.CloseObject();
    }

    const ProgramDiff& m_diff;
    Output& m_output;
    JsonLine m_json;
};

} // namespace

int ShowDiff(Loader& older, Loader& newer, Answer answer)
{
    const ComparedProgram before(older);
    const ComparedProgram now(newer);
    if (before.hasUnits != now.hasUnits) {
        Complain((before.hasUnits ? newer : older).ShownPath(), "It has no debug information; types aren't compared");
    }
    const ProgramDiff diff(before, now);
    if (answer.json) {
        DiffRecords(diff, answer.output).Write();
    } else if (!diff.IsSame()) {
        DiffTables(diff, answer).Write();
    }
    return diff.IsSame() ? 0 : 1;
}
