// A store to which a test adds types one by one.
#pragma once

#include "interfaces/DbgSymSymFile.h"
#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/Types.h"

#include <gtest/gtest.h>
#include <initializer_list>

class TypeStore : public testing::Test {
protected:
    static constexpr DbgTypeDescription kInt{kBaseInt, 0, kNone};
    static constexpr DbgTypeDescription kChar{kBaseUnsignedChar, 0, kNone};

    /// @param info null for a type without one.
    template <typename Info>
    DbgTypeDescription Add(u32 id, const char* name, u32 size, Info* info)
    {
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, name, size);
        type->SetTypeInfo(info);
        store.AddUserDefinedType(type);
        return {kBaseUserDefined, 0, id};
    }
    DbgTypeDescription Pointer(u32 id, DbgTypeDescription to)
    {
        return Add(id, nullptr, 4, new DbgUDTInfoPointer(&store, "", 0, to.baseType, to.qualifiers, to.udtId));
    }
    DbgTypeDescription Array(u32 id, DbgTypeDescription of, u32 lower, u32 upper)
    {
        return Add(id, nullptr, 0,
                   new DbgUDTInfoArray(&store, of.baseType, of.qualifiers, of.udtId, lower, upper, 4, 0));
    }
    DbgTypeDescription Typedef(u32 id, const char* name, DbgTypeDescription of, u32 size = 4)
    {
        return Add(id, name, size, new DbgUDTInfoTypedef(&store, of.baseType, of.qualifiers, of.udtId));
    }
    DbgTypeDescription Function(u32 id) { return Typedef(id, "(*function)", kInt); }
    /// @param members as AddMember takes them: name, type, size, offset.
    struct Field {
        const char* name;
        DbgTypeDescription type;
        u32 size;
        u32 offset;
    };
    DbgTypeDescription Struct(u32 id, const char* name, u32 size, std::initializer_list<Field> fields)
    {
        auto* members = new DbgUDTInfoMembers;
        for (const Field& field : fields) {
            members->AddMember(&store, field.name, field.size, field.type.baseType, field.type.qualifiers, field.offset,
                               field.type.udtId, 0, 0);
        }
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, name, size);
        type->SetTypeInfo(members, kUdtStruct);
        store.AddUserDefinedType(type);
        return {kBaseUserDefined, 0, id};
    }

    DbgSymSymFile store{"a.axf", 1};
};
