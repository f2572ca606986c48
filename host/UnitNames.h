// Which compile units a person means.
#pragma once

#include "interfaces/Types.h"

#include <string>
#include <string_view>
#include <vector>

class Loader;

/// True if the path of a source file is the text or ends in it, behind a separator, with or without its extension.
/// Either separator will do for the other.
bool FitsPath(std::string_view path, std::string_view text);

/// Indices of the units that `unit` names; all if it is empty. Loads the index. That is, the first of these that there
/// are any of: the unit of that id or path; those whose path ends in the text, behind a separator; those whose path
/// does so without its extension; those whose path, or an end of it, fits a glob.
/// None: the complaint has been made.
std::vector<u32> SelectUnits(Loader& file, const std::string& unit);
