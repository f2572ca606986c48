// The report of a conversion: read from the child process, shown to a person or a script.
#pragma once

#include "interfaces/Types.h"

#include <string>
#include <string_view>
#include <vector>

struct ConversionReport {
    struct Units {
        u64 version = 0;
        std::string producer;
        u64 count = 0;
    };
    struct LeftOut {
        std::string kind;
        std::string reason;
        u64 count = 0;
    };
    std::vector<Units> units;
    std::vector<LeftOut> leftOut;
    u64 splitUnits = 0; ///< whose rest lies in files of their own

    /// Reads the object that the child process prints. Anything that isn't exactly of that form
    /// is refused.
    /// @return false, with nothing changed, if it is refused.
    bool Parse(std::string_view json);

    /// Lines for a person, of up to 80 columns unless a text is longer.
    std::string Text() const;

    /// One JSON object in one line, with its line end.
    std::string Json(const std::string& input, const std::string& output) const;
};
