// A limit on what a file can cause with bytes that are read again and again.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>

/// Counts something against a limit that is in proportion to the file. A file that a compiler has
/// written stays far below; what happens beyond is told where it is spent.
class Allowance {
public:
    void SetLimit(u64 limit) { m_limit = limit; }

    /// Takes `amount`. False if there isn't so much left; then nothing more is granted.
    bool Spend(u64 amount)
    {
        m_spent += amount;
        return !IsSpent();
    }
    bool IsSpent() const { return m_spent > m_limit; }
    u64 Left() const { return m_limit - std::min(m_limit, m_spent); }
    void GiveBack(u64 amount) { m_spent -= std::min(m_spent, amount); }

private:
    u64 m_limit = 0;
    u64 m_spent = 0;
};
