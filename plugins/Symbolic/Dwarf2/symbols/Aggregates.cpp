// Classes, structures and unions (DWARF 2.0, 5.5), with the loop that reads their members.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/MemberRecord.h"
#include "symbols/TypeBuilder.h"

#include <algorithm>
#include <new>
#include <vector>

void Dwarf2File::TypeBuilder::ReadHead()
{
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                m_type.SetTypeName(got->Text());
            }
            break;
        case AT_byte_size:
            read.To(m_type.m_byteSize);
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::TypeBuilder::BuildAggregate(DbgVariableUserDefinedType kind)
{
    ReadHead();
    if (m_entry.decl->hasChildren == 0) {
        if (kind == kUdtStruct) {
            // An incomplete structure is a type of its own, of size 1.
            m_type.SetType(kUdtStruct);
            m_type.m_byteSize = std::max(m_type.m_byteSize, 1u);
        }
        return;
    }
    const DIEInfo& row = m_entry.row;
    row.Set(DIEInfo::kDieChildrenRead);
    m_file.Nest([&] { ReadMembers(kind); });
    if (m_type.GetInfo() == nullptr) {
        row.Clear(DIEInfo::kDieChildrenRead); // no memory for a list: the walk goes through them
    } else if (row.Sibling() == kNone) {
        row.SetSibling(m_file.m_debug_info.Pos());
    }
}

void Dwarf2File::TypeBuilder::ReadMembers(DbgVariableUserDefinedType kind)
{
    auto* list = new (std::nothrow) DbgUDTInfoMembers;
    if (list == nullptr) {
        return;
    }
    m_type.SetTypeInfo(list, kind);
    // One record for all members: what a child that adds no member has set stays for the next.
    MemberRecord member;
    std::vector<u32> parents{m_entry.row.infoOffset};
    constexpr std::size_t kLevel = 1;
    VFKDataBuf& section = m_file.m_debug_info;
    while (!AtEnd(section)) {
        const u32 child = section.Pos();
        const u32 next = m_file.ReadDie(m_entry.unit, &parents, true, &member);
        if (parents.size() > kLevel) {
            m_file.WalkEntries(m_entry.unit, &parents, false, child);
        }
        if (next == kNone || parents.size() < kLevel) {
            break;
        }
        Seek(section, next > child ? next : kNone); // a sibling that leads back ends the loop
        if (member.offsetValid && m_file.m_budget.Spend(1, Budget::kMember)) {
            if (member.bitOffset != 0 || member.bitSize != 0) {
                m_type.SetType(kUdtBitFields);
            }
            list->AddMember(m_file.m_symFile, member.name, member.type.byteSize, member.type.baseType,
                            member.type.qualifiers, member.offset, member.type.udtId, static_cast<u16>(member.bitSize),
                            static_cast<u16>(member.bitOffset));
            member = MemberRecord();
        }
    }
}
