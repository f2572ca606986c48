// The types of a file: all or some by name, or the bytes that they lose to holes.
#include "host/Listing.h"
#include "host/Loader.h"
#include "host/NameLookup.h"
#include "host/NamePattern.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

using Types = std::vector<std::size_t>; ///< indices in the store

std::string_view NameOf(const DbgUserDefinedVarType& type)
{
    return type.GetName() == nullptr ? std::string_view() : type.GetName();
}

/// Finds the types that a person means.
class TypeFinder {
public:
    TypeFinder(Loader& file, const VFKElfFile& elf)
        : m_file(file)
        , m_elf(elf)
    {
    }

    /// Empty: the complaint has been made.
    Types Find(const std::string& text, bool regex)
    {
        const std::optional<u32> id = regex ? std::nullopt : ParseNumber(text);
        std::string name = text;
        if (!regex) {
            CutTypeWord(name);
        }
        const NamePattern pattern(name, regex);
        Types found = id ? FindById(*id) : FindByName(pattern);
        if (found.empty()) {
            Complain(m_file.ShownPath(),
                     "There is no type '" + text + "'" + (m_names ? NearNames(*m_names, pattern) : std::string()));
        }
        return found;
    }

private:
    Types FindById(u32 id)
    {
        const DbgSymSymFile& store = m_file.Store();
        const DbgSymSrcFile* unit = store.FileScopeOfDie(id);
        if (unit == nullptr) {
            return {};
        }
        m_file.LoadUnit(unit->GetId());
        Types found = IndexOf(id);
        for (std::size_t i = 0; found.empty() && i < store.FuncScopeCount(); ++i) {
            const DbgSymFuncScope& function = store.FuncScopeAt(i);
            if (m_file.UnitOf(function.fileId, function.id) == unit->GetId() && function.id < id) {
                m_file.LoadScopes(function); // it can be local to one
            }
        }
        return found.empty() ? IndexOf(id) : found;
    }

    Types IndexOf(u32 id)
    {
        DbgSymSymFile& store = m_file.Store();
        if (store.HasUserDefinedType(id)) {
            for (std::size_t i = 0; i < store.TypeCount(); ++i) {
                if (store.TypeAt(i).GetId() == id) {
                    return {i};
                }
            }
        }
        return {};
    }

    Types FindByName(const NamePattern& pattern)
    {
        if (!m_names) {
            m_names.emplace(m_file, m_elf);
        }
        Types found;
        for (const NamedThing& thing : m_names->Find(pattern)) {
            if (thing.kind == NamedThing::Kind::Type) {
                found.push_back(thing.index);
            }
        }
        return found.empty() ? FindAmongAll(pattern) : found;
    }

    /// Those that something else has the name better than.
    Types FindAmongAll(const NamePattern& pattern)
    {
        m_file.Load(LoadDepth::Symbols);
        for (std::size_t i = 0; i < m_file.Store().FuncScopeCount(); ++i) {
            m_file.LoadScopes(m_file.Store().FuncScopeAt(i));
        }
        BestMatches<std::size_t> best;
        for (std::size_t i = 0; i < m_file.Store().TypeCount(); ++i) {
            best.Offer(pattern.Match(NameOf(m_file.Store().TypeAt(i))), i);
        }
        return best.Things();
    }

    Loader& m_file;
    const VFKElfFile& m_elf;
    std::optional<NameLookup> m_names;
};

/// Units that include one header hold equal types. A person sees each once; a script sees all, with `same_as`.
class TypeLister {
public:
    TypeLister(Loader& file, Answer answer, bool bigEndian)
        : m_store(file.Store())
        , m_answer(answer)
        , m_text(file.Store(), bigEndian, file.IsConverted())
        , m_records(answer.output)
    {
    }

    /// @param all these are all types of the file: the last line says how many.
    /// @return false if there is nothing to show.
    bool List(const Types& types, const Selection& selection, bool all)
    {
        std::size_t shown = 0;
        const auto show = [&](const Row& row) {
            ++shown;
            if (m_answer.json) {
                WriteRecord(row);
            } else {
                m_text.WriteLayout(*row.type, [&](std::string_view line) { m_answer.output.Write(line); });
            }
            return m_answer.output.Error() == 0;
        };
        if (selection.sort == SortBy::Nothing) {
            VisitRows(types, all, show); // each while what it refers to is at hand
        } else {
            std::vector<Row> rows = Select(types, all);
            SortRows(rows, selection.sort, [](const Row& row) {
                DbgAddress id;
                id.value = row.type->GetId();
                return SortKey{row.type->GetByteSize(), id, NameOf(*row.type)};
            });
            static_cast<void>(std::all_of(rows.begin(), rows.end(), show));
        }
        if (all && !m_answer.json && shown != 0) {
            WriteCount(shown);
        }
        return shown != 0;
    }

    /// The same for those with holes, in a table. The worst come first, unless they are to be sorted otherwise.
    bool ListHoles(const Types& types, const Selection& selection)
    {
        Types losing;
        std::copy_if(types.begin(), types.end(), std::back_inserter(losing),
                     [this](std::size_t i) { return LostBytes(m_store.TypeAt(i)) != 0; });
        std::vector<Row> rows = Select(losing, true);
        SortRows(rows, selection.sort == SortBy::Nothing ? SortBy::Size : selection.sort, [&](const Row& row) {
            DbgAddress id;
            id.value = row.type->GetId();
            const bool bySize = selection.sort == SortBy::Size;
            return SortKey{bySize ? row.type->GetByteSize() : LostBytes(*row.type), id, NameOf(*row.type)};
        });
        if (m_answer.json) {
            for (const Row& row : rows) {
                WriteRecord(row);
            }
        } else {
            WriteHoleTable(rows);
        }
        return !rows.empty();
    }

private:
    struct Row {
        const DbgUserDefinedVarType* type;
        u32 sameAs; ///< id of the first that looks alike; kNone: it is that, or isn't listed by itself
    };

    /// @param listedOnly leaves out what isn't listed by itself.
    /// @param visit is called with each row, and returns false at the last one that it wants.
    template <typename Visit>
    void VisitRows(const Types& types, bool listedOnly, Visit&& visit)
    {
        std::unordered_map<std::size_t, u32> first; // by the hash of the layout
        first.reserve(types.size() / 4);
        for (const std::size_t i : types) {
            const DbgUserDefinedVarType& type = m_store.TypeAt(i);
            const bool listed = IsListed(type);
            if (!m_answer.json && listedOnly && !listed) {
                ++m_unlisted;
                continue;
            }
            const bool compared = !m_answer.json || listed;
            const u32 id = type.GetId();
            const u32 same = compared ? first.try_emplace(m_text.LayoutHash(type), id).first->second : id;
            if (same != id && !m_answer.json) {
                ++m_alike;
            } else if (!visit(Row{&type, same == id ? kNone : same})) {
                return;
            }
        }
    }

    std::vector<Row> Select(const Types& types, bool listedOnly)
    {
        std::vector<Row> rows;
        VisitRows(types, listedOnly, [&](const Row& row) {
            rows.push_back(row);
            return true;
        });
        return rows;
    }

    static u64 LostBytes(const std::vector<LayoutRow>& layout)
    {
        return std::accumulate(layout.begin(), layout.end(), u64{0},
                               [](u64 sum, const LayoutRow& row) { return sum + row.LostBytes(); });
    }

    u64 LostBytes(const DbgUserDefinedVarType& type) const { return LostBytes(m_text.Layouts().Of(type)); }

    void WriteCount(std::size_t shown) const
    {
        std::string text = "total  " + Counted(shown, "type");
        if (m_alike != 0) {
            text += "; " + std::to_string(m_alike) + " more like these in other units";
        }
        if (m_unlisted != 0) {
            text += "; " + std::to_string(m_unlisted) + " without a name, shown where they are used";
        }
        m_answer.output.Write(text + '\n');
    }

    void WriteHoleTable(const std::vector<Row>& rows)
    {
        std::size_t width = 0;
        u64 sum = 0;
        std::vector<std::string> titles;
        for (const Row& row : rows) {
            titles.push_back(m_text.TitleOf(*row.type));
            constexpr std::size_t kWidest = 48;
            width = std::max(width, titles.back().size() > kWidest ? 0 : titles.back().size());
            sum += LostBytes(*row.type);
        }
        constexpr std::size_t kTypeColumn = 18;
        std::string head = "    lost    size  type";
        PadTo(head, kTypeColumn + width + 2);
        m_answer.output.WriteHead(head + "where\n");
        for (std::size_t i = 0; i < rows.size(); ++i) {
            std::string line;
            AppendDecimal(line, static_cast<i64>(LostBytes(*rows[i].type)), 8);
            AppendDecimal(line, rows[i].type->GetByteSize(), 8);
            line += "  " + titles[i] + ' ';
            PadTo(line, kTypeColumn + width + 2);
            m_answer.output.Write(line + Places(*rows[i].type) + '\n');
        }
        if (!rows.empty()) {
            WriteTotal(m_answer.output, Counted(rows.size(), "type"), sum);
        }
    }

    /// "3 at 5, 4 at the end"
    std::string Places(const DbgUserDefinedVarType& type) const
    {
        constexpr std::size_t kMost = 8;
        std::string text;
        std::size_t count = 0;
        for (const LayoutRow& row : m_text.Layouts().Of(type)) {
            if (row.LostBytes() == 0) {
                continue;
            }
            if (++count > kMost) {
                return text + ", ...";
            }
            text += (text.empty() ? "" : ", ") + std::to_string(row.LostBytes());
            text += row.kind == LayoutRow::Padding ? " at the end" : " at " + std::to_string((row.begin + 7) / 8);
        }
        return text;
    }

    void WriteRecord(const Row& row)
    {
        constexpr const char* kKinds[] = {"member", "hole", "padding", "virtual_bases", "rest_of_array", "unknown"};
        JsonLine& json = m_records.TypeKeys(*row.type, [&](JsonLine& member, const DbgTypeDescription& type) {
            member.Text("type_name", m_text.NameOf(type));
        });
        const std::vector<LayoutRow> layout = m_text.Layouts().Of(*row.type);
        json.Text("type_name", m_text.TitleOf(*row.type))
            .NumberOrNull("same_as", row.sameAs)
            .Number("lost", static_cast<u32>(std::min(LostBytes(layout), u64{kNone})))
            .OpenList("holes");
        for (const LayoutRow& gap : layout) {
            if (gap.kind != LayoutRow::Member) {
                json.OpenObject()
                    .Text("kind", kKinds[gap.kind])
                    .Number("offset", static_cast<u32>(gap.begin / 8))
                    .Number("bits", static_cast<u32>(std::min(gap.end - gap.begin, u64{kNone})))
                    .Number("lost", static_cast<u32>(gap.LostBytes()))
                    .CloseObject();
            }
        }
        json.CloseList();
        m_records.Finish();
    }

    DbgSymSymFile& m_store;
    Answer m_answer;
    const TypeText m_text;
    RecordWriter m_records;
    std::size_t m_alike = 0;
    std::size_t m_unlisted = 0;
};

/// Those of `names`, or all.
/// @param complete set to false if one isn't there; the complaint has been made.
Types SelectTypes(Loader& file, const VFKElfFile& elf, const TypeOptions& options, bool& complete)
{
    file.LoadIndex();
    Types types;
    TypeFinder finder(file, elf);
    for (const std::string& name : options.names) {
        const Types found = finder.Find(name, options.regex);
        complete = complete && !found.empty();
        types.insert(types.end(), found.begin(), found.end());
    }
    if (options.names.empty()) {
        file.Load(LoadDepth::Symbols);
        types.resize(file.Store().TypeCount());
        std::iota(types.begin(), types.end(), std::size_t{0});
    }
    return types;
}

} // namespace

int ListTypes(Loader& file, Answer answer, const TypeOptions& options, const Selection& selection)
{
    bool complete = true;
    const VFKElfFile elf(file.Store().GetPath());
    Types types = SelectTypes(file, elf, options, complete);
    const Types selected = selection.match ? types : Types();
    if (selection.match) {
        std::erase_if(types, [&](std::size_t i) { return !selection.Takes(NameOf(file.Store().TypeAt(i))); });
    }
    const bool whole = options.names.empty() && !selection.match;
    TypeLister lister(file, answer, elf.m_byteOrder == kElfDataMsb);
    if (options.holes) {
        lister.ListHoles(types, selection);
    } else {
        lister.List(types, selection, whole);
    }
    if (types.empty() && selection.match) {
        const auto nameOf = [&](std::size_t i) { return NameOf(file.Store().TypeAt(i)); };
        Complain(file.ShownPath(), "There is no type '" + selection.match->Text() + "'" +
                                       NearMatches(*selection.match, selected, nameOf));
        return 1;
    }
    return complete ? 0 : 1;
}
