// Names and layouts of types. Sizes and offsets come from the file as they please: all sums are
// made in 64 bits.
#include "host/TypeText.h"

#include "host/Text.h"
#include "interfaces/DbgSymSymFile.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// More references than any program's type has; the text grows by a few bytes with each.
constexpr u32 kMaxDepth = 32;

constexpr std::pair<DbgVariableBaseType, const char*> kBaseNames[] = {
    {kBaseVoid, "void"},
    {kBaseChar, "char"},
    {kBaseShort, "short"},
    {kBaseInt, "int"},
    {kBaseLong, "long"},
    {kBaseLongLong, "long long"},
    {kBaseSignedChar, "signed char"},
    {kBaseSignedShort, "signed short"},
    {kBaseSignedInt, "signed int"},
    {kBaseSignedLong, "signed long"},
    {kBaseSignedLongLong, "signed long long"},
    {kBaseUnsignedChar, "unsigned char"},
    {kBaseUnsignedShort, "unsigned short"},
    {kBaseUnsignedInt, "unsigned int"},
    {kBaseUnsignedLong, "unsigned long"},
    {kBaseUnsignedLongLong, "unsigned long long"},
    {kBaseBool, "bool"},
    {kBaseFloat, "float"},
    {kBaseDouble, "double"},
    {kBaseLongDouble, "long double"},
    {kBaseComplexFloat, "complex float"},
};

bool HasName(const DbgUserDefinedVarType& type)
{
    return type.GetName() != nullptr && *type.GetName() != '\0';
}

std::string Qualified(u16 qualifiers, std::string name)
{
    // Behind a pointer the qualifiers are the pointer's own.
    const bool behind = !name.empty() && (name.back() == '*' || name.back() == ']');
    std::string words;
    for (const auto& [bit, word] : {std::pair(kQualifierConst, "const"), std::pair(kQualifierVolatile, "volatile")}) {
        if ((qualifiers & bit) != 0) {
            words += behind ? " " : "";
            words += word;
            words += behind ? "" : " ";
        }
    }
    return behind ? name + words : words + name;
}

std::string ById(const char* kind, u32 id, bool withIds)
{
    std::string name = *kind == '\0' ? "type" : kind;
    if (withIds) {
        name += ' ';
        AppendHex8(name, id);
    }
    return name;
}

/// A member and the bits that it takes, counted from the aggregate's first byte on.
struct Row {
    const DbgUDTInfoMembers::Member* member;
    u32 size; ///< bytes
    u64 begin;
    u64 end;
};

/// Bits of a bit field's storage unit below the field. DWARF 2.0 (5.5.4) counts the bits above it.
u64 BitsBelow(const DbgUDTInfoMembers::Member& member, u32 size)
{
    const u64 unitBits = u64{size} * 8;
    const u64 used = u64{member.bitOffset} + member.bitSize;
    return unitBits > used ? unitBits - used : 0;
}

Row MakeRow(const DbgUDTInfoMembers::Member& member, u32 size, bool bigEndian)
{
    const u64 start = u64{member.offset} * 8;
    if (member.bitSize == 0) {
        return {&member, size, start, start + u64{size} * 8};
    }
    const u64 begin = start + (bigEndian ? u64{member.bitOffset} : BitsBelow(member, size));
    return {&member, size, begin, begin + member.bitSize};
}

constexpr std::size_t kSizeColumn = 10;
constexpr std::size_t kBitsColumn = 18;
constexpr std::size_t kTypeColumn = 26;
constexpr std::size_t kNameColumn = 54;

/// Starts a row of a layout: offset and size in bytes.
std::string RowStart(u64 offset, u64 size)
{
    std::string line = "  ";
    AppendDecimal(line, static_cast<i64>(offset), 6);
    PadTo(line, kSizeColumn);
    AppendDecimal(line, static_cast<i64>(size), 6);
    PadTo(line, kBitsColumn);
    return line;
}

std::string HoleLine(const char* what, u64 begin, u64 end)
{
    const bool bytes = begin % 8 == 0 && end % 8 == 0;
    std::string line = RowStart(begin / 8, bytes ? (end - begin) / 8 : 0);
    if (!bytes) {
        AppendDecimal(line, static_cast<i64>(end - begin));
        line += end - begin == 1 ? " bit" : " bits";
    }
    PadTo(line, kTypeColumn);
    return line + what + '\n';
}

/// @param unnamed what stands for the name of a base class or of an anonymous member.
std::string MemberLine(const Row& row, const std::string& typeName, const char* unnamed)
{
    std::string line = RowStart(row.member->offset, row.size);
    if (row.member->bitSize != 0) {
        const u64 lowest = BitsBelow(*row.member, row.size);
        AppendDecimal(line, static_cast<i64>(lowest));
        line += '-';
        AppendDecimal(line, static_cast<i64>(lowest + row.member->bitSize - 1));
    }
    PadTo(line, kTypeColumn);
    line += typeName;
    PadTo(line, kNameColumn);
    AppendPrintable(line, row.member->name == nullptr ? unnamed : row.member->name);
    return line + '\n';
}

void WriteEnum(const DbgUDTInfoEnum32& info, const TypeText::Write& write)
{
    for (const DbgUDTInfoEnum32::Value& value : info.Values()) {
        std::string line = "  ";
        AppendDecimal(line, value.value, 11);
        line += "  ";
        AppendPrintable(line, value.name == nullptr ? "" : value.name);
        write(line + '\n');
    }
}

} // namespace

const char* BaseTypeName(DbgVariableBaseType type)
{
    const auto* found =
        std::find_if(std::begin(kBaseNames), std::end(kBaseNames), [&](const auto& row) { return row.first == type; });
    return found == std::end(kBaseNames) ? "?" : found->second;
}

const char* KindName(const DbgUserDefinedVarType& type)
{
    switch (type.GetType()) {
    case kUdtClass:
        return "class";
    case kUdtBitFields:
    case kUdtStruct:
        return "struct";
    case kUdtUnion:
        return "union";
    case kUdtEnum:
        return "enum";
    default:
        return type.GetInfo() != nullptr && type.GetInfo()->GetKind() == DbgUDTInfo::Kind::Enum ? "enum" : "";
    }
}

bool IsListed(const DbgUserDefinedVarType& type)
{
    return HasName(type) || *KindName(type) != '\0';
}

const DbgUserDefinedVarType* TypeText::Find(u32 id) const
{
    // The store keeps the type as long as it lives itself.
    return m_store.GetUserDefinedType(id).get();
}

std::string TypeText::NameOf(const DbgTypeDescription& type, bool withIds) const
{
    return Name(type, withIds, 0);
}

std::string TypeText::NameOf(const DbgUserDefinedVarType& type, bool withIds) const
{
    return NameOfStored(type, withIds, 0);
}

std::string TypeText::Name(const DbgTypeDescription& type, bool withIds, u32 depth) const
{
    if (type.baseType != kBaseUserDefined) {
        return Qualified(type.qualifiers, BaseTypeName(type.baseType));
    }
    const DbgUserDefinedVarType* stored = Find(type.udtId);
    return Qualified(type.qualifiers,
                     stored == nullptr ? ById("type", type.udtId, withIds) : NameOfStored(*stored, withIds, depth));
}

std::string TypeText::NameOfStored(const DbgUserDefinedVarType& type, bool withIds, u32 depth) const
{
    if (HasName(type)) {
        std::string name;
        AppendShort(name, type.GetName());
        return name;
    }
    if (depth == kMaxDepth) {
        return "...";
    }
    const DbgUDTInfo* info = type.GetInfo();
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Pointer) {
        const std::string target = Name(static_cast<const DbgUDTInfoPointer*>(info)->target, withIds, depth + 1);
        return target + (target.back() == '*' ? "*" : " *");
    }
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Array) {
        const auto* array = static_cast<const DbgUDTInfoArray*>(info);
        std::string name = Name(array->element, withIds, depth + 1) + " [";
        AppendDecimal(name, u32{array->upper - array->lower + 1});
        return name + ']';
    }
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Typedef) {
        return Name(static_cast<const DbgUDTInfoTypedef*>(info)->target, withIds, depth + 1);
    }
    return ById(KindName(type), type.GetId(), withIds);
}

u32 TypeText::SizeOf(const DbgTypeDescription& type, u32 described) const
{
    DbgTypeDescription at = type;
    for (u32 depth = 0; described == 0 && depth < kMaxDepth && at.baseType == kBaseUserDefined; ++depth) {
        const DbgUserDefinedVarType* stored = Find(at.udtId);
        if (stored == nullptr) {
            break;
        }
        described = stored->GetByteSize();
        const DbgUDTInfo* info = stored->GetInfo();
        if (info == nullptr || info->GetKind() != DbgUDTInfo::Kind::Typedef) {
            break;
        }
        at = static_cast<const DbgUDTInfoTypedef*>(info)->target;
    }
    return described;
}

std::string TypeText::Head(const DbgUserDefinedVarType& type, bool withIds) const
{
    const DbgUDTInfo* info = type.GetInfo();
    std::string kind = KindName(type);
    std::string target;
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Typedef) {
        // A base type is held as a typedef of its code.
        const DbgTypeDescription& of = static_cast<const DbgUDTInfoTypedef*>(info)->target;
        kind = of.baseType == kBaseUserDefined ? "typedef" : "base";
        target = of.baseType == kBaseUserDefined ? " = " + NameOf(of, withIds) : "";
    }
    std::string head = kind.empty() ? "" : kind + ' ';
    head += HasName(type) || kind.empty() ? NameOf(type, withIds) : "(no name)";
    head += target;
    head += "  size ";
    AppendDecimal(head, type.GetByteSize());
    if (withIds) {
        head += "  id ";
        AppendHex8(head, type.GetId());
    }
    return head + '\n';
}

void TypeText::WriteLayout(const DbgUserDefinedVarType& type, bool withIds, const Write& write) const
{
    write(Head(type, withIds));
    const DbgUDTInfo* info = type.GetInfo();
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Members) {
        WriteMembers(type, *static_cast<const DbgUDTInfoMembers*>(info), withIds, write);
    } else if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Enum) {
        WriteEnum(*static_cast<const DbgUDTInfoEnum32*>(info), write);
    }
}

std::size_t TypeText::LayoutHash(const DbgUserDefinedVarType& type) const
{
    std::size_t hash = 0;
    WriteLayout(type, false, [&](std::string_view line) {
        constexpr std::size_t kOdd = 0x9E3779B97F4A7C15;
        hash = (hash ^ std::hash<std::string_view>()(line)) * kOdd; // the order of the lines counts
        hash ^= hash >> 32;
    });
    return hash;
}

void TypeText::WriteMembers(const DbgUserDefinedVarType& type, const DbgUDTInfoMembers& info, bool withIds,
                            const Write& write) const
{
    if (info.Members().empty()) {
        return;
    }
    std::vector<Row> rows;
    rows.reserve(info.Members().size());
    for (const DbgUDTInfoMembers::Member& member : info.Members()) {
        rows.push_back(MakeRow(member, SizeOf(member.type, member.byteSize), m_bigEndian));
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.begin < b.begin; });
    write("  offset    size  bits    type                        name\n");
    u64 end = 0;
    for (const Row& row : rows) {
        if (row.begin > end) {
            write(HoleLine("<hole>", end, row.begin));
        }
        end = std::max(end, row.end);
        const DbgUserDefinedVarType* stored = Find(row.member->type.udtId);
        const bool anonymous = stored != nullptr && !HasName(*stored);
        write(MemberLine(row, NameOf(row.member->type, withIds), anonymous ? "(anonymous)" : "(base)"));
    }
    const u64 typeEnd = u64{type.GetByteSize()} * 8;
    if (typeEnd > end) {
        write(HoleLine("<padding>", end, typeEnd));
    }
}
