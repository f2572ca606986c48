// Debug information names most symbols of a program by their address; of code that the linker has dropped it names the
// address 0, where another function or table may stand.
#include "host/SymbolUnits.h"

#include "host/AddressLookup.h"
#include "host/Demangle.h"
#include "host/LineOpcodes.h"
#include "host/Loader.h"
#include "host/PublicNames.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <deque>
#include <iterator>
#include <optional>
#include <string>
#include <unordered_set>

namespace {

constexpr char kOpAddr = '\x03';  // DW_OP_addr
constexpr char kOpPiece = '\x93'; // DW_OP_piece

/// The address of a variable whose location is one address, or the first of its pieces is.
std::optional<u32> AddressOfWhole(const DbgVariable& variable)
{
    constexpr std::size_t kLength = 5;
    const std::string_view location = variable.location;
    const bool fixed = location.size() == kLength || (location.size() > kLength && location[kLength] == kOpPiece);
    if (!fixed || location[0] != kOpAddr) {
        return std::nullopt;
    }
    u32 address = 0;
    for (std::size_t i = 1; i < kLength; ++i) {
        const std::size_t at = variable.littleEndian ? kLength - i : i;
        address = address << 8 | static_cast<u8>(location[at]);
    }
    return address;
}

std::string_view FileName(std::string_view path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

std::string_view FileStem(std::string_view path)
{
    const std::string_view name = FileName(path);
    return name.substr(0, name.rfind('.'));
}

} // namespace

std::string_view WithoutNumber(std::string_view name)
{
    std::size_t end = name.size();
    while (end != 0 && std::isdigit(static_cast<unsigned char>(name[end - 1])) != 0) {
        --end;
    }
    const bool numbered = end > 1 && end < name.size() && name[end - 1] == '.';
    return numbered ? name.substr(0, end - 1) : name;
}

SymbolUnits::SymbolUnits(Loader& file, const ProgramImage& image)
    : m_image(image)
{
    file.Load(LoadDepth::Symbols);
    AddRanges(file);
    AddLines(file);
    AddThings(file);
    AddPublicNames(file);
    if (LacksStatics()) {
        for (std::size_t i = 0; i < file.Store().FuncScopeCount(); ++i) {
            file.LoadScopes(file.Store().FuncScopeAt(i));
        }
        AddThings(file);
    }
}

u32 SymbolUnits::IndexOf(std::string_view path)
{
    const auto [found, isNew] = m_byPath.try_emplace(path, static_cast<u32>(m_paths.size()));
    if (isNew) {
        m_paths.push_back(path);
    }
    return found->second;
}

void SymbolUnits::AddRanges(Loader& file)
{
    std::vector<Extent> ranges;
    std::size_t atZero = 0;
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        const u32 unit = IndexOf(file.Store().FileScopeAt(i).GetPath());
        m_byId.try_emplace(file.Store().FileScopeAt(i).GetId(), unit);
        const DbgAddrRange& range = file.Store().FileRangeAt(i).range;
        if (range.value != kNone && range.size != 0) {
            ranges.push_back({range.value, u64{range.value} + range.size, unit, false});
            atZero += range.value == 0 ? 1 : 0;
        }
    }
    if (m_image.IsRelocatable()) {
        return; // offsets in sections that they don't name
    }
    if (atZero > 1) {
        std::erase_if(ranges, [](const Extent& range) { return range.begin == 0; });
    }
    // A unit with code in several sections states a range that reaches over all that lies between.
    m_ranges = Innermost(ranges);
    std::vector<u64> lost(m_paths.size());
    for (const Extent& range : ranges) {
        lost[range.owner] += range.end - range.begin;
    }
    for (const Extent& range : m_ranges) {
        lost[range.owner] -= range.end - range.begin;
    }
    std::transform(lost.begin(), lost.end(), std::back_inserter(m_reachesOver), [](u64 bytes) { return bytes != 0; });
}

/// Only their lines tell the code of units that reach over others from what lies between.
void SymbolUnits::AddLines(Loader& file)
{
    if (std::find(m_reachesOver.begin(), m_reachesOver.end(), true) == m_reachesOver.end()) {
        return;
    }
    const std::unordered_set<u32> misread = MisreadLineProgrammes(m_image.Elf());
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        DbgSymSrcFile& source = file.Store().FileScopeAt(i);
        const u32 unit = m_byId.at(source.GetId());
        if (!m_reachesOver[unit] || misread.contains(file.Store().FileRangeAt(i).lineOffset)) {
            continue;
        }
        file.LoadLines(source.GetId());
        const DbgSymLineTable* table = source.GetLineTableMember();
        for (u32 row = 0; table != nullptr && row < table->Count(); ++row) {
            const DbgAddrRange& range = table->GetLineEntryByIdx(row)->range;
            if (AddressLookup::HasCode(*table, row)) {
                // The last one is stretched to the end of the unit: sure is that it has its first byte.
                const u32 size = row + 1 == table->Count() ? 1 : range.size;
                m_lines[unit].push_back({range.value, u64{range.value} + size, unit, false});
            }
        }
    }
    for (auto& [unit, lines] : m_lines) {
        std::stable_sort(lines.begin(), lines.end(),
                         [](const Extent& one, const Extent& other) { return one.begin < other.begin; });
    }
}

void SymbolUnits::AddThings(Loader& file)
{
    m_things.clear();
    const DbgSymSymFile& store = file.Store();
    for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
        const DbgSymFuncScope& function = store.FuncScopeAt(i);
        if (function.range.value != kNone) {
            Add(function.range.value, function.range.size, function.name, file.UnitOf(function.fileId, function.id),
                SymbolKind::Function);
        }
    }
    AddVariables(file);
    std::stable_sort(m_things.begin(), m_things.end(),
                     [](const Thing& a, const Thing& b) { return a.Place() < b.Place(); });
}

void SymbolUnits::AddVariables(const Loader& file)
{
    const DbgSymSymFile& store = file.Store();
    for (std::size_t i = 0; i < store.VariableCount(); ++i) {
        const DbgVariable& variable = store.VariableAt(i);
        if (const std::optional<u32> address = AddressOfWhole(variable)) {
            Add(*address, variable.byteSize, variable.name, file.UnitOf(variable.context.fileScope, variable.id),
                SymbolKind::Variable);
        }
    }
}

void SymbolUnits::Add(u32 address, u32 size, std::string_view name, u32 unit, SymbolKind kind)
{
    const auto found = m_byId.find(unit);
    m_things.push_back({address, size, name, found == m_byId.end() ? kNone : found->second, kind});
}

bool SymbolUnits::IsUnknownVariable(const ProgramSymbol& symbol) const
{
    // What the compiler makes by itself (tables of virtual functions, type names) no source names.
    return symbol.kind == SymbolKind::Variable && !symbol.name.starts_with("_ZT") && UnitOf(symbol) == kNone;
}

bool SymbolUnits::LacksStatics() const
{
    std::unordered_set<std::string_view> sources;
    for (const std::string_view path : m_paths) {
        sources.insert(FileName(path));
    }
    const std::vector<ProgramSymbol>& symbols = m_image.Symbols();
    return std::any_of(symbols.begin(), symbols.end(), [&](const ProgramSymbol& symbol) {
        const bool isStatic =
            symbol.IsLocal() ? sources.contains(FileName(symbol.file)) : symbol.name.starts_with("_ZZ");
        return isStatic && IsUnknownVariable(symbol);
    });
}

void SymbolUnits::AddPublicNames(Loader& file)
{
    // A variable that a header declares is defined by an entry without a name, which the store doesn't get.
    std::deque<std::string> names;
    std::unordered_map<std::string_view, std::string_view> wanted; // symbols' names by those in the source
    for (const ProgramSymbol& symbol : m_image.Symbols()) {
        if (!symbol.IsLocal() && IsUnknownVariable(symbol)) {
            wanted.emplace(names.emplace_back(ShownName(symbol.name, true)), symbol.name);
        }
    }
    if (wanted.empty()) {
        return;
    }
    VisitPublicNames(m_image.Elf(), [&](u32 entry, std::string_view name) {
        const auto found = wanted.find(name);
        const DbgSymSrcFile* unit = found == wanted.end() ? nullptr : file.Store().FileScopeOfDie(entry);
        if (unit != nullptr) {
            m_publicNames.try_emplace(found->second, IndexOf(unit->GetPath()));
        }
    });
}

u32 SymbolUnits::UnitOf(const ProgramSymbol& symbol) const
{
    const bool relocatable = m_image.IsRelocatable();
    const u32 address = symbol.offset + (relocatable ? 0 : m_image.Sections()[symbol.section].address);
    const std::pair place(address, WithoutNumber(symbol.name));
    const auto named = std::lower_bound(m_things.begin(), m_things.end(), place,
                                        [](const Thing& thing, const auto& wanted) { return thing.Place() < wanted; });
    if (named != m_things.end() && named->Place() == place) {
        return named->unit;
    }
    if (relocatable) {
        return m_paths.size() == 1 ? 0 : kNone;
    }
    const auto first = std::lower_bound(m_things.begin(), m_things.end(), address,
                                        [](const Thing& thing, u32 wanted) { return thing.address < wanted; });
    if (address != 0 && first != m_things.end() && first->address == address) {
        return first->unit;
    }
    const auto known = m_publicNames.find(symbol.name);
    if (known != m_publicNames.end() && !symbol.IsLocal()) {
        return known->second;
    }
    const u32 around = UnitAt(address);
    return around != kNone && IsOfOthers(symbol, address, around) ? kNone : around;
}

/// Code without debug information can lie in the range of a unit that reaches over others.
bool SymbolUnits::IsOfOthers(const ProgramSymbol& symbol, u32 address, u32 unit) const
{
    if (!m_reachesOver[unit]) {
        return false;
    }
    if (symbol.IsLocal() && !symbol.file.empty()) {
        return FileStem(symbol.file) != FileStem(m_paths[unit]);
    }
    const auto lines = m_lines.find(unit);
    if (symbol.kind != SymbolKind::Function || lines == m_lines.end()) {
        return false;
    }
    const u64 end = u64{address} + std::max(symbol.size, 1u);
    const auto behind = std::lower_bound(lines->second.begin(), lines->second.end(), end,
                                         [](const Extent& line, u64 wanted) { return line.begin < wanted; });
    return behind == lines->second.begin() || (behind - 1)->end <= address;
}

u32 SymbolUnits::UnitAt(u32 address) const
{
    const auto behind = std::upper_bound(m_ranges.begin(), m_ranges.end(), u64{address},
                                         [](u64 wanted, const Extent& range) { return wanted < range.begin; });
    return behind != m_ranges.begin() && (behind - 1)->end > address ? (behind - 1)->owner : kNone;
}
