// Edit distances, and the nearest of many names.
#include "host/Suggestions.h"

#include "host/Text.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kMostKept = 3;
constexpr std::size_t kShortestStart = 3;

/// @param small has no capital letters.
bool BeginsWith(std::string_view text, std::string_view small)
{
    return text.size() >= small.size() && SmallLetters(text.substr(0, 1)) == small.substr(0, 1) &&
           SmallLetters(text.substr(0, small.size())) == small;
}

} // namespace

std::size_t EditDistance(std::string_view from, std::string_view to, std::size_t limit)
{
    const std::size_t more = from.size() > to.size() ? from.size() - to.size() : to.size() - from.size();
    if (more > limit) {
        return limit + 1;
    }
    // Three rows of the table of distances between beginnings: a swap looks two back.
    std::vector<std::size_t> before;
    std::vector<std::size_t> above(to.size() + 1);
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j) {
        above[j] = j;
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool same = from[i - 1] == to[j - 1];
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        if (*std::min_element(row.begin(), row.end()) > limit) {
            return limit + 1;
        }
        before = std::exchange(above, row);
    }
    return std::min(above.back(), limit + 1);
}

Suggestions::Suggestions(std::string_view wanted)
    : m_typed(wanted)
    , m_wanted(wanted.size() <= kLongest ? SmallLetters(wanted) : std::string())
    , m_limit(std::min<std::size_t>((m_wanted.size() + 1) / 3, 4))
{
}

void Suggestions::Offer(std::string_view candidate)
{
    if (m_wanted.empty() || candidate.empty() || candidate.size() > kLongest || candidate == m_typed) {
        return;
    }
    std::size_t distance = m_limit + 1;
    if (candidate.size() <= m_wanted.size() + m_limit && m_wanted.size() <= candidate.size() + m_limit) {
        distance = EditDistance(m_wanted, SmallLetters(candidate), m_limit);
    }
    if (distance > m_limit) {
        if (m_wanted.size() < kShortestStart || !BeginsWith(candidate, m_wanted)) {
            return;
        }
        distance = m_limit + candidate.size() - m_wanted.size(); // the shorter it goes on, the nearer
    }
    Kept kept{distance, std::string(candidate)};
    const auto place = std::lower_bound(m_kept.begin(), m_kept.end(), kept);
    if (place != m_kept.end() && *place == kept) {
        return;
    }
    m_kept.insert(place, std::move(kept));
    if (m_kept.size() > kMostKept) {
        m_kept.pop_back();
    }
}

std::vector<std::string> Suggestions::Nearest() const
{
    std::vector<std::string> names;
    for (const Kept& kept : m_kept) {
        names.push_back(kept.name);
    }
    return names;
}

std::string Suggestions::Question() const
{
    if (m_kept.empty()) {
        return {};
    }
    std::string question = ". Did you mean ";
    for (std::size_t i = 0; i < m_kept.size(); ++i) {
        question += (i == 0 ? "" : i + 1 == m_kept.size() ? " or " : ", ") + m_kept[i].name;
    }
    return question + '?';
}
