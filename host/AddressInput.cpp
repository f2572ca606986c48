// Tries the meanings of what was typed, the likeliest first: a source line, a number, a symbol, a sum, a
// range, bare hexadecimal digits.
#include "host/AddressInput.h"

#include "host/Loader.h"
#include "host/Suggestions.h"
#include "host/Text.h"
#include "host/UnitNames.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <tuple>

namespace {

bool IsHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

std::optional<u32> ParseHex(std::string_view digits)
{
    u32 value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    const bool all = result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    return all ? std::optional(value) : std::nullopt;
}

bool IsWordPart(char character)
{
    return IsHexDigit(character) || (character >= 'g' && character <= 'z') || (character >= 'G' && character <= 'Z') ||
           character == '_' || character == '$';
}

std::string_view WithoutFront(std::string_view text, std::string_view characters)
{
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
    return text;
}

/// Whether the last word of a text is the name of a register, or says that an address follows.
bool NamesRegister(std::string_view text)
{
    const std::size_t last = text.find_last_not_of(" \t=:([<*");
    text = text.substr(0, last == std::string_view::npos ? 0 : last + 1);
    std::size_t begin = text.size();
    while (begin != 0 && IsWordPart(text[begin - 1])) {
        --begin;
    }
    const std::string word = SmallLetters(text.substr(begin));
    constexpr std::string_view kWords[] = {"pc", "lr", "sp", "fp", "ip", "sl", "sb", "address", "addr"};
    const std::optional<u32> number =
        word.size() > 1 && word[0] == 'r' ? ParseNumber(std::string_view(word).substr(1)) : std::nullopt;
    return std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords) || (number && *number < 16);
}

/// Whether what follows a number makes it the address of a dump's line: ":" and bytes.
bool IntroducesBytes(std::string_view text)
{
    if (text.size() < 2 || text[0] != ':' || (text[1] != ' ' && text[1] != '\t')) {
        return false;
    }
    text = WithoutFront(text.substr(1), " \t");
    std::size_t digits = 0;
    while (digits < text.size() && IsHexDigit(text[digits])) {
        ++digits;
    }
    return (digits == 2 || digits == 4 || digits == 8) && (digits == text.size() || !IsWordPart(text[digits]));
}

/// Calls `visit(entry, path)` for each row that has code, of all units whose rows are right.
/// @return whether those are all units.
template <typename Visit>
bool VisitRows(Loader& file, AddressFinder& finder, Visit&& visit)
{
    bool all = true;
    for (u32 unit = 0; unit < file.UnitCount(); ++unit) {
        DbgSymSrcFile& source = file.Store().FileScopeAt(unit);
        if (finder.MisreadsLines(source)) {
            all = false;
            continue;
        }
        file.LoadLines(source.GetId());
        const DbgSymLineTable* table = source.GetLineTableMember();
        for (u32 row = 0; table != nullptr && row < table->Count(); ++row) {
            const DbgSymLineEntry& entry = *table->GetLineEntryByIdx(row);
            if (AddressLookup::HasCode(*table, row) && entry.range.size != 0) {
                const std::string* path = table->GetEntryPath(entry);
                visit(entry, path == nullptr ? source.GetPath() : *path);
            }
        }
    }
    return all;
}

} // namespace

std::optional<u32> ParseBareHex(std::string_view text)
{
    const bool digits = !text.empty() && text.size() <= 8 && std::all_of(text.begin(), text.end(), IsHexDigit);
    return digits && !ParseNumber(text) ? ParseHex(text) : std::nullopt;
}

std::vector<ScannedNumber> ScanNumbers(std::string_view text)
{
    std::vector<ScannedNumber> found;
    for (std::size_t begin = 0; begin < text.size();) {
        if (!IsWordPart(text[begin])) {
            ++begin;
            continue;
        }
        std::size_t end = begin;
        while (end < text.size() && IsWordPart(text[end])) {
            ++end;
        }
        std::string_view word = text.substr(begin, end - begin);
        const bool prefixed = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
        word.remove_prefix(prefixed ? 2 : 0);
        const bool digits = word.size() <= 8 && std::all_of(word.begin(), word.end(), IsHexDigit);
        const bool isLong = word.size() >= 4 && std::any_of(word.begin(), word.end(), IsDigit);
        const bool mixed = isLong && !std::all_of(word.begin(), word.end(), IsDigit);
        const std::string_view ahead = text.substr(0, begin);
        const bool placed = isLong && (NamesRegister(ahead) ||
                                       (WithoutFront(ahead, " \t").empty() && IntroducesBytes(text.substr(end))));
        const bool added = begin != 0 && text[begin - 1] == '+';
        if (digits && !added && (prefixed || mixed || placed || word.size() == 8)) {
            found.push_back({begin, end, *ParseHex(word)});
        }
        begin = end;
    }
    return found;
}

AddressInput::AddressInput(Loader& file, NameLookup& names, AddressFinder& finder)
    : m_file(file)
    , m_names(names)
    , m_finder(finder)
{
}

AskedPlaces AddressInput::Read(const std::string& text)
{
    AskedPlaces asked;
    const std::optional<SourceLine> line = ParseSourceLine(text);
    if (line && !line->path.empty() && line->path.back() != ':') {
        ReadLine(*line, asked);
        return asked;
    }
    if (std::optional<std::vector<Spot>> spots = ReadPoint(text)) {
        asked.spots = std::move(*spots);
        asked.hint = HintOf(text, asked.spots);
    } else if (!ReadRange(text, asked)) {
        asked.failure = Failure(text);
    }
    return asked;
}

/// A number that lies outside may have been meant as a hexadecimal one.
std::string AddressInput::HintOf(const std::string& text, const std::vector<Spot>& spots) const
{
    const bool outside = spots.size() == 1 && spots[0].section == SymbolTable::kAnySection;
    const bool digits = std::all_of(text.begin(), text.end(), IsDigit);
    const std::optional<u32> hex = outside && digits ? ParseHex(text) : std::nullopt;
    if (!hex || m_names.Symbols().SectionsAt(*hex).empty()) {
        return {};
    }
    return text + (text[0] == '0' ? " is octal; 0x" : " is decimal; 0x") + text + '?';
}

std::optional<std::vector<Spot>> AddressInput::ReadPoint(const std::string& text)
{
    if (const std::optional<u32> number = ParseNumber(text)) {
        return m_finder.SpotsAt(*number);
    }
    if (auto spots = ReadSymbol(text)) {
        return spots;
    }
    if (auto spots = ReadMember(text)) {
        return spots;
    }
    if (auto spots = ReadSum(text)) {
        return spots;
    }
    const std::optional<u32> hex = ParseBareHex(text);
    return hex ? std::optional(m_finder.SpotsAt(*hex)) : std::nullopt;
}

std::optional<std::vector<Spot>> AddressInput::ReadSum(const std::string& text)
{
    const std::size_t plus = text.rfind('+');
    const std::optional<u32> more =
        plus == std::string::npos ? std::nullopt : ParseNumber(std::string_view(text).substr(plus + 1));
    if (!more || plus == 0) {
        return std::nullopt;
    }
    std::optional<std::vector<Spot>> spots = ReadPoint(text.substr(0, plus));
    for (std::size_t i = 0; spots && i < spots->size(); ++i) {
        Spot& spot = (*spots)[i];
        spot.address += *more;
        // Beyond its section the address belongs to another one, if to any.
        const std::vector<u16> sections = m_names.Symbols().SectionsAt(spot.address);
        if (std::find(sections.begin(), sections.end(), spot.section) == sections.end()) {
            const bool other = !sections.empty() && !m_names.Symbols().IsRelocatable();
            spot.section = other ? sections[0] : SymbolTable::kAnySection;
        }
    }
    return spots;
}

std::optional<std::vector<Spot>> AddressInput::ReadSymbol(const std::string& text)
{
    const NamePattern pattern(text);
    std::vector<Spot> spots;
    const auto add = [&](const Spot& spot) {
        const bool known = std::any_of(spots.begin(), spots.end(), [&](const Spot& other) {
            return other.address == spot.address && other.section == spot.section;
        });
        if (!known) { // two symbols can stand at one place
            spots.push_back(spot);
        }
    };
    for (const ElfSymbol* symbol : m_names.FindSymbols(pattern)) {
        if (symbol->HasPlace()) {
            add({symbol->address, symbol->section});
        } else {
            add(m_finder.SpotsAt(symbol->address).front()); // an absolute one is a number
        }
    }
    if (!spots.empty() || !m_names.Symbols().All().empty()) {
        std::sort(spots.begin(), spots.end(),
                  [](const Spot& one, const Spot& other) { return one.address < other.address; });
        return spots.empty() ? std::nullopt : std::optional(spots);
    }
    // A stripped file.
    for (const NamedThing& thing : m_names.Find(pattern)) {
        std::optional<u32> address;
        if (thing.kind == NamedThing::Kind::Function) {
            address = m_file.Store().FuncScopeAt(thing.index).range.value;
        } else if (thing.kind == NamedThing::Kind::Variable) {
            address = FixedAddress(m_file.Store().VariableAt(thing.index));
        }
        if (address) {
            add(m_finder.SpotsAt(*address).front());
        }
    }
    return spots.empty() ? std::nullopt : std::optional(spots);
}

/// A symbol's own name can have dots, too.
std::optional<std::vector<Spot>> AddressInput::ReadMember(const std::string& text)
{
    constexpr u32 kMostDots = 16;
    std::size_t at = text.find_first_of(".[", 1);
    for (u32 i = 0; i < kMostDots && at != std::string::npos; ++i, at = text.find_first_of(".[", at + 1)) {
        std::vector<Spot> members;
        for (const Spot& variable : ReadSymbol(text.substr(0, at)).value_or(std::vector<Spot>())) {
            if (const auto member = m_finder.FindMemberSpot(variable, std::string_view(text).substr(at))) {
                members.push_back(*member);
            }
        }
        if (!members.empty()) {
            return members;
        }
    }
    return std::nullopt;
}

/// The end of a range needs no bound: the file bounds what can begin in the range.
bool AddressInput::ReadRange(const std::string& text, AskedPlaces& asked)
{
    for (std::size_t dash = text.find('-'); dash != std::string::npos; dash = text.find('-', dash + 1)) {
        const auto from = ReadPoint(text.substr(0, dash));
        const auto to = from ? ReadPoint(text.substr(dash + 1)) : std::nullopt;
        if (!to) {
            continue;
        }
        const Spot begin = from->front();
        const u32 end = to->front().address;
        asked.isRange = true;
        asked.hint = HintOf(text.substr(0, dash), *from);
        if (from->size() > 1 || to->size() > 1) {
            asked.failure = "The range '" + text + "' has more than one start or end";
            return true;
        }
        if (end <= begin.address) {
            asked.failure = "The range '" + text + "' ends ahead of its start";
            return true;
        }
        std::vector<u32> starts = {begin.address};
        const auto add = [&](u32 address) {
            if (address > begin.address && address < end) {
                starts.push_back(address);
            }
        };
        VisitRows(m_file, m_finder, [&](const DbgSymLineEntry& entry, const std::string&) { add(entry.range.value); });
        for (const ElfSymbol& symbol : m_names.Symbols().All()) {
            if (symbol.HasPlace()) {
                add(symbol.address);
                add(symbol.address + symbol.size);
            }
        }
        for (const u32 address : m_names.Symbols().SectionStarts()) {
            add(address);
        }
        std::sort(starts.begin(), starts.end());
        starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
        for (const u32 address : starts) {
            const std::vector<Spot> spots = m_finder.SpotsAt(address);
            const bool inSection = spots.front().section != SymbolTable::kAnySection;
            if (inSection || address == begin.address) {
                asked.spots.insert(asked.spots.end(), spots.begin(), spots.end());
            }
        }
        return true;
    }
    return false;
}

/// The starts of the line's code: what follows without a gap belongs to the one ahead of it.
void AddressInput::ReadLine(const SourceLine& line, AskedPlaces& asked)
{
    struct Stretch {
        u16 section; ///< none where the address tells it
        u32 begin;
        u32 size;
    };
    std::vector<Stretch> stretches;
    bool hasFile = false;
    std::optional<u32> next;
    const auto take = [&](const Stretch& stretch, u32 number, std::string_view path) {
        if (!FitsPath(path, line.path)) {
            return;
        }
        hasFile = true;
        if (number == line.number) {
            stretches.push_back(stretch);
        } else if (number > line.number) {
            next = std::min(next.value_or(kNone), number);
        }
    };
    bool all = true;
    if (const ObjectLines* lines = m_finder.LinesBySection()) {
        for (const ObjectLines::Row& row : lines->Rows()) {
            const AddressLookup::Place place = lines->PlaceOf(row);
            if (m_finder.MisreadsLines(*place.unit)) {
                all = false;
            } else {
                take({row.section, row.offset, row.size}, place.entry->line, *place.path);
            }
        }
    } else {
        all = VisitRows(m_file, m_finder, [&](const DbgSymLineEntry& entry, const std::string& path) {
            take({SymbolTable::kAnySection, entry.range.value, entry.range.size}, entry.line, path);
        });
    }
    std::sort(stretches.begin(), stretches.end(), [](const Stretch& one, const Stretch& other) {
        return std::tie(one.section, one.begin) < std::tie(other.section, other.begin);
    });
    u64 end = 0;
    u16 section = SymbolTable::kAnySection;
    for (const Stretch& stretch : stretches) {
        end = stretch.section == section ? end : 0;
        section = stretch.section;
        if (end == 0 || stretch.begin > end) {
            const bool told = section != SymbolTable::kAnySection;
            const std::vector<Spot> spots =
                told ? std::vector<Spot>{{stretch.begin, section}} : m_finder.SpotsAt(stretch.begin);
            asked.spots.insert(asked.spots.end(), spots.begin(), spots.end());
        }
        end = std::max(end, u64{stretch.begin} + stretch.size);
    }
    if (asked.spots.empty() && !all) {
        asked.failure =
            "The line tables are misread: no line " + std::to_string(line.number) + " of '" + line.path + "' is known";
    } else if (asked.spots.empty()) {
        asked.failure = hasFile ? "No code is of line " + std::to_string(line.number) + " of '" + line.path + "'"
                                : "No code is of a file '" + line.path + "'" + NearUnits(m_file, line.path);
        asked.failure += next ? "; the next that has some is " + std::to_string(*next) : "";
    }
}

std::string AddressInput::Failure(const std::string& text)
{
    Suggestions suggestions(text);
    for (std::size_t i = 0; i < m_names.Symbols().All().size(); ++i) {
        const ElfSymbol& symbol = m_names.Symbols().All()[i];
        const std::string_view name = m_names.Demangled(symbol);
        suggestions.Offer(symbol.name);
        suggestions.Offer(LastWord(name));
    }
    return "'" + text + "' is no address, and no symbol" + suggestions.Question();
}
