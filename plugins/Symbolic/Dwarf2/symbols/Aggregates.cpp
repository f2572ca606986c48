// Classes, structures and unions (DWARF 2.0, 5.5), with the loop that reads their members.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/MemberRecord.h"

#include <algorithm>
#include <new>
#include <vector>

void Dwarf2File::ReadTypeHead(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                              DbgUserDefinedVarType* type)
{
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                type->SetTypeName(got->Text());
            }
            break;
        case AT_byte_size:
            read.To(type->m_byteSize);
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::BuildAggregate(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                                DbgUserDefinedVarType* type, DbgVariableUserDefinedType kind)
{
    row->flags |= DIEInfo::kDieBuilt;
    ReadTypeHead(unit, row, decl, dump, type);
    if (decl->hasChildren == 0) {
        if (kind == kUdtStruct) {
            // An incomplete structure is a type of its own, of size 1.
            type->SetType(kUdtStruct);
            type->m_byteSize = std::max(type->m_byteSize, 1u);
        }
        return;
    }
    row->flags |= DIEInfo::kDieChildrenRead;
    Nest([&] { ReadMembers(unit, row->infoOffset, type, kind); });
    if (type->GetInfo() == nullptr) {
        row->flags &= ~DIEInfo::kDieChildrenRead; // no memory for a list: the walk goes through them
    } else if (row->sibling == kNone) {
        row->sibling = m_debug_info.Pos();
    }
}

void Dwarf2File::ReadMembers(const CompileUnitInfo* unit, u32 dieOffset, DbgUserDefinedVarType* type,
                             DbgVariableUserDefinedType kind)
{
    auto* list = new (std::nothrow) DbgUDTInfoMembers;
    if (list == nullptr) {
        return;
    }
    type->SetTypeInfo(list, kind);
    // One record for all members: a child that adds nothing leaves its fields to the next.
    MemberRecord member;
    std::vector<u32> parents{dieOffset};
    constexpr std::size_t kLevel = 1;
    while (!AtEnd(m_debug_info)) {
        const u32 entry = m_debug_info.Pos();
        const u32 next = ReadDie(unit, &parents, true, &member);
        if (parents.size() > kLevel) {
            WalkEntries(unit, &parents, false, entry);
        }
        if (next == kNone || parents.size() < kLevel) {
            break;
        }
        Seek(m_debug_info, next > entry ? next : kNone); // a sibling that leads back ends the loop
        if (member.offsetValid && m_budget.Spend(1, Budget::kMember)) {
            if (member.bitOffset != 0 || member.bitSize != 0) {
                type->SetType(kUdtBitFields);
            }
            list->AddMember(m_symFile, member.name, member.type.byteSize, member.type.baseType, member.type.qualifiers,
                            member.offset, member.type.udtId, static_cast<u16>(member.bitSize),
                            static_cast<u16>(member.bitOffset));
            member = MemberRecord();
        }
    }
}
