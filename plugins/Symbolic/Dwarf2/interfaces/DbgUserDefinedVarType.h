// User-defined types of the symbol store: a head with name and size, and an info for each kind. Sizes, ids and bounds
// are 32-bit words, even where a signature says unsigned long.
#pragma once

#include "interfaces/DbgVariable.h"
#include "interfaces/Types.h"

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

class DbgSymSymFile;

/// The engine's kinds of types. The plug-in passes kBitFields to kUnion; the engine sets the others for types whose
/// info says the kind.
enum DbgVariableUserDefinedType : u16 {
    kUdtNone = 0,
    kUdtTypedef = 1,
    kUdtBitFields = 2,
    kUdtClass = 3,
    kUdtEnum = 4,
    kUdtStruct = 5,
    kUdtUnion = 6,
    kUdtPointer = 7,
    kUdtArray = 8,
};

/// A reference to a type, as the infos below hold it.
struct DbgTypeDescription {
    DbgVariableBaseType baseType = kBaseVoid;
    u16 qualifiers = 0;
    u32 udtId = kNone;
};

class DbgUDTInfo {
public:
    enum class Kind : u8 { Typedef, Pointer, Array, Members, Enum };
    explicit DbgUDTInfo(Kind kind)
        : m_kind(kind)
    {
    }
    virtual ~DbgUDTInfo() = default;
    Kind GetKind() const { return m_kind; }

private:
    Kind m_kind;
};

class DbgUDTInfoTypedef : public DbgUDTInfo {
public:
    DbgUDTInfoTypedef(DbgSymSymFile* store, DbgVariableBaseType baseType, unsigned short qualifiers,
                      unsigned long udtId);
    DbgTypeDescription target;
};

class DbgUDTInfoPointer : public DbgUDTInfo {
public:
    DbgUDTInfoPointer(DbgSymSymFile* store, const char* name, unsigned long targetSize, DbgVariableBaseType baseType,
                      unsigned short qualifiers, unsigned long udtId);
    u32 targetSize;
    DbgTypeDescription target;
};

class DbgUDTInfoArray : public DbgUDTInfo {
public:
    DbgUDTInfoArray(DbgSymSymFile* store, DbgVariableBaseType baseType, unsigned short qualifiers, unsigned long udtId,
                    unsigned long lower, unsigned long upper, unsigned long elementSize, unsigned long gap);
    DbgTypeDescription element;
    u32 lower;
    u32 upper;
    u32 elementSize;
    u32 gap; ///< bytes between two elements
};

class DbgUDTInfoMembers : public DbgUDTInfo {
public:
    struct Member {
        const char* name; ///< null for a base class; owned by the store
        u32 byteSize;
        DbgTypeDescription type;
        u32 offset; ///< bytes from the start of the aggregate
        u16 bitSize;
        u16 bitOffset; ///< DWARF 2.0's count from the storage unit's most significant bit
    };

    DbgUDTInfoMembers();
    void AddMember(DbgSymSymFile* store, const char* name, unsigned long byteSize, DbgVariableBaseType baseType,
                   unsigned short qualifiers, unsigned long offset, unsigned long udtId, unsigned short bitSize,
                   unsigned short bitOffset);
    const std::vector<Member>& Members() const { return m_members; }

private:
    std::vector<Member> m_members;
};

class DbgUDTInfoEnum32 : public DbgUDTInfo {
public:
    struct Value {
        i32 value;
        const char* name; ///< owned by the store
    };

    explicit DbgUDTInfoEnum32(DbgSymSymFile* store);
    /// @param value a signed 32-bit word; higher bits are cut off.
    void AddEnumValue(long value, const char* name);
    const std::vector<Value>& Values() const { return m_values; }

private:
    DbgSymSymFile* m_store;
    std::vector<Value> m_values;
};

class DbgUserDefinedVarType {
public:
    /// A new type that is not yet in a store.
    /// @param name may be null: no name.
    /// @return a shared pointer that holds null when the type can't be made.
    static boost::shared_ptr<DbgUserDefinedVarType> CreateSharedPtr(unsigned long id, const char* name,
                                                                    unsigned long byteSize);

    DbgUserDefinedVarType(u32 id, const char* name, u32 byteSize);
    /// Takes the name and the info away from `other`.
    DbgUserDefinedVarType(DbgUserDefinedVarType&& other) noexcept;
    DbgUserDefinedVarType& operator=(DbgUserDefinedVarType&&) = delete;
    ~DbgUserDefinedVarType() { DropName(); }

    u32 GetId() const { return m_id; }
    /// Null for a type without name. Belongs to the store once the type is in one.
    const char* GetName() const { return m_name; }
    DbgVariableUserDefinedType GetType() const { return m_type; }
    u32 GetByteSize() const { return m_byteSize; }
    const DbgUDTInfo* GetInfo() const { return m_info.get(); }

    /// Replaces the kind.
    void SetType(DbgVariableUserDefinedType type) { m_type = type; }
    /// Copies the text; null removes the name.
    void SetTypeName(const char* name);
    /// Each takes over the info, which may be null, and sets the kind that goes with it.
    void SetTypeInfo(DbgUDTInfoTypedef* info);
    void SetTypeInfo(DbgUDTInfoPointer* info);
    void SetTypeInfo(DbgUDTInfoArray* info);
    void SetTypeInfo(DbgUDTInfoEnum32* info);
    void SetTypeInfo(DbgUDTInfoMembers* info, DbgVariableUserDefinedType type);

    u32 m_byteSize; ///< written directly by whoever builds the type

private:
    friend class DbgSymSymFile; // keeps the name

    void TakeInfo(DbgUDTInfo* info, DbgVariableUserDefinedType type);

    void DropName();

    u32 m_id;
    const char* m_name = nullptr;
    std::unique_ptr<DbgUDTInfo> m_info;
    DbgVariableUserDefinedType m_type = kUdtNone;
    bool m_ownsName = false; ///< until a store keeps it
};
