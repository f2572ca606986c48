// A limit on what a file can cause with bytes that are read again and again.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>

/// Counts something against a limit that is in proportion to the file. A file that a compiler has
/// written stays far below; what happens beyond is told where it is spent.
class Allowance {
public:
    void SetLimit(u64 limit)
    {
        m_capital = limit;
        m_limit = limit;
    }

    /// Counts what has been done. False if that was too much.
    bool Spend(u64 amount)
    {
        m_spent += amount;
        return !IsSpent();
    }
    /// Asks for what is about to be done. False, with nothing counted, if there isn't so much left.
    bool Take(u64 amount) { return amount <= Left() && Spend(amount); }
    bool IsSpent() const { return m_spent > m_limit; }
    u64 Spent() const { return m_spent; }
    u64 Left() const { return m_limit - std::min(m_limit, m_spent); }
    /// Raises the limit, so that at most the first limit is left.
    void Add(u64 amount) { m_limit = std::min(m_limit + amount, m_spent + m_capital); }

private:
    u64 m_capital = 0; ///< the first limit
    u64 m_limit = 0;
    u64 m_spent = 0;
};
