// The conversion of a whole file.
#pragma once

#include "convert/Report.h"
#include "interfaces/Types.h"

#include <functional>
#include <string>

namespace convert {

/// Writes the program at `path` with its debug information as DWARF 2.0.
/// @param descriptor an empty file, open for writing. After a throw its contents are undefined.
/// @param report receives the units and what was left out.
/// @param progress is called from time to time with how much is done.
/// Throws Failure, std::bad_alloc.
void ConvertFile(const std::string& path, int descriptor, Report& report,
                 const std::function<void(u32 percent)>& progress);

} // namespace convert
