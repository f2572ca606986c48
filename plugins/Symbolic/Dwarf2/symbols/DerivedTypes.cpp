// The gate through which a type DIE comes into the store, and the types that refer to others
// (DWARF 2.0, 5.2 to 5.4, 5.7, 5.10): pointers and references, typedefs, arrays, subroutine types,
// and the two modifiers, which are links and no types of their own.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeRef.h"

#include <new>

/// Bounds of an array. Each subrange overwrites them: the last dimension stands.
struct Bounds {
    u32 lower = 0;
    u32 upper = 0;
};

u32 Dwarf2File::BuildType(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump)
{
    // Happens only when a file is added again with the same store.
    if (m_symFile->HasUserDefinedType(row->infoOffset)) {
        Seek(m_debug_info, row->sibling);
        return m_debug_info.Pos();
    }
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(row->infoOffset, nullptr, 0);
    if (!type) {
        PassBy(unit, row, decl);
        return m_debug_info.Pos();
    }
    switch (decl->tag) {
    case TAG_array_type:
        BuildArray(unit, row, decl, dump, type.get());
        break;
    case TAG_class_type:
        BuildAggregate(unit, row, decl, dump, type.get(), kUdtClass);
        break;
    case TAG_enumeration_type:
        BuildEnumeration(unit, row, decl, dump, type.get());
        break;
    case TAG_pointer_type:
    case TAG_reference_type:
        BuildPointer(unit, row, decl, dump, type.get());
        break;
    case TAG_structure_type:
        BuildAggregate(unit, row, decl, dump, type.get(), kUdtStruct);
        break;
    case TAG_subroutine_type:
        BuildSubroutineType(unit, row, decl, dump, type.get());
        break;
    case TAG_union_type:
        BuildAggregate(unit, row, decl, dump, type.get(), kUdtUnion);
        break;
    case TAG_base_type:
        BuildBaseType(unit, row, decl, dump, type.get());
        break;
    default:
        break;
    }
    m_symFile->AddUserDefinedType(type);
    return m_debug_info.Pos();
}

u32 Dwarf2File::BuildPointer(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                             DbgUserDefinedVarType* type)
{
    row->flags |= DIEInfo::kDieBuilt;
    TypeRef target;
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_type) {
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &target);
            }
        }
    });
    type->SetTypeInfo(new (std::nothrow) DbgUDTInfoPointer(m_symFile, "", target.byteSize, target.baseType,
                                                           target.qualifiers, target.udtId));
    type->m_byteSize = unit->addressSize;
    return m_debug_info.Pos();
}

u32 Dwarf2File::BuildSubroutineType(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                                    DbgUserDefinedVarType* type)
{
    row->flags |= DIEInfo::kDieBuilt;
    type->m_byteSize = unit->addressSize;
    ReadEntry(unit, row, decl, dump, [](u32, AttrReader&) {});
    type->SetTypeName("(*function)");
    type->SetTypeInfo(new (std::nothrow) DbgUDTInfoTypedef(m_symFile, kBaseInt, 0, kNone));
    m_typeRefMap[row->infoOffset] = {0, 0};
    return m_debug_info.Pos();
}

u32 Dwarf2File::BuildTypedef(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump)
{
    if (m_symFile->HasUserDefinedType(row->infoOffset)) {
        return m_debug_info.Pos();
    }
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(row->infoOffset, nullptr, 0);
    if (!type) {
        PassBy(unit, row, decl);
        return m_debug_info.Pos();
    }
    row->flags |= DIEInfo::kDieBuilt;
    TypeRef target;
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                type->SetTypeName(got->Text());
            }
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &target);
            }
            break;
        default:
            break;
        }
    });
    if (target.udtId == row->infoOffset) {
        // The typedef reaches itself.
        target.baseType = kBaseVoid;
        target.udtId = kNone;
        if (target.byteSize == 0) {
            target.byteSize = 4;
        }
    }
    type->SetTypeInfo(new (std::nothrow)
                          DbgUDTInfoTypedef(m_symFile, target.baseType, target.qualifiers, target.udtId));
    type->m_byteSize = target.byteSize;
    m_symFile->AddUserDefinedType(type);
    return m_debug_info.Pos();
}

u32 Dwarf2File::BuildTypeModifier(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump)
{
    // The row stays unbuilt, and its end isn't noted here: each visit reads the DIE again.
    ForEachAttribute(unit, dump, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_sibling) {
            read.To(row->sibling);
        } else if (attribute == AT_type) {
            if (const AttrValue* got = read()) {
                OffsetMap<u32>& modifiers = decl->tag == TAG_const_type ? m_constTypeMap : m_volatileTypeMap;
                modifiers[row->infoOffset] = got->value;
            }
        }
    });
    return m_debug_info.Pos();
}

u32 Dwarf2File::BuildArray(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                           DbgUserDefinedVarType* type)
{
    row->flags |= DIEInfo::kDieBuilt | DIEInfo::kDieChildrenRead;
    TypeRef element;
    u32 byteSize = 0;
    u32 stride = 0;
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_byte_size:
            read.To(byteSize);
            break;
        case AT_stride_size:
            read.To(stride);
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &element);
            }
            break;
        default:
            break;
        }
    });
    // Also for an array without children: then the entries behind it are read as its children.
    Bounds bounds;
    ReadSubranges(unit, &bounds);
    if (row->sibling == kNone) {
        row->sibling = m_debug_info.Pos();
    }
    const u32 gap = stride > element.byteSize ? stride - element.byteSize : 0;
    if (byteSize == 0) {
        byteSize = (bounds.upper - bounds.lower + 1) * (gap + element.byteSize);
    }
    type->m_byteSize = byteSize;
    if (auto* info = new (std::nothrow) DbgUDTInfoArray(m_symFile, element.baseType, element.qualifiers, element.udtId,
                                                        bounds.lower, bounds.upper, element.byteSize, gap)) {
        type->SetTypeInfo(info);
    }
    return m_debug_info.Pos();
}

void Dwarf2File::ReadSubranges(const CompileUnitInfo* unit, Bounds* bounds)
{
    while (!EndIfSpent() && !AtEnd(m_debug_info)) {
        DIEInfo local;
        local.infoOffset = m_debug_info.Pos();
        local.abbrIndex = ReadCode();
        if (local.abbrIndex == 0) {
            return;
        }
        // Nothing more is read of any other entry: its bytes are read as further codes.
        const AbbrevDecl* decl = FindAbbrevDecl(unit->abbrevOffset, local.abbrIndex);
        if (decl != nullptr && decl->tag == TAG_subrange_type) {
            Seek(m_debug_abbrev, decl->offset + decl->headerSize);
            BuildSubrange(unit, &local, decl, false, bounds);
        }
    }
}

u32 Dwarf2File::BuildLoneSubrange(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump)
{
    return BuildSubrange(unit, row, decl, dump, nullptr);
}

u32 Dwarf2File::BuildSubrange(const CompileUnitInfo* unit, DIEInfo* row, const AbbrevDecl* decl, bool dump,
                              Bounds* bounds)
{
    row->flags |= DIEInfo::kDieBuilt;
    Bounds dropped;
    Bounds& target = bounds != nullptr ? *bounds : dropped;
    ReadEntry(unit, row, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_lower_bound:
            read.To(target.lower);
            break;
        case AT_upper_bound:
            read.To(target.upper);
            break;
        case AT_count:
            if (const AttrValue* got = read()) {
                target = {0, got->value - 1};
            }
            break;
        default:
            break;
        }
    });
    return m_debug_info.Pos();
}
