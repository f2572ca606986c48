// Builds and searches the symbol indexes: sorted arrays of a key and a symbol's position.
#include "SymbolIndex.h"

#include <algorithm>
#include <cstring>
#include <queue>
#include <utility>

namespace {

constexpr u64 MakeKey(u32 key, u32 symbol)
{
    return u64{key} << 32 | symbol;
}

constexpr u32 KeyOf(u64 entry)
{
    return static_cast<u32>(entry >> 32);
}

constexpr u32 SymbolOf(u64 entry)
{
    return static_cast<u32>(entry);
}

/// The first entry whose key is at or above `key`.
auto FirstFrom(const std::vector<u64>& keys, u32 key)
{
    return std::lower_bound(keys.begin(), keys.end(), MakeKey(key, 0));
}

/// The hash of a text with one more character before it. Texts are hashed from their ends, so that one pass over a
/// string table gives the hash of the text at every offset: names may share their ends, and in a malformed table all
/// may share one that is far away.
constexpr u64 PrependToHash(u64 hash, char c)
{
    return hash * 0x9E3779B97F4A7C15u + static_cast<u8>(c) + 1;
}

/// Folds a hash into a key's half, so that the low bits of the characters count everywhere.
constexpr u32 FoldHash(u64 hash)
{
    return static_cast<u32>(((hash ^ (hash >> 29)) * 0xBF58476D1CE4E5B9u) >> 32);
}

u32 HashOf(std::string_view text)
{
    u64 hash = 0;
    for (auto c = text.rbegin(); c != text.rend(); ++c) {
        hash = PrependToHash(hash, *c);
    }
    return FoldHash(hash);
}

u64 EndOf(const elf32_sym& symbol)
{
    return std::min(u64{symbol.st_value} + symbol.st_size, u64{1} << 32);
}

struct Extent {
    u64 length;
    u32 symbol;
    u64 end;
};

/// Puts the smallest extent on top of a queue, the first of the table among equals.
struct Larger {
    bool operator()(const Extent& a, const Extent& b) const
    {
        return a.length != b.length ? a.length > b.length : a.symbol > b.symbol;
    }
};

} // namespace

SymbolIndex::SymbolIndex(const std::vector<elf32_sym>& symbols, std::string_view strings, bool thumbBit)
    : m_symbols(symbols)
    , m_strings(strings)
    , m_thumbBit(thumbBit)
{
}

const SymbolIndex::SortedKeys& SymbolIndex::ByName()
{
    if (m_namesBuilt) {
        return m_byName;
    }
    SortedKeys byOffset;
    byOffset.reserve(m_symbols.size());
    for (u32 symbol = 1; symbol < m_symbols.size(); ++symbol) {
        if (m_symbols[symbol].st_name < m_strings.size()) {
            byOffset.push_back(MakeKey(m_symbols[symbol].st_name, symbol));
        }
    }
    std::sort(byOffset.begin(), byOffset.end());

    u64 hash = 0;
    std::size_t at = m_strings.size();
    for (auto entry = byOffset.rbegin(); entry != byOffset.rend(); ++entry) {
        while (at > KeyOf(*entry)) {
            const char c = m_strings[--at];
            hash = c == '\0' ? 0 : PrependToHash(hash, c);
        }
        *entry = MakeKey(FoldHash(hash), SymbolOf(*entry));
    }
    std::sort(byOffset.begin(), byOffset.end());
    m_byName = std::move(byOffset);
    m_namesBuilt = true;
    return m_byName;
}

u32 SymbolIndex::FindName(const char* name)
{
    const u32 hash = HashOf(name);
    const SortedKeys& byName = ByName();
    for (auto entry = FirstFrom(byName, hash); entry != byName.end() && KeyOf(*entry) == hash; ++entry) {
        const u32 symbol = SymbolOf(*entry);
        if (std::strcmp(m_strings.data() + m_symbols[symbol].st_name, name) == 0) {
            return symbol;
        }
    }
    return kNone;
}

const SymbolIndex::SortedKeys& SymbolIndex::ByValue()
{
    if (m_byValue.empty()) {
        m_byValue.reserve(m_symbols.size());
        for (u32 symbol = 1; symbol < m_symbols.size(); ++symbol) {
            m_byValue.push_back(MakeKey(m_symbols[symbol].st_value, symbol));
        }
        std::sort(m_byValue.begin(), m_byValue.end());
    }
    return m_byValue;
}

u32 SymbolIndex::FindValue(u32 value)
{
    const auto entry = FirstFrom(ByValue(), value);
    return entry != m_byValue.end() && KeyOf(*entry) == value ? SymbolOf(*entry) : kNone;
}

u32 SymbolIndex::FindValueAndSize(u32 value, u32 size)
{
    auto entry = FirstFrom(ByValue(), value);
    for (; entry != m_byValue.end() && KeyOf(*entry) == value; ++entry) {
        if (m_symbols[SymbolOf(*entry)].st_size == size) {
            return SymbolOf(*entry);
        }
    }
    return kNone;
}

u32 SymbolIndex::NextByValue(u32 symbol)
{
    const SortedKeys& byValue = ByValue();
    const u64 own = MakeKey(m_symbols[symbol].st_value, symbol);
    const auto behind = std::upper_bound(byValue.begin(), byValue.end(), own);
    return behind == byValue.end() ? kNone : SymbolOf(*behind);
}

const std::vector<SymbolIndex::ExtentRun>& SymbolIndex::ExtentRuns()
{
    if (m_extentsBuilt) {
        return m_extentRuns;
    }
    m_extentRuns.clear(); // what is left if memory ran out before
    constexpr u64 kNever = ~u64{0};
    // The extents open at the sweep's address; below the top there may be ones that have ended.
    std::priority_queue<Extent, std::vector<Extent>, Larger> open;
    u32 answer = kNone;
    auto starting = ByValue().begin();
    while (starting != m_byValue.end() || !open.empty()) {
        const u64 start = starting == m_byValue.end() ? kNever : KeyOf(*starting);
        const u64 address = open.empty() ? start : std::min(start, open.top().end);
        for (; starting != m_byValue.end() && KeyOf(*starting) == address; ++starting) {
            const u64 end = EndOf(m_symbols[SymbolOf(*starting)]);
            open.push({end - address, SymbolOf(*starting), end});
        }
        while (!open.empty() && open.top().end <= address) {
            open.pop();
        }
        const u32 smallest = open.empty() ? kNone : open.top().symbol;
        if (smallest != answer && address >> 32 == 0) {
            m_extentRuns.push_back({static_cast<u32>(address), smallest});
            answer = smallest;
        }
    }
    m_extentsBuilt = true;
    return m_extentRuns;
}

u32 SymbolIndex::FindContaining(u32 address)
{
    const std::vector<ExtentRun>& runs = ExtentRuns();
    const auto behind = std::upper_bound(runs.begin(), runs.end(), address,
                                         [](u32 value, const ExtentRun& run) { return value < run.start; });
    return behind == runs.begin() ? kNone : (behind - 1)->symbol;
}

const SymbolIndex::SortedKeys& SymbolIndex::Functions()
{
    if (m_functionsBuilt) {
        return m_functions;
    }
    m_functions.clear(); // what is left if memory ran out before
    const u32 addressBits = m_thumbBit ? ~u32{1} : ~u32{0};
    for (u32 symbol = 1; symbol < m_symbols.size(); ++symbol) {
        const elf32_sym& candidate = m_symbols[symbol];
        if (SymbolType(candidate) == kSttFunc && candidate.st_shndx != kShnUndef) {
            m_functions.push_back(MakeKey(candidate.st_value & addressBits, symbol));
        }
    }
    std::sort(m_functions.begin(), m_functions.end());
    m_functionsBuilt = true;
    return m_functions;
}

u32 SymbolIndex::FindFunction(u32 address, u32& next)
{
    const SortedKeys& functions = Functions();
    const auto behind = std::upper_bound(functions.begin(), functions.end(), MakeKey(address, kNone));
    if (behind == functions.begin()) {
        return kNone;
    }
    const auto found = FirstFrom(functions, KeyOf(*(behind - 1)));
    next = found + 1 == functions.end() ? kNone : SymbolOf(found[1]);
    return SymbolOf(*found);
}
