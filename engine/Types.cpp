// User-defined types and their infos. What is wider than the target's 32 bits is cut.
#include "interfaces/DbgUserDefinedVarType.h"

#include "TextAllowance.h"
#include "interfaces/DbgSymSymFile.h"

#include <boost/make_shared.hpp>
#include <cstring>
#include <new>
#include <utility>

namespace {

u32 Word(unsigned long value)
{
    return static_cast<u32>(value);
}

/// The store owns names; without a store there is none.
const char* NameInStore(DbgSymSymFile* store, const char* name)
{
    return store == nullptr ? nullptr : store->KeepText(name);
}

} // namespace

// A typedef and an array have nothing to keep in the store.
DbgUDTInfoTypedef::DbgUDTInfoTypedef(DbgSymSymFile* /*store*/, DbgVariableBaseType baseType, unsigned short qualifiers,
                                     unsigned long udtId)
    : DbgUDTInfo(Kind::Typedef)
    , target{baseType, qualifiers, Word(udtId)}
{
}

DbgUDTInfoPointer::DbgUDTInfoPointer(DbgSymSymFile* /*store*/, const char* /*name*/, unsigned long byteSize,
                                     DbgVariableBaseType baseType, unsigned short qualifiers, unsigned long udtId)
    : DbgUDTInfo(Kind::Pointer)
    , targetSize(Word(byteSize))
    , target{baseType, qualifiers, Word(udtId)}
{
}

DbgUDTInfoArray::DbgUDTInfoArray(DbgSymSymFile* /*store*/, DbgVariableBaseType baseType, unsigned short qualifiers,
                                 unsigned long udtId, unsigned long lowerBound, unsigned long upperBound,
                                 unsigned long byteSize, unsigned long gapSize)
    : DbgUDTInfo(Kind::Array)
    , element{baseType, qualifiers, Word(udtId)}
    , lower(Word(lowerBound))
    , upper(Word(upperBound))
    , elementSize(Word(byteSize))
    , gap(Word(gapSize))
{
}

DbgUDTInfoMembers::DbgUDTInfoMembers()
    : DbgUDTInfo(Kind::Members)
{
}

void DbgUDTInfoMembers::AddMember(DbgSymSymFile* store, const char* name, unsigned long byteSize,
                                  DbgVariableBaseType baseType, unsigned short qualifiers, unsigned long offset,
                                  unsigned long udtId, unsigned short bitSize, unsigned short bitOffset)
{
    m_members.push_back({NameInStore(store, name),
                         Word(byteSize),
                         {baseType, qualifiers, Word(udtId)},
                         Word(offset),
                         bitSize,
                         bitOffset});
}

DbgUDTInfoEnum32::DbgUDTInfoEnum32(DbgSymSymFile* store)
    : DbgUDTInfo(Kind::Enum)
    , m_store(store)
{
}

void DbgUDTInfoEnum32::AddEnumValue(long value, const char* name)
{
    m_values.push_back({static_cast<i32>(value), NameInStore(m_store, name)});
}

boost::shared_ptr<DbgUserDefinedVarType> DbgUserDefinedVarType::CreateSharedPtr(unsigned long id, const char* name,
                                                                                unsigned long byteSize)
{
    try {
        return boost::make_shared<DbgUserDefinedVarType>(Word(id), name, Word(byteSize));
    } catch (const std::bad_alloc&) {
        return {};
    }
}

DbgUserDefinedVarType::DbgUserDefinedVarType(u32 id, const char* name, u32 byteSize)
    : m_byteSize(byteSize)
    , m_id(id)
{
    SetTypeName(name);
}

DbgUserDefinedVarType::DbgUserDefinedVarType(DbgUserDefinedVarType&& other) noexcept
    : m_byteSize(other.m_byteSize)
    , m_id(other.m_id)
    , m_name(std::exchange(other.m_name, nullptr))
    , m_info(std::move(other.m_info))
    , m_type(other.m_type)
    , m_ownsName(std::exchange(other.m_ownsName, false))
{
}

void DbgUserDefinedVarType::DropName()
{
    if (m_ownsName) {
        delete[] m_name;
    }
    m_name = nullptr;
    m_ownsName = false;
}

void DbgUserDefinedVarType::SetTypeName(const char* name)
{
    if (name == nullptr) {
        DropName();
        return;
    }
    static engine::TextAllowance ofNoStore = engine::TextAllowance::ForReading();
    engine::TextAllowance& reading = engine::g_typeNames == nullptr ? ofNoStore : *engine::g_typeNames;
    const std::size_t limit = reading.Next();
    std::size_t size = strnlen(name, limit);
    reading.Spend(size);
    if (size == limit) {
        size = engine::TextAllowance::kShortText;
    }
    char* copy = new char[size + 1];
    std::memcpy(copy, name, size);
    copy[size] = '\0';
    DropName();
    m_name = copy;
    m_ownsName = true;
}

void DbgUserDefinedVarType::SetTypeInfo(DbgUDTInfoTypedef* info)
{
    TakeInfo(info, kUdtTypedef);
}

void DbgUserDefinedVarType::SetTypeInfo(DbgUDTInfoPointer* info)
{
    TakeInfo(info, kUdtPointer);
}

void DbgUserDefinedVarType::SetTypeInfo(DbgUDTInfoArray* info)
{
    TakeInfo(info, kUdtArray);
}

void DbgUserDefinedVarType::SetTypeInfo(DbgUDTInfoEnum32* info)
{
    TakeInfo(info, kUdtEnum);
}

void DbgUserDefinedVarType::SetTypeInfo(DbgUDTInfoMembers* info, DbgVariableUserDefinedType type)
{
    TakeInfo(info, type);
}

void DbgUserDefinedVarType::TakeInfo(DbgUDTInfo* info, DbgVariableUserDefinedType type)
{
    m_info.reset(info);
    if (info != nullptr) {
        m_type = type;
    }
}
