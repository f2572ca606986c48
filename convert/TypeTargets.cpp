// Where types lead: past what DWARF 2.0 doesn't have, from declarations to definitions, and back to themselves.
#include "convert/UnitConverter.h"

namespace convert {

namespace {

constexpr u32 kMaxSteps = 1'000; ///< along a chain of types
constexpr u32 kMaxDepth = 64;    ///< of types in types whose size is asked for
constexpr u32 kPointerSize = 4;

enum class Role : u8 {
    Kept,     ///< stays as it is
    Modifier, ///< const or volatile: stays if it leads to something
    Through,  ///< what it leads to takes its place
    Declared, ///< a class or enumeration, perhaps only declared
    Unnamed,  ///< an unspecified type
    Unknown,
};

Role RoleOf(u32 tag)
{
    switch (tag) {
    case DW_TAG_const_type:
    case DW_TAG_volatile_type:
        return Role::Modifier;
    case DW_TAG_restrict_type:
    case DW_TAG_atomic_type:
    case DW_TAG_packed_type:
    case DW_TAG_shared_type:
    case DW_TAG_immutable_type:
    case DW_TAG_subrange_type:
        return Role::Through;
    case DW_TAG_class_type:
    case DW_TAG_structure_type:
    case DW_TAG_union_type:
    case DW_TAG_interface_type:
    case DW_TAG_enumeration_type:
        return Role::Declared;
    case DW_TAG_unspecified_type:
        return Role::Unnamed;
    case DW_TAG_base_type:
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type:
    case DW_TAG_ptr_to_member_type:
    case DW_TAG_array_type:
    case DW_TAG_subroutine_type:
    case DW_TAG_typedef:
    case DW_TAG_template_alias:
        return Role::Kept;
    default:
        return Role::Unknown;
    }
}

/// Other unspecified types mean void.
bool IsNullPointer(std::string_view name)
{
    return name.find("nullptr") != std::string_view::npos;
}

} // namespace

Reference UnitConverter::TypeOf(u32 node) const
{
    u32 at = node;
    for (u32 steps = 0; steps < kMaxDepth && at != kNoNode; ++steps) {
        if (m_unit.Has(at, DW_AT_type)) {
            return m_unit.Refer(at, DW_AT_type);
        }
        for (const u32 name : {DW_AT_specification, DW_AT_abstract_origin}) {
            if (Reference origin = m_unit.Refer(at, name); origin.foreign) {
                Dwarf_Attribute attribute;
                Dwarf_Die type;
                Reference reference;
                if (dwarf_attr_integrate(&*origin.foreign, DW_AT_type, &attribute) != nullptr &&
                    dwarf_formref_die(&attribute, &type) != nullptr) {
                    reference.foreign = type;
                }
                return reference;
            }
        }
        at = m_unit.DeclarationOf(at);
    }
    return {};
}

/// A class whose members are elsewhere: in a type unit, if it has nothing else.
bool UnitConverter::IsDeclaration(u32 node) const
{
    return m_unit.Flag(node, DW_AT_declaration) || m_unit.Has(node, DW_AT_signature);
}

u32 UnitConverter::DefinitionIn(u32 node)
{
    if (const auto found = m_definitionOf.find(node); found != m_definitionOf.end()) {
        return found->second;
    }
    const std::string_view name = m_names.Qualified(node);
    if (name.empty()) {
        return kNoNode;
    }
    const auto found = m_definitionByName.find(name);
    if (found == m_definitionByName.end() ||
        (m_unit.Tag(found->second) == DW_TAG_union_type) != (m_unit.Tag(node) == DW_TAG_union_type) ||
        (m_unit.Tag(found->second) == DW_TAG_enumeration_type) != (m_unit.Tag(node) == DW_TAG_enumeration_type)) {
        return kNoNode;
    }
    return found->second;
}

/// The definition for a declaration of a class or enumeration; nothing if it isn't one or stays as it is.
std::optional<UnitConverter::Target> UnitConverter::LinkOf(u32 node)
{
    if (!IsDeclaration(node)) {
        return std::nullopt;
    }
    if (const u32 definition = DefinitionIn(node); definition != kNoNode) {
        return Target{Target::Kind::Node, definition, {}};
    }
    if (Reference whole = m_unit.Refer(node, DW_AT_signature); whole) {
        if (whole.IsLocal()) {
            return Target{Target::Kind::Node, whole.node, {}};
        }
        return Target{Target::Kind::Foreign, kNoNode, KeyOf(&*whole.foreign)};
    }
    const std::string_view name = m_names.Qualified(node);
    const std::optional<EntryKey> key = m_shared.definitions.Find(m_unit.Tag(node), name);
    if (name.empty() || !key) {
        return std::nullopt;
    }
    return Target{Target::Kind::Foreign, kNoNode, *key};
}

UnitConverter::Target UnitConverter::TargetOf(u32 node)
{
    constexpr u32 kVoid = kNoNode - 1;
    constexpr u32 kForeign = 0x80000000; // and an index in m_foreignTargets; units have fewer nodes
    const u32 known = m_targetOf[node];
    if (known == kVoid) {
        return {};
    }
    if (known < kForeign) {
        return {Target::Kind::Node, known, {}};
    }
    if (known != kNoNode) {
        return {Target::Kind::Foreign, kNoNode, m_foreignTargets[known - kForeign]};
    }
    const Target target = Resolve(TypeOf(node));
    switch (target.kind) {
    case Target::Kind::Void:
        m_targetOf[node] = kVoid;
        break;
    case Target::Kind::Node:
        m_targetOf[node] = target.node;
        break;
    case Target::Kind::Foreign:
        m_targetOf[node] = kForeign + static_cast<u32>(m_foreignTargets.size());
        m_foreignTargets.push_back(target.key);
        break;
    }
    return target;
}

UnitConverter::Target UnitConverter::Resolve(Reference type)
{
    u32 modifier = kNoNode; // the first on the way
    const auto arrive = [&](Target target) {
        const bool stands = modifier != kNoNode && target.kind != Target::Kind::Void;
        return stands ? Target{Target::Kind::Node, modifier, {}} : target;
    };
    for (u32 steps = 0; steps < kMaxSteps; ++steps) {
        if (!type) {
            return {};
        }
        if (!type.IsLocal()) {
            return arrive(ResolveForeign(*type.foreign));
        }
        const u32 node = type.node;
        switch (RoleOf(m_unit.Tag(node))) {
        case Role::Modifier:
            modifier = modifier == kNoNode ? node : modifier;
            type = m_unit.Refer(node, DW_AT_type);
            break;
        case Role::Through:
            type = m_unit.Refer(node, DW_AT_type);
            break;
        case Role::Declared:
            return arrive(LinkOf(node).value_or(Target{Target::Kind::Node, node, {}}));
        case Role::Unnamed:
            return IsNullPointer(m_unit.Text(node, DW_AT_name)) ? arrive({Target::Kind::Node, node, {}}) : Target{};
        case Role::Kept:
            return arrive({Target::Kind::Node, node, {}});
        case Role::Unknown:
            LeaveOut("references to types", "a kind of type that DWARF 2.0 doesn't have");
            return {};
        }
    }
    return {};
}

/// The same for an entry of another unit, which is converted by the same rules.
UnitConverter::Target UnitConverter::ResolveForeign(Dwarf_Die die) const
{
    std::optional<EntryKey> modifier;
    const auto arrive = [&](EntryKey key) {
        return Target{Target::Kind::Foreign, kNoNode, modifier ? *modifier : key};
    };
    for (u32 steps = 0; steps < kMaxSteps; ++steps) {
        const Role role = RoleOf(static_cast<u32>(dwarf_tag(&die)));
        Dwarf_Attribute attribute;
        if (role == Role::Modifier || role == Role::Through) {
            if (role == Role::Modifier && !modifier) {
                modifier = KeyOf(&die);
            }
            Dwarf_Die next;
            if (dwarf_attr(&die, DW_AT_type, &attribute) == nullptr ||
                dwarf_formref_die(&attribute, &next) == nullptr) {
                return {};
            }
            die = next;
            continue;
        }
        if (role == Role::Declared) {
            Dwarf_Die whole;
            if (dwarf_attr(&die, DW_AT_signature, &attribute) != nullptr &&
                dwarf_formref_die(&attribute, &whole) != nullptr) {
                return arrive(KeyOf(&whole));
            }
            bool declaration = false;
            if (dwarf_attr(&die, DW_AT_declaration, &attribute) == nullptr ||
                dwarf_formflag(&attribute, &declaration) != 0 || !declaration) {
                return arrive(KeyOf(&die));
            }
            const std::string name = QualifiedName(die);
            const auto found = m_shared.definitions.Find(static_cast<u32>(dwarf_tag(&die)), name);
            return arrive(!name.empty() && found ? *found : KeyOf(&die));
        }
        const char* const name = role == Role::Unnamed ? dwarf_diename(&die) : nullptr;
        if (role == Role::Kept || (name != nullptr && IsNullPointer(name))) {
            return arrive(KeyOf(&die));
        }
        return {};
    }
    return {};
}

u32 UnitConverter::Final(u32 node) const
{
    for (u32 steps = 0; steps < kMaxSteps && node != kNoNode; ++steps) {
        const Role role = RoleOf(m_unit.Tag(node));
        if (role != Role::Modifier && role != Role::Through) {
            return node;
        }
        node = Next(node);
    }
    return kNoNode;
}

u32 UnitConverter::Next(u32 node) const
{
    return m_unit.Refer(node, DW_AT_type).node;
}

std::optional<u64> UnitConverter::SizeOf(Reference type, u32 depth) const
{
    for (u32 steps = 0; steps < kMaxSteps; ++steps) {
        if (!type || depth > kMaxDepth) {
            return std::nullopt;
        }
        if (!type.IsLocal()) {
            // Through a declaration to the definition.
            const Target target = ResolveForeign(*type.foreign);
            Dwarf_Die die;
            Dwarf_Word size = 0;
            const bool found = target.kind == Target::Kind::Foreign &&
                               (target.key.inTypes ? dwarf_offdie_types(m_shared.dwarf, target.key.offset, &die)
                                                   : dwarf_offdie(m_shared.dwarf, target.key.offset, &die)) != nullptr;
            return found && dwarf_aggregate_size(&die, &size) == 0 ? std::optional<u64>(size) : std::nullopt;
        }
        const u32 node = type.node;
        if (Reference whole = m_unit.Refer(node, DW_AT_signature); whole.foreign) {
            type = whole;
            continue;
        }
        if (const std::optional<u64> size = m_unit.Number(node, DW_AT_byte_size)) {
            return size;
        }
        switch (m_unit.Tag(node)) {
        case DW_TAG_pointer_type:
        case DW_TAG_reference_type:
        case DW_TAG_rvalue_reference_type:
        case DW_TAG_unspecified_type:
            return kPointerSize;
        case DW_TAG_ptr_to_member_type: {
            const u32 target = Next(node);
            return target != kNoNode && m_unit.Tag(target) == DW_TAG_subroutine_type ? 2 * kPointerSize : kPointerSize;
        }
        case DW_TAG_array_type: {
            std::optional<u64> size = SizeOf(m_unit.Refer(node, DW_AT_type), depth + 1);
            for (const Dimension& dimension : DimensionsOf(node)) {
                size = size && dimension.count ? std::optional(*size * *dimension.count) : std::nullopt;
            }
            return size;
        }
        default:
            type = m_unit.Refer(node, DW_AT_type);
        }
    }
    return std::nullopt;
}

std::vector<UnitConverter::Dimension> UnitConverter::DimensionsOf(u32 node) const
{
    constexpr u64 kMaxCount = 0xFFFFFFFF;
    std::vector<Dimension> dimensions;
    m_unit.ForEachChild(node, [&](u32 child) {
        if (m_unit.Tag(child) != DW_TAG_subrange_type) {
            return;
        }
        Dimension dimension;
        dimension.lower = m_unit.Signed(child, DW_AT_lower_bound).value_or(0);
        // The bound of an array without elements is -1, in whatever width the producer uses.
        const std::optional<i64> upper = m_unit.Signed(child, DW_AT_upper_bound);
        const std::optional<u64> count = m_unit.Number(child, DW_AT_count);
        if (count) {
            dimension.count = *count;
        } else if (upper) {
            const bool none =
                *upper < dimension.lower || (static_cast<u64>(*upper) == kMaxCount && dimension.lower == 0);
            dimension.count = none ? 0 : static_cast<u64>(*upper) - static_cast<u64>(dimension.lower) + 1;
        }
        dimension.isDynamic =
            !dimension.count && (m_unit.Has(child, DW_AT_count) || m_unit.Has(child, DW_AT_upper_bound));
        if (dimension.count && *dimension.count > kMaxCount) {
            dimension.count.reset();
        }
        dimensions.push_back(dimension);
    });
    if (dimensions.empty()) {
        dimensions.emplace_back();
    }
    return dimensions;
}

/// The graph of what a reader has to load when it loads a type.
void UnitConverter::BuildGraph()
{
    m_graph.emplace(m_unit.Count(), m_typeNodes, [&](u32 node, std::vector<u32>& targets) {
        const auto lead = [&](u32 from) {
            const Target target = TargetOf(from);
            if (target.kind == Target::Kind::Node) {
                targets.push_back(target.node);
            }
        };
        const u32 tag = m_unit.Tag(node);
        if (IsClass(tag)) {
            m_unit.ForEachChild(node, [&](u32 child) {
                switch (m_unit.Tag(child)) {
                case DW_TAG_member:
                case DW_TAG_inheritance:
                case DW_TAG_variable:
                    lead(child);
                    break;
                default:
                    break;
                }
            });
        } else if (tag == DW_TAG_subroutine_type) {
            m_unit.ForEachChild(node, lead);
        } else if (RoleOf(tag) == Role::Kept || RoleOf(tag) == Role::Modifier) {
            lead(node);
        }
    });
}

} // namespace convert
