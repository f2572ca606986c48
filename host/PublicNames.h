// The index of names that a compiler may write for a debugger: `.debug_pubnames` (DWARF 2.0, 6.1.1).
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// Calls `visit(offset in .debug_info, name)` for each entry, once through the section's bytes.
template <typename Visit>
void VisitPublicNames(const VFKElfFile& elf, Visit&& visit)
{
    std::string bytes;
    if (!elf.GetSectionData(".debug_pubnames", bytes, 0, kNone)) {
        return;
    }
    const auto number = [&](std::size_t at) {
        u32 value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t byte = elf.m_byteOrder == kElfDataMsb ? at + i : at + 3 - i;
            value = value << 8 | static_cast<u8>(bytes[byte]);
        }
        return value;
    };
    constexpr std::size_t kHeader = 14; // length, version, offset and length of the unit
    constexpr std::size_t kUnit = 6;
    for (std::size_t set = 0; set + kHeader <= bytes.size();) {
        const u64 length = number(set);
        const std::size_t end = static_cast<std::size_t>(std::min<u64>(set + 4 + length, bytes.size()));
        const u32 unit = number(set + kUnit);
        for (std::size_t at = set + kHeader; at + 4 < end && number(at) != 0;) {
            const std::string_view rest(bytes.data() + at + 4, end - at - 4);
            const std::string_view name = rest.substr(0, rest.find('\0'));
            visit(unit + number(at), name);
            at += 4 + name.size() + 1;
        }
        set = end;
    }
}
