// Runs the converter on a file, in a process of its own, whose faults do no harm.
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
    /// No limit with AddressSanitizer, which reserves address space freely.
    static ConversionLimits For(u64 fileSize);
};

class Conversion {
public:
    /// @param program the path of the converter.
    explicit Conversion(std::string program);

    /// Called with the percentage done, as often as the converter tells it.
    std::function<void(u32 percent)> progress;

    /// Converts `file` and waits. The process gets no descriptor but the one it writes to, has nothing to read, and
    /// ends with this one.
    /// @param output an empty file, open for writing. Its contents are good only if this returns true.
    /// @param why one line for a person if it returns false: what the converter said, or how it ended.
    bool Run(const std::string& file, int output, const ConversionLimits& limits, ConversionReport& report,
             std::string& why) const;
    /// The same, with the limits for the file.
    bool Run(const std::string& file, int output, ConversionReport& report, std::string& why) const;

private:
    std::string m_program;
};
