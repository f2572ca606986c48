// What a mistyped name may have meant.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// How many single letters have to be changed, left out, added or swapped with their neighbour to turn one text into
/// the other; `limit` + 1 for anything above `limit`.
std::size_t EditDistance(std::string_view from, std::string_view to, std::size_t limit);

/// Of any number of candidates, keeps those nearest to a text: with nearly its letters, or beginning with it.
/// Capital letters count as small ones. The text itself isn't kept: whoever asks knows that it won't do.
class Suggestions {
public:
    /// Nobody mistypes more, and a file may have names as long as itself.
    static constexpr std::size_t kLongest = 256;

    explicit Suggestions(std::string_view wanted);

    void Offer(std::string_view candidate);

    /// At most three, the nearest first.
    std::vector<std::string> Nearest() const;
    /// ". Did you mean a, b or c?", to stand behind a complaint; empty if nothing is near.
    std::string Question() const;

private:
    struct Kept {
        std::size_t distance;
        std::string name;
        auto operator<=>(const Kept&) const = default;
    };

    const std::string m_typed;
    const std::string m_wanted; ///< the same in small letters; empty if it is too long to be mistyped
    const std::size_t m_limit;
    std::vector<Kept> m_kept; ///< ascending
};
