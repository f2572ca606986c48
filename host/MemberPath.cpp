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

/// Goes down by the words of a path.
class WordedWay {
public:
    WordedWay(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size, std::string_view path)
        : m_layouts(layouts)
        , m_type(type)
        , m_whole(size)
        , m_path(path)
    {
    }

    std::optional<u32> Offset()
    {
        while (!m_path.empty()) {
            const DbgUserDefinedVarType* stored = PassTypedefs();
            const bool found = stored != nullptr && (m_path[0] == '[' ? IntoElement(*stored) : IntoMember(*stored));
            if (!found || m_offset > kNone) {
                return std::nullopt;
            }
        }
        return static_cast<u32>(m_offset);
    }

private:
    /// Null behind them is a type without parts.
    const DbgUserDefinedVarType* PassTypedefs()
    {
        for (u32 depth = 0; depth < kMaxTypeDepth && m_type.baseType == kBaseUserDefined; ++depth) {
            const DbgUserDefinedVarType* stored = m_layouts.Find(m_type.udtId);
            const DbgUDTInfo* info = stored == nullptr ? nullptr : stored->GetInfo();
            if (info == nullptr || info->GetKind() != DbgUDTInfo::Kind::Typedef) {
                return stored;
            }
            m_type = static_cast<const DbgUDTInfoTypedef*>(info)->target;
        }
        return nullptr;
    }

    bool IntoElement(const DbgUserDefinedVarType& type)
    {
        const std::size_t close = m_path.find(']');
        const std::optional<u32> index =
            close == std::string_view::npos ? std::nullopt : ParseNumber(m_path.substr(1, close - 1));
        const DbgUDTInfo* info = type.GetInfo();
        if (!index || info == nullptr || info->GetKind() != DbgUDTInfo::Kind::Array) {
            return false;
        }
        const auto& array = *static_cast<const DbgUDTInfoArray*>(info);
        const u64 step = u64{array.elementSize} + array.gap;
        const u32 place = *index - array.lower;
        const u32 last = array.upper - array.lower;
        if (place > last || (u64{last} + 1) * step < m_whole) { // more dimensions than are known
            return false;
        }
        m_path.remove_prefix(close + 1);
        Enter(place * step, array.element, 0);
        return true;
    }

    bool IntoMember(const DbgUserDefinedVarType& type)
    {
        struct Part {
            const DbgUserDefinedVarType* type;
            u64 offset;
        };
        // Those without a name, level by level; no program's type has more of them.
        constexpr std::size_t kMostParts = 256;
        std::vector<Part> parts = {{&type, 0}};
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const Part part = parts[i];
            const std::vector<LayoutRow> rows = m_layouts.Of(*part.type);
            for (std::size_t row = 0; row < rows.size(); ++row) {
                const DbgUDTInfoMembers::Member* member = rows[row].member;
                if (member == nullptr) {
                    continue;
                }
                if (member->name == nullptr) {
                    const DbgUserDefinedVarType* inner =
                        member->type.baseType == kBaseUserDefined ? m_layouts.Find(member->type.udtId) : nullptr;
                    if (inner != nullptr && parts.size() < kMostParts) {
                        parts.push_back({inner, part.offset + member->offset});
                    }
                } else if (TakeName(member->name)) {
                    const bool isPart = row + 1 < rows.size() && rows[row + 1].kind == LayoutRow::RestOfArray;
                    const u64 whole = isPart ? (rows[row + 1].end - rows[row].begin) / 8 : 0;
                    Enter(part.offset + member->offset, member->type, whole);
                    return true;
                }
            }
        }
        return false;
    }

    /// Takes ".name" off the path, if that is what stands there. A compiler's own names may have dots in them.
    bool TakeName(std::string_view name)
    {
        const std::string_view rest = m_path.substr(1);
        const bool ends = rest.size() <= name.size() || rest[name.size()] == '.' || rest[name.size()] == '[';
        if (m_path[0] != '.' || !rest.starts_with(name) || !ends) {
            return false;
        }
        m_path.remove_prefix(1 + name.size());
        return true;
    }

    void Enter(u64 offset, const DbgTypeDescription& type, u64 whole)
    {
        m_offset += offset;
        m_type = type;
        m_whole = whole;
    }

    const TypeLayouts& m_layouts;
    DbgTypeDescription m_type;
    u64 m_whole; ///< bytes of the part, if its type may tell less
    std::string_view m_path;
    u64 m_offset = 0;
};

} // namespace

MemberPath FindMember(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size, u32 offset)
{
    return Way(layouts, type, size, offset).Result();
}

std::optional<u32> FindMemberOffset(const TypeLayouts& layouts, const DbgTypeDescription& type, u32 size,
                                    std::string_view path)
{
    return WordedWay(layouts, type, size, path).Offset();
}
