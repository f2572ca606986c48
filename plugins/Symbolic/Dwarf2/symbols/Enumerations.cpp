// Enumerations (DWARF 2.0, 5.6). Enumerators are read without rows.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSymFile.h"

#include <new>

u32 Dwarf2File::BuildEnumeration(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                                 DbgUserDefinedVarType* type)
{
    row->flags |= DIEInfo::kDieBuilt;
    ReadTypeHead(unit, row, decl, dump, type);
    auto* info = new (std::nothrow) DbgUDTInfoEnum32(m_symFile);
    type->SetTypeInfo(info);
    if (decl->hasChildren != 0 && info != nullptr) {
        row->flags |= DIEInfo::kDieChildrenRead;
        ReadEnumerators(unit, info);
    }
    return m_debug_info.Pos();
}

void Dwarf2File::ReadEnumerators(const CompileUnitInfo* unit, DbgUDTInfoEnum32* info)
{
    DIEInfo local;
    while (!EndIfSpent() && !AtEnd(m_debug_info)) {
        local.infoOffset = m_debug_info.Pos();
        local.abbrIndex = ReadCode();
        if (local.abbrIndex == 0) {
            return;
        }
        const AbbrevDecl* decl = FindAbbrevDecl(unit->abbrevOffset, local.abbrIndex);
        if (decl == nullptr || decl->tag != TAG_enumerator) {
            return;
        }
        Seek(m_debug_abbrev, decl->offset + decl->headerSize);
        BuildEnumerator(unit, &local, decl, false, info);
    }
}

u32 Dwarf2File::BuildEnumerator(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                                DbgUDTInfoEnum32* info)
{
    row->flags |= DIEInfo::kDieBuilt;
    const char* name = nullptr;
    u32 value = 0;
    bool haveValue = false;
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                name = got->Text();
            }
            break;
        case AT_const_value:
            if (const AttrValue* got = read()) {
                value = got->value;
                haveValue = true;
            }
            break;
        default:
            break;
        }
    });
    if (name != nullptr && haveValue && m_budget.Spend(1, Budget::kMember)) {
        info->AddEnumValue(static_cast<i32>(value), name); // a signed word of 32 bits
    }
    return m_debug_info.Pos();
}
