// Types as a person reads them: a type's name through the types it refers to, and its layout.
#pragma once

#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class DbgSymSymFile;

/// True for a type that is listed by itself: one with a name, an aggregate or an enumeration. The
/// others, pointers mostly, show where they are used.
bool IsListed(const DbgUserDefinedVarType& type);

/// Resolves ids in one store. Types can refer to each other in any way, loops included: a name
/// follows a bounded number of references and ends in "..." there.
class TypeText {
public:
    /// @param bigEndian the file's byte order, which says where in the bytes a bit field lies.
    TypeText(DbgSymSymFile& store, bool bigEndian)
        : m_store(store)
        , m_bigEndian(bigEndian)
    {
    }

    /// "const char *", "unsigned int [4]", "point"; a type without a name is called by its kind and
    /// id, one that the store doesn't hold by its id.
    std::string NameOf(const DbgTypeDescription& type, bool withIds = true) const;
    std::string NameOf(const DbgUserDefinedVarType& type, bool withIds = true) const;

    using Write = std::function<void(std::string_view)>;
    /// Writes the type's layout line by line: head, and for an aggregate its members with offsets, sizes,
    /// bits and holes, for an enumeration its values.
    void WriteLayout(const DbgUserDefinedVarType& type, const Write& write) const { WriteLayout(type, true, write); }
    /// A hash of the layout without ids: types that look alike have the same.
    std::size_t LayoutHash(const DbgUserDefinedVarType& type) const;

private:
    std::string Name(const DbgTypeDescription& type, bool withIds, u32 depth) const;
    std::string NameOfStored(const DbgUserDefinedVarType& type, bool withIds, u32 depth) const;
    const DbgUserDefinedVarType* Find(u32 id) const;
    /// The size of a thing that was described before its type was complete, and so as 0.
    u32 SizeOf(const DbgTypeDescription& type, u32 described) const;
    std::string Head(const DbgUserDefinedVarType& type, bool withIds) const;
    void WriteLayout(const DbgUserDefinedVarType& type, bool withIds, const Write& write) const;
    void WriteMembers(const DbgUserDefinedVarType& type, const DbgUDTInfoMembers& info, bool withIds,
                      const Write& write) const;

    DbgSymSymFile& m_store;
    bool m_bigEndian;
};

/// The name of a base type code; "?" for one without.
const char* BaseTypeName(DbgVariableBaseType type);

/// "struct", "class", "union", "enum", ... of a type; empty for a kind without a word.
const char* KindName(const DbgUserDefinedVarType& type);
