// What a file may cost, counted in bytes read.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>

/// The work that may still be done for a file. A file that a compiler has written needs far less than its capital. Once
/// nothing is left, that is for good: `.debug_info` then counts as read to its end.
class Budget {
public:
    /// What one of a thing costs; a byte read is the unit.
    enum Price : u32 {
        kByteRead = 1,
        kBytePrinted = 4, ///< unless a byte of the section, read for the first time, has paid for it
        kByteCopied = 4,  ///< of a location, a frame base, a list or a long text
        kLineByte = 64,   ///< of a line number programme
        kLink = 64,       ///< of a chain of references, or from a DIE to its parent
        kMember = 1280,   ///< or an enumerator
        kFileScope = 8192,
    };

    void Fill(u64 capital)
    {
        m_capital = capital;
        m_left = capital;
        m_spent = 0;
    }

    /// Pays for `count` things. False if that is more than is left: then nothing is left.
    bool Spend(u64 count, Price price = kByteRead)
    {
        const u64 paid = std::min(m_left, count * price);
        m_spent += paid;
        m_left -= paid;
        return m_left != 0;
    }
    /// Adds a little for each request of the engine: in a long session it asks for loaded things again and again.
    void Renew()
    {
        constexpr u64 kPerRequest = 4096;
        if (m_left != 0) {
            m_left = std::min(m_left + kPerRequest, m_capital);
        }
    }
    bool IsSpent() const { return m_left == 0; }
    u64 Left() const { return m_left; }
    u64 Spent() const { return m_spent; }

private:
    u64 m_capital = 0;
    u64 m_left = 0;
    u64 m_spent = 0;
};

/// Puts another budget in place of a file's for the length of a scope.
class OtherBudget {
public:
    OtherBudget(Budget& budget, u64 capital)
        : m_budget(budget)
        , m_saved(budget)
    {
        m_budget.Fill(capital);
    }
    ~OtherBudget() { m_budget = m_saved; }
    OtherBudget(const OtherBudget&) = delete;
    OtherBudget& operator=(const OtherBudget&) = delete;

private:
    Budget& m_budget;
    Budget m_saved;
};
