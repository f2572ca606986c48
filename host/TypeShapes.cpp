// Most types of a program are in most of its units. They are compared by hashes first, in which the store's texts
// count by address, since it keeps equal ones once.
#include "host/TypeShapes.h"

#include "host/Loader.h"
#include "host/Mix.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgUserDefinedVarType.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace {

using TypeKind = DbgUDTInfo::Kind;

/// How deep parts without a type name are followed.
constexpr u32 kMaxNesting = 16;
/// Bounds on rows of such parts: types can contain each other without end.
constexpr std::size_t kMaxNestedRows = std::size_t{1} << 20; ///< of all types together
constexpr std::size_t kMaxShownRows = std::size_t{1} << 15;  ///< of one type whose rows are asked for
/// Any number of members may have one long name.
constexpr std::size_t kMaxMemberName = 1024;

u64 HashOf(const ShapeRow& row)
{
    const std::hash<std::string> hash;
    const u64 place = Mix(Mix(Mix(hash(row.name), hash(row.type)), row.offset), row.size);
    const u64 bits = Mix(place, u64{row.bitSize} << 16 | row.bitOffset);
    return Mix(bits, static_cast<u64>(row.value.value_or(0)));
}

std::string_view Short(const char* name)
{
    return name == nullptr ? std::string_view() : std::string_view(name, strnlen(name, kMaxMemberName));
}

bool IsKind(const DbgUserDefinedVarType* type, TypeKind kind)
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
    return type != nullptr && !HasName(*type) && (IsKind(type, TypeKind::Members) || IsKind(type, TypeKind::Enum));
}

bool IsOnlyDeclared(const DbgUserDefinedVarType& type)
{
    const bool empty = IsKind(&type, TypeKind::Members) ? MembersOf(type)->Members().empty()
                                                        : !IsKind(&type, TypeKind::Enum) || ValuesOf(type).empty();
    return empty && type.GetByteSize() == 0;
}

} // namespace

struct TypeShapes::Part {
    const DbgUserDefinedVarType* type;
    std::string prefix; ///< of the names in it
    u64 offset;
    u32 depth;
};

TypeShapes::TypeShapes(Loader& file)
    : m_store(file.Store())
    , m_text(m_store, false)
    , m_budget(kMaxNestedRows)
{
    file.Load(LoadDepth::Symbols);
    std::unordered_set<u64> seen;
    seen.reserve(m_store.TypeCount() / 4);
    std::vector<std::size_t> namelessEnums;
    for (std::size_t i = 0; i < m_store.TypeCount(); ++i) {
        const DbgUserDefinedVarType& type = m_store.TypeAt(i);
        if (!HasName(type)) {
            if (IsKind(&type, TypeKind::Enum)) {
                namelessEnums.push_back(i);
            }
        } else if (type.GetInfo() != nullptr && seen.insert(SignatureOf(type, 0)).second) {
            AddShape(type);
        }
    }
    AddEnumerators(namelessEnums);
    Sort();
}

/// Null for an id that the store doesn't hold.
const DbgUserDefinedVarType* TypeShapes::Find(const DbgTypeDescription& type) const
{
    return type.baseType == kBaseUserDefined ? m_text.Layouts().Find(type.udtId) : nullptr;
}

/// What a type stands for behind all typedefs.
const DbgUserDefinedVarType* TypeShapes::EndOf(const DbgTypeDescription& type) const
{
    const DbgUserDefinedVarType* stored = Find(type);
    for (u32 depth = 0; IsKind(stored, TypeKind::Typedef) && depth < kMaxTypeDepth; ++depth) {
        const DbgTypeDescription& target = TypedefOf(*stored).target;
        if (target.baseType != kBaseUserDefined) {
            break;
        }
        stored = Find(target);
    }
    return stored;
}

/// The type of the elements of an array without a name; another type itself.
DbgTypeDescription TypeShapes::ElementOf(DbgTypeDescription type) const
{
    for (u32 depth = 0; depth < kMaxTypeDepth; ++depth) {
        const DbgUserDefinedVarType* stored = Find(type);
        if (!IsKind(stored, TypeKind::Array) || HasName(*stored)) {
            break;
        }
        type = static_cast<const DbgUDTInfoArray*>(stored->GetInfo())->element;
    }
    return type;
}

/// Equal for types of this store that have the same shape.
u64 TypeShapes::SignatureOf(const DbgUserDefinedVarType& type, u32 depth)
{
    u64 hash = Mix(Mix(type.GetType(), type.GetName()), type.GetByteSize());
    const DbgUDTInfo* info = type.GetInfo();
    if (info == nullptr) {
        return hash;
    }
    hash = Mix(hash, static_cast<u64>(info->GetKind()));
    switch (info->GetKind()) {
    case TypeKind::Typedef:
        return Mix(hash, SignatureOf(TypedefOf(type).target, depth));
    case TypeKind::Pointer:
        return Mix(hash, SignatureOf(static_cast<const DbgUDTInfoPointer*>(info)->target, depth));
    case TypeKind::Array: {
        const auto* array = static_cast<const DbgUDTInfoArray*>(info);
        return Mix(Mix(hash, SignatureOf(array->element, depth)), u64{array->lower} << 32 | array->upper);
    }
    case TypeKind::Members:
        for (const DbgUDTInfoMembers::Member& member : MembersOf(type)->Members()) {
            hash = Mix(Mix(hash, member.name), SignatureOf(member.type, depth));
            hash = Mix(Mix(hash, u64{member.offset} << 32 | member.byteSize),
                       u64{member.bitSize} << 16 | member.bitOffset);
        }
        break;
    case TypeKind::Enum:
        for (const DbgUDTInfoEnum32::Value& value : ValuesOf(type)) {
            hash = Mix(Mix(hash, value.name), static_cast<u64>(value.value));
        }
        break;
    }
    return hash;
}

u64 TypeShapes::SignatureOf(const DbgTypeDescription& type, u32 depth)
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

void TypeShapes::AddShape(const DbgUserDefinedVarType& type)
{
    TypeShape shape;
    if (!Describe(type, shape)) {
        return;
    }
    const DbgSymSrcFile* unit = m_store.FileScopeOfDie(type.GetId());
    shape.unit = unit == nullptr ? std::string_view() : unit->GetPath();
    shape.likeness = shape.size ? Mix(1, *shape.size) : 0;
    VisitRows(type, m_budget, [&](const ShapeRow& row) { shape.likeness = Mix(shape.likeness, HashOf(row)); });
    NoteParts(type);
    m_shapes.push_back(shape);
}

/// @return false for a type that is only declared.
bool TypeShapes::Describe(const DbgUserDefinedVarType& type, TypeShape& shape) const
{
    shape.name = type.GetName();
    shape.type = &type;
    shape.size = type.GetByteSize();
    if (!IsKind(&type, TypeKind::Typedef)) {
        const std::string_view kind = KindName(type);
        shape.kind = kind == "enum" ? "enum" : kind == "union" ? "union" : "struct";
        return !IsOnlyDeclared(type);
    }
    const DbgTypeDescription& target = TypedefOf(type).target;
    shape.kind = target.baseType == kBaseUserDefined ? "typedef" : "base";
    const DbgUserDefinedVarType* end = EndOf(target);
    if (IsNamelessWhole(end)) {
        shape.size = end->GetByteSize();
    } else if (IsKind(end, TypeKind::Members) || IsKind(end, TypeKind::Enum)) {
        shape.size = std::nullopt; // it is told where the type of that name is
    }
    return true;
}

/// Remembers the enumerations without a name that are in a type with one.
void TypeShapes::NoteParts(const DbgUserDefinedVarType& type)
{
    const auto note = [&](const DbgUserDefinedVarType* part) {
        if (IsNamelessWhole(part) && IsKind(part, TypeKind::Enum)) {
            m_parts.insert(SignatureOf(*part, 0));
        }
    };
    if (IsKind(&type, TypeKind::Typedef)) {
        note(EndOf(TypedefOf(type).target));
    } else if (IsKind(&type, TypeKind::Members)) {
        for (const DbgUDTInfoMembers::Member& member : MembersOf(type)->Members()) {
            note(Find(ElementOf(member.type)));
        }
    }
}

/// Enumerations that no name leads to are one list of constants.
void TypeShapes::AddEnumerators(const std::vector<std::size_t>& enums)
{
    for (const std::size_t i : enums) {
        const DbgUserDefinedVarType& type = m_store.TypeAt(i);
        if (m_parts.insert(SignatureOf(type, 0)).second) {
            for (const DbgUDTInfoEnum32::Value& value : ValuesOf(type)) {
                m_enumerators.emplace_back(Short(value.name), value.value);
            }
        }
    }
    if (m_enumerators.empty()) {
        return;
    }
    std::sort(m_enumerators.begin(), m_enumerators.end());
    m_enumerators.erase(std::unique(m_enumerators.begin(), m_enumerators.end()), m_enumerators.end());
    TypeShape& shape = m_shapes.emplace_back();
    shape.kind = "enum";
    for (const ShapeRow& row : RowsOf(shape)) {
        shape.likeness = Mix(shape.likeness, HashOf(row));
    }
}

void TypeShapes::Sort()
{
    const auto key = [](const TypeShape& shape) {
        return std::tuple(shape.name, std::string_view(shape.kind), shape.likeness);
    };
    std::stable_sort(m_shapes.begin(), m_shapes.end(),
                     [&](const TypeShape& a, const TypeShape& b) { return key(a) < key(b); });
    const auto isSame = [&](const TypeShape& a, const TypeShape& b) { return key(a) == key(b); };
    m_shapes.erase(std::unique(m_shapes.begin(), m_shapes.end(), isSame), m_shapes.end());
}

std::vector<ShapeRow> TypeShapes::RowsOf(const TypeShape& shape) const
{
    std::vector<ShapeRow> rows;
    if (shape.type != nullptr) {
        std::size_t budget = kMaxShownRows;
        VisitRows(*shape.type, budget, [&](const ShapeRow& row) { rows.push_back(row); });
        return rows;
    }
    for (const auto& [name, value] : m_enumerators) {
        ShapeRow& row = rows.emplace_back();
        row.name = name;
        row.value = value;
    }
    return rows;
}

/// @param budget of rows that parts may have, less those that came.
void TypeShapes::VisitRows(const DbgUserDefinedVarType& type, std::size_t& budget, const Visit& visit) const
{
    const DbgUserDefinedVarType* whole = &type;
    if (IsKind(&type, TypeKind::Typedef)) {
        const DbgTypeDescription& target = TypedefOf(type).target;
        whole = EndOf(target);
        if (target.baseType != kBaseUserDefined) {
            return;
        }
        if (!IsNamelessWhole(whole)) {
            ShapeRow row;
            row.type = m_text.NameOf(target, false);
            row.isTarget = true;
            visit(row);
            return;
        }
    }
    std::vector<Part> parts = {{whole, "", 0, 0}};
    while (!parts.empty()) {
        const Part part = std::move(parts.back());
        parts.pop_back();
        if (IsKind(part.type, TypeKind::Members)) {
            VisitMembers(part, parts, budget, visit);
        } else if (IsKind(part.type, TypeKind::Enum)) {
            VisitValues(part, visit);
        }
    }
}

void TypeShapes::VisitMembers(const Part& part, std::vector<Part>& parts, std::size_t& budget, const Visit& visit) const
{
    for (const DbgUDTInfoMembers::Member& member : MembersOf(*part.type)->Members()) {
        const std::string_view name = Short(member.name);
        const DbgUserDefinedVarType* stored = Find(ElementOf(member.type));
        const bool fits = part.depth < kMaxNesting && part.prefix.size() < kMaxMemberName;
        std::size_t rows = 0;
        if (fits && IsNamelessWhole(stored)) {
            rows = IsKind(stored, TypeKind::Enum) ? ValuesOf(*stored).size() : MembersOf(*stored)->Members().size();
        }
        const bool opens = rows != 0 && rows <= budget;
        if (opens) {
            budget -= rows;
            std::string prefix = part.prefix;
            prefix += name;
            prefix += name.empty() ? "" : ".";
            parts.push_back({stored, std::move(prefix), part.offset + member.offset, part.depth + 1});
        }
        if (opens && name.empty()) {
            continue; // its members are those of the whole
        }
        ShapeRow row;
        row.name = name.empty() ? "" : part.prefix + std::string(name);
        row.type = m_text.NameOf(member.type, false);
        row.offset = part.offset + member.offset;
        row.size = SizeOf(m_store, member.type, member.byteSize);
        row.bitSize = member.bitSize;
        row.bitOffset = member.bitOffset;
        visit(row);
    }
}

void TypeShapes::VisitValues(const Part& part, const Visit& visit)
{
    for (const DbgUDTInfoEnum32::Value& value : ValuesOf(*part.type)) {
        ShapeRow row;
        row.name = part.prefix + std::string(Short(value.name));
        row.value = value.value;
        visit(row);
    }
}
