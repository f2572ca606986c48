// What a file may cause, in proportion to its size, by having the same bytes read again and again.
#include "image/Allowance.h"

#include "image/Dwarf2File.h"
#include "index/Cursor.h"

#include <algorithm>
#include <cstring>

void Dwarf2File::SetAllowances()
{
    // One reading of a section is as many steps as it has bytes, and at most as many pairs again. A
    // request may read a unit many times over (see RequestIsSpent). Compilers' output mostly needs one to
    // two readings in all; one unit with thousands of classes and pointers to their members needs
    // hundreds, for which there is more up to a fixed amount.
    constexpr u64 kReadings = 256;
    constexpr u64 kReadingBase = u64{16} << 20;
    constexpr u64 kMoreReadings = 2048;
    constexpr u64 kMostMore = u64{1} << 30;
    const u64 size = m_debug_info.Size();
    m_reading.SetLimit(kReadingBase + kReadings * size + std::min(kMoreReadings * size, kMostMore));

    // Frame bases, lists and blocks that any number of DIEs may name, and texts.
    constexpr u64 kCopies = 64;
    constexpr u64 kCopyBase = u64{16} << 20;
    m_copying.SetLimit(kCopyBase + kCopies * (u64{m_debug_info.Size()} + m_debug_loc.Size()));

    // Each member and enumerator has a DIE of at least a byte.
    m_listing.SetLimit(m_debug_info.Size());

    // A unit has a header of 11 bytes and a DIE.
    constexpr u64 kScopeBase = 1024;
    m_fileScopes.SetLimit(kScopeBase + m_debug_info.Size() / 8);

    // Each programme is for one unit.
    constexpr u64 kRuns = 8;
    constexpr u64 kRunBase = u64{64} << 10;
    m_lineReading.SetLimit(kRunBase + kRuns * m_debug_line.Size());
}

void Dwarf2File::SpendOnAttributes(u32 pairs, u32 values)
{
    m_reading.Spend(u64{pairs} / 2 + values); // a pair has two bytes, unless its numbers are padded
}

u32 Dwarf2File::ReadCode()
{
    const u32 start = m_debug_info.Pos();
    const u32 code = m_debug_info.Get32_ULEB128(4);
    m_reading.Spend(m_debug_info.Pos() - start);
    return code;
}

bool Dwarf2File::EndIfReadingIsSpent()
{
    if (!m_reading.IsSpent()) [[likely]] {
        return false;
    }
    Seek(m_debug_info, kNone);
    return true;
}

const char* Dwarf2File::CopyableText(const char* text, std::string& cut)
{
    constexpr std::size_t kAlways = 256;
    if (strnlen(text, kAlways) < kAlways) {
        return text;
    }
    const u64 left = m_copying.Left();
    const std::size_t size = strnlen(text, left);
    if (size < left && m_copying.Take(size)) {
        return text;
    }
    cut.assign(text, kAlways);
    return cut.c_str();
}
