// Which functions a person means.
#pragma once

#include "host/NamePattern.h"

#include <cstddef>
#include <string>
#include <vector>

class Loader;
class NameLookup;
struct DbgAddress;
struct ElfSymbol;

/// Indices in the store, ascending, of the functions that `pattern` names, loaded as needed: the one of that
/// id, or at that address; else those whose name, or ELF symbol's name, fits best. Loads the index. None:
/// the complaint has been made.
std::vector<std::size_t> SelectFunctions(Loader& file, const NamePattern& pattern);

/// Those that a symbol names.
std::vector<std::size_t> FunctionsOf(NameLookup& names, const ElfSymbol& symbol);

/// The same for the function whose code holds an address.
/// @param hint for the complaint, if it isn't empty.
std::vector<std::size_t> FunctionsAt(Loader& file, const DbgAddress& address, const std::string& hint);
