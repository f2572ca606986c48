// The program's version.
#pragma once

#include <string>

/// Of a release, or of the commit that it was built from.
std::string ProgramVersion();
