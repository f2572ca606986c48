// What the listings of whole programs have in common: which things they show, in which order, with which totals.
#pragma once

#include "host/NamePattern.h"
#include "host/Suggestions.h"
#include "host/UnitNames.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

class Output;

enum class SortBy : u8 { Nothing, Size, Name, Address };

struct Selection {
    SortBy sort = SortBy::Nothing;
    std::optional<NamePattern> match; ///< only what has such a name
    std::optional<PathPattern> path;  ///< the same pattern for a path; none for a regular expression

    bool Takes(std::string_view name) const { return !match || match->Match(name) != NameMatch::None; }
    bool TakesPath(std::string_view text) const { return path ? path->Match(text) != PathMatch::None : Takes(text); }
};

/// What a row is sorted by.
struct SortKey {
    u64 size;
    DbgAddress address;
    std::string_view name;
};

/// The largest size, or the lowest name or address first. Equal rows keep their order.
/// @param keyOf delivers the key of a row.
template <typename Row, typename KeyOf>
void SortRows(std::vector<Row>& rows, SortBy by, KeyOf&& keyOf)
{
    if (by == SortBy::Nothing) {
        return;
    }
    std::stable_sort(rows.begin(), rows.end(), [&](const Row& one, const Row& other) {
        const SortKey a = keyOf(one);
        const SortKey b = keyOf(other);
        if (by == SortBy::Size) {
            return a.size > b.size;
        }
        return by == SortBy::Name
                   ? a.name < b.name
                   : std::tie(a.address.section, a.address.value) < std::tie(b.address.section, b.address.value);
    });
}

/// ". Did you mean ...?" from the names, for a pattern that isn't found; empty for globs and regular expressions.
/// @param nameOf delivers the name of a thing.
template <typename Things, typename NameOf>
std::string NearMatches(const NamePattern& pattern, const Things& things, NameOf&& nameOf)
{
    if (pattern.IsWide()) {
        return {};
    }
    Suggestions suggestions(pattern.Text());
    for (const auto& thing : things) {
        const std::string_view name = nameOf(thing);
        suggestions.Offer(name);
        suggestions.Offer(LastWord(name));
    }
    return suggestions.Question();
}

/// "1 function", "2 functions".
std::string Counted(u64 count, const char* thing);

/// The last line of a table: the number of things and their bytes.
void WriteTotal(Output& output, const std::string& things, u64 bytes);
