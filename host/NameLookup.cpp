// Names are compared one by one only if their last word is the one that was asked for.
#include "host/NameLookup.h"

#include "host/Demangle.h"
#include "host/Loader.h"
#include "host/NameMentions.h"
#include "host/Suggestions.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/VFKDataString.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace {

using Kind = NamedThing::Kind;

/// The value of a symbol's entry under its C++ name.
constexpr u16 kDemangled = 1;

/// After so many passes over the sections it is cheaper to load everything.
constexpr u32 kMaxSearches = 8;

u32 HashOf(std::string_view word)
{
    return static_cast<u32>(std::hash<std::string_view>()(word));
}

const DbgUDTInfoEnum32* Enumerators(const DbgUserDefinedVarType& type)
{
    const DbgUDTInfo* info = type.GetInfo();
    const bool is = info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Enum;
    return is ? static_cast<const DbgUDTInfoEnum32*>(info) : nullptr;
}

std::string_view TextOf(const char* text)
{
    return text == nullptr ? std::string_view() : std::string_view(text);
}

} // namespace

std::optional<u32> FixedAddress(const DbgVariable& variable)
{
    constexpr char kOpAddr = 0x03;
    constexpr char kOpSectionBase = static_cast<char>(0xF8);
    if (variable.location.empty() || (variable.location[0] != kOpAddr && variable.location[0] != kOpSectionBase)) {
        return std::nullopt;
    }
    const VFKDataString bytes(false, variable.littleEndian, std::string(variable.location));
    DbgExpression expression(bytes, nullptr, nullptr);
    u32 address = 0;
    const bool done = expression.Evaluate(nullptr, nullptr, 0, kNone) == 0 && expression.Pop(address);
    return done ? std::optional(address) : std::nullopt;
}

NameLookup::NameLookup(Loader& file, const VFKElfFile& elf)
    : m_file(file)
    , m_elf(elf)
    , m_symbols(elf)
    , m_addresses(file)
{
    EnterSymbols();
}

void NameLookup::EnterSymbols()
{
    const std::vector<ElfSymbol>& symbols = m_symbols.All();
    m_demangled.resize(symbols.size());
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        Enter(Kind::Symbol, i);
        if (std::optional<std::string> name = Demangle(symbols[i].name)) {
            m_demangled[i] = std::move(*name);
            Enter(Kind::Symbol, i, kDemangled);
        }
    }
}

/// The store only grows: each thing is entered once.
void NameLookup::EnterStore()
{
    const DbgSymSymFile& store = m_file.Store();
    const std::size_t more = store.FuncScopeCount() - m_functions + store.TypeCount() - m_types;
    m_entries.reserve(m_entries.size() + more);
    for (; m_functions < store.FuncScopeCount(); ++m_functions) {
        Enter(Kind::Function, m_functions);
    }
    for (; m_blocks < store.SubScopeCount(); ++m_blocks) {
        if (store.SubScopeAt(m_blocks).name != nullptr) {
            Enter(Kind::Inlined, m_blocks);
        }
    }
    for (; m_variables < store.VariableCount(); ++m_variables) {
        const DbgVariable& variable = store.VariableAt(m_variables);
        if (!variable.context.ValidFuncContext() || FixedAddress(variable)) {
            Enter(Kind::Variable, m_variables);
        }
    }
    for (; m_types < store.TypeCount(); ++m_types) {
        const DbgUserDefinedVarType& type = store.TypeAt(m_types);
        if (type.GetName() != nullptr) {
            Enter(Kind::Type, m_types);
        }
        const DbgUDTInfoEnum32* enumerators = Enumerators(type);
        for (std::size_t i = 0;
             enumerators != nullptr && i < std::min<std::size_t>(enumerators->Values().size(), 0xFFFF); ++i) {
            Enter(Kind::Enumerator, m_types, i);
        }
    }
}

/// The store keeps equal texts once, and most names occur in many units.
void NameLookup::SortEntries()
{
    const auto behind = m_entries.begin() + static_cast<std::ptrdiff_t>(m_sorted);
    for (auto entry = behind; entry != m_entries.end(); ++entry) {
        const bool demangled = entry->kind == Kind::Symbol && entry->value == kDemangled;
        const std::string_view name = demangled ? m_demangled[entry->index] : NameOf(*entry);
        const auto [hash, added] = m_hashes.try_emplace(name.data(), 0);
        if (added) {
            hash->second = HashOf(LastWord(name));
        }
        entry->hash = hash->second;
    }
    const auto byHash = [](const Entry& one, const Entry& other) { return one.hash < other.hash; };
    std::stable_sort(behind, m_entries.end(), byHash);
    std::inplace_merge(m_entries.begin(), behind, m_entries.end(), byHash);
    m_sorted = m_entries.size();
}

/// What may fit a pattern: all, or what has one of the words. Good until the next call.
std::span<const NameLookup::Entry> NameLookup::Candidates(const NamePattern& pattern,
                                                          const std::vector<std::string>& words)
{
    if (pattern.IsWide()) {
        return m_entries;
    }
    SortEntries();
    m_candidates.clear();
    for (const std::string& word : words) {
        const u32 hash = HashOf(word);
        const auto begin = std::lower_bound(m_entries.begin(), m_entries.end(), hash,
                                            [](const Entry& entry, u32 value) { return entry.hash < value; });
        const auto end = std::find_if(begin, m_entries.end(), [&](const Entry& entry) { return entry.hash != hash; });
        m_candidates.insert(m_candidates.end(), begin, end);
    }
    return m_candidates;
}

std::string_view NameLookup::NameOf(const Entry& entry) const
{
    const DbgSymSymFile& store = m_file.Store();
    switch (entry.kind) {
    case Kind::Function:
        return store.FuncScopeAt(entry.index).name;
    case Kind::Inlined:
        return TextOf(store.SubScopeAt(entry.index).name);
    case Kind::Variable:
        return store.VariableAt(entry.index).name;
    case Kind::Type:
        return TextOf(store.TypeAt(entry.index).GetName());
    case Kind::Enumerator:
        return TextOf(Enumerators(store.TypeAt(entry.index))->Values()[entry.value].name);
    case Kind::Symbol:
        return m_symbols.All()[entry.index].name;
    }
    return {};
}

std::vector<u32> NameLookup::MatchSymbols(const NamePattern& pattern)
{
    BestMatches<u32> best;
    for (const Entry& entry : Candidates(pattern, {pattern.Word()})) {
        if (entry.kind == Kind::Symbol) {
            best.Offer(pattern.Match(NameOf(entry), m_demangled[entry.index]), entry.index);
        }
    }
    std::vector<u32> found = best.Things();
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<const ElfSymbol*> NameLookup::FindSymbols(const NamePattern& pattern)
{
    constexpr u16 kShnAbs = 0xFFF1;
    std::vector<const ElfSymbol*> found;
    for (const u32 index : MatchSymbols(pattern)) {
        if (m_symbols.All()[index].HasPlace() || m_symbols.All()[index].section == kShnAbs) {
            found.push_back(&m_symbols.All()[index]);
        }
    }
    return found;
}

std::string_view NameLookup::Demangled(const ElfSymbol& symbol)
{
    return m_demangled[IndexOf(symbol)];
}

void NameLookup::LoadUnit(u32 unitId)
{
    m_file.LoadUnit(unitId);
    for (; m_scoped < m_file.Store().FuncScopeCount(); ++m_scoped) {
        m_file.LoadScopes(m_file.Store().FuncScopeAt(m_scoped));
    }
}

void NameLookup::Expect(std::size_t names)
{
    if (names > kMaxSearches) {
        LoadEverything();
    }
}

void NameLookup::LoadEverything()
{
    for (std::size_t unit = 0; !m_everything && unit < m_file.UnitCount(); ++unit) {
        LoadUnit(m_file.Store().FileScopeAt(unit).GetId());
    }
    m_everything = true;
}

void NameLookup::Load(const NamePattern& pattern, const std::vector<u32>& symbols)
{
    if (m_everything) {
        return;
    }
    const std::optional<std::string> demangled = Demangle(pattern.Text());
    const std::string word = demangled ? LastWord(*demangled) : pattern.Word();
    if (pattern.IsWide() || word.empty() || ++m_searches > kMaxSearches) {
        LoadEverything();
        return;
    }
    for (const u32 unit : UnitsMentioning(m_file.Store(), m_elf, word)) {
        LoadUnit(unit);
    }
    for (const u32 symbol : symbols) {
        const DbgAddress address = m_file.AddressOf(m_symbols.All()[symbol].address);
        if (const DbgSymSrcFile* unit = m_addresses.FindUnit(address)) {
            LoadUnit(unit->GetId());
        }
    }
}

/// Symbols that stand where the thing does. In an object file only its name and its size tell them from those of other
/// sections.
std::vector<const ElfSymbol*> NameLookup::SymbolsOf(const Entry& entry) const
{
    const DbgSymSymFile& store = m_file.Store();
    std::optional<u32> address;
    if (entry.kind == Kind::Function) {
        address = store.FuncScopeAt(entry.index).range.value;
    } else if (entry.kind == Kind::Variable) {
        address = FixedAddress(store.VariableAt(entry.index));
    }
    if (!address) {
        return {};
    }
    std::vector<const ElfSymbol*> symbols = m_symbols.StandingAt(*address, SymbolTable::kAnySection);
    const u32 size = entry.kind == Kind::Function ? store.FuncScopeAt(entry.index).range.size : 0;
    std::erase_if(symbols, [&](const ElfSymbol* symbol) {
        if (m_symbols.IsRelocatable() && size != 0 && symbol->size != 0 && size != symbol->size) {
            return true; // of another section: one that overloads the name, say
        }
        const bool sameKind = symbol->IsFunction() == (entry.kind == Kind::Function) && symbol->size != 0;
        return (!sameKind || m_symbols.IsRelocatable()) &&
               NamePattern(std::string(NameOf(entry))).Match(symbol->name, m_demangled[IndexOf(*symbol)]) ==
                   NameMatch::None;
    });
    return symbols;
}

/// The thing with its symbols, whose names fit as well as its own.
NameLookup::Offered NameLookup::Offer(const NamePattern& pattern, const Entry& entry, NameMatch own) const
{
    Offered offered{{entry.kind, entry.index, entry.value, SymbolsOf(entry)}, own};
    if (entry.kind == Kind::Symbol) {
        offered.thing.symbols = {&m_symbols.All()[entry.index]};
    }
    for (const ElfSymbol* symbol : offered.thing.symbols) {
        offered.match = std::max(offered.match, pattern.Match(symbol->name, m_demangled[IndexOf(*symbol)]));
    }
    return offered;
}

std::vector<NameLookup::Offered> NameLookup::Fitting(const NamePattern& pattern, std::span<const Entry> candidates)
{
    std::unordered_map<const char*, NameMatch> known;
    known.reserve(candidates.size() / 4); // most names occur in many units
    std::vector<Offered> fitting;
    for (const Entry& entry : candidates) {
        const std::string_view name = NameOf(entry);
        const auto [match, added] = known.try_emplace(name.data(), NameMatch::None);
        if (added) {
            match->second =
                entry.kind == Kind::Symbol ? pattern.Match(name, m_demangled[entry.index]) : pattern.Match(name);
        }
        const bool canHaveSymbols = entry.kind == Kind::Function || entry.kind == Kind::Variable;
        if (match->second == NameMatch::None && !canHaveSymbols) {
            continue;
        }
        Offered offered = Offer(pattern, entry, match->second);
        if (offered.match != NameMatch::None) {
            fitting.push_back(std::move(offered));
        }
    }
    std::sort(fitting.begin(), fitting.end(), [](const Offered& one, const Offered& other) {
        const auto place = [](const NamedThing& thing) { return std::tie(thing.kind, thing.index, thing.value); };
        return place(one.thing) < place(other.thing);
    });
    return fitting;
}

std::vector<NamedThing> NameLookup::Find(const NamePattern& pattern)
{
    // A pattern looks at all names anyway.
    const std::vector<u32> symbols = pattern.IsWide() ? std::vector<u32>() : MatchSymbols(pattern);
    Load(pattern, symbols);
    EnterStore();
    std::vector<std::string> words = {pattern.Word()};
    for (const u32 symbol : symbols) {
        words.push_back(LastWord(m_demangled[symbol].empty() ? m_symbols.All()[symbol].name : m_demangled[symbol]));
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());

    BestMatches<NamedThing> best;
    std::unordered_set<const ElfSymbol*> taken; // shown with what they stand for, or by their other word
    for (const Offered& offered : Fitting(pattern, Candidates(pattern, words))) {
        const std::vector<const ElfSymbol*>& own = offered.thing.symbols;
        if (offered.thing.kind == Kind::Symbol && taken.count(own.front()) != 0) {
            continue;
        }
        taken.insert(own.begin(), own.end());
        best.Offer(offered.match, offered.thing);
    }
    return best.Things();
}

const std::vector<std::string>& NameLookup::KnownNames()
{
    constexpr u32 kLarge = u32{16} << 20;
    const Elf32_Shdr* info = m_elf.GetSectionHeader(".debug_info");
    if (info != nullptr && info->sh_size <= kLarge) {
        LoadEverything();
    }
    EnterStore();
    if (m_known == m_entries.size()) {
        return m_knownNames;
    }
    m_known = m_entries.size();
    std::unordered_set<std::string> names; // most occur in many units
    std::unordered_set<const char*> seen;
    for (const Entry& entry : m_entries) {
        const bool mangled = entry.kind == Kind::Symbol && !m_demangled[entry.index].empty();
        const std::string_view name = mangled ? m_demangled[entry.index] : NameOf(entry);
        if (seen.insert(name.data()).second) {
            if (name.size() <= Suggestions::kLongest) {
                names.emplace(name);
            }
            names.insert(LastWord(name));
        }
    }
    m_knownNames.assign(names.begin(), names.end());
    return m_knownNames;
}

std::string NearNames(NameLookup& lookup, const NamePattern& pattern)
{
    if (pattern.IsWide()) {
        return {};
    }
    // A file that isn't converted has the names of types without their namespaces.
    const std::string last = LastWord(pattern.Text());
    Suggestions suggestions(pattern.Text());
    for (const std::string& name : lookup.KnownNames()) {
        if (name == last && last != pattern.Text()) {
            return ". Did you mean " + last + '?';
        }
        suggestions.Offer(name);
    }
    return suggestions.Question();
}
