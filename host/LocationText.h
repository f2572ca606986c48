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

/// Reads the prepared expressions of one function. Each contains the frame base: if that is a list, it is
/// called "fbreg" and delivered separately.
class LocationReader {
public:
    /// @param base what the ranges of the unit's lists count from.
    explicit LocationReader(u32 base)
        : m_base(base)
    {
    }

    /// A register means the variable is in it, "sp+8" or an address that it is in memory there, "value 5" that it is
    /// nowhere but known. Anything else is disassembled.
    /// @param bytes live as long as the reader.
    Location Read(std::string_view bytes, bool littleEndian);

    /// Where the variable is at one address, with the frame base as it is there. None: nowhere.
    std::optional<std::string> At(std::string_view bytes, bool littleEndian, u32 address) const;

    /// What "fbreg" stands for; without ranges if it hasn't been used.
    Location FrameBase() const;

private:
    u32 m_base;
    bool m_littleEndian = true;
    std::string_view m_frameBase; ///< its list
};

/// The name of a register by its DWARF number for the ARM architecture: "r0" to "r12", "sp", "lr", "pc", "d8".
std::string RegisterName(u32 number);
