// Types can refer to each other in any way: the way down has a bound.
#include "host/MemberPath.h"

#include "host/Text.h"
#include "interfaces/DbgSymSymFile.h"

namespace {

constexpr u32 kMaxDepth = 32;

class Way {
public:
    Way(DbgSymSymFile& store, const DbgTypeDescription& type, u32 offset)
        : m_store(store)
        , m_type(type)
    {
        m_result.rest = offset;
        for (u32 depth = 0; depth < kMaxDepth && Step(); ++depth) {
        }
    }

    const MemberPath& Result() const { return m_result; }

private:
    const DbgUserDefinedVarType* Stored(const DbgTypeDescription& type) const
    {
        return type.baseType == kBaseUserDefined ? m_store.GetUserDefinedType(type.udtId).get() : nullptr;
    }

    /// Goes one level down. @return false at the end of the way.
    bool Step()
    {
        const DbgUserDefinedVarType* stored = Stored(m_type);
        const DbgUDTInfo* info = stored == nullptr ? nullptr : stored->GetInfo();
        if (info == nullptr) {
            return false;
        }
        switch (info->GetKind()) {
        case DbgUDTInfo::Kind::Typedef:
            m_type = static_cast<const DbgUDTInfoTypedef*>(info)->target;
            return true;
        case DbgUDTInfo::Kind::Array:
            return IntoElement(*static_cast<const DbgUDTInfoArray*>(info));
        case DbgUDTInfo::Kind::Members:
            return IntoMember(*static_cast<const DbgUDTInfoMembers*>(info));
        default:
            return false;
        }
    }

    bool IntoElement(const DbgUDTInfoArray& array)
    {
        const u64 step = u64{array.elementSize} + array.gap;
        if (array.elementSize == 0) {
            return false;
        }
        const u64 index = m_result.rest / step;
        if (index > u64{u32{array.upper - array.lower}}) {
            return false;
        }
        m_result.path += '[';
        AppendDecimal(m_result.path, static_cast<i64>(index + array.lower));
        m_result.path += ']';
        m_result.rest = static_cast<u32>(m_result.rest - index * step);
        m_type = array.element;
        return true;
    }

    bool IntoMember(const DbgUDTInfoMembers& members)
    {
        for (const DbgUDTInfoMembers::Member& member : members.Members()) {
            if (m_result.rest < member.offset || m_result.rest - member.offset >= SizeOf(member)) {
                continue;
            }
            if (member.name != nullptr) { // the others are base classes and anonymous unions
                m_result.path += '.';
                AppendShort(m_result.path, member.name);
            }
            m_result.rest -= member.offset;
            m_type = member.type;
            return true;
        }
        return false;
    }

    /// A member that was described before its type was complete has the size 0.
    u32 SizeOf(const DbgUDTInfoMembers::Member& member) const
    {
        u32 size = member.byteSize;
        DbgTypeDescription type = member.type;
        for (u32 depth = 0; size == 0 && depth < kMaxDepth; ++depth) {
            const DbgUserDefinedVarType* stored = Stored(type);
            if (stored == nullptr) {
                break;
            }
            size = stored->GetByteSize();
            const DbgUDTInfo* info = stored->GetInfo();
            if (info == nullptr || info->GetKind() != DbgUDTInfo::Kind::Typedef) {
                break;
            }
            type = static_cast<const DbgUDTInfoTypedef*>(info)->target;
        }
        return size;
    }

    DbgSymSymFile& m_store;
    DbgTypeDescription m_type;
    MemberPath m_result;
};

} // namespace

MemberPath FindMember(DbgSymSymFile& store, const DbgTypeDescription& type, u32 offset)
{
    return Way(store, type, offset).Result();
}
