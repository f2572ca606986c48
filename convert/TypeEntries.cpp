// The entries of types.
#include "convert/UnitConverter.h"

#include <algorithm>

namespace convert {

namespace {

constexpr u32 kPointerSize = 4;

/// The encodings of DWARF 2.0; for a later one the one that is most like it.
u64 Dwarf2Encoding(u64 encoding)
{
    switch (encoding) {
    case DW_ATE_imaginary_float:
    case DW_ATE_decimal_float:
        return DW_ATE_float;
    case DW_ATE_signed_fixed:
    case DW_ATE_packed_decimal:
    case DW_ATE_numeric_string:
    case DW_ATE_edited:
        return DW_ATE_signed;
    case DW_ATE_unsigned_fixed:
    case DW_ATE_UTF:
    case 0x11: // DW_ATE_UCS
        return DW_ATE_unsigned;
    case 0x12: // DW_ATE_ASCII
        return DW_ATE_unsigned_char;
    default:
        return encoding;
    }
}

/// How many typedefs follow each other: the outer one has to come first.
template <typename Next>
u32 DepthOf(u32 node, Next next)
{
    constexpr u32 kMaxDepth = 64;
    u32 depth = 0;
    while (depth < kMaxDepth && node != kNoNode) {
        ++depth;
        node = next(node);
    }
    return depth;
}

/// What an expression adds to the address that it finds, if that is all it does: DW_OP_plus_uconst, or a small number
/// and DW_OP_plus.
std::optional<u64> AddedConstant(ByteView expression)
{
    ByteReader reader(expression, false);
    const u8 first = reader.U8();
    std::optional<u64> added;
    if (first == DW_OP_plus_uconst) {
        added = reader.Uleb();
    } else if (first >= DW_OP_lit0 && first <= DW_OP_lit31 && reader.U8() == DW_OP_plus) {
        added = first - DW_OP_lit0;
    } else if (first == DW_OP_constu) {
        added = reader.Uleb();
        if (reader.U8() != DW_OP_plus) {
            return std::nullopt;
        }
    }
    return reader.AtEnd() && !reader.Failed() ? added : std::nullopt;
}

} // namespace

void UnitConverter::AddTypes()
{
    const auto next = [&](u32 node) {
        const u32 target = Final(Next(node));
        return target != kNoNode && m_unit.Tag(target) == DW_TAG_typedef ? target : kNoNode;
    };
    std::vector<std::pair<u32, u32>> typedefs; // by depth
    for (const u32 node : m_typeNodes) {
        const u32 tag = m_unit.Tag(node);
        if (tag == DW_TAG_typedef || tag == DW_TAG_template_alias) {
            typedefs.emplace_back(DepthOf(node, next), node);
        }
    }
    std::stable_sort(typedefs.begin(), typedefs.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [depth, node] : typedefs) {
        AddTypedef(node, 0);
    }
    for (const u32 node : m_typeNodes) {
        const u32 tag = m_unit.Tag(node);
        if (tag != DW_TAG_typedef && tag != DW_TAG_template_alias) {
            AddType(node, 0);
        }
    }
    AddCopies();
}

void UnitConverter::AddType(u32 node, u32 parent)
{
    switch (m_unit.Tag(node)) {
    case DW_TAG_class_type:
    case DW_TAG_structure_type:
    case DW_TAG_union_type:
    case DW_TAG_interface_type:
        if (!LinkOf(node)) {
            AddClass(node, parent);
        }
        return;
    case DW_TAG_enumeration_type:
        if (!LinkOf(node)) {
            AddEnumeration(node, parent);
        }
        return;
    case DW_TAG_typedef:
    case DW_TAG_template_alias:
        return AddTypedef(node, parent);
    case DW_TAG_array_type:
        return AddArray(node, parent);
    case DW_TAG_base_type:
        return AddBaseType(node, parent);
    case DW_TAG_ptr_to_member_type:
        return AddPointerToMember(node, parent);
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type: {
        const bool isPointer = m_unit.Tag(node) == DW_TAG_pointer_type;
        m_tree.AddFor(parent, isPointer ? DW_TAG_pointer_type : DW_TAG_reference_type, node);
        m_tree.Number(DW_AT_byte_size, kPointerSize);
        return TypeAttribute(node);
    }
    case DW_TAG_unspecified_type:
        if (Resolve(Reference{node, std::nullopt}).kind == Target::Kind::Node) {
            m_tree.AddFor(parent, DW_TAG_pointer_type, node);
            m_tree.Number(DW_AT_byte_size, kPointerSize);
        }
        return;
    case DW_TAG_const_type:
    case DW_TAG_volatile_type: {
        // If it leads to nothing, nothing refers to it.
        const Target target = TargetOf(node);
        if (target.kind != Target::Kind::Void) {
            m_tree.AddFor(parent, m_unit.Tag(node), node);
            TypeAttribute(target);
        }
        return;
    }
    case DW_TAG_subroutine_type: {
        const u32 entry = m_tree.AddFor(parent, DW_TAG_subroutine_type, node);
        if (m_unit.Flag(node, DW_AT_prototyped)) {
            m_tree.Flag(DW_AT_prototyped);
        }
        TypeAttribute(node);
        return AddSignature(node, entry);
    }
    default:
        return;
    }
}

void UnitConverter::TypeAttribute(Target target, u32 name)
{
    switch (target.kind) {
    case Target::Kind::Void:
        return;
    case Target::Kind::Node:
        return m_tree.ToNode(name, target.node);
    case Target::Kind::Foreign:
        return m_tree.ToForeign(name, target.key);
    }
}

void UnitConverter::SizedType(u32 node, Target target)
{
    const u32 final = target.kind == Target::Kind::Node ? Final(target.node) : kNoNode;
    const bool inLoop = final != kNoNode && m_graph->InOneLoop(node, final);
    if (!inLoop && !LeadsToOtherTypeUnit(target)) {
        return TypeAttribute(target);
    }
    // A reader that loads the target first comes to this entry on the way, before the size is known.
    Copy(target);
}

void UnitConverter::Copy(Target target)
{
    m_copies.emplace_back(m_tree.Count() - 1, target);
    m_tree.ToEntry(DW_AT_type, kNoEntry);
}

/// Type units lead to each other in circles, of which each sees one step. So in a type unit everything that leads to a
/// class of another one counts as a part of a circle.
bool UnitConverter::LeadsToOtherTypeUnit(Target target)
{
    constexpr u32 kMaxSteps = 64;
    for (u32 steps = 0; m_unit.IsType() && steps < kMaxSteps; ++steps) {
        if (target.kind != Target::Kind::Node) {
            return target.kind == Target::Kind::Foreign && CopierOf(target.key) != nullptr;
        }
        switch (m_unit.Tag(target.node)) {
        case DW_TAG_typedef:
        case DW_TAG_template_alias:
        case DW_TAG_array_type:
        case DW_TAG_const_type:
        case DW_TAG_volatile_type:
            target = TargetOf(target.node);
            break;
        default:
            return false;
        }
    }
    return false;
}

/// The converter that copies a class of another type unit. Null if the entry isn't one, or too much has been read for
/// copies.
UnitConverter* UnitConverter::CopierOf(EntryKey key)
{
    const InputUnit* const input = FindUnit(m_shared.units, key.offset, key.inTypes);
    if (input == nullptr || input->type != DW_UT_type) {
        return nullptr;
    }
    std::unique_ptr<UnitConverter>& copier = m_copiers[2 * input->offset + (input->standsInTypes ? 1 : 0)];
    if (copier == nullptr) {
        const u64 size = input->end - input->offset;
        if (size > m_shared.copyBudget) {
            return nullptr;
        }
        m_shared.copyBudget -= size;
        copier.reset(new UnitConverter(m_shared, m_shared.reader.Read(*input), m_tree));
    }
    const u32 node = copier->m_unit.NodeAt(key.offset);
    return node != kNoNode && IsClass(copier->m_unit.Tag(node)) ? copier.get() : nullptr;
}

u32 UnitConverter::AddForeignCopy(EntryKey key)
{
    UnitConverter& copier = *CopierOf(key);
    const u32 entry = m_tree.Count();
    m_tree.CopyFrom(&copier.m_unit);
    copier.AddClass(copier.m_unit.NodeAt(key.offset), 0);
    m_tree.CopyFrom(nullptr);
    return entry;
}

void UnitConverter::AddCopies()
{
    while (!m_copies.empty()) {
        const auto [entry, target] = m_copies.back();
        m_copies.pop_back();
        const bool isForeign = target.kind == Target::Kind::Foreign;
        if (m_tree.Count() >= m_maxEntries && isForeign) {
            m_tree.SetForeign(entry, DW_AT_type, target.key);
        } else if (m_tree.Count() >= m_maxEntries) {
            m_tree.Set(entry, DW_AT_type, m_tree.EntryOf(target.node));
        } else {
            m_tree.Set(entry, DW_AT_type, isForeign ? AddForeignCopy(target.key) : AddCopy(target.node));
        }
    }
}

/// An entry that says the same as that of `node`, and to which one other entry refers.
u32 UnitConverter::AddCopy(u32 node)
{
    const u32 entry = m_tree.Count();
    switch (const u32 tag = m_unit.Tag(node)) {
    case DW_TAG_const_type:
    case DW_TAG_volatile_type: {
        m_tree.Add(0, tag);
        const Target target = TargetOf(node);
        if (target.kind == Target::Kind::Node || LeadsToOtherTypeUnit(target)) {
            Copy(target);
        } else {
            TypeAttribute(target);
        }
        return entry;
    }
    case DW_TAG_enumeration_type:
    case DW_TAG_base_type:
    case DW_TAG_ptr_to_member_type:
    case DW_TAG_subroutine_type:
    case DW_TAG_unspecified_type:
        return m_tree.EntryOf(node);
    default:
        AddType(node, 0);
        return entry;
    }
}

void UnitConverter::AddTypedef(u32 node, u32 parent)
{
    m_tree.AddFor(parent, DW_TAG_typedef, node);
    m_tree.Text(DW_AT_name, m_names.Qualified(node));
    Coordinates(node);
    SizedType(node, TargetOf(node));
}

void UnitConverter::AddBaseType(u32 node, u32 parent)
{
    m_tree.AddFor(parent, DW_TAG_base_type, node);
    m_tree.Text(DW_AT_name, m_names.Qualified(node));
    if (const std::optional<u64> size = m_unit.Number(node, DW_AT_byte_size)) {
        m_tree.Number(DW_AT_byte_size, *size);
    }
    if (const std::optional<u64> encoding = m_unit.Number(node, DW_AT_encoding)) {
        m_tree.Number(DW_AT_encoding, Dwarf2Encoding(*encoding));
    }
}

void UnitConverter::AddEnumeration(u32 node, u32 parent)
{
    const u32 entry = m_tree.AddFor(parent, DW_TAG_enumeration_type, node);
    m_tree.Text(DW_AT_name, m_names.Qualified(node));
    if (const std::optional<u64> size = SizeOf(Reference{node, std::nullopt})) {
        m_tree.Number(DW_AT_byte_size, *size);
    }
    Coordinates(node);
    if (m_unit.Flag(node, DW_AT_declaration)) {
        m_tree.Flag(DW_AT_declaration);
    }
    m_unit.ForEachChild(node, [&](u32 child) {
        if (m_unit.Tag(child) == DW_TAG_enumerator) {
            m_tree.Add(entry, DW_TAG_enumerator);
            m_tree.Text(DW_AT_name, m_unit.Text(child, DW_AT_name));
            ConstantAttribute(child);
        }
    });
}

void UnitConverter::AddClass(u32 node, u32 parent)
{
    const u32 tag = m_unit.Tag(node);
    const u32 entry = m_tree.AddFor(parent, tag == DW_TAG_interface_type ? u32{DW_TAG_class_type} : tag, node);
    m_tree.Text(DW_AT_name, m_names.Qualified(node));
    if (const std::optional<u64> size = m_unit.Number(node, DW_AT_byte_size)) {
        m_tree.Number(DW_AT_byte_size, *size);
    }
    Coordinates(node);
    if (m_unit.Flag(node, DW_AT_declaration)) {
        m_tree.Flag(DW_AT_declaration);
    }
    TypeAttribute(Resolve(m_unit.Refer(node, DW_AT_containing_type)), DW_AT_containing_type);
    AddMembers(node, entry);
}

void UnitConverter::AddMembers(u32 node, u32 entry)
{
    m_unit.ForEachChild(node, [&](u32 child) {
        switch (m_unit.Tag(child)) {
        case DW_TAG_member:
            if (m_unit.Flag(child, DW_AT_external) || m_unit.Flag(child, DW_AT_declaration)) {
                AddStaticMember(child, entry);
            } else {
                AddMember(child, entry, node);
            }
            break;
        case DW_TAG_inheritance:
            AddInheritance(child, entry);
            break;
        case DW_TAG_variable:
            AddStaticMember(child, entry);
            break;
        case DW_TAG_subprogram:
            AddMethod(child, entry);
            break;
        case DW_TAG_template_type_parameter:
        case DW_TAG_template_value_parameter:
        case DW_TAG_GNU_template_parameter_pack:
            AddTemplateParameter(child, entry);
            break;
        case DW_TAG_variant_part:
            LeaveOut("members", "they depend on another member");
            break;
        default: // types are elsewhere
            break;
        }
    });
}

void UnitConverter::Accessibility(u32 node, u32 parentNode, bool always)
{
    const bool isBase = m_unit.Tag(node) == DW_TAG_inheritance;
    const bool isClass = m_unit.Tag(parentNode) == DW_TAG_class_type;
    const bool isOld = m_unit.Version() < 3; // where members are public and bases private
    const u64 usual = (isOld ? isBase : isClass) ? DW_ACCESS_private : DW_ACCESS_public;
    const u64 accessibility = m_unit.Number(node, DW_AT_accessibility).value_or(usual);
    if (always || accessibility != DW_ACCESS_public) {
        m_tree.Number(DW_AT_accessibility, accessibility);
    }
}

/// AT_data_member_location as the expression that adds a number.
void UnitConverter::MemberOffset(u64 offset)
{
    ByteWriter expression(false);
    expression.U8(DW_OP_plus_uconst);
    expression.Uleb(offset);
    m_tree.Block(DW_AT_data_member_location, expression.View());
}

/// AT_data_member_location: a number becomes the expression that adds it.
void UnitConverter::DataLocation(u32 node)
{
    ExpressionBytes expression;
    std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_data_member_location);
    if (const std::optional<u64> offset = m_unit.Number(node, DW_AT_data_member_location); offset || !attribute) {
        return MemberOffset(offset.value_or(0));
    }
    const Location location = m_shared.locations.Read(*attribute, {});
    if (location.kind != Location::Kind::Whole) {
        return;
    }
    const ByteView bytes = View(location.expression);
    if (const std::optional<u64> added = AddedConstant(bytes)) {
        return MemberOffset(*added);
    }
    m_tree.Block(DW_AT_data_member_location, bytes);
}

/// The offset that an expression adds, if it does nothing else; else 0.
u64 UnitConverter::ConstantLocation(u32 node)
{
    std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_data_member_location);
    Dwarf_Block block;
    if (!attribute || dwarf_formblock(&*attribute, &block) != 0) {
        return 0;
    }
    return AddedConstant({block.data, static_cast<std::size_t>(block.length)}).value_or(0);
}

void UnitConverter::AddMember(u32 node, u32 parent, u32 classNode)
{
    m_tree.Add(parent, DW_TAG_member);
    m_tree.Text(DW_AT_name, m_unit.Text(node, DW_AT_name));
    Coordinates(node);
    const Target target = TargetOf(node);
    TypeAttribute(target);
    if (m_unit.Has(node, DW_AT_bit_size)) {
        AddBitField(node);
    } else {
        const u32 final = target.kind == Target::Kind::Node ? Final(target.node) : kNoNode;
        // References to other units may lead anywhere, and type units always lead to others.
        const bool isForeign = target.kind == Target::Kind::Foreign || m_unit.IsType();
        if (isForeign || (final != kNoNode && m_graph->InOneLoop(classNode, final))) {
            // A type that leads back to a class that is being read has no size yet.
            if (const std::optional<u64> size = SizeOf(TypeOf(node))) {
                m_tree.Number(DW_AT_byte_size, *size);
            }
        }
        DataLocation(node);
    }
    Accessibility(node, classNode, true);
    if (m_unit.Flag(node, DW_AT_artificial)) {
        m_tree.Flag(DW_AT_artificial);
    }
}

/// The bits of a field are counted from the most significant bit of a storage unit, whatever the byte order.
void UnitConverter::AddBitField(u32 node)
{
    const u64 bits = m_unit.Number(node, DW_AT_bit_size).value_or(0);
    const u64 typeSize = SizeOf(TypeOf(node)).value_or(kPointerSize);
    std::optional<u64> fromStart = m_unit.Number(node, DW_AT_data_bit_offset);
    const u64 location = m_unit.Number(node, DW_AT_data_member_location).value_or(ConstantLocation(node));
    if (const std::optional<i64> inUnit = m_unit.Signed(node, DW_AT_bit_offset); !fromStart && inUnit) {
        const u64 unitBits = 8 * m_unit.Number(node, DW_AT_byte_size).value_or(typeSize);
        // Modulo 2^64: a field that reaches beyond its unit begins at a negative bit of it.
        const u64 first =
            m_shared.program.BigEndian() ? static_cast<u64>(*inUnit) : unitBits - static_cast<u64>(*inUnit) - bits;
        fromStart = 8 * location + first;
    }
    const u64 start = fromStart.value_or(8 * location);
    // The storage unit given by the type, if the field fits in one; else the smallest that holds it.
    u64 size = typeSize == 0 ? 1 : typeSize;
    u64 unit = start / (8 * size) * size;
    if (start + bits > 8 * (unit + size)) {
        unit = start / 8;
        size = 1;
        while (8 * size < start % 8 + bits) {
            size *= 2;
        }
    }
    const u64 within = start - 8 * unit;
    m_tree.Number(DW_AT_byte_size, size);
    m_tree.Number(DW_AT_bit_offset, m_shared.program.BigEndian() ? within : 8 * size - within - bits);
    m_tree.Number(DW_AT_bit_size, bits);
    MemberOffset(unit);
}

/// A static member is a variable that is defined elsewhere.
void UnitConverter::AddStaticMember(u32 node, u32 parent)
{
    m_tree.AddFor(parent, DW_TAG_variable, node);
    m_tree.Text(DW_AT_name, m_unit.Text(node, DW_AT_name));
    Coordinates(node);
    TypeAttribute(node);
    m_tree.Flag(DW_AT_external);
    m_tree.Flag(DW_AT_declaration);
    Accessibility(node, m_unit.Parent(node), true);
    ConstantAttribute(node);
}

void UnitConverter::AddInheritance(u32 node, u32 parent)
{
    m_tree.Add(parent, DW_TAG_inheritance);
    TypeAttribute(node);
    DataLocation(node);
    Accessibility(node, m_unit.Parent(node), true);
    if (const std::optional<u64> virtuality = m_unit.Number(node, DW_AT_virtuality); virtuality.value_or(0) != 0) {
        m_tree.Number(DW_AT_virtuality, *virtuality);
    }
}

void UnitConverter::AddMethod(u32 node, u32 parent)
{
    const u32 entry = m_tree.AddFor(parent, DW_TAG_subprogram, node);
    m_tree.Text(DW_AT_name, m_names.Own(node));
    if (m_names.Own(node).empty()) {
        m_tree.Text(DW_AT_name, m_names.Linkage(node));
    }
    Coordinates(node);
    TypeAttribute(node);
    if (m_unit.Flag(node, DW_AT_external)) {
        m_tree.Flag(DW_AT_external);
    }
    m_tree.Flag(DW_AT_declaration);
    if (m_unit.Flag(node, DW_AT_prototyped)) {
        m_tree.Flag(DW_AT_prototyped);
    }
    if (m_unit.Flag(node, DW_AT_artificial)) {
        m_tree.Flag(DW_AT_artificial);
    }
    Accessibility(node, m_unit.Parent(node), false);
    if (const std::optional<u64> virtuality = m_unit.Number(node, DW_AT_virtuality); virtuality.value_or(0) != 0) {
        m_tree.Number(DW_AT_virtuality, *virtuality);
        if (std::optional<Dwarf_Attribute> slot = m_unit.Get(node, DW_AT_vtable_elem_location)) {
            const Location location = m_shared.locations.Read(*slot, {});
            if (location.kind == Location::Kind::Whole) {
                m_tree.Block(DW_AT_vtable_elem_location, View(location.expression));
            }
        }
        TypeAttribute(Resolve(m_unit.Refer(node, DW_AT_containing_type)), DW_AT_containing_type);
    }
    AddSignature(node, entry);
}

void UnitConverter::AddSignature(u32 node, u32 entry)
{
    m_unit.ForEachChild(node, [&](u32 child) {
        switch (m_unit.Tag(child)) {
        case DW_TAG_formal_parameter:
            m_tree.AddFor(entry, DW_TAG_formal_parameter, child);
            m_tree.Text(DW_AT_name, m_names.Own(child));
            TypeAttribute(child);
            if (m_unit.Flag(child, DW_AT_artificial)) {
                m_tree.Flag(DW_AT_artificial);
            }
            break;
        case DW_TAG_unspecified_parameters:
            m_tree.Add(entry, DW_TAG_unspecified_parameters);
            break;
        case DW_TAG_template_type_parameter:
        case DW_TAG_template_value_parameter:
        case DW_TAG_GNU_template_parameter_pack:
            AddTemplateParameter(child, entry);
            break;
        default:
            break;
        }
    });
}

void UnitConverter::AddTemplateParameter(u32 node, u32 parent)
{
    switch (m_unit.Tag(node)) {
    case DW_TAG_template_type_parameter:
        m_tree.Add(parent, DW_TAG_template_type_parameter);
        m_tree.Text(DW_AT_name, m_unit.Text(node, DW_AT_name));
        return TypeAttribute(node);
    case DW_TAG_template_value_parameter:
        m_tree.Add(parent, DW_TAG_template_value_parameter);
        m_tree.Text(DW_AT_name, m_unit.Text(node, DW_AT_name));
        TypeAttribute(node);
        return ConstantAttribute(node);
    default:
        m_unit.ForEachChild(node, [&](u32 child) {
            if (m_unit.Tag(child) == DW_TAG_template_type_parameter ||
                m_unit.Tag(child) == DW_TAG_template_value_parameter) {
                AddTemplateParameter(child, parent);
            }
        });
    }
}

/// Arrays have one dimension: one with more becomes an array of arrays.
void UnitConverter::AddArray(u32 node, u32 parent)
{
    const std::vector<Dimension> dimensions = DimensionsOf(node);
    std::vector<std::optional<u64>> sizes(dimensions.size() + 1); // of what each dimension is an array of
    sizes.back() = SizeOf(TypeOf(node));
    for (std::size_t i = dimensions.size(); i-- != 0;) {
        const bool known = sizes[i + 1] && dimensions[i].count;
        sizes[i] = known ? std::optional(*sizes[i + 1] * *dimensions[i].count) : std::nullopt;
    }
    for (std::size_t i = 0; i < dimensions.size(); ++i) {
        const u32 entry =
            i == 0 ? m_tree.AddFor(parent, DW_TAG_array_type, node) : m_tree.Add(parent, DW_TAG_array_type);
        if (sizes[i]) {
            m_tree.Number(DW_AT_byte_size, *sizes[i]);
        }
        if (i + 1 == dimensions.size()) {
            SizedType(node, TargetOf(node));
        } else {
            m_tree.ToEntry(DW_AT_type, entry + 2); // after this one and its subrange
        }
        m_tree.Add(entry, DW_TAG_subrange_type);
        const Dimension& dimension = dimensions[i];
        if (dimension.lower > 0) {
            m_tree.Number(DW_AT_lower_bound, static_cast<u64>(dimension.lower));
        } else if (dimension.lower < 0) {
            m_tree.Signed(DW_AT_lower_bound, dimension.lower);
        }
        if (dimension.count && *dimension.count == 0) {
            m_tree.Number(DW_AT_count, 0);
        } else if (dimension.count) {
            const i64 upper = static_cast<i64>(static_cast<u64>(dimension.lower) + *dimension.count - 1);
            if (upper < 0) {
                m_tree.Signed(DW_AT_upper_bound, upper);
            } else {
                m_tree.Number(DW_AT_upper_bound, static_cast<u64>(upper));
            }
        } else if (dimension.isDynamic) {
            LeaveOut("bounds of arrays", "known at run time only");
        }
    }
    if (m_unit.Has(node, DW_AT_byte_stride) || m_unit.Has(node, DW_AT_bit_stride)) {
        LeaveOut("strides of arrays", "counted differently");
    }
}

/// What the ABI passes: an offset, or an address and an adjustment.
void UnitConverter::AddPointerToMember(u32 node, u32 parent)
{
    const std::string name = m_names.TypeText(Reference{node, std::nullopt});
    const u32 function = Final(Next(node));
    if (function == kNoNode || m_unit.Tag(function) != DW_TAG_subroutine_type) {
        m_tree.AddFor(parent, DW_TAG_base_type, node);
        m_tree.OwnText(DW_AT_name, name);
        m_tree.Number(DW_AT_byte_size, kPointerSize);
        m_tree.Number(DW_AT_encoding, DW_ATE_signed);
        return;
    }
    const u32 intType = IntType();
    const u32 pointer = m_tree.Add(parent, DW_TAG_pointer_type);
    m_tree.Number(DW_AT_byte_size, kPointerSize);
    TypeAttribute(Resolve(m_unit.Refer(node, DW_AT_type)));
    const u32 entry = m_tree.AddFor(parent, DW_TAG_structure_type, node);
    m_tree.OwnText(DW_AT_name, name);
    m_tree.Number(DW_AT_byte_size, 2 * kPointerSize);
    const auto member = [&](const char* memberName, u32 type, u32 offset) {
        m_tree.Add(entry, DW_TAG_member);
        m_tree.Text(DW_AT_name, memberName);
        m_tree.ToEntry(DW_AT_type, type);
        m_tree.Number(DW_AT_byte_size, kPointerSize);
        MemberOffset(offset);
        m_tree.Number(DW_AT_accessibility, DW_ACCESS_public);
    };
    member("__pfn", pointer, 0);
    member("__delta", intType, kPointerSize);
}

u32 UnitConverter::IntType()
{
    if (m_intType == kNoEntry) {
        m_intType = m_tree.Add(0, DW_TAG_base_type);
        m_tree.Text(DW_AT_name, "int");
        m_tree.Number(DW_AT_byte_size, kPointerSize);
        m_tree.Number(DW_AT_encoding, DW_ATE_signed);
    }
    return m_intType;
}

} // namespace convert
