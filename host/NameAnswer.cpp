// The two forms of an answer about a name.
#include "host/NameAnswer.h"

#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Records.h"
#include "host/Text.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace {

using Kind = NamedThing::Kind;

const char* TypeWord(const ElfSymbol& symbol)
{
    return symbol.IsFunction() ? "function" : IsObjectType(symbol.type) ? "object" : "label";
}

const char* BindingWord(const ElfSymbol& symbol)
{
    return symbol.binding == 0 ? "local" : symbol.binding == 1 ? "global" : "weak";
}

/// One answer in the form of one object.
class JsonAnswer {
public:
    JsonAnswer(JsonLine& json, NameLookup& lookup)
        : m_json(json)
        , m_lookup(lookup)
    {
    }

    std::string_view Write(const std::string& name, const ModulesAnswer& answer, const std::vector<NameFact>& facts)
    {
        m_json.Begin().Text("name", name).Bool("found", answer.found);
        if (answer.found) {
            m_json.Number("address", answer.range.value)
                .NumberOrNull("section", answer.range.section)
                .Number("size", answer.range.size);
        } else {
            m_json.Null("address").Null("section").Null("size");
        }
        m_json.Bool("dwarf", answer.dwarf);
        const std::pair<Kind, const char*> lists[] = {{Kind::Function, "functions"},
                                                      {Kind::Inlined, "inlined"},
                                                      {Kind::Variable, "variables"},
                                                      {Kind::Type, "types"},
                                                      {Kind::Enumerator, "enumerators"}};
        for (const auto& [kind, key] : lists) {
            m_json.OpenList(key);
            for (const NameFact& fact : facts) {
                if (fact.kind == kind) {
                    m_json.OpenObject();
                    Fact(fact);
                    m_json.CloseObject();
                }
            }
            m_json.CloseList();
        }
        Symbols(facts);
        return m_json.End();
    }

private:
    void Fact(const NameFact& fact)
    {
        m_json.Text("name", fact.name).NumberOrNull("id", fact.id);
        if (fact.unit == nullptr) {
            m_json.Null("unit");
        } else {
            const std::string_view path = m_paths.Shown(fact.unit->GetPath());
            m_json.Text("unit", path);
            m_paths.Count(path.size());
        }
        if (fact.kind == Kind::Enumerator) {
            m_json.Signed("value", fact.value).Text("type_name", fact.type).Number("units", fact.units);
            return;
        }
        if (fact.kind == Kind::Type) {
            m_json.TextOrNull("kind_name", *KindName(*fact.layout) == 0 ? nullptr : KindName(*fact.layout));
            m_json.Number("units", fact.units);
            TypeKeys(m_json, *fact.layout);
            return;
        }
        if (fact.kind != Kind::Function) {
            m_json.TextUnlessEmpty("function", fact.function);
        }
        if (fact.place) {
            m_json.Number("address", fact.place->value).NumberOrNull("section", fact.place->section);
        } else {
            m_json.Null("address").Null("section");
        }
        m_json.Number("size", fact.size);
        if (fact.kind == Kind::Variable) {
            m_json.Text("type_name", fact.type);
        }
        if (fact.kind != Kind::Inlined) {
            m_json.TextUnlessEmpty("symbol", fact.symbols.empty() ? std::string_view() : fact.symbols.front()->name);
        }
    }

    void Symbols(const std::vector<NameFact>& facts)
    {
        std::unordered_set<const ElfSymbol*> written;
        m_json.OpenList("symbols");
        for (const NameFact& fact : facts) {
            for (const ElfSymbol* symbol : fact.symbols) {
                if (written.insert(symbol).second) {
                    m_json.OpenObject().Text("name", symbol->name);
                    m_json.TextUnlessEmpty("demangled", m_lookup.Demangled(*symbol));
                    m_json.Number("address", symbol->value).Number("size", symbol->size);
                    m_json.TextUnlessEmpty("section_name", m_lookup.Symbols().SectionName(symbol->section));
                    m_json.Text("type", TypeWord(*symbol)).Text("binding", BindingWord(*symbol)).CloseObject();
                }
            }
        }
        m_json.CloseList();
    }

    JsonLine& m_json;
    NameLookup& m_lookup;
    RowPaths m_paths; ///< of the units
};

/// One answer as text: for each name that was found a head, and under it what has that name.
class TextAnswer {
public:
    TextAnswer(Output& output, const Loader& file, const SymbolTable& symbols, const TypeText& types)
        : m_output(output)
        , m_file(file)
        , m_symbols(symbols)
        , m_types(types)
    {
    }

    void Write(const std::string& name, const ModulesAnswer& answer, const std::vector<NameFact>& facts)
    {
        std::vector<std::vector<const NameFact*>> groups;
        std::unordered_map<std::string_view, std::size_t> byName;
        for (const NameFact& fact : facts) {
            const auto [group, added] = byName.try_emplace(fact.name, groups.size());
            if (added) {
                groups.emplace_back();
            }
            groups[group->second].push_back(&fact);
        }
        bool toTell = answer.dwarf;
        for (const std::vector<const NameFact*>& group : groups) {
            const bool tell = toTell && std::any_of(group.begin(), group.end(), [&](const NameFact* fact) {
                                  return fact->name == name || fact->ownName == name;
                              });
            WriteGroup(group, tell);
            toTell = toTell && !tell;
        }
        if (toTell || groups.empty()) {
            WriteLine([&](std::string& line) { AppendPrintable(line, name); });
            m_output.Write(groups.empty() ? "  no ELF symbol\n" : "");
            m_output.Write(toTell ? "  in .debug_pubnames\n" : "  not in .debug_pubnames\n");
        }
    }

private:
    template <typename Append>
    void WriteLine(Append&& append)
    {
        std::string line;
        append(line);
        m_output.Write(line + '\n');
    }

    void WriteGroup(const std::vector<const NameFact*>& group, bool inPubnames)
    {
        WriteLine([&](std::string& line) { AppendPrintable(line, group.front()->name); });
        std::unordered_set<const ElfSymbol*> written;
        bool needsSymbol = false;
        for (const NameFact* fact : group) {
            needsSymbol = needsSymbol || fact->kind == Kind::Function || fact->kind == Kind::Variable;
            for (const ElfSymbol* symbol : fact->symbols) {
                if (written.insert(symbol).second) {
                    WriteLine([&](std::string& line) { AppendSymbol(line, *symbol, group.front()->name); });
                }
            }
        }
        if (written.empty() && needsSymbol) {
            m_output.Write("  no ELF symbol\n");
        }
        if (inPubnames) {
            m_output.Write("  in .debug_pubnames\n");
        }
        for (const NameFact* fact : group) {
            if (fact->kind == Kind::Type) {
                WriteType(*fact);
            } else if (fact->kind != Kind::Symbol) {
                WriteLine([&](std::string& line) { AppendFact(line, *fact); });
            }
        }
    }

    void AppendSymbol(std::string& line, const ElfSymbol& symbol, std::string_view head) const
    {
        line += "  ELF symbol  ";
        if (symbol.IsDefined()) {
            DbgAddress address = m_file.AddressOf(symbol.value);
            AppendAddress(line, address);
            line += "  size ";
            AppendDecimal(line, symbol.size);
        } else {
            line += "undefined";
        }
        const std::string_view section = m_symbols.SectionName(symbol.section);
        if (!section.empty()) {
            line += "  section ";
            AppendPrintable(line, section);
        }
        if (symbol.binding != 1) {
            line += std::string("  ") + BindingWord(symbol);
        }
        if (symbol.name != head) {
            line += "  ";
            AppendShort(line, symbol.name);
        }
    }

    static void AppendFact(std::string& line, const NameFact& fact)
    {
        static constexpr std::pair<Kind, const char*> kWords[] = {{Kind::Function, "function"},
                                                                  {Kind::Inlined, "inlined"},
                                                                  {Kind::Variable, "variable"},
                                                                  {Kind::Enumerator, "enumerator"}};
        const auto* word =
            std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& row) { return row.first == fact.kind; });
        line += std::string("  ") + word->second + "  id ";
        AppendHex8(line, fact.id);
        if (fact.unit != nullptr) {
            line += "  ";
            AppendShort(line, fact.unit->GetPath());
            AppendUnits(line, fact);
        }
        if (fact.kind == Kind::Enumerator) {
            line += "  " + fact.type + "  value ";
            AppendDecimal(line, fact.value);
            return;
        }
        if (!fact.function.empty()) {
            line += "  in ";
            AppendShort(line, fact.function);
        }
        if (!fact.type.empty()) {
            line += "  " + fact.type;
        }
        line += "  ";
        if (fact.place) {
            AppendAddress(line, *fact.place);
        } else {
            line += "no address";
        }
        line += "  size ";
        AppendDecimal(line, fact.size);
    }

    static void AppendUnits(std::string& line, const NameFact& fact)
    {
        if (fact.units > 1) {
            line += " and ";
            AppendDecimal(line, fact.units - 1);
            line += fact.units == 2 ? " other unit" : " other units";
        }
    }

    void WriteType(const NameFact& fact)
    {
        WriteLine([&](std::string& line) {
            line += "  type";
            if (fact.unit != nullptr) {
                line += "  ";
                AppendShort(line, fact.unit->GetPath());
            }
            AppendUnits(line, fact);
        });
        m_types.WriteLayout(*fact.layout, [&](std::string_view line) { m_output.Write("  " + std::string(line)); });
    }

    Output& m_output;
    const Loader& m_file;
    const SymbolTable& m_symbols;
    const TypeText& m_types;
};

} // namespace

void NameWriter::Write(const std::string& name, const ModulesAnswer& answer, const std::vector<NameFact>& facts)
{
    if (m_answer.json) {
        m_answer.output.Write(JsonAnswer(m_json, m_lookup).Write(name, answer, facts));
    } else {
        TextAnswer(m_answer.output, m_file, m_lookup.Symbols(), m_types).Write(name, answer, facts);
    }
}
