// Names as a person writes them, with scopes and template arguments.
#pragma once

#include "convert/Unit.h"
#include "interfaces/Types.h"

#include <deque>
#include <elfutils/libdw.h>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

/// True for namespaces, classes and whatever else is part of the names of its contents.
bool IsNamingScope(u32 tag);
bool IsClass(u32 tag); ///< structures, unions and interfaces too

/// Goes to the next entry of the level. False at the level's end, and where a damaged AT_sibling leads back.
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

    /// The entry's own name, or that of its declaration or origin; with its template arguments, even if the producer
    /// states them only in their entries. Empty if it has none. Valid as long as this and the unit live.
    std::string_view Own(u32 node);
    /// The entry's own name after the names of all scopes around it or, if it has one, around its declaration.
    /// Functions aren't such scopes. Empty if it has no name. A member function of a class without a name gets the name
    /// from its linkage name, without the parameters: "f(int)::$_0::operator()".
    std::string_view Qualified(u32 node);
    /// AT_linkage_name in any spelling, the entry's own or its declaration's; empty if there is none.
    std::string_view Linkage(u32 node) const;
    /// A type as C++ writes it: "const ns::K *", "int (ns::K::*)(int)". Depths and lengths are bounded; what is beyond
    /// is "...".
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
    bool m_demangled = false;                    ///< types are written as in names of template instances: "char const*"
    std::deque<std::string> m_made;              ///< names that are made of parts
    std::vector<std::string_view> m_ownOf;       ///< by node, where it has been asked for
    std::vector<std::string_view> m_qualifiedOf; ///< likewise
};

/// The qualified name of an entry of another unit.
std::string QualifiedName(Dwarf_Die die);

} // namespace convert
