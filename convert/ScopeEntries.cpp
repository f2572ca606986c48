// The entries of functions, of what is in them, and of variables.
//
// DWARF 2.0 gives each scope one range of addresses. A function or block with several becomes one for each range, with
// the variables that have a place there.
#include "convert/UnitConverter.h"

#include <algorithm>
#include <utility>

namespace convert {

namespace {

constexpr u32 kMaxNesting = 512; ///< of blocks in blocks

/// A place that never changes.
bool IsAddress(const Location& location)
{
    return location.kind == Location::Kind::Whole && location.expression.size() == 5 &&
           location.expression.front() == DW_OP_addr;
}

/// Removes what is relative to a frame base: there is none.
void DropFrameBound(Location& location)
{
    const auto isBound = [](const ExpressionBytes& expression) {
        return !expression.empty() && expression.front() == DW_OP_fbreg;
    };
    if (location.kind == Location::Kind::Whole && isBound(location.expression)) {
        location = {};
    }
    std::erase_if(location.pieces, [&](const LocationPiece& piece) { return isBound(piece.expression); });
    if (location.kind == Location::Kind::List && location.pieces.empty()) {
        location = {};
    }
}

} // namespace

AddressRanges UnitConverter::RangesOf(u32 node) const
{
    AddressRanges ranges;
    const bool hasRange =
        m_unit.Has(node, DW_AT_ranges) || (m_unit.Has(node, DW_AT_low_pc) && m_unit.Has(node, DW_AT_high_pc));
    if (!hasRange) {
        return ranges;
    }
    const auto add = [&](u64 begin, u64 end) {
        constexpr u64 kMaxAddress = 0xFFFFFFFF;
        if (begin < end && begin <= kMaxAddress) {
            const u32 thumb = static_cast<u32>(begin & 1); // assemblers leave this bit in both ends
            ranges.push_back(
                {static_cast<u32>(begin) - thumb, static_cast<u32>(std::min<u64>(end - thumb, kMaxAddress))});
        }
    };
    if (!m_unit.Has(node, DW_AT_ranges)) {
        const std::optional<u32> begin = m_unit.Address(node, DW_AT_low_pc);
        if (const std::optional<u32> end = m_unit.Address(node, DW_AT_high_pc); begin && end) {
            add(*begin, *end);
        } else if (const std::optional<u64> size = m_unit.Number(node, DW_AT_high_pc); begin && size) {
            add(*begin, *begin + *size);
        }
        return ranges;
    }
    Dwarf_Die die = m_unit.Die(node);
    Dwarf_Addr base = 0;
    Dwarf_Addr begin = 0;
    Dwarf_Addr end = 0;
    for (std::ptrdiff_t at = 0; (at = dwarf_ranges(&die, at, &base, &begin, &end)) > 0;) {
        add(begin, end);
    }
    return Disjoint(std::move(ranges));
}

void UnitConverter::NameAndType(u32 node, std::string_view name, bool hasType)
{
    m_tree.Text(DW_AT_name, name);
    Coordinates(node);
    if (hasType) {
        TypeAttribute(node);
    }
}

/// What AT_abstract_origin leads to, if that is in this unit and states its whole name; else kNoNode.
u32 UnitConverter::OriginOf(u32 node)
{
    u32 origin = node;
    for (u32 steps = 0; steps < kMaxNesting; ++steps) {
        origin = m_unit.Refer(origin, DW_AT_abstract_origin).node;
        if (origin == kNoNode) {
            break;
        }
        const bool isMember = m_unit.Tag(origin) == DW_TAG_subprogram && IsClass(m_unit.Tag(m_unit.Parent(origin)));
        if (!isMember && m_tree.EntryOf(origin) != kNoEntry && !m_names.Own(origin).empty()) {
            return origin;
        }
    }
    return kNoNode;
}

bool UnitConverter::AddOrigin(u32 node)
{
    const u32 origin = OriginOf(node);
    if (origin == kNoNode) {
        return false;
    }
    m_tree.ToNode(DW_AT_abstract_origin, origin);
    return true;
}

bool UnitConverter::FlagOf(u32 node, u32 name) const
{
    for (u32 at = node, steps = 0; at != kNoNode && steps < kMaxNesting; at = m_unit.DeclarationOf(at), ++steps) {
        if (m_unit.Flag(at, name)) {
            return true;
        }
        for (const u32 link : {DW_AT_specification, DW_AT_abstract_origin}) {
            if (Reference origin = m_unit.Refer(at, link); origin.foreign) {
                Dwarf_Attribute attribute;
                bool value = false;
                return dwarf_attr_integrate(&*origin.foreign, name, &attribute) != nullptr &&
                       dwarf_formflag(&attribute, &value) == 0 && value;
            }
        }
    }
    return false;
}

/// An entry for the inline function of which `node` is an instance: needed if its own entry is in another unit, or is
/// that of a member in its class, which doesn't state the whole name. One for each name; none if AddOrigin has one.
u32 UnitConverter::OriginByName(u32 node)
{
    if (OriginOf(node) != kNoNode) {
        return kNoEntry;
    }
    std::string name(m_names.Qualified(node));
    if (name.empty()) {
        name = m_names.Linkage(node);
    }
    const auto [found, added] = m_originByName.try_emplace(name.empty() ? "<unnamed>" : name, kNoEntry);
    if (added) {
        found->second = m_tree.Add(0, DW_TAG_subprogram);
        m_tree.OwnText(DW_AT_name, found->first);
        TypeAttribute(node);
        m_tree.Number(DW_AT_inline, DW_INL_inlined);
    }
    return found->second;
}

/// A function gets its whole name, except for one that refers to its declaration in a class: its class comes from
/// there.
void UnitConverter::FunctionAttributes(u32 node, bool hasCode)
{
    u32 declaration = node;
    for (u32 steps = 0; steps < kMaxNesting; ++steps) {
        const u32 next = m_unit.Refer(declaration, DW_AT_specification).node;
        if (next == kNoNode || next == declaration) {
            break;
        }
        declaration = next;
    }
    const u32 scope = m_unit.Parent(declaration);
    const bool isMember = hasCode && m_unit.Tag(scope) != DW_TAG_union_type && IsClass(m_unit.Tag(scope)) &&
                          m_tree.EntryOf(declaration) != kNoEntry && !m_names.Own(scope).empty();
    std::string_view name = isMember ? m_names.Own(node) : m_names.Qualified(node);
    if (name.empty()) {
        name = m_names.Linkage(node);
    }
    m_tree.Text(DW_AT_name, name);
    bool isLinked = isMember;
    if (isMember) {
        m_tree.ToNode(DW_AT_specification, declaration);
    } else if (hasCode) {
        isLinked = AddOrigin(node);
    }
    // An entry that it isn't linked to can't supply the place where it was written.
    Coordinates(isLinked || m_unit.Has(node, DW_AT_decl_line) ? node : declaration);
    TypeAttribute(node);
    for (const u32 flag : {DW_AT_external, DW_AT_prototyped}) {
        if (FlagOf(node, flag)) {
            m_tree.Flag(flag);
        }
    }
    if (m_unit.Flag(node, DW_AT_artificial)) {
        m_tree.Flag(DW_AT_artificial);
    }
    if (const std::optional<u64> convention = m_unit.Number(node, DW_AT_calling_convention)) {
        m_tree.Number(DW_AT_calling_convention, *convention);
    }
}

/// A declaration, or what the instances of an inline function have in common.
void UnitConverter::AddCodelessFunction(u32 node)
{
    const u32 entry = m_tree.AddFor(0, DW_TAG_subprogram, node);
    FunctionAttributes(node, false);
    if (m_unit.Flag(node, DW_AT_declaration)) {
        m_tree.Flag(DW_AT_declaration);
    }
    if (const std::optional<u64> kind = m_unit.Number(node, DW_AT_inline)) {
        m_tree.Number(DW_AT_inline, *kind);
    }
    AddLocalTypes(node, entry);
    AddChildren(node, entry, std::nullopt, 0);
}

void UnitConverter::AddFunction(const Function& function)
{
    const u32 node = function.node;
    m_currentFunction = m_functionOf[node];
    m_locationOf.assign(m_unit.End(node) - node, kNoNode);
    m_locations.clear();
    Location frameBase;
    if (std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_frame_base)) {
        frameBase = m_shared.locations.Read(*attribute, function.ranges);
        MakeFrameBase(frameBase);
    }
    m_hasFrameBase = frameBase.kind == Location::Kind::Whole || frameBase.kind == Location::Kind::List;
    const bool isInClass = IsClass(m_unit.Tag(m_unit.Parent(node)));
    bool first = true;
    for (const AddressRange& range : function.ranges) {
        const u32 entry = isInClass ? m_tree.Add(0, DW_TAG_subprogram) : m_tree.AddFor(0, DW_TAG_subprogram, node);
        FunctionAttributes(node, true);
        m_tree.Address(DW_AT_low_pc, range.begin);
        m_tree.Address(DW_AT_high_pc, range.end);
        LocationAttribute(DW_AT_frame_base, frameBase, range);
        if (first) {
            AddLocalTypes(node, entry);
        }
        AddChildren(node, entry, Extent{range, &function.ranges, first, entry, nullptr}, 0);
        std::string_view name = m_names.Qualified(node);
        if (name.empty()) {
            name = m_names.Linkage(node);
        }
        if (!name.empty()) {
            m_public.emplace_back(name, entry);
        }
        first = false;
    }
    m_currentFunction = kNoNode;
}

void UnitConverter::AddLocalTypes(u32 function, u32 entry)
{
    const auto found = m_localTypes.find(function);
    if (found == m_localTypes.end()) {
        return;
    }
    const auto isTypedef = [&](u32 node) { return m_unit.Tag(node) == DW_TAG_typedef; };
    for (const bool typedefs : {true, false}) {
        for (const u32 node : found->second) {
            if (isTypedef(node) == typedefs) {
                AddType(node, entry);
            }
        }
    }
}

/// @param extent the addresses of `parent`; none where there is no code.
void UnitConverter::AddChildren(u32 node, u32 parent, const std::optional<Extent>& extent, u32 depth)
{
    const std::optional<AddressRange> range = extent ? std::optional(extent->range) : std::nullopt;
    if (depth > kMaxNesting || m_tree.Count() > m_maxEntries) {
        LeaveOut("blocks", "nested too deep, or in too many pieces");
        return;
    }
    m_unit.ForEachChild(node, [&](u32 child) {
        switch (m_unit.Tag(child)) {
        case DW_TAG_lexical_block:
        case DW_TAG_inlined_subroutine:
        case DW_TAG_try_block:
        case DW_TAG_catch_block:
            AddBlock(child, parent, extent, depth);
            break;
        case DW_TAG_variable:
        case DW_TAG_formal_parameter:
            AddVariable(child, parent, range);
            break;
        case DW_TAG_GNU_formal_parameter_pack:
            m_unit.ForEachChild(child, [&](u32 parameter) { AddVariable(parameter, parent, range); });
            break;
        case DW_TAG_label:
            AddLabel(child, parent, range);
            break;
        case DW_TAG_unspecified_parameters:
            m_tree.Add(parent, DW_TAG_unspecified_parameters);
            break;
        case DW_TAG_template_type_parameter:
        case DW_TAG_template_value_parameter:
        case DW_TAG_GNU_template_parameter_pack:
            AddTemplateParameter(child, parent);
            break;
        default: // types and functions are elsewhere; call sites and imports have no form in DWARF 2.0
            break;
        }
    });
}

/// Producers that may not state several ranges give a scope one of them; its blocks may then be in another.
/// @return the entry of the nearest scope around it that contains such a block; kNoEntry if it isn't one, or none does.
u32 UnitConverter::ScopeOfStray(AddressRange range, const Extent& around)
{
    const bool overlaps = std::any_of(around.whole->begin(), around.whole->end(), [&](const AddressRange& whole) {
        return whole.Overlaps(range.begin, range.end);
    });
    if (overlaps || !around.isFirst || !StandsAt(m_functions[m_currentFunction].node, range.begin, range.end)) {
        return kNoEntry;
    }
    for (const Extent* extent = around.around; extent != nullptr; extent = extent->around) {
        if (extent->range.Contains(range)) {
            return extent->entry;
        }
    }
    LeaveOut("blocks", "outside their function");
    return kNoEntry;
}

void UnitConverter::AddBlock(u32 node, u32 parent, const std::optional<Extent>& extent, u32 depth)
{
    const bool isInlined = m_unit.Tag(node) == DW_TAG_inlined_subroutine;
    const AddressRanges ranges = RangesOf(node);
    if (ranges.empty() || !extent) {
        if (!extent) {
            return; // readers would add the blocks of the abstract instance to each instance
        }
        if (!isInlined && !m_unit.Has(node, DW_AT_low_pc) && !m_unit.Has(node, DW_AT_ranges)) {
            AddChildren(node, parent, extent, depth + 1); // as wide as the scope around it
        } else if (!isInlined) {                          // a block that lost its code keeps its static variables
            m_unit.ForEachChild(node, [&](u32 child) {
                if (m_unit.Tag(child) == DW_TAG_variable && IsAddress(LocationOf(child))) {
                    AddVariable(child, parent, extent->range);
                }
            });
        }
        return;
    }
    for (const AddressRange& own : ranges) {
        u32 begin = std::max(own.begin, extent->range.begin);
        u32 end = std::min(own.end, extent->range.end);
        u32 scope = parent;
        if (begin >= end) {
            scope = ScopeOfStray(own, *extent);
            if (scope == kNoEntry) {
                continue;
            }
            begin = own.begin;
            end = own.end;
        }
        if (isInlined) {
            OriginByName(node);
        }
        const u32 entry = m_tree.Add(scope, isInlined ? DW_TAG_inlined_subroutine : DW_TAG_lexical_block);
        if (isInlined && !AddOrigin(node)) {
            m_tree.ToEntry(DW_AT_abstract_origin, OriginByName(node));
        }
        m_tree.Address(DW_AT_low_pc, begin);
        m_tree.Address(DW_AT_high_pc, end);
        AddChildren(node, entry, Extent{{begin, end}, &ranges, &own == &ranges.front(), entry, &*extent}, depth + 1);
        if (!m_tree.HasChildren(entry)) {
            if (isInlined) {
                m_tree.Add(entry, DW_TAG_label); // means nothing: readers of blocks expect children
            } else {
                m_tree.DropLastIfChildless(entry);
            }
        }
    }
}

const Location& UnitConverter::LocationOf(u32 node)
{
    static const Location kNowhere;
    if (m_currentFunction == kNoNode) {
        return kNowhere;
    }
    u32& index = m_locationOf[node - m_functions[m_currentFunction].node];
    if (index != kNoNode) {
        return m_locations[index];
    }
    std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_location);
    if (!attribute) {
        return kNowhere;
    }
    index = static_cast<u32>(m_locations.size());
    Location& location =
        m_locations.emplace_back(m_shared.locations.Read(*attribute, m_functions[m_currentFunction].ranges));
    if (m_shared.locations.IsAddress() && !VariableStands(node, m_shared.locations.Address())) {
        location = {}; // the linker dropped it
    }
    if (!m_hasFrameBase) {
        DropFrameBound(location);
    }
    return location;
}

bool UnitConverter::VariableStands(u32 node, u32 address)
{
    const u64 end = u64{address} + SizeOf(TypeOf(node)).value_or(1);
    return StandsAt(node, address, static_cast<u32>(std::min<u64>(end, 0xFFFFFFFF)));
}

void UnitConverter::AddVariable(u32 node, u32 parent, std::optional<AddressRange> range)
{
    const bool isParameter = m_unit.Tag(node) == DW_TAG_formal_parameter;
    const u32 tag = isParameter ? DW_TAG_formal_parameter : DW_TAG_variable;
    if (!range && m_unit.Has(node, DW_AT_location)) {
        return; // a static variable of an inline function: it is at the unit's level
    }
    const Location& location = LocationOf(node);
    const u32 entry = m_tree.AddFor(parent, tag, node);
    if (!range || !AddOrigin(node)) {
        NameAndType(node, m_names.Own(node), true);
        if (m_unit.Flag(node, DW_AT_artificial)) {
            m_tree.Flag(DW_AT_artificial);
        }
    }
    if (m_unit.Flag(node, DW_AT_external)) {
        m_tree.Flag(DW_AT_external);
    }
    if (m_unit.Flag(node, DW_AT_declaration)) {
        m_tree.Flag(DW_AT_declaration);
    }
    const bool written = LocationAttribute(DW_AT_location, location, range);
    if (!written) {
        ConstantAttribute(node);
    } else if (IsAddress(location)) {
        m_publicLocals.emplace_back(m_names.Own(node), entry);
    }
}

void UnitConverter::AddLabel(u32 node, u32 parent, std::optional<AddressRange> range)
{
    const std::optional<u32> address = m_unit.Address(node, DW_AT_low_pc);
    if (range && (!address || *address < range->begin || *address >= range->end)) {
        return;
    }
    m_tree.AddFor(parent, DW_TAG_label, node);
    if (!range || !AddOrigin(node)) {
        NameAndType(node, m_names.Own(node), false);
    }
    if (range) {
        m_tree.Address(DW_AT_low_pc, *address);
    }
}

void UnitConverter::AddFileVariable(u32 node)
{
    if (m_constantDeclarations.contains(node)) {
        return; // the definition says everything
    }
    Location location;
    if (std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_location)) {
        location = m_shared.locations.Read(*attribute, {});
        if (m_shared.locations.IsAddress() && !VariableStands(node, m_shared.locations.Address())) {
            return; // the linker dropped it
        }
    }
    const u32 scope = m_unit.Tag(m_unit.Parent(node));
    const bool isLocal = scope == DW_TAG_subprogram || scope == DW_TAG_lexical_block;
    std::string_view name = isLocal ? m_names.Own(node) : m_names.Qualified(node);
    if (name.empty()) {
        name = m_names.Linkage(node);
    }
    if (name.empty()) { // a string literal of the program, for which some compilers write an entry
        LeaveOut("variables", "without a name");
        return;
    }
    const u32 entry = m_tree.AddFor(0, DW_TAG_variable, node);
    NameAndType(node, name, true);
    if (FlagOf(node, DW_AT_external)) {
        m_tree.Flag(DW_AT_external);
    }
    if (m_unit.Flag(node, DW_AT_declaration)) {
        m_tree.Flag(DW_AT_declaration);
    }
    if (m_unit.Flag(node, DW_AT_artificial)) {
        m_tree.Flag(DW_AT_artificial);
    }
    if (LocationAttribute(DW_AT_location, location, std::nullopt)) {
        m_public.emplace_back(name, entry);
    } else {
        ConstantAttribute(node);
    }
}

/// @return true if the attribute gives a place.
bool UnitConverter::LocationAttribute(u32 name, const Location& location, std::optional<AddressRange> range)
{
    switch (location.kind) {
    case Location::Kind::None:
        return false;
    case Location::Kind::Whole:
        m_tree.Block(name, View(location.expression));
        return true;
    case Location::Kind::Constant:
        if (name == DW_AT_location) {
            if (location.expression.empty()) {
                m_tree.Signed(DW_AT_const_value, location.value);
            } else {
                m_tree.Block(DW_AT_const_value, View(location.expression));
            }
        }
        return false;
    case Location::Kind::List:
        break;
    }
    const Location within = range ? Within(location, *range) : location;
    if (within.kind != Location::Kind::List) {
        return false;
    }
    if (within.pieces.size() == 1 && range && within.pieces[0].begin <= range->begin &&
        within.pieces[0].end >= range->end) {
        const ExpressionBytes& expression = within.pieces[0].expression;
        m_tree.Block(name, {expression.data(), expression.size()});
        return true;
    }
    if (m_low >= m_high) {
        return false; // a list without code around it
    }
    m_tree.List(name, ListBytes(within.pieces, m_low, m_shared.program.BigEndian()).View());
    return true;
}

void UnitConverter::ConstantAttribute(u32 node)
{
    if (!m_unit.Has(node, DW_AT_const_value)) {
        node = m_unit.Refer(node, DW_AT_specification).node; // the declaration of a constant has its value
        if (node == kNoNode) {
            return;
        }
    }
    std::optional<Dwarf_Attribute> attribute = m_unit.Get(node, DW_AT_const_value);
    if (!attribute) {
        return;
    }
    if (const std::optional<i64> value = m_unit.Signed(node, DW_AT_const_value)) {
        if (*value < 0 && attribute->form != DW_FORM_udata && attribute->form != DW_FORM_data8) {
            m_tree.Signed(DW_AT_const_value, *value);
        } else {
            m_tree.Number(DW_AT_const_value, static_cast<u64>(*value));
        }
        return;
    }
    Dwarf_Block block;
    if (const std::string_view text = m_unit.Text(node, DW_AT_const_value); !text.empty()) {
        m_tree.Text(DW_AT_const_value, text);
    } else if (dwarf_formblock(&*attribute, &block) == 0) {
        m_tree.Block(DW_AT_const_value, {block.data, static_cast<std::size_t>(block.length)});
    }
}

} // namespace convert
