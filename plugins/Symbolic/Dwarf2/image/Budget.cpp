// Limits the work that a file can cause, in proportion to its size.
#include "image/Budget.h"

#include "image/Dwarf2File.h"
#include "index/Cursor.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr u64 kBase = u64{16} << 20;
constexpr u64 kReadings = 256;

} // namespace

void Dwarf2File::FillBudget()
{
    // Reading a section once costs its bytes, and at most as much again for attribute pairs. A request may read a unit
    // many times over (see RequestIsSpent). Compilers' output mostly needs one or two readings in all, but a unit with
    // thousands of classes and pointers to their members needs hundreds: for these there is more, up to a fixed amount.
    constexpr u64 kMoreReadings = 2048;
    constexpr u64 kMostMore = u64{1} << 30;
    const u64 size = u64{m_debug_info.Size()} + m_debug_line.Size() + m_debug_loc.Size();
    m_budget.Fill(kBase + kReadings * size + std::min(kMoreReadings * size, kMostMore));
}

u64 Dwarf2File::CapitalOfDump() const
{
    return kBase +
           kReadings * (u64{m_debug_info.Size()} + m_debug_abbrev.Size() + m_debug_str.Size() + m_debug_loc.Size());
}

const char* Dwarf2File::CopyableText(const char* text, std::string& cut)
{
    constexpr std::size_t kAlways = 256;
    if (strnlen(text, kAlways) < kAlways ||
        m_budget.Spend(strnlen(text, m_budget.Left() / Budget::kByteCopied + 1), Budget::kByteCopied)) {
        return text;
    }
    cut.assign(text, kAlways);
    return cut.c_str();
}
