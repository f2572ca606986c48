// Runs the converter on a file: a process of its own, which may do what it likes and harms nobody.
#pragma once

#include "interfaces/Types.h"

#include <chrono>
#include <functional>
#include <string>

struct ConversionReport;

/// What a conversion may cost.
struct ConversionLimits {
    std::chrono::milliseconds time; ///< on the clock and of the processor, each
    u64 memory;                     ///< bytes of address space; 0: any
    u64 output;                     ///< bytes that may be written

    /// In proportion to the file: 60 s and 2 s a mebibyte more, 1 GiB and 64 times the file of memory and of output.
    /// AddressSanitizer takes address space as it likes, so with it there is no limit.
    static ConversionLimits For(u64 fileSize);
};

class Conversion {
public:
    /// @param program the path of the converter.
    explicit Conversion(std::string program);

    /// Hears how much is done, as often as the converter tells it.
    std::function<void(u32 percent)> progress;

    /// Converts `file`, and waits for it. The process gets no descriptor but the one it writes to, nothing to read, and
    /// ends with this one.
    /// @param output an empty file, open for writing. What it holds is good only if this returns true.
    /// @param why one line for a person if it returns false: what the converter said, or how it ended.
    bool Run(const std::string& file, int output, const ConversionLimits& limits, ConversionReport& report,
             std::string& why) const;
    /// The same, with the limits for the file.
    bool Run(const std::string& file, int output, ConversionReport& report, std::string& why) const;

private:
    std::string m_program;
};
