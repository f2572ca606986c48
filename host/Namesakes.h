// Which of several things of one name in a program is which in another build of it.
#pragma once

#include "interfaces/Types.h"

#include <string_view>
#include <utility>
#include <vector>

struct Namesake {
    std::string_view unit; ///< path of its unit; empty if it isn't known
    u64 likeness;          ///< equal for those that are equal
    bool anywhere;         ///< may pair with one of any unit
};

/// Pairs of indices in both lists; what has no partner is in none. Those of the same unit pair first, then those whose
/// paths have more in common at their ends, down to the file name: builds in other folders are compared as well. Among
/// several that could, equal ones pair.
std::vector<std::pair<u32, u32>> PairUp(const std::vector<Namesake>& olds, const std::vector<Namesake>& news);
