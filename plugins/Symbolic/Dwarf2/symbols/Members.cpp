// Members and base classes of an aggregate (DWARF 2.0, 5.5.3, 5.5.4), whose offsets are evaluated here, at load time.
#include "index/AttributeLoop.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"
#include "symbols/MemberRecord.h"

namespace {

/// Reads an attribute that only a member has.
void ReadMemberAttribute(u32 attribute, AttrReader& read, MemberRecord& member)
{
    switch (attribute) {
    case AT_name:
        if (const AttrValue* got = read()) {
            member.name = got->Text();
        }
        break;
    case AT_byte_size:
        // AT_type sets this too: the later of the two counts.
        read.To(member.type.byteSize);
        break;
    case AT_bit_offset:
        read.To(member.bitOffset);
        break;
    case AT_bit_size:
        read.To(member.bitSize);
        break;
    default:
        break;
    }
}

} // namespace

void Dwarf2File::BuildMember(const Entry& entry, MemberRecord* member)
{
    BuildMemberOrBase(entry, member, true);
}

void Dwarf2File::BuildInheritance(const Entry& entry, MemberRecord* member)
{
    BuildMemberOrBase(entry, member, false);
}

void Dwarf2File::BuildMemberOrBase(const Entry& entry, MemberRecord* member, bool isMember)
{
    entry.row.Set(DIEInfo::kDieBuilt);
    member->offsetValid = false;
    ReadEntry(entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_data_member_location:
            if (const AttrValue* got = read()) {
                EvaluateMemberOffset(entry, *got, member);
            }
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &member->type);
            }
            break;
        default:
            if (isMember) {
                ReadMemberAttribute(attribute, read, *member);
            }
            break;
        }
    });
}

void Dwarf2File::EvaluateMemberOffset(const Entry& entry, const AttrValue& location, MemberRecord* member)
{
    // The expression expects the object's address on the stack. With an object at 0 the result is the offset.
    VFKDataString bytes(false, LittleEndian());
    if (location.data != nullptr) {
        TakeLocationBytes(location, bytes);
    } else {
        BuildLocationList(entry.unit, entry.row, &bytes, location.value);
    }
    DbgExpression expression(bytes, nullptr, nullptr);
    expression.Push(0);
    if (expression.Evaluate(nullptr, nullptr, 0, kNone) != 0) {
        return;
    }
    member->offset = 0;
    member->offsetValid = expression.Pop(member->offset);
}
