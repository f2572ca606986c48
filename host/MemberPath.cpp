// Types can refer to each other in any way: the way down has a bound.
#include "host/MemberPath.h"

#include "host/Text.h"
#include "host/TypeLayout.h"

#include <vector>

namespace {

class Way {
public:
    Way(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size, u32 offset)
        : m_layouts(layouts)
        , m_type(type)
        , m_rest(offset)
        , m_whole(size)
    {
        m_result.type = type;
        m_result.rest = offset;
        for (u32 depth = 0; depth < kMaxTypeDepth && Step(); ++depth) {
        }
    }

    const MemberPath& Result() const { return m_result; }

private:
    /// Goes one level down. @return false at the end of the way.
    bool Step()
    {
        const DbgUserDefinedVarType* stored =
            m_type.baseType == kBaseUserDefined ? m_layouts.Find(m_type.udtId) : nullptr;
        const DbgUDTInfo* info = stored == nullptr ? nullptr : stored->GetInfo();
        if (info == nullptr || m_isPart) {
            return false;
        }
        switch (info->GetKind()) {
        case DbgUDTInfo::Kind::Typedef:
            m_type = static_cast<const DbgUDTInfoTypedef*>(info)->target;
            return true;
        case DbgUDTInfo::Kind::Array:
            return IntoElement(*static_cast<const DbgUDTInfoArray*>(info));
        case DbgUDTInfo::Kind::Members:
            return IntoMember(*stored);
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
        const u64 index = m_rest / step;
        const u64 last = u32{array.upper - array.lower};
        if (index > last || (last + 1) * step < m_whole) {
            return false;
        }
        m_result.path += '[';
        AppendDecimal(m_result.path, static_cast<i64>(index + array.lower));
        m_result.path += ']';
        m_rest = static_cast<u32>(m_rest - index * step);
        Reach(array.element);
        return true;
    }

    /// The last of the members in memory that reach far enough: a base class states the size that it has by itself,
    /// with its virtual bases, and in a derived class other members lie there.
    bool IntoMember(const DbgUserDefinedVarType& type)
    {
        const DbgUDTInfoMembers::Member* found = nullptr;
        const std::vector<LayoutRow> rows = m_layouts.Of(type);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const LayoutRow& row = rows[i];
            if (row.kind != LayoutRow::Member || m_rest < row.member->offset) {
                continue;
            }
            const bool isPart = i + 1 < rows.size() && rows[i + 1].kind == LayoutRow::RestOfArray;
            const u64 end = isPart ? rows[i + 1].end / 8 : u64{row.member->offset} + row.size;
            if (m_rest < end && (found == nullptr || row.member->offset > found->offset)) {
                found = row.member;
                m_isPart = isPart;
            }
        }
        if (found == nullptr) {
            return false;
        }
        m_whole = 0;
        m_rest -= found->offset;
        m_type = found->type;
        if (found->name != nullptr) { // the others are base classes and anonymous unions
            m_result.path += '.';
            AppendShort(m_result.path, found->name);
            Reach(found->type);
        }
        return true;
    }

    /// The path ends here, unless the way goes on.
    void Reach(const DbgTypeDescription& type)
    {
        m_whole = 0;
        m_type = type;
        m_result.type = type;
        m_result.rest = m_rest;
    }

    const TypeLayouts& m_layouts;
    DbgTypeDescription m_type;
    u32 m_rest;            ///< of the offset, in the part with that type
    u32 m_whole;           ///< bytes of the variable, until the way has come into it
    bool m_isPart = false; ///< the part is more than its type tells
    MemberPath m_result;
};

} // namespace

MemberPath FindMember(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size, u32 offset)
{
    return Way(layouts, type, size, offset).Result();
}
