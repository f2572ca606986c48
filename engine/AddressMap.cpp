// Cuts overlapping ranges into runs of one owner each.
#include "AddressMap.h"

#include <algorithm>
#include <cstddef>
#include <queue>
#include <utility>

namespace engine {
namespace {

bool AreDisjoint(const std::vector<AddressRun>& sorted)
{
    return std::adjacent_find(sorted.begin(), sorted.end(), [](const AddressRun& left, const AddressRun& right) {
               return left.last >= right.first;
           }) == sorted.end();
}

/// Sweeps over ranges sorted by their start. Those that hold the current key are in a heap with the greatest owner on
/// top. Each round ends at the end of the top's range or at the next start, so there are at most twice as many rounds
/// as ranges.
std::vector<AddressRun> Flatten(const std::vector<AddressRun>& sorted)
{
    const auto byOwner = [](const AddressRun& left, const AddressRun& right) { return left.owner < right.owner; };
    std::priority_queue<AddressRun, std::vector<AddressRun>, decltype(byOwner)> active(byOwner);
    std::vector<AddressRun> runs;
    std::size_t next = 0;
    u64 at = 0;
    while (next < sorted.size() || !active.empty()) {
        if (active.empty()) {
            at = sorted[next].first;
        }
        for (; next < sorted.size() && sorted[next].first <= at; ++next) {
            active.push(sorted[next]);
        }
        while (!active.empty() && active.top().last < at) {
            active.pop();
        }
        if (active.empty()) {
            continue;
        }
        u64 last = active.top().last;
        if (next < sorted.size() && sorted[next].first <= last) {
            last = sorted[next].first - 1;
        }
        const u32 owner = active.top().owner;
        if (!runs.empty() && runs.back().owner == owner && runs.back().last + 1 == at) {
            runs.back().last = last;
        } else {
            runs.push_back({at, last, owner});
        }
        if (last == ~u64{0}) {
            break; // nothing follows, and the key would wrap
        }
        at = last + 1;
    }
    return runs;
}

} // namespace

void AddressMap::Build(std::vector<AddressRun> ranges)
{
    std::sort(ranges.begin(), ranges.end(),
              [](const AddressRun& left, const AddressRun& right) { return left.first < right.first; });
    m_runs = AreDisjoint(ranges) ? std::move(ranges) : Flatten(ranges);
}

u32 AddressMap::Find(u64 key) const
{
    const auto behind = std::upper_bound(m_runs.begin(), m_runs.end(), key,
                                         [](u64 wanted, const AddressRun& run) { return wanted < run.first; });
    if (behind == m_runs.begin() || (behind - 1)->last < key) {
        return kNone;
    }
    return (behind - 1)->owner;
}

} // namespace engine
