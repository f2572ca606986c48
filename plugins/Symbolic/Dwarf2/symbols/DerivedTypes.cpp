// Adds a type DIE to the store, and builds the types that refer to others (DWARF 2.0, 5.2 to 5.4, 5.7, 5.10): pointers
// and references, typedefs, arrays, subroutine types, and the two modifiers, which are links and not types of their
// own.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeBuilder.h"
#include "symbols/TypeRef.h"

#include <new>

void Dwarf2File::BuildType(const Entry& entry)
{
    const DIEInfo& row = entry.row;
    // Happens only when a file is added again with the same store.
    if (m_symFile->HasUserDefinedType(row.infoOffset)) {
        Seek(m_debug_info, row.Sibling());
        return;
    }
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(row.infoOffset, nullptr, 0);
    if (!type) {
        PassBy(entry);
        return;
    }
    TypeBuilder(*this, entry, *type).Build();
    AddToStore(type);
}

void Dwarf2File::TypeBuilder::Build()
{
    m_entry.row.Set(DIEInfo::kDieBuilt);
    switch (m_entry.decl->tag) {
    case TAG_array_type:
        BuildArray();
        break;
    case TAG_class_type:
        BuildAggregate(kUdtClass);
        break;
    case TAG_enumeration_type:
        BuildEnumeration();
        break;
    case TAG_pointer_type:
    case TAG_reference_type:
        BuildPointer();
        break;
    case TAG_structure_type:
        BuildAggregate(kUdtStruct);
        break;
    case TAG_subroutine_type:
        BuildSubroutineType();
        break;
    case TAG_union_type:
        BuildAggregate(kUdtUnion);
        break;
    case TAG_base_type:
        BuildBaseType();
        break;
    default:
        break;
    }
}

void Dwarf2File::TypeBuilder::BuildPointer()
{
    TypeRef target;
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_type) {
            if (const AttrValue* got = read()) {
                m_file.ResolveType(got->value, &target);
            }
        }
    });
    m_type.SetTypeInfo(new (std::nothrow) DbgUDTInfoPointer(m_file.m_symFile, "", target.byteSize, target.baseType,
                                                            target.qualifiers, target.udtId));
    m_type.m_byteSize = m_entry.unit->addressSize;
}

void Dwarf2File::TypeBuilder::BuildSubroutineType()
{
    m_type.m_byteSize = m_entry.unit->addressSize;
    m_file.ReadEntry(m_entry, [](u32, AttrReader&) {});
    m_type.SetTypeName("(*function)");
    m_type.SetTypeInfo(new (std::nothrow) DbgUDTInfoTypedef(m_file.m_symFile, kBaseInt, 0, kNone));
    m_file.AddBaseTypeSize(m_entry.row.infoOffset, 0);
}

void Dwarf2File::TypeBuilder::BuildArray()
{
    m_entry.row.Set(DIEInfo::kDieChildrenRead);
    TypeRef element;
    u32 byteSize = 0;
    u32 stride = 0;
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_byte_size:
            read.To(byteSize);
            break;
        case AT_stride_size:
            read.To(stride);
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                m_file.ResolveType(got->value, &element);
            }
            break;
        default:
            break;
        }
    });
    // Even for an array without children: then the entries after it are read as its children.
    Bounds bounds;
    ReadSubranges(bounds);
    if (m_entry.row.Sibling() == kNone) {
        m_entry.row.SetSibling(m_file.m_debug_info.Pos());
    }
    const u32 gap = stride > element.byteSize ? stride - element.byteSize : 0;
    if (byteSize == 0) {
        byteSize = (bounds.upper - bounds.lower + 1) * (gap + element.byteSize);
    }
    m_type.m_byteSize = byteSize;
    if (auto* info =
            new (std::nothrow) DbgUDTInfoArray(m_file.m_symFile, element.baseType, element.qualifiers, element.udtId,
                                               bounds.lower, bounds.upper, element.byteSize, gap)) {
        m_type.SetTypeInfo(info);
    }
}

void Dwarf2File::TypeBuilder::ReadSubranges(Bounds& bounds)
{
    while (!m_file.EndIfSpent() && !AtEnd(m_file.m_debug_info)) {
        const u32 offset = m_file.m_debug_info.Pos();
        const u32 code = m_file.ReadCode();
        if (code == 0) {
            return;
        }
        // Only the code of any other entry is read: its bytes are then taken for further codes.
        const AbbrevDecl* decl = m_file.FindAbbrevDecl(m_entry.unit->abbrevOffset, code);
        if (decl != nullptr && decl->tag == TAG_subrange_type) {
            Seek(m_file.m_debug_abbrev, decl->offset + decl->headerSize);
            DieRow row;
            BuildSubrange(m_file, {m_entry.unit, DIEInfo(offset, row, nullptr), decl, false}, bounds);
        }
    }
}

void Dwarf2File::TypeBuilder::BuildSubrange(Dwarf2File& file, const Entry& entry, Bounds& bounds)
{
    entry.row.Set(DIEInfo::kDieBuilt);
    file.ReadEntry(entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_lower_bound:
            read.To(bounds.lower);
            break;
        case AT_upper_bound:
            read.To(bounds.upper);
            break;
        case AT_count:
            if (const AttrValue* got = read()) {
                bounds = {0, got->value - 1};
            }
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::BuildTypedef(const Entry& entry)
{
    const DIEInfo& row = entry.row;
    if (m_symFile->HasUserDefinedType(row.infoOffset)) {
        return;
    }
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(row.infoOffset, nullptr, 0);
    if (!type) {
        PassBy(entry);
        return;
    }
    row.Set(DIEInfo::kDieBuilt);
    TypeRef target;
    ReadEntry(entry, [&](u32 attribute, AttrReader& read) {
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
    if (target.udtId == row.infoOffset) {
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
    AddToStore(type);
}

void Dwarf2File::BuildTypeModifier(const Entry& entry)
{
    // The row stays unbuilt and doesn't get its end: each visit reads the DIE again.
    ForEachAttribute(entry, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_sibling) {
            if (const AttrValue* got = read()) {
                entry.row.SetSibling(got->value);
            }
        } else if (attribute == AT_type) {
            if (const AttrValue* got = read()) {
                const bool isConst = entry.decl->tag == TAG_const_type;
                AddTypeModifier(entry.row.infoOffset, {got->value, isConst ? kQualifierConst : kQualifierVolatile});
            }
        }
    });
}

void Dwarf2File::BuildLoneSubrange(const Entry& entry)
{
    Bounds dropped;
    TypeBuilder::BuildSubrange(*this, entry, dropped);
}
