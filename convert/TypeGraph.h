// Which types lead back to themselves.
#pragma once

#include "interfaces/Types.h"

#include <functional>
#include <vector>

namespace convert {

/// The loops among the nodes of a graph: strongly connected components of more than one node, or of one that leads to
/// itself.
class TypeGraph {
public:
    /// @param count of nodes. @param roots nodes from which all others are reached that lead anywhere.
    /// @param addTargets appends the nodes that its first argument leads to.
    TypeGraph(u32 count, const std::vector<u32>& roots,
              const std::function<void(u32 node, std::vector<u32>& targets)>& addTargets);

    /// True if each of the two nodes is reached from the other.
    bool InOneLoop(u32 a, u32 b) const { return m_loop[a] != 0 && m_loop[a] == m_loop[b]; }

private:
    std::vector<u32> m_loop; ///< number of the loop, 0 for none
};

} // namespace convert
