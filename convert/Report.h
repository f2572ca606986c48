// What a conversion reports: what the file is made of, and what of it DWARF 2.0 can't express.
#pragma once

#include "interfaces/Types.h"

#include <map>
#include <string>
#include <tuple>
#include <utility>

namespace convert {

/// Counts in a fixed order, so that the same file gives the same report.
class Report {
public:
    /// A unit of the input, by its DWARF version and producer.
    void AddUnit(u32 version, const std::string& producer) { ++m_units[{version, producer}]; }
    /// Something that was left out. @param kind what it is, in the plural ("variables", "ranges", "types", ...).
    void LeaveOut(const std::string& kind, const std::string& reason, u64 count = 1)
    {
        if (count != 0) {
            m_leftOut[{kind, reason}] += count;
        }
    }
    /// A unit whose rest is in another file (split DWARF).
    void AddSplitUnit() { ++m_splitUnits; }

    /// One JSON object on one line:
    /// {"units":[{"version","producer","count"}],"left_out":[{"kind","reason","count"}],"split_units":n}
    std::string Json() const;

private:
    std::map<std::pair<u32, std::string>, u64> m_units;
    std::map<std::pair<std::string, std::string>, u64> m_leftOut;
    u64 m_splitUnits = 0;
};

} // namespace convert
