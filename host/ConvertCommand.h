// `symhost convert`, and the conversion as a person at the terminal sees it.
#pragma once

#include <string>

struct ConversionReport;
class Output;

/// Runs the converter that stands beside the program, with a progress bar on a terminal.
/// @param output, @param report, @param why as for Conversion::Run.
bool RunConversion(const std::string& file, int output, ConversionReport& report, std::string& why);

/// Writes `file`, converted, to `target`: beside it under a unique name, and renamed when it is
/// complete. On failure, which is told, whatever was at `target` stays.
/// @param json prints the report to `output` as one JSON object, instead of as text on standard error.
/// @return the exit status.
int ConvertFile(const std::string& file, const std::string& target, bool json, Output& output);
