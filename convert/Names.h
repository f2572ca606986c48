// Names as a person says them: scopes and template arguments included.
#pragma once

#include "convert/Unit.h"
#include "interfaces/Types.h"

#include <deque>
#include <elfutils/libdw.h>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

/// True for namespaces, classes and whatever else gives its name to what is in it.
bool IsNamingScope(u32 tag);
bool IsClass(u32 tag); ///< structures, unions and interfaces too

/// Goes to the next entry of the level. False at its end, and where a damaged AT_sibling leads back.
bool NextSibling(Dwarf_Die& die);

/// The name of a namespace or class as a prefix of others: a namespace without a name is "(anonymous namespace)".
std::string_view ScopeName(u32 tag, std::string_view name);

/// Names of the entries of one unit.
class Names {
public:
    /// @param unit outlives this.
    explicit Names(const Unit& unit)
        : m_unit(unit)
        , m_ownOf(unit.Count())
        , m_qualifiedOf(unit.Count())
    {
    }

    /// The entry's own name, or that of its declaration or origin; with its template arguments, also if the producer
    /// left them to their entries. Empty if it has none. Good for as long as this and the unit live.
    std::string_view Own(u32 node);
    /// The own name behind the names of all scopes around it or, if it has one, around its declaration. Functions give
    /// no scope. Empty if it has no name. A member function of a class without a name has that of its linkage name,
    /// without the parameters: "f(int)::$_0::operator()".
    std::string_view Qualified(u32 node);
    /// AT_linkage_name in any spelling, its own or its declaration's; empty if there is none.
    std::string_view Linkage(u32 node) const;
    /// A type as C++ writes it: "const ns::K *", "int (ns::K::*)(int)". Depths and lengths are bounded, what lies
    /// behind is "...".
    std::string TypeText(Reference type);

private:
    std::string_view FindOwn(u32 node);
    std::string_view FindQualified(u32 node);
    std::string Prefix(u32 node);
    std::string WithArguments(u32 node, std::string_view name);
    u32 TagBehindModifiers(Reference type) const;
    void Declare(Reference type, std::string& before, std::string& after, u32 depth);
    bool IsOfUnnamedClass(u32 node);
    std::string Demangled(u32 node) const;
    std::string Qualifiers(u32 subroutine) const;
    std::string Parameters(u32 subroutine, bool method, u32 depth);

    const Unit& m_unit;
    u32 m_depth = 0;                             ///< of scopes in scopes whose names are being put together
    bool m_demangled = false;                    ///< types as names of template instances have them: "char const*"
    std::deque<std::string> m_made;              ///< names that are made of parts
    std::vector<std::string_view> m_ownOf;       ///< by node, where it has been asked for
    std::vector<std::string_view> m_qualifiedOf; ///< likewise
};

/// The qualified name of an entry of another unit.
std::string QualifiedName(Dwarf_Die die);

} // namespace convert
