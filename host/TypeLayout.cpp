// Places of members and the gaps between them. Sizes and offsets of a file can be anything: all sums are made in
// 64 bits.
#include "host/TypeLayout.h"

#include "interfaces/DbgSymSymFile.h"

#include <algorithm>
#include <string_view>

namespace {

/// Bits of a bit field's storage unit below the field. DWARF 2.0 (5.5.4) counts the bits above it.
u64 BitsBelow(const DbgUDTInfoMembers::Member& member, u32 size)
{
    const u64 unitBits = u64{size} * 8;
    const u64 used = u64{member.bitOffset} + member.bitSize;
    return unitBits > used ? unitBits - used : 0;
}

LayoutRow MemberRow(const DbgUDTInfoMembers::Member& member, u32 size, bool bigEndian)
{
    const u64 start = u64{member.offset} * 8;
    if (member.bitSize == 0) {
        return {LayoutRow::Member, &member, size, start, start + u64{size} * 8};
    }
    const u64 begin = start + (bigEndian ? u64{member.bitOffset} : BitsBelow(member, size));
    return {LayoutRow::Member, &member, size, begin, begin + member.bitSize};
}

bool IsVirtualTable(const DbgUDTInfoMembers::Member& member)
{
    const std::string_view name = member.name == nullptr ? "" : member.name;
    return name.substr(0, 5) == "_vptr" || name.substr(0, 6) == "__vptr";
}

/// The widest that compilers for this architecture align a type to by themselves.
constexpr u64 kWidestAlignment = 8;

} // namespace

bool HasName(const DbgUserDefinedVarType& type)
{
    return type.GetName() != nullptr && *type.GetName() != '\0';
}

const DbgUDTInfoMembers* MembersOf(const DbgUserDefinedVarType& type)
{
    const DbgUDTInfo* info = type.GetInfo();
    const bool has = info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Members;
    return has ? static_cast<const DbgUDTInfoMembers*>(info) : nullptr;
}

u32 SizeOf(DbgSymSymFile& store, const DbgTypeDescription& type, u32 described)
{
    DbgTypeDescription at = type;
    for (u32 depth = 0; described == 0 && depth < kMaxTypeDepth && at.baseType == kBaseUserDefined; ++depth) {
        const DbgUserDefinedVarType* stored = store.GetUserDefinedType(at.udtId).get();
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

u64 LayoutRow::LostBytes() const
{
    if (kind != Hole && kind != Padding) {
        return 0;
    }
    const u64 first = (begin + 7) / 8;
    return end / 8 > first ? end / 8 - first : 0;
}

const DbgUserDefinedVarType* TypeLayouts::Find(u32 id) const
{
    // The store keeps the type as long as it lives itself.
    return m_store.GetUserDefinedType(id).get();
}

/// Null if the member is none.
const DbgUserDefinedVarType* TypeLayouts::BaseClass(const DbgUDTInfoMembers::Member& member) const
{
    const DbgUserDefinedVarType* stored = member.name == nullptr ? Find(member.type.udtId) : nullptr;
    return stored != nullptr && HasName(*stored) ? stored : nullptr;
}

/// A class has its table first, or its first base has.
bool TypeLayouts::HasVirtualFunctions(const DbgUserDefinedVarType& type) const
{
    const DbgUserDefinedVarType* at = &type;
    for (u32 depth = 0; at != nullptr && depth < kMaxTypeDepth; ++depth) {
        const DbgUDTInfoMembers* info = MembersOf(*at);
        if (info == nullptr || info->Members().empty()) {
            return false;
        }
        const auto first = std::min_element(info->Members().begin(), info->Members().end(),
                                            [](const auto& a, const auto& b) { return a.offset < b.offset; });
        if (IsVirtualTable(*first)) {
            return true;
        }
        at = BaseClass(*first);
    }
    return false;
}

/// Where a base ends in a class that is derived from it, in bits: the virtual bases of a base lie elsewhere there.
u64 TypeLayouts::EndInDerived(const DbgUserDefinedVarType& base, u64 size, u32 depth) const
{
    const auto [found, added] = m_ends.emplace(base.GetId(), size);
    if (added && depth < kMaxTypeDepth && HasVirtualFunctions(base)) {
        const std::vector<LayoutRow> own = Of(base, depth + 1);
        if (!own.empty() && own.back().kind == LayoutRow::VirtualBases) {
            m_ends[base.GetId()] = own.back().begin;
        }
    }
    return m_ends[base.GetId()];
}

std::vector<LayoutRow> TypeLayouts::Members(const DbgUserDefinedVarType& type, u32 depth) const
{
    std::vector<LayoutRow> rows;
    const DbgUDTInfoMembers* info = MembersOf(type);
    if (info == nullptr) {
        return rows;
    }
    rows.reserve(info->Members().size());
    for (const DbgUDTInfoMembers::Member& member : info->Members()) {
        rows.push_back(MemberRow(member, SizeOf(m_store, member.type, member.byteSize), m_bigEndian));
        if (const DbgUserDefinedVarType* base = BaseClass(member)) {
            LayoutRow& row = rows.back();
            row.end = row.begin + EndInDerived(*base, row.end - row.begin, depth);
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const LayoutRow& a, const LayoutRow& b) { return a.begin < b.begin; });
    return rows;
}

/// The most that a compiler aligns a thing to by itself.
u64 TypeLayouts::AlignmentOf(const DbgTypeDescription& type, u64 size, u32 depth) const
{
    const DbgUserDefinedVarType* stored = type.baseType == kBaseUserDefined ? Find(type.udtId) : nullptr;
    return stored != nullptr ? AlignmentOf(*stored, depth) : std::clamp(size, u64{1}, kWidestAlignment);
}

u64 TypeLayouts::AlignmentOf(const DbgUserDefinedVarType& type, u32 depth) const
{
    const u64 bySize = std::clamp(u64{type.GetByteSize()}, u64{1}, kWidestAlignment);
    const DbgUDTInfo* info = type.GetInfo();
    if (info == nullptr || depth == kMaxTypeDepth) {
        return bySize;
    }
    if (info->GetKind() == DbgUDTInfo::Kind::Typedef) {
        return AlignmentOf(static_cast<const DbgUDTInfoTypedef*>(info)->target, bySize, depth + 1);
    }
    if (info->GetKind() == DbgUDTInfo::Kind::Array) {
        const auto* array = static_cast<const DbgUDTInfoArray*>(info);
        return AlignmentOf(array->element, array->elementSize, depth + 1);
    }
    const DbgUDTInfoMembers* members = MembersOf(type);
    if (members == nullptr || members->Members().empty()) {
        return bySize;
    }
    const auto [known, added] = m_alignments.emplace(type.GetId(), bySize);
    if (!added) {
        return known->second;
    }
    u64 alignment = 1;
    for (const DbgUDTInfoMembers::Member& member : members->Members()) {
        alignment = std::max(alignment, AlignmentOf(member.type, member.byteSize, depth + 1));
    }
    m_alignments[type.GetId()] = alignment;
    return alignment;
}

bool TypeLayouts::IsArray(const DbgTypeDescription& type) const
{
    DbgTypeDescription at = type;
    for (u32 depth = 0; depth < kMaxTypeDepth && at.baseType == kBaseUserDefined; ++depth) {
        const DbgUserDefinedVarType* stored = Find(at.udtId);
        const DbgUDTInfo* info = stored == nullptr ? nullptr : stored->GetInfo();
        if (info == nullptr || info->GetKind() != DbgUDTInfo::Kind::Typedef) {
            return info != nullptr && info->GetKind() == DbgUDTInfo::Kind::Array;
        }
        at = static_cast<const DbgUDTInfoTypedef*>(info)->target;
    }
    return false;
}

bool TypeLayouts::IsUnknown(const LayoutRow& row) const
{
    return row.kind == LayoutRow::Member && row.size == 0 && row.member->type.baseType == kBaseUserDefined &&
           Find(row.member->type.udtId) == nullptr;
}

/// @param alignment bytes; no alignment takes as many.
void TypeLayouts::AddGap(std::vector<LayoutRow>& rows, LayoutRow gap, u64 alignment) const
{
    const u64 size = gap.end - gap.begin;
    const u64 explained = alignment * 8;
    const LayoutRow* last = rows.empty() ? nullptr : &rows.back();
    if (last != nullptr && IsUnknown(*last)) {
        gap.kind = LayoutRow::Unknown;
    }
    if (!m_wholeArrays && size >= explained && last != nullptr && last->kind == LayoutRow::Member &&
        last->end == gap.begin && last->size != 0 && IsArray(last->member->type)) {
        const u64 array = u64{last->size} * 8;
        const u64 rest = ((size - explained) / array + 1) * array;
        if (rest <= size) {
            rows.push_back({LayoutRow::RestOfArray, nullptr, 0, gap.begin, gap.begin + rest});
            gap.begin += rest;
        }
    }
    if (gap.end > gap.begin) {
        rows.push_back(gap);
    }
}

std::vector<LayoutRow> TypeLayouts::Of(const DbgUserDefinedVarType& type, u32 depth) const
{
    std::vector<LayoutRow> rows;
    u64 end = 0;
    for (const LayoutRow& row : Members(type, depth)) {
        if (row.begin > end) {
            const u64 own = AlignmentOf(row.member->type, row.size, 0);
            AddGap(rows, {LayoutRow::Hole, nullptr, 0, end, row.begin}, own);
        }
        rows.push_back(row);
        end = std::max(end, row.end);
    }
    const u64 typeEnd = u64{type.GetByteSize()} * 8;
    if (!rows.empty() && typeEnd > end) {
        const u64 alignment = AlignmentOf(type, 0);
        const bool tooMuch = typeEnd - end >= alignment * 8;
        const bool bases = tooMuch && HasVirtualFunctions(type);
        AddGap(rows, {bases ? LayoutRow::VirtualBases : LayoutRow::Padding, nullptr, 0, end, typeEnd}, alignment);
    }
    return rows;
}
