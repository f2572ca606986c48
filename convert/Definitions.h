// Where the program defines the classes and enumerations that some of its units only declare.
#pragma once

#include "convert/Unit.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace convert {

/// The definitions of a program, by their qualified names.
class Definitions {
public:
    /// Walks the scopes of all units except functions.
    explicit Definitions(const std::vector<InputUnit>& units);

    /// The entry that defines a class, union or enumeration; nothing if there is none, or if several with that name
    /// differ in size. Of equal ones the first counts.
    /// @param tag of the declaration; a structure may be declared as a class.
    std::optional<EntryKey> Find(u32 tag, std::string_view qualifiedName) const;

private:
    struct Definition {
        EntryKey key;
        u64 size = 0;
        bool ambiguous = false;
    };

    void Walk(Dwarf_Die scope, const std::string& prefix, u32 depth);
    void Take(Dwarf_Die die, std::string_view qualifiedName);

    std::unordered_map<u64, Definition> m_definitions; ///< by hash of kind and name
};

} // namespace convert
