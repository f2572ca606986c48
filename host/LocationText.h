// Where a variable is, in words: "r4", "sp+8", "fbreg-20", by ranges of addresses where it moves.
#pragma once

#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct Location {
    /// Code for which one answer holds.
    struct Range {
        u32 begin;
        u32 end; ///< behind the last address
        std::string words;
    };

    bool always = false; ///< there is one range, wherever the variable is in scope
    std::vector<Range> ranges;
};

/// Reads the prepared expressions of one function. The frame base stands in each of them: where it is a list, it is
/// called "fbreg", and delivered by itself.
class LocationReader {
public:
    /// @param base what the ranges of the unit's lists count from.
    explicit LocationReader(u32 base)
        : m_base(base)
    {
    }

    /// A register stands for the variable in it, "sp+8" and an address for the variable in memory there, "value 5" for
    /// one that is nowhere. What has no such words is disassembled.
    /// @param bytes live as long as the reader.
    Location Read(std::string_view bytes, bool littleEndian);

    /// Where the variable is at one address, with the frame base as it is there. None: nowhere.
    std::optional<std::string> At(std::string_view bytes, bool littleEndian, u32 address) const;

    /// What "fbreg" is; without ranges if nothing has been called so.
    Location FrameBase() const;

private:
    u32 m_base;
    bool m_littleEndian = true;
    std::string_view m_frameBase; ///< its list
};

/// The name of a register by its DWARF number for the ARM architecture: "r0" to "r12", "sp", "lr", "pc", "d8".
std::string RegisterName(u32 number);
