// Which compile units may hold a name, found without reading their entries.
#pragma once

#include "interfaces/Types.h"

#include <string_view>
#include <vector>

class DbgSymSymFile;
class VFKElfFile;

/// Ids of the units of a file whose index is loaded, in whose bytes a name begins with this word or has it behind
/// "::": as text in the entries, or as a reference to `.debug_str`. Bytes that look so by chance count too; the
/// caller loads these units and looks closer.
std::vector<u32> UnitsMentioning(const DbgSymSymFile& store, const VFKElfFile& elf, std::string_view word);
