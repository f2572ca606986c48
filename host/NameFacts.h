// What is known of each thing with a name, as `find` shows it.
#pragma once

#include "host/NameLookup.h"
#include "host/TypeText.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class DbgSymSrcFile;
class Loader;

struct NameFact {
    NamedThing::Kind kind = NamedThing::Kind::Symbol;
    std::string name;         ///< what a person calls it: the C++ name if there is one
    std::string_view ownName; ///< in the store; empty for an ELF symbol alone
    std::vector<const ElfSymbol*> symbols;
    u32 id = kNone;
    const DbgSymSrcFile* unit = nullptr;
    std::string_view function; ///< around an inlined function, or a static variable; else empty
    std::optional<DbgAddrRange> place;
    u32 size = 0;
    std::string type;                              ///< of a variable; the enumeration of an enumerator
    i32 value = 0;                                 ///< of an enumerator
    const DbgUserDefinedVarType* layout = nullptr; ///< of a type
    u32 units = 1;                                 ///< that have the type in this layout
};

/// Things as facts. Types of one name and layout become one.
/// @param demangle C++ names instead of mangled ones.
std::vector<NameFact> FactsOf(const std::vector<NamedThing>& things, Loader& file, NameLookup& lookup,
                              const TypeText& types, bool demangle);
