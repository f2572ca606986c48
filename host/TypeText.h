// Types as a person reads them: a type's name through the types it refers to, and its layout.
#pragma once

#include "host/TypeLayout.h"
#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class DbgSymSymFile;

/// True for a type that is listed by itself: one with a name, an aggregate or an enumeration. The
/// others, pointers and functions mostly, show where they are used.
bool IsListed(const DbgUserDefinedVarType& type);

/// Resolves ids in one store. Types can refer to each other in any way, loops included: a name
/// follows a bounded number of references and ends in "..." there.
class TypeText {
public:
    /// @param bigEndian the file's byte order, which says where in the bytes a bit field lies.
    /// @param wholeArrays as for TypeLayouts.
    TypeText(DbgSymSymFile& store, bool bigEndian, bool wholeArrays = false)
        : m_layouts(store, bigEndian, wholeArrays)
    {
    }

    /// As in C, without the thing that has the type: "const char *", "unsigned int [4]", "int (*)[4]", "point". Of a
    /// function the store knows no more than that it is one: "(*)()" is a pointer to one. A type without a name is
    /// called by its kind and id, one that the store doesn't hold by its id.
    std::string NameOf(const DbgTypeDescription& type, bool withIds = true) const;
    std::string NameOf(const DbgUserDefinedVarType& type, bool withIds = true) const;
    /// The same with the word that goes with the kind: "struct point".
    std::string TitleOf(const DbgUserDefinedVarType& type, bool withIds = true) const;

    using Write = std::function<void(std::string_view)>;
    /// Writes the type's layout line by line: head, and for an aggregate its members with offsets, sizes,
    /// bits and holes, those of its nameless parts among them; for an enumeration its values.
    void WriteLayout(const DbgUserDefinedVarType& type, const Write& write) const { WriteLayout(type, true, write); }
    /// A hash of the layout without ids: types that look alike have the same.
    std::size_t LayoutHash(const DbgUserDefinedVarType& type) const;

    const TypeLayouts& Layouts() const { return m_layouts; }

private:
    struct MemberLine;

    std::string Declare(const DbgTypeDescription& type, std::string declarator, bool withIds, u32 depth) const;
    std::string DeclareStored(const DbgUserDefinedVarType& type, u16 qualifiers, std::string declarator, bool withIds,
                              u32 depth) const;
    std::string Head(const DbgUserDefinedVarType& type, bool withIds) const;
    void WriteLayout(const DbgUserDefinedVarType& type, bool withIds, const Write& write) const;
    std::string MemberName(const DbgUDTInfoMembers::Member& member) const;
    template <typename Visit>
    void VisitLayout(const DbgUserDefinedVarType& type, u64 offset, u32 depth, std::size_t& visited,
                     Visit&& visit) const;
    u64 NameHash(const DbgTypeDescription& type, u32 depth) const;
    void WriteMembers(const DbgUserDefinedVarType& type, bool withIds, const Write& write) const;
    const DbgUserDefinedVarType* Nameless(const LayoutRow& row) const;

    TypeLayouts m_layouts;
    mutable u32 m_expanded = 0; ///< lines of nameless parts so far
};

/// The name of a base type code; "?" for one without.
const char* BaseTypeName(DbgVariableBaseType type);

/// "struct", "class", "union", "enum", ... of a type; empty for a kind without a word.
const char* KindName(const DbgUserDefinedVarType& type);
