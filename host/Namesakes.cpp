// A few passes over both lists, each of which pairs what agrees in some way. No pass takes more than linear time.
#include "host/Namesakes.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <unordered_map>

namespace {

/// The last components of a path; nothing if it isn't known.
std::optional<std::string_view> TailOf(const Namesake& namesake, std::size_t components)
{
    if (namesake.unit.empty()) {
        return std::nullopt;
    }
    std::size_t at = namesake.unit.size();
    for (; components != 0 && at != std::string_view::npos; --components) {
        at = at == 0 ? std::string_view::npos : namesake.unit.find_last_of("/\\", at - 1);
    }
    return at == std::string_view::npos ? namesake.unit : namesake.unit.substr(at + 1);
}

class Pairing {
public:
    Pairing(const std::vector<Namesake>& olds, const std::vector<Namesake>& news)
        : m_olds(olds)
        , m_news(news)
        , m_oldIsPaired(olds.size())
        , m_newIsPaired(news.size())
    {
    }

    std::vector<std::pair<u32, u32>> Run()
    {
        constexpr std::size_t kWhole = static_cast<std::size_t>(-1);
        const auto everything = [](const Namesake&) { return true; };
        for (const std::size_t components : {kWhole, std::size_t{4}, std::size_t{3}, std::size_t{2}, std::size_t{1}}) {
            const auto tail = [&](const Namesake& namesake) { return TailOf(namesake, components); };
            PassTwice(tail, everything, everything);
        }
        const auto any = [](const Namesake&) { return std::optional<std::string_view>(""); };
        const auto anywhere = [](const Namesake& namesake) { return namesake.anywhere; };
        PassTwice(any, anywhere, everything);
        PassTwice(any, everything, anywhere);
        return std::move(m_pairs);
    }

private:
    /// Once for those that are alike as well, once for all.
    template <typename KeyOf, typename Old, typename New>
    void PassTwice(KeyOf&& keyOf, Old&& takesOld, New&& takesNew)
    {
        for (const bool alike : {true, false}) {
            if (m_pairs.size() < std::min(m_olds.size(), m_news.size())) {
                Pass(keyOf, alike, takesOld, takesNew);
            }
        }
    }

    template <typename KeyOf, typename Old, typename New>
    void Pass(KeyOf&& keyOf, bool alike, Old&& takesOld, New&& takesNew)
    {
        struct Key {
            std::string_view text;
            u64 likeness;
            bool operator==(const Key&) const = default;
        };
        struct Hash {
            std::size_t operator()(const Key& key) const
            {
                return std::hash<std::string_view>()(key.text) ^ std::hash<u64>()(key.likeness);
            }
        };
        struct Queue {
            std::vector<u32> waiting;
            std::size_t next = 0;
        };
        std::unordered_map<Key, Queue, Hash> queues;
        const auto key = [&](std::string_view text, const Namesake& of) { return Key{text, alike ? of.likeness : 0}; };
        for (u32 i = 0; i < m_olds.size(); ++i) {
            const auto text = keyOf(m_olds[i]);
            if (!m_oldIsPaired[i] && text && takesOld(m_olds[i])) {
                queues[key(*text, m_olds[i])].waiting.push_back(i);
            }
        }
        for (u32 i = 0; i < m_news.size(); ++i) {
            const auto text = keyOf(m_news[i]);
            if (m_newIsPaired[i] || !text || !takesNew(m_news[i])) {
                continue;
            }
            const auto found = queues.find(key(*text, m_news[i]));
            if (found != queues.end() && found->second.next < found->second.waiting.size()) {
                Pair(found->second.waiting[found->second.next++], i);
            }
        }
    }

    void Pair(u32 oldIndex, u32 newIndex)
    {
        m_oldIsPaired[oldIndex] = true;
        m_newIsPaired[newIndex] = true;
        m_pairs.emplace_back(oldIndex, newIndex);
    }

    const std::vector<Namesake>& m_olds;
    const std::vector<Namesake>& m_news;
    std::vector<bool> m_oldIsPaired;
    std::vector<bool> m_newIsPaired;
    std::vector<std::pair<u32, u32>> m_pairs;
};

} // namespace

std::vector<std::pair<u32, u32>> PairUp(const std::vector<Namesake>& olds, const std::vector<Namesake>& news)
{
    return Pairing(olds, news).Run();
}
