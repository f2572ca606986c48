// Most types of a program are in most of its units. They are told apart by numbers first, in which the store's texts
// count by their place: it keeps equal ones once.
#include "host/TypeShapes.h"

#include "host/Loader.h"
#include "host/TypeText.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgUserDefinedVarType.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace {

using Kind = DbgUDTInfo::Kind;

/// Parts without a type name are followed so deep.
constexpr u32 kMaxNesting = 16;
/// Rows of such parts, of all types together: types can hold each other so that there would be no end of them.
constexpr std::size_t kMaxNestedRows = std::size_t{1} << 17;

u64 Mix(u64 hash, u64 value)
{
    constexpr u64 kOdd = 0x9E3779B97F4A7C15;
    hash = (hash ^ value) * kOdd;
    return hash ^ hash >> 29;
}

u64 Mix(u64 hash, const char* text)
{
    return Mix(hash, reinterpret_cast<std::uintptr_t>(text));
}

bool IsKind(const DbgUserDefinedVarType* type, Kind kind)
{
    return type != nullptr && type->GetInfo() != nullptr && type->GetInfo()->GetKind() == kind;
}

const DbgUDTInfoTypedef& TypedefOf(const DbgUserDefinedVarType& type)
{
    return static_cast<const DbgUDTInfoTypedef&>(*type.GetInfo());
}

const std::vector<DbgUDTInfoEnum32::Value>& ValuesOf(const DbgUserDefinedVarType& type)
{
    return static_cast<const DbgUDTInfoEnum32&>(*type.GetInfo()).Values();
}

/// True for a type whose members or enumerators are part of whatever it is in.
bool IsNamelessWhole(const DbgUserDefinedVarType* type)
{
    return type != nullptr && !HasName(*type) && (IsKind(type, Kind::Members) || IsKind(type, Kind::Enum));
}

class ShapeReader {
public:
    explicit ShapeReader(Loader& file)
        : m_store(file.Store())
        , m_text(m_store, false)
    {
    }

    std::vector<TypeShape> Read()
    {
        std::unordered_set<u64> seen;
        seen.reserve(m_store.TypeCount() / 4);
        std::vector<std::size_t> namelessEnums;
        for (std::size_t i = 0; i < m_store.TypeCount(); ++i) {
            const DbgUserDefinedVarType& type = m_store.TypeAt(i);
            if (!HasName(type)) {
                if (IsKind(&type, Kind::Enum)) {
                    namelessEnums.push_back(i);
                }
            } else if (type.GetInfo() != nullptr && seen.insert(SignatureOf(type, 0)).second) {
                AddShape(type);
            }
        }
        AddEnumerators(namelessEnums);
        Finish();
        return std::move(m_shapes);
    }

private:
    /// Null for an id that the store doesn't hold.
    const DbgUserDefinedVarType* Find(const DbgTypeDescription& type) const
    {
        return type.baseType == kBaseUserDefined ? m_text.Layouts().Find(type.udtId) : nullptr;
    }

    /// Equal for types of this store that have the same shape.
    u64 SignatureOf(const DbgUserDefinedVarType& type, u32 depth)
    {
        u64 hash = Mix(Mix(type.GetType(), type.GetName()), type.GetByteSize());
        const DbgUDTInfo* info = type.GetInfo();
        if (info == nullptr) {
            return hash;
        }
        hash = Mix(hash, static_cast<u64>(info->GetKind()));
        switch (info->GetKind()) {
        case Kind::Typedef:
            return Mix(hash, SignatureOf(TypedefOf(type).target, depth));
        case Kind::Pointer:
            return Mix(hash, SignatureOf(static_cast<const DbgUDTInfoPointer*>(info)->target, depth));
        case Kind::Array: {
            const auto* array = static_cast<const DbgUDTInfoArray*>(info);
            return Mix(Mix(hash, SignatureOf(array->element, depth)), u64{array->lower} << 32 | array->upper);
        }
        case Kind::Members:
            for (const DbgUDTInfoMembers::Member& member : MembersOf(type)->Members()) {
                hash = Mix(Mix(hash, member.name), SignatureOf(member.type, depth));
                hash = Mix(Mix(hash, u64{member.offset} << 32 | member.byteSize),
                           u64{member.bitSize} << 16 | member.bitOffset);
            }
            return hash;
        case Kind::Enum:
            for (const DbgUDTInfoEnum32::Value& value : ValuesOf(type)) {
                hash = Mix(Mix(hash, value.name), static_cast<u64>(value.value));
            }
            return hash;
        }
        return hash;
    }

    u64 SignatureOf(const DbgTypeDescription& type, u32 depth)
    {
        const u64 head = u64{type.baseType} << 16 | type.qualifiers;
        const DbgUserDefinedVarType* stored = Find(type);
        if (stored == nullptr || depth == kMaxTypeDepth) {
            return head;
        }
        if (HasName(*stored)) {
            return Mix(Mix(head, stored->GetName()), stored->GetType());
        }
        if (!IsNamelessWhole(stored)) {
            return Mix(head, SignatureOf(*stored, depth + 1));
        }
        const auto [known, isNew] = m_signatures.try_emplace(type.udtId, 0);
        if (isNew) {
            const u64 signature = SignatureOf(*stored, depth + 1); // finds 0 where it comes back to this type
            m_signatures[type.udtId] = signature;
            return Mix(head, signature);
        }
        return Mix(head, known->second);
    }

    void AddShape(const DbgUserDefinedVarType& type)
    {
        TypeShape shape;
        shape.name = type.GetName();
        shape.size = type.GetByteSize();
        const DbgSymSrcFile* unit = m_store.FileScopeOfDie(type.GetId());
        shape.unit = unit == nullptr ? std::string_view() : unit->GetPath();
        if (IsKind(&type, Kind::Typedef)) {
            ReadTypedef(type, shape);
        } else {
            const std::string kind = KindName(type);
            shape.kind = kind == "enum" ? "enum" : kind == "union" ? "union" : "struct";
            ReadRows(type, shape);
            if (shape.rows.empty() && type.GetByteSize() == 0) {
                return; // only declared
            }
        }
        m_shapes.push_back(std::move(shape));
    }

    void ReadTypedef(const DbgUserDefinedVarType& type, TypeShape& shape)
    {
        const DbgTypeDescription& target = TypedefOf(type).target;
        shape.kind = target.baseType == kBaseUserDefined ? "typedef" : "base";
        if (target.baseType != kBaseUserDefined) {
            return;
        }
        const DbgUserDefinedVarType* end = EndOf(target);
        if (IsNamelessWhole(end)) {
            m_parts.insert(SignatureOf(*end, 0));
            shape.size = end->GetByteSize();
            ReadRows(*end, shape);
            return;
        }
        if (IsKind(end, Kind::Members) || IsKind(end, Kind::Enum)) {
            shape.size = std::nullopt; // it is told where the type of that name is
        }
        TypeShape::Row& row = shape.rows.emplace_back();
        row.type = m_text.NameOf(target, false);
        row.isTarget = true;
    }

    /// What a type stands for behind all typedefs. Null for one that the store doesn't hold.
    const DbgUserDefinedVarType* EndOf(const DbgTypeDescription& type) const
    {
        const DbgUserDefinedVarType* stored = Find(type);
        for (u32 depth = 0; IsKind(stored, Kind::Typedef) && depth < kMaxTypeDepth; ++depth) {
            const DbgTypeDescription& target = TypedefOf(*stored).target;
            if (target.baseType != kBaseUserDefined) {
                break;
            }
            stored = Find(target);
        }
        return stored;
    }

    struct Part {
        const DbgUserDefinedVarType* type;
        std::string prefix; ///< of the names in it
        u64 offset;
        u32 depth;
    };

    void ReadRows(const DbgUserDefinedVarType& whole, TypeShape& shape)
    {
        std::vector<Part> parts = {{&whole, "", 0, 0}};
        while (!parts.empty()) {
            const Part part = std::move(parts.back());
            parts.pop_back();
            if (IsKind(part.type, Kind::Members)) {
                ReadMembers(part, parts, shape);
            } else if (IsKind(part.type, Kind::Enum)) {
                ReadValues(part, shape);
            }
        }
    }

    void ReadMembers(const Part& part, std::vector<Part>& parts, TypeShape& shape)
    {
        for (const DbgUDTInfoMembers::Member& member : MembersOf(*part.type)->Members()) {
            const bool hasName = member.name != nullptr && *member.name != '\0';
            const DbgUserDefinedVarType* stored = Find(ElementOf(member.type));
            const bool opens = IsNamelessWhole(stored) && part.depth < kMaxNesting && m_nestedRows < kMaxNestedRows;
            if (opens) {
                m_parts.insert(SignatureOf(*stored, 0));
                parts.push_back({stored, hasName ? part.prefix + member.name + '.' : part.prefix,
                                 part.offset + member.offset, part.depth + 1});
            }
            if (opens && !hasName) {
                continue; // its members are those of the whole
            }
            m_nestedRows += part.depth == 0 ? 0 : 1;
            TypeShape::Row& row = shape.rows.emplace_back();
            row.name = hasName ? part.prefix + member.name : "";
            row.type = m_text.NameOf(member.type, false);
            row.offset = part.offset + member.offset;
            row.size = SizeOf(member);
            row.bitSize = member.bitSize;
            row.bitOffset = member.bitOffset;
        }
    }

    /// A member that was described before its type was complete has the size 0.
    u32 SizeOf(const DbgUDTInfoMembers::Member& member) const
    {
        u32 size = member.byteSize;
        const DbgUserDefinedVarType* stored = Find(member.type);
        for (u32 depth = 0; size == 0 && stored != nullptr && depth < kMaxTypeDepth; ++depth) {
            size = stored->GetByteSize();
            stored = IsKind(stored, Kind::Typedef) ? Find(TypedefOf(*stored).target) : nullptr;
        }
        return size;
    }

    void ReadValues(const Part& part, TypeShape& shape)
    {
        for (const DbgUDTInfoEnum32::Value& value : ValuesOf(*part.type)) {
            m_nestedRows += part.depth == 0 ? 0 : 1;
            TypeShape::Row& row = shape.rows.emplace_back();
            row.name = part.prefix + (value.name == nullptr ? "" : value.name);
            row.value = value.value;
        }
    }

    /// The type of the elements of an array without a name; another type itself.
    DbgTypeDescription ElementOf(DbgTypeDescription type) const
    {
        for (u32 depth = 0; depth < kMaxTypeDepth; ++depth) {
            const DbgUserDefinedVarType* stored = Find(type);
            if (!IsKind(stored, Kind::Array) || HasName(*stored)) {
                break;
            }
            type = static_cast<const DbgUDTInfoArray*>(stored->GetInfo())->element;
        }
        return type;
    }

    /// Enumerations that no name leads to are one list of constants.
    void AddEnumerators(const std::vector<std::size_t>& enums)
    {
        std::set<std::pair<std::string_view, i32>> values;
        for (const std::size_t i : enums) {
            const DbgUserDefinedVarType& type = m_store.TypeAt(i);
            if (!m_parts.contains(SignatureOf(type, 0))) {
                for (const DbgUDTInfoEnum32::Value& value : ValuesOf(type)) {
                    values.emplace(value.name == nullptr ? "" : value.name, value.value);
                }
            }
        }
        if (values.empty()) {
            return;
        }
        TypeShape& shape = m_shapes.emplace_back();
        shape.kind = "enum";
        for (const auto& [name, value] : values) {
            TypeShape::Row& row = shape.rows.emplace_back();
            row.name = name;
            row.value = value;
        }
    }

    void Finish()
    {
        const std::hash<std::string> hash;
        for (TypeShape& shape : m_shapes) {
            shape.likeness = shape.size ? Mix(1, *shape.size) : 0;
            for (const TypeShape::Row& row : shape.rows) {
                u64 sum = Mix(Mix(hash(row.name), hash(row.type)), row.offset);
                sum = Mix(Mix(sum, row.size), u64{row.bitSize} << 16 | row.bitOffset);
                shape.likeness = Mix(shape.likeness, Mix(sum, static_cast<u64>(row.value.value_or(0))));
            }
        }
        std::stable_sort(m_shapes.begin(), m_shapes.end(), [](const TypeShape& a, const TypeShape& b) {
            return std::tuple(std::string_view(a.name), std::string_view(a.kind), a.likeness) <
                   std::tuple(std::string_view(b.name), std::string_view(b.kind), b.likeness);
        });
        const auto isSame = [](const TypeShape& a, const TypeShape& b) {
            return a.name == b.name && std::string_view(a.kind) == b.kind && a.likeness == b.likeness;
        };
        m_shapes.erase(std::unique(m_shapes.begin(), m_shapes.end(), isSame), m_shapes.end());
    }

    DbgSymSymFile& m_store;
    TypeText m_text;
    std::unordered_map<u32, u64> m_signatures; ///< of wholes without a name, by their ids
    std::unordered_set<u64> m_parts;           ///< signatures of wholes without a name that are in one with
    std::size_t m_nestedRows = 0;
    std::vector<TypeShape> m_shapes;
};

} // namespace

std::vector<TypeShape> ShapesOf(Loader& file)
{
    file.Load(LoadDepth::Symbols);
    return ShapeReader(file).Read();
}
