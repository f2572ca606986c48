// Tarjan's algorithm, without recursion.
#include "convert/TypeGraph.h"

#include <algorithm>

namespace convert {

TypeGraph::TypeGraph(u32 count, const std::vector<u32>& roots,
                     const std::function<void(u32 node, std::vector<u32>& targets)>& addTargets)
    : m_loop(count, 0)
{
    struct Open {
        u32 node;
        std::size_t next; ///< of its targets, in `targets`
        std::size_t firstTarget;
    };
    std::vector<u32> order(count, 0); // from 1, in the order of the visits
    std::vector<u32> lowest(count, 0);
    std::vector<bool> onStack(count, false);
    std::vector<u32> stack;
    std::vector<Open> open;
    std::vector<u32> targets;
    u32 met = 0;
    u32 loops = 0;
    const auto enter = [&](u32 node) {
        order[node] = lowest[node] = ++met;
        stack.push_back(node);
        onStack[node] = true;
        const std::size_t first = targets.size();
        open.push_back({node, first, first});
        addTargets(node, targets);
    };
    const auto leave = [&] {
        const Open last = open.back();
        open.pop_back();
        const u32 node = last.node;
        const bool toItself = std::find(targets.begin() + static_cast<std::ptrdiff_t>(last.firstTarget), targets.end(),
                                        node) != targets.end();
        targets.resize(last.firstTarget);
        if (lowest[node] == order[node]) {
            const bool isLoop = stack.back() != node || toItself;
            loops += isLoop ? 1 : 0;
            for (bool more = true; more;) {
                const u32 member = stack.back();
                stack.pop_back();
                onStack[member] = false;
                m_loop[member] = isLoop ? loops : 0;
                more = member != node;
            }
        }
        if (!open.empty()) {
            u32& above = lowest[open.back().node];
            above = std::min(above, lowest[node]);
        }
    };
    for (const u32 root : roots) {
        if (order[root] != 0) {
            continue;
        }
        enter(root);
        while (!open.empty()) {
            Open& top = open.back();
            if (top.next == targets.size()) {
                leave();
                continue;
            }
            const u32 target = targets[top.next++];
            if (order[target] == 0) {
                enter(target);
            } else if (onStack[target]) {
                lowest[top.node] = std::min(lowest[top.node], order[target]);
            }
        }
    }
}

} // namespace convert
