// One function's blocks, parameters and locals, nested; and those that are alive at one address.
#include "host/AddressFacts.h"
#include "host/AddressInput.h"
#include "host/FunctionNames.h"
#include "host/Loader.h"
#include "host/LocationText.h"
#include "host/NameLookup.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/ScopeIndex.h"
#include "host/ScopeTree.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/VFKDataString.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// Deeper levels are printed at this indent, or 100,000 nested blocks would print gigabytes.
constexpr u32 kMaxIndent = 30;

/// Longer names and types push what follows them out of its column.
constexpr std::size_t kWidestName = 32;
constexpr std::size_t kWidestType = 40;

/// Prints one function's tree.
class ScopePrinter {
public:
    /// @param at an address, as the function's are held: what isn't in scope there is left out.
    ScopePrinter(Loader& file, Answer answer, const DbgSymFuncScope& function, std::optional<u32> at)
        : m_file(file)
        , m_answer(answer)
        , m_function(function)
        , m_at(at)
        , m_unit(file.UnitOf(function.fileId, function.id))
        , m_records(answer.output)
        , m_types(file.Store(), false)
        , m_locations(BaseOf(file, m_unit))
    {
    }

    void Print(ScopeIndex& index)
    {
        MakeRows(ScopeTree(m_file.Store(), index.Of(m_function.id)));
        PrintFunction();
        for (const Row& row : m_rows) {
            if (m_answer.json) {
                WriteRow(row);
            } else {
                PrintRow(row);
            }
        }
    }

private:
    struct Row : ScopeRow {
        std::string type;                ///< of a variable
        Location location;               ///< of a variable
        std::optional<std::string> here; ///< where it is at the address
        bool dropped;
    };

    /// Lists count from the low address of the unit (DWARF 2.0, 7.7.3).
    static u32 BaseOf(Loader& file, u32 unit)
    {
        const FileRange* range = nullptr;
        file.Store().FindFileScope(unit, &range);
        return range == nullptr || range->range.value == kNone ? 0 : range->range.value;
    }

    void MakeRows(const ScopeTree& tree)
    {
        for (const ScopeRow& row : tree.Rows(m_at)) {
            AddRow(row);
        }
        if (m_at) {
            DropUncertain();
        }
    }

    /// Leaves out variables that are nowhere in scopes that may not be there, and such scopes without rows.
    void DropUncertain()
    {
        u32 below = 0; // the depth of the next row that stays
        for (std::size_t i = m_rows.size(); i-- != 0;) {
            Row& row = m_rows[i];
            const bool empty = row.item.variable == nullptr ? below <= row.depth : !row.here;
            row.dropped = row.inScope == InScope::Unknown && empty;
            below = row.dropped ? below : row.depth;
        }
        std::erase_if(m_rows, [](const Row& row) { return row.dropped; });
    }

    void AddRow(const ScopeRow& scope)
    {
        Row row{scope, {}, {}, {}, false};
        if (const DbgVariable* variable = row.item.variable) {
            row.type = m_types.NameOf(DbgTypeDescription{variable->baseType, variable->qualifiers, variable->udtId});
            row.location = m_locations.Read(variable->location, variable->littleEndian);
            if (m_at) {
                row.here = m_locations.At(variable->location, variable->littleEndian, *m_at);
            }
            const std::size_t name = variable->name.size() > kWidestName ? 0 : variable->name.size();
            m_typeColumn = std::max(m_typeColumn, IndentOf(row.depth) + kKindWidth + name + 2);
            m_typeWidth = std::max(m_typeWidth, row.type.size() > kWidestType ? 0 : row.type.size());
        }
        m_rows.push_back(std::move(row));
    }

    static std::size_t IndentOf(u32 depth) { return std::size_t{2} * std::min(depth, kMaxIndent); }

    void PrintFunction()
    {
        const Location base = m_locations.FrameBase();
        if (m_answer.json) {
            JsonLine& json = m_records.FunctionKeys(m_function, m_unit);
            AddRanges(json, "frame_base", base);
            m_records.Finish();
            return;
        }
        std::string line;
        AppendPrintable(line, m_function.name);
        line += "  ";
        AppendAddress(line, m_function.range);
        line += "  size ";
        AppendDecimal(line, m_function.range.size);
        line += "  id ";
        AppendHex8(line, m_function.id);
        if (const DbgSymSrcFile* unit = m_file.Store().FindFileScope(m_unit, nullptr)) {
            line += "  ";
            AppendShort(line, unit->GetPath());
        }
        if (m_at) {
            line += "\n  at ";
            AppendHex8(line, *m_at);
            line += ", +";
            AppendDecimal(line, *m_at - m_function.range.value);
        }
        m_answer.output.Write(line + '\n');
        if (!m_at && !base.ranges.empty()) {
            line = "  frame base fbreg  ";
            AppendLocation(line, base);
            m_answer.output.Write(line + '\n');
        }
    }

    void PrintRow(const Row& row)
    {
        std::string line(IndentOf(row.depth), ' ');
        if (row.item.variable == nullptr) {
            AppendBlock(line, row.item);
        } else {
            const DbgVariable& variable = *row.item.variable;
            const std::size_t start = line.size();
            line += variable.scope == kScopeParameter ? "parameter"
                    : variable.scope == kScopeLocal   ? "local"
                                                      : "static";
            PadTo(line, start + kKindWidth);
            AppendPrintable(line, variable.name);
            PadTo(line, m_typeColumn);
            line += row.type + ' ';
            PadTo(line, m_typeColumn + m_typeWidth + 2);
            if (m_at) {
                AppendPrintable(line, row.here ? *row.here : "nowhere at this address");
                line += row.inScope == InScope::Unknown && row.location.always ? "  (if in scope)" : "";
            } else {
                AppendLocation(line, row.location);
            }
        }
        m_answer.output.Write(line + '\n');
    }

    /// Writes the ranges of a list below one another.
    static void AppendLocation(std::string& line, const Location& location)
    {
        const std::size_t column = line.size();
        for (const Location::Range& range : location.ranges) {
            if (&range != location.ranges.data()) {
                line += '\n';
                line.append(column, ' ');
            }
            if (!location.always) {
                AppendHex8(line, range.begin);
                line += '-';
                AppendHex8(line, range.end);
                line += "  ";
            }
            AppendPrintable(line, range.words);
        }
        if (location.ranges.empty()) {
            line += "nowhere";
        }
    }

    static void AddRanges(JsonLine& json, const char* key, const Location& location)
    {
        json.OpenList(key);
        for (const Location::Range& range : location.ranges) {
            json.OpenObject();
            if (location.always) {
                json.Null("begin").Null("end");
            } else {
                json.Number("begin", range.begin).Number("end", range.end);
            }
            json.Text("location", range.words).CloseObject();
        }
        json.CloseList();
    }

    void WriteRow(const Row& row)
    {
        const ScopeItem& item = row.item;
        if (const DbgVariable* variable = item.variable) {
            JsonLine& json = m_records.VariableKeys(*variable, UnitOf(variable->context, item.id))
                                 .Number("depth", row.depth)
                                 .Text("type_name", row.type)
                                 .Text("location_text", Disassembled(*variable));
            AddRanges(json, "where", row.location);
            if (m_at) {
                json.Number("at", *m_at)
                    .TextOrNull("here", row.here ? row.here->c_str() : nullptr)
                    .Bool("in_scope", row.inScope == InScope::Yes || !row.location.always);
            }
        } else if (item.block != nullptr) {
            m_records.BlockKeys(*item.block, UnitOf(item.block->context, item.id)).Number("depth", row.depth);
        } else {
            return;
        }
        m_records.Finish();
    }

    void AppendBlock(std::string& line, const ScopeItem& item) const
    {
        if (item.block == nullptr) {
            line += "block ";
            AppendHex8(line, item.id);
            line += "  (no range)";
            return;
        }
        line += item.block->name == nullptr ? "block" : "inlined ";
        AppendPrintable(line, item.block->name == nullptr ? "" : item.block->name);
        line += "  ";
        AppendAddress(line, item.block->range);
        line += "  size ";
        AppendDecimal(line, item.block->range.size);
        line += "  id ";
        AppendHex8(line, item.id);
    }

    u32 UnitOf(const DbgSymContext& context, u32 id) const { return m_file.UnitOf(context.fileScope, id); }

    static std::string Disassembled(const DbgVariable& variable)
    {
        const VFKDataString bytes(false, variable.littleEndian, std::string(variable.location));
        std::string text;
        DbgExpression(bytes, nullptr, nullptr).GetText(text, false);
        return text;
    }

    static constexpr std::size_t kKindWidth = 11;

    Loader& m_file;
    Answer m_answer;
    const DbgSymFuncScope& m_function;
    std::optional<u32> m_at;
    u32 m_unit;
    RecordWriter m_records;
    TypeText m_types;
    LocationReader m_locations;
    std::vector<Row> m_rows;
    std::size_t m_typeColumn = 0;
    std::size_t m_typeWidth = 0;
};

bool Holds(const DbgSymFuncScope& function, const DbgAddress& address)
{
    return function.range.section == address.section && address.value >= function.range.value &&
           address.value - function.range.value < function.range.size;
}

std::string Hex8(u32 value)
{
    std::string text;
    AppendHex8(text, value);
    return text;
}

using Indices = std::set<std::size_t>; ///< of functions in the store

/// The addresses that a text stands for, as `at` takes it, each with the functions there where addresses don't tell: in
/// an object file those of all sections begin at 0. None: the complaint has been made.
std::map<u32, Indices> AddressesOf(Loader& file, const std::string& text, std::string& hint)
{
    file.LoadIndex();
    const VFKElfFile elf(file.Store().GetPath());
    NameLookup names(file, elf);
    AddressFinder finder(file, elf, names, false);
    const AskedPlaces asked = AddressInput(file, names, finder).Read(text);
    hint = asked.hint;
    std::map<u32, Indices> addresses;
    for (const Spot& spot : asked.spots) {
        Indices& functions = addresses[spot.address];
        const bool bySymbol = names.Symbols().IsRelocatable() && names.Symbols().IsCode(spot.section);
        if (const ElfSymbol* symbol = bySymbol ? names.Symbols().FindAt(spot.address, spot.section) : nullptr) {
            const std::vector<std::size_t> own = FunctionsOf(names, *symbol);
            functions.insert(own.begin(), own.end());
        }
    }
    if (addresses.empty()) {
        Complain(file.ShownPath(), asked.failure.empty() ? "Nothing is at '" + text + "'" : asked.failure);
    }
    return addresses;
}

void PrintScopes(Loader& file, Answer answer, ScopeIndex& scopes, const std::vector<std::size_t>& functions,
                 std::optional<u32> at)
{
    for (const std::size_t index : functions) {
        file.LoadScopes(file.Store().FuncScopeAt(index));
        ScopePrinter(file, answer, file.Store().FuncScopeAt(index), at).Print(scopes);
    }
}

/// @param function null: the one that the address belongs to, or those.
bool ShowAt(Loader& file, Answer answer, ScopeIndex& scopes, const NamePattern* function,
            const std::pair<const u32, Indices>& asked, const std::string& hint)
{
    const auto& [at, known] = asked;
    const DbgAddress address = file.AddressOf(at);
    std::vector<std::size_t> found(known.begin(), known.end());
    if (function != nullptr) {
        found = SelectFunctions(file, *function);
    } else if (known.empty()) {
        found = FunctionsAt(file, address, hint);
    }
    const bool any = !found.empty();
    std::erase_if(found, [&](std::size_t i) { return !Holds(file.Store().FuncScopeAt(i), address); });
    if (any && found.empty() && function != nullptr) {
        Complain(file.ShownPath(), Hex8(at) + " is outside of '" + function->Text() + "'");
    }
    PrintScopes(file, answer, scopes, found, at);
    return !found.empty();
}

} // namespace

int ShowScopes(Loader& file, Answer answer, const NamePattern* function, const std::string& at)
{
    ScopeIndex scopes(file.Store());
    if (at.empty()) {
        const std::vector<std::size_t> found = SelectFunctions(file, *function);
        PrintScopes(file, answer, scopes, found, {});
        return found.empty() ? 1 : 0;
    }
    std::string hint;
    const std::map<u32, Indices> addresses = AddressesOf(file, at, hint);
    bool all = !addresses.empty();
    for (const auto& address : addresses) {
        all = ShowAt(file, answer, scopes, function, address, hint) && all;
    }
    return all ? 0 : 1;
}
