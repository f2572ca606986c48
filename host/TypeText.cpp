// Names and layouts of types. Sizes and offsets of a file can be anything: all sums are
// made in 64 bits.
#include "host/TypeText.h"

#include "host/Mix.h"
#include "host/Text.h"
#include "interfaces/DbgSymSymFile.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace {

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

std::string_view Words(u16 qualifiers)
{
    const bool isConst = (qualifiers & kQualifierConst) != 0;
    if ((qualifiers & kQualifierVolatile) != 0) {
        return isConst ? "const volatile" : "volatile";
    }
    return isConst ? "const" : "";
}

/// The declarator of a pointer to what has this declarator. Qualifiers are the pointer's own.
std::string PointerTo(u16 qualifiers, const std::string& declarator)
{
    const std::string_view words = Words(qualifiers);
    const bool apart = !declarator.empty() && (!words.empty() || declarator[0] != '*');
    std::string pointer = "*";
    pointer += words.empty() ? "" : " ";
    pointer += words;
    pointer += apart ? " " : "";
    return pointer + declarator;
}

/// Brackets bind closer than the star of a pointer.
std::string Enclosed(const std::string& declarator)
{
    return !declarator.empty() && declarator[0] == '*' ? '(' + declarator + ')' : declarator;
}

/// What every type of a function is in the store.
bool IsFunction(const DbgUserDefinedVarType& type)
{
    const DbgUDTInfo* info = type.GetInfo();
    return HasName(type) && std::strcmp(type.GetName(), "(*function)") == 0 && info != nullptr &&
           info->GetKind() == DbgUDTInfo::Kind::Typedef;
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

constexpr std::size_t kSizeColumn = 10;
constexpr std::size_t kBitsColumn = 18;
constexpr std::size_t kTypeColumn = 26;
constexpr std::size_t kTypeWidth = 28;
constexpr std::size_t kWidestMemberType = 48; ///< a longer one pushes the name out of its column

/// No program nests nameless parts deeper, or has more lines of them.
constexpr u32 kDeepestPart = 8;
constexpr std::size_t kMostLines = 10'000; ///< of one type
constexpr u32 kMostExpanded = 4'000'000;

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

const char* GapName(LayoutRow::Kind kind)
{
    switch (kind) {
    case LayoutRow::Padding:
        return "<padding>";
    case LayoutRow::VirtualBases:
        return "<virtual bases>";
    case LayoutRow::RestOfArray:
        return "<rest of array, or hole>";
    case LayoutRow::Unknown:
        return "<of unknown type, or hole>";
    default:
        return "<hole>";
    }
}

std::string GapStart(const LayoutRow& gap, u64 offset)
{
    const u64 size = gap.end - gap.begin;
    const bool bytes = gap.begin % 8 == 0 && gap.end % 8 == 0;
    std::string line = RowStart(offset + gap.begin / 8, bytes ? size / 8 : 0);
    if (!bytes) {
        AppendDecimal(line, static_cast<i64>(size));
        line += size == 1 ? " bit" : " bits";
    }
    PadTo(line, kTypeColumn);
    return line;
}

/// Bits of a bit field are counted from the least significant one of its storage unit.
std::string MemberStart(const LayoutRow& row, u64 offset)
{
    const DbgUDTInfoMembers::Member& member = *row.member;
    std::string line = RowStart(offset + member.offset, row.size);
    if (member.bitSize != 0) {
        const u64 used = u64{member.bitOffset} + member.bitSize;
        const u64 lowest = u64{row.size} * 8 > used ? u64{row.size} * 8 - used : 0;
        AppendDecimal(line, static_cast<i64>(lowest));
        line += '-';
        AppendDecimal(line, static_cast<i64>(lowest + member.bitSize - 1));
    }
    PadTo(line, kTypeColumn);
    return line;
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
    return !IsFunction(type) && (HasName(type) || *KindName(type) != '\0');
}

std::string TypeText::NameOf(const DbgTypeDescription& type, bool withIds) const
{
    return Declare(type, {}, withIds, 0);
}

std::string TypeText::NameOf(const DbgUserDefinedVarType& type, bool withIds) const
{
    return DeclareStored(type, 0, {}, withIds, 0);
}

std::string TypeText::TitleOf(const DbgUserDefinedVarType& type, bool withIds) const
{
    const char* kind = KindName(type);
    std::string name = NameOf(type, withIds);
    return *kind == 0 || !HasName(type) ? name : std::string(kind).append(" ").append(name);
}

namespace {

std::string Join(u16 qualifiers, std::string_view name, std::string_view declarator)
{
    const std::string_view words = Words(qualifiers);
    std::string text;
    text.reserve(words.size() + name.size() + declarator.size() + 2);
    text += words;
    text += words.empty() ? "" : " ";
    text += name;
    text += declarator.empty() ? "" : " ";
    return text += declarator;
}

} // namespace

std::string TypeText::Declare(const DbgTypeDescription& type, std::string declarator, bool withIds, u32 depth) const
{
    if (type.baseType != kBaseUserDefined) {
        return Join(type.qualifiers, BaseTypeName(type.baseType), declarator);
    }
    const DbgUserDefinedVarType* stored = m_layouts.Find(type.udtId);
    if (stored == nullptr) {
        return Join(type.qualifiers, ById("type", type.udtId, withIds), declarator);
    }
    return DeclareStored(*stored, type.qualifiers, std::move(declarator), withIds, depth);
}

/// C writes a type around what it declares: pointers in front, bounds and arguments behind.
std::string TypeText::DeclareStored(const DbgUserDefinedVarType& type, u16 qualifiers, std::string declarator,
                                    bool withIds, u32 depth) const
{
    if (IsFunction(type)) {
        return declarator.empty() ? "function" : Enclosed(declarator) + "()";
    }
    if (HasName(type)) {
        std::string name;
        AppendShort(name, type.GetName());
        return qualifiers == 0 && declarator.empty() ? name : Join(qualifiers, name, declarator);
    }
    if (depth == kMaxTypeDepth) {
        return Join(qualifiers, "...", declarator);
    }
    const DbgUDTInfo* info = type.GetInfo();
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Pointer) {
        return Declare(static_cast<const DbgUDTInfoPointer*>(info)->target, PointerTo(qualifiers, declarator), withIds,
                       depth + 1);
    }
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Array) {
        const auto* array = static_cast<const DbgUDTInfoArray*>(info);
        std::string bounds = Enclosed(declarator) + '[';
        AppendDecimal(bounds, u32{array->upper - array->lower + 1});
        DbgTypeDescription element = array->element;
        element.qualifiers = static_cast<u16>(element.qualifiers | qualifiers); // they are those of the elements
        return Declare(element, bounds + ']', withIds, depth + 1);
    }
    if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Typedef) {
        DbgTypeDescription target = static_cast<const DbgUDTInfoTypedef*>(info)->target;
        target.qualifiers = static_cast<u16>(target.qualifiers | qualifiers);
        return Declare(target, std::move(declarator), withIds, depth + 1);
    }
    return Join(qualifiers, ById(KindName(type), type.GetId(), withIds), declarator);
}

std::string TypeText::Head(const DbgUserDefinedVarType& type, bool withIds) const
{
    const DbgUDTInfo* info = type.GetInfo();
    std::string kind = KindName(type);
    std::string target;
    if (info != nullptr && !IsFunction(type) && info->GetKind() == DbgUDTInfo::Kind::Typedef) {
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
    if (MembersOf(type) != nullptr) {
        WriteMembers(type, withIds, write);
    } else if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Enum) {
        WriteEnum(*static_cast<const DbgUDTInfoEnum32*>(info), write);
    }
}

struct TypeText::MemberLine {
    std::string start; ///< up to the column of the type
    std::string type;
    std::string name;
};

/// The type of a member or of an array of them, if it has no name but members, and there is room for them.
const DbgUserDefinedVarType* TypeText::Nameless(const LayoutRow& row) const
{
    const bool typed = row.member != nullptr && row.member->type.baseType == kBaseUserDefined;
    const DbgUserDefinedVarType* type = typed ? m_layouts.Find(row.member->type.udtId) : nullptr;
    const DbgUDTInfoMembers* members = type == nullptr || HasName(*type) ? nullptr : MembersOf(*type);
    return members != nullptr && !members->Members().empty() && m_expanded < kMostExpanded ? type : nullptr;
}

std::string TypeText::MemberName(const DbgUDTInfoMembers::Member& member) const
{
    std::string name;
    if (member.name != nullptr) {
        AppendPrintable(name, member.name);
    } else {
        const DbgUserDefinedVarType* stored = m_layouts.Find(member.type.udtId);
        name = stored != nullptr && !HasName(*stored) ? "(anonymous)" : "(base)";
    }
    if (member.bitSize != 0) {
        name += " : " + std::to_string(member.bitSize);
    }
    return name;
}

/// Visits the rows of a layout, those of nameless parts behind their own.
/// @param visit gets the row, the offset of what it is in, the depth of that, and the part if its rows come next.
template <typename Visit>
void TypeText::VisitLayout(const DbgUserDefinedVarType& type, u64 offset, u32 depth, std::size_t& visited,
                           Visit&& visit) const
{
    for (const LayoutRow& row : m_layouts.Of(type)) {
        m_expanded += depth == 0 ? 0 : 1;
        const DbgUserDefinedVarType* part = row.kind == LayoutRow::Member ? Nameless(row) : nullptr;
        part = depth < kDeepestPart && visited < kMostLines ? part : nullptr;
        ++visited;
        visit(row, offset, depth, part);
        if (part != nullptr) {
            VisitLayout(*part, offset + row.member->offset, depth + 1, visited, visit);
        }
    }
}

void TypeText::WriteMembers(const DbgUserDefinedVarType& type, bool withIds, const Write& write) const
{
    std::vector<MemberLine> lines;
    std::size_t visited = 0;
    const auto add = [&](const LayoutRow& row, u64 offset, u32 depth, const DbgUserDefinedVarType* part) {
        std::string indent(std::size_t{2} * depth, ' ');
        if (row.kind != LayoutRow::Member) {
            lines.push_back({GapStart(row, offset), indent + GapName(row.kind), {}});
        } else {
            const char* kind = part == nullptr ? nullptr : KindName(*part);
            lines.push_back({MemberStart(row, offset),
                             indent + (kind == nullptr ? NameOf(row.member->type, withIds) : kind),
                             MemberName(*row.member)});
        }
    };
    VisitLayout(type, 0, 0, visited, add);
    std::size_t width = kTypeWidth;
    for (const MemberLine& line : lines) {
        width = std::max(width, line.type.size() > kWidestMemberType ? 0 : line.type.size() + 2);
    }
    if (!lines.empty()) {
        std::string head = "  offset    size  bits    type";
        PadTo(head, kTypeColumn + width);
        write(head + "name\n");
    }
    for (MemberLine& line : lines) {
        line.start += line.type;
        if (!line.name.empty()) {
            PadTo(line.start, kTypeColumn + width);
        }
        write(line.start + line.name + '\n');
    }
}

/// What Declare makes a text of.
u64 TypeText::NameHash(const DbgTypeDescription& type, u32 depth) const
{
    const DbgUserDefinedVarType* stored = type.baseType == kBaseUserDefined ? m_layouts.Find(type.udtId) : nullptr;
    const u64 hash = Mix(type.baseType, type.qualifiers);
    if (stored == nullptr || depth == kMaxTypeDepth) {
        return hash;
    }
    if (HasName(*stored)) {
        return Mix(hash, stored->GetName());
    }
    const DbgUDTInfo* info = stored->GetInfo();
    switch (info == nullptr ? DbgUDTInfo::Kind::Members : info->GetKind()) {
    case DbgUDTInfo::Kind::Pointer:
        return Mix(Mix(hash, '*'), NameHash(static_cast<const DbgUDTInfoPointer*>(info)->target, depth + 1));
    case DbgUDTInfo::Kind::Array: {
        const auto* array = static_cast<const DbgUDTInfoArray*>(info);
        return Mix(Mix(hash, u64{array->upper} - array->lower), NameHash(array->element, depth + 1));
    }
    case DbgUDTInfo::Kind::Typedef: {
        DbgTypeDescription target = static_cast<const DbgUDTInfoTypedef*>(info)->target;
        target.qualifiers = static_cast<u16>(target.qualifiers | type.qualifiers);
        return NameHash(target, depth + 1);
    }
    default:
        return Mix(hash, KindName(*stored));
    }
}

std::size_t TypeText::LayoutHash(const DbgUserDefinedVarType& type) const
{
    u64 hash = Mix(Mix(Mix(0, KindName(type)), HasName(type) ? type.GetName() : ""), type.GetByteSize());
    const DbgUDTInfo* info = type.GetInfo();
    if (MembersOf(type) != nullptr) {
        std::size_t visited = 0;
        VisitLayout(type, 0, 0, visited,
                    [&](const LayoutRow& row, u64 offset, u32 depth, const DbgUserDefinedVarType* part) {
                        hash = Mix(Mix(Mix(hash, offset), u64{row.kind} << 32 | depth), row.begin);
                        hash = Mix(hash, row.end);
                        if (row.kind == LayoutRow::Member) {
                            hash = Mix(Mix(hash, u64{row.member->bitSize} << 32 | row.member->offset), row.size);
                            hash = Mix(hash, row.member->name);
                            hash = Mix(hash, part != nullptr ? u64{1} : NameHash(row.member->type, 0));
                        }
                    });
    } else if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Enum) {
        for (const DbgUDTInfoEnum32::Value& value : static_cast<const DbgUDTInfoEnum32*>(info)->Values()) {
            hash = Mix(Mix(hash, value.name), static_cast<u64>(value.value));
        }
    } else if (info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Typedef && !IsFunction(type)) {
        hash = Mix(hash, NameHash(static_cast<const DbgUDTInfoTypedef*>(info)->target, 0));
    } else if (!IsListed(type)) {
        hash = Mix(hash, NameHash(DbgTypeDescription{kBaseUserDefined, 0, type.GetId()}, 0));
    }
    return hash;
}
