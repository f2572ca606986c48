// Enumerations (DWARF 2.0, 5.6). Enumerators are read without rows.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeBuilder.h"

#include <new>

void Dwarf2File::TypeBuilder::BuildEnumeration()
{
    ReadHead();
    auto* info = new (std::nothrow) DbgUDTInfoEnum32(m_file.m_symFile);
    m_type.SetTypeInfo(info);
    if (m_entry.decl->hasChildren != 0 && info != nullptr) {
        m_entry.row.Set(DIEInfo::kDieChildrenRead);
        ReadEnumerators(*info);
    }
}

void Dwarf2File::TypeBuilder::ReadEnumerators(DbgUDTInfoEnum32& info)
{
    DieRow row; // nobody asks for it
    while (!m_file.EndIfSpent() && !AtEnd(m_file.m_debug_info)) {
        const u32 offset = m_file.m_debug_info.Pos();
        const u32 code = m_file.ReadCode();
        if (code == 0) {
            return;
        }
        const AbbrevDecl* decl = m_file.FindAbbrevDecl(m_entry.unit->abbrevOffset, code);
        if (decl == nullptr || decl->tag != TAG_enumerator) {
            return;
        }
        Seek(m_file.m_debug_abbrev, decl->offset + decl->headerSize);
        BuildEnumerator({m_entry.unit, DIEInfo(offset, row, nullptr), decl, false}, info);
    }
}

void Dwarf2File::TypeBuilder::BuildEnumerator(const Entry& enumerator, DbgUDTInfoEnum32& info)
{
    const char* name = nullptr;
    u32 value = 0;
    bool haveValue = false;
    m_file.ReadEntry(enumerator, [&](u32 attribute, AttrReader& read) {
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
    if (name != nullptr && haveValue && m_file.m_budget.Spend(1, Budget::kMember)) {
        info.AddEnumValue(static_cast<i32>(value), name); // a signed word of 32 bits
    }
}
