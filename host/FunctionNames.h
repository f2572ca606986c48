// Which functions a person means.
#pragma once

#include "host/NamePattern.h"

#include <cstddef>
#include <vector>

class AddressLookup;
class Loader;
struct DbgAddress;

/// Indices in the store, ascending, of the functions that `pattern` names, after loading what it takes: the one of that
/// id, or at that address; those whose ELF symbol fits best; else those whose name in the debug information does.
std::vector<std::size_t> SelectFunctions(Loader& file, AddressLookup& addresses, const NamePattern& pattern);

/// The same for the function of the debug information whose code holds an address.
std::vector<std::size_t> FunctionsAt(Loader& file, AddressLookup& addresses, const DbgAddress& address);
