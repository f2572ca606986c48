// The unit as a whole: what is in it, its code and lines, its own entry, and its part of the tables by name and
// address.
#include "convert/UnitConverter.h"

#include "convert/Failure.h"

#include <algorithm>
#include <utility>

namespace convert {

namespace {

/// The most entries that a unit may get: pieces and copies multiply them.
constexpr u32 kEntriesPerNode = 32;
constexpr u32 kFreeEntries = 100'000;

bool IsType(u32 tag)
{
    switch (tag) {
    case DW_TAG_array_type:
    case DW_TAG_class_type:
    case DW_TAG_enumeration_type:
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type:
    case DW_TAG_structure_type:
    case DW_TAG_interface_type:
    case DW_TAG_subroutine_type:
    case DW_TAG_typedef:
    case DW_TAG_template_alias:
    case DW_TAG_union_type:
    case DW_TAG_ptr_to_member_type:
    case DW_TAG_base_type:
    case DW_TAG_const_type:
    case DW_TAG_volatile_type:
    case DW_TAG_unspecified_type:
        return true;
    default:
        return false;
    }
}

/// Types that can stay where they are in a function. The others have no name that could clash.
bool HasPlace(u32 tag)
{
    return IsClass(tag) || tag == DW_TAG_enumeration_type || tag == DW_TAG_typedef;
}

bool IsFunctionScope(u32 tag)
{
    return tag == DW_TAG_lexical_block || tag == DW_TAG_inlined_subroutine || tag == DW_TAG_try_block ||
           tag == DW_TAG_catch_block;
}

bool IsFileScope(u32 tag)
{
    return tag == DW_TAG_namespace || tag == DW_TAG_module || tag == DW_TAG_compile_unit ||
           tag == DW_TAG_partial_unit || tag == DW_TAG_type_unit || tag == DW_TAG_skeleton_unit;
}

} // namespace

UnitConverter::UnitConverter(Shared& shared, Unit unit)
    : m_shared(shared)
    , m_unit(std::move(unit))
    , m_names(m_unit)
    , m_ownTree(m_unit.Count())
    , m_tree(m_ownTree)
    , m_functionOf(m_unit.Count(), kNoNode)
    , m_maxEntries(u64{kEntriesPerNode} * m_unit.Count() + kFreeEntries)
    , m_targetOf(m_unit.Count(), kNoNode)
{
}

UnitConverter::UnitConverter(Shared& shared, Unit unit, EntryTree& tree)
    : m_shared(shared)
    , m_unit(std::move(unit))
    , m_names(m_unit)
    , m_ownTree(0)
    , m_tree(tree)
    , m_functionOf(m_unit.Count(), kNoNode)
    , m_maxEntries(0)
    , m_targetOf(m_unit.Count(), kNoNode)
{
    Classify();
}

UnitConverter::~UnitConverter() = default;

void UnitConverter::Convert()
{
    Classify();
    BuildGraph();
    FindLocalTypes();
    ReadLines();
    FindExtent();
    AddUnitEntry();
    AddTypes();
    for (const u32 node : m_codelessFunctions) {
        AddCodelessFunction(node);
    }
    std::size_t function = 0;
    for (const u32 variable : m_fileVariables) {
        while (function < m_functions.size() && m_functions[function].node < variable) {
            AddFunction(m_functions[function++]);
        }
        AddFileVariable(variable);
    }
    while (function < m_functions.size()) {
        AddFunction(m_functions[function++]);
    }
    AddCopies();
}

void UnitConverter::Write()
{
    const PlacedUnit placed = m_shared.info.Write(m_tree);
    for (u32 node = 0; node < m_unit.Count(); ++node) {
        // Nothing else is referred to from other units.
        if (const u32 entry = m_tree.EntryOf(node); entry != kNoEntry && IsType(m_unit.Tag(node))) {
            m_shared.info.Place(m_unit.Key(node), placed.offsets[entry]);
        }
    }
    WriteTables(placed);
}

/// Sorts the nodes of the unit by how they are converted.
void UnitConverter::Classify()
{
    for (u32 node = 1; node < m_unit.Count(); ++node) {
        const u32 tag = m_unit.Tag(node);
        const u32 parent = m_unit.Parent(node);
        const u32 parentTag = m_unit.Tag(parent);
        if (tag == DW_TAG_subprogram) {
            ClassifyFunction(node);
        } else if (tag == DW_TAG_variable) {
            const bool hasPlace = m_unit.Has(node, DW_AT_location);
            if (IsFileScope(parentTag) || (hasPlace && (IsClass(parentTag) || StandsWithoutCode(node)))) {
                m_fileVariables.push_back(node);
                if (const u32 declaration = m_unit.Refer(node, DW_AT_specification).node;
                    declaration != kNoNode && !hasPlace) {
                    m_constantDeclarations.insert(declaration);
                }
            }
        } else if (IsType(tag)) {
            m_typeNodes.push_back(node);
            if (IsClass(tag) || tag == DW_TAG_enumeration_type) {
                if (IsDeclaration(node)) {
                    continue;
                }
                if (const Reference declaration = m_unit.Refer(node, DW_AT_specification); declaration.IsLocal()) {
                    m_definitionOf.emplace(declaration.node, node);
                }
                if (IsFileScope(parentTag) || IsClass(parentTag)) {
                    if (const std::string_view name = m_names.Qualified(node); !name.empty()) {
                        m_definitionByName.emplace(name, node);
                    }
                }
            }
        }
    }
}

/// Types in functions stay there, except those with member functions, to which other entries have to lead.
void UnitConverter::FindLocalTypes()
{
    std::vector<u32> rest;
    for (const u32 node : m_typeNodes) {
        u32 scope = m_unit.Parent(node);
        while (IsFunctionScope(m_unit.Tag(scope))) {
            scope = m_unit.Parent(scope);
        }
        bool stays = HasPlace(m_unit.Tag(node)) && m_unit.Tag(scope) == DW_TAG_subprogram &&
                     !IsClass(m_unit.Tag(m_unit.Parent(scope)));
        if (stays && m_functionOf[scope] == kNoNode) {
            stays = std::binary_search(m_codelessFunctions.begin(), m_codelessFunctions.end(), scope);
        }
        if (stays) {
            m_unit.ForEachChild(node, [&](u32 child) { stays = stays && m_unit.Tag(child) != DW_TAG_subprogram; });
        }
        if (stays) {
            m_localTypes[scope].push_back(node);
        } else {
            rest.push_back(node);
        }
    }
    m_typeNodes.swap(rest);
}

/// True for the static variables of inline functions: they are in the abstract instance, or in an instance without any
/// code left, where readers that look in code don't find them.
bool UnitConverter::StandsWithoutCode(u32 node) const
{
    u32 scope = m_unit.Parent(node);
    while (IsFunctionScope(m_unit.Tag(scope))) {
        if (m_unit.Has(scope, DW_AT_low_pc) || m_unit.Has(scope, DW_AT_ranges)) {
            return false;
        }
        scope = m_unit.Parent(scope);
    }
    return m_unit.Tag(scope) == DW_TAG_subprogram && !m_unit.Has(scope, DW_AT_low_pc) &&
           !m_unit.Has(scope, DW_AT_ranges);
}

void UnitConverter::ClassifyFunction(u32 node)
{
    const AddressRanges ranges = RangesOf(node);
    const bool isMember = IsClass(m_unit.Tag(m_unit.Parent(node)));
    if (ranges.empty()) {
        const std::optional<u32> low = m_unit.Address(node, DW_AT_low_pc);
        if (low && m_unit.Has(node, DW_AT_high_pc)) { // the linker made both ends equal
            m_codeNearZero.push_back({{*low, *low}, false});
            return;
        }
        if (!isMember && !m_unit.Has(node, DW_AT_abstract_origin)) {
            m_codelessFunctions.push_back(node);
        }
        return;
    }
    Function function{node, {}};
    for (const AddressRange& range : ranges) {
        const bool stands = StandsAt(node, range.begin, range.end);
        if (stands) {
            function.ranges.push_back(range);
        }
        if (m_shared.program.NearZero(range.begin)) {
            m_codeNearZero.emplace_back(range, stands);
        }
    }
    if (!function.ranges.empty()) {
        m_functionOf[node] = static_cast<u32>(m_functions.size());
        m_functions.push_back(std::move(function));
    }
}

bool UnitConverter::StandsAt(u32 node, u32 begin, u32 end)
{
    if (!m_shared.program.NearZero(begin)) { // where names don't matter
        return m_shared.program.Stands(begin, end, {});
    }
    const std::string_view names[] = {m_names.Linkage(node), m_names.Own(node)};
    return m_shared.program.Stands(begin, end, names);
}

void UnitConverter::ReadLines()
{
    m_lineOffset = m_unit.Number(0, DW_AT_stmt_list);
    if (!m_lineOffset) {
        return;
    }
    m_lineTable =
        ReadLineTable(m_shared.lineSections, *m_lineOffset, m_unit.Text(0, DW_AT_name), m_unit.Text(0, DW_AT_comp_dir));
    if (m_unit.IsType() || m_unit.Tag(0) == DW_TAG_partial_unit) {
        return; // the code is another unit's
    }
    m_hasCodeNearZero = !m_codeNearZero.empty();
    for (const LineSequence& sequence : m_lineTable.sequences) {
        if (SequenceStands(sequence)) {
            m_sequences.push_back(&sequence);
        }
    }
}

bool UnitConverter::SequenceStands(const LineSequence& sequence)
{
    const Program& program = m_shared.program;
    if (sequence.begin >= sequence.end || !program.IsLoaded(sequence.begin, sequence.end)) {
        return false;
    }
    if (!program.NearZero(sequence.begin)) {
        return true;
    }
    // Where functions of the unit were dropped, several sequences begin at one address. Compilers write functions and
    // sequences in the same order, so among those with the same range the first belongs to the first.
    const auto isSequence = [&](const AddressRange& range) {
        return range.begin == sequence.begin && range.end == sequence.end;
    };
    const auto exact = [&](const std::pair<AddressRange, bool>& code) { return isSequence(code.first); };
    const auto match = std::find_if(m_codeNearZero.begin(), m_codeNearZero.end(), exact);
    if (match != m_codeNearZero.end()) {
        const bool stands = match->second;
        m_codeNearZero.erase(match);
        return stands;
    }
    bool begun = false;
    bool overlapped = false;
    for (const auto& [range, stands] : m_codeNearZero) {
        if (stands) {
            begun = begun || (range.begin == sequence.begin && range.end <= sequence.end);
            overlapped = overlapped || range.Overlaps(sequence.begin, sequence.end);
        }
    }
    const auto droppedHere = [&](const std::pair<AddressRange, bool>& code) {
        return !code.second && code.first.begin == sequence.begin;
    };
    if (begun) {
        return true;
    }
    if (std::any_of(m_codeNearZero.begin(), m_codeNearZero.end(), droppedHere)) {
        return false;
    }
    if (m_hasCodeNearZero) { // dropped code begins at 0
        return overlapped || sequence.begin != 0;
    }
    // No function decides (the unit is an assembler's): what other units' functions cover isn't this one's.
    const AddressRanges& others = FunctionsNearZero();
    return std::none_of(others.begin(), others.end(), [&](const AddressRange& range) {
        return range.Overlaps(sequence.begin, u64{sequence.begin} + 1);
    });
}

const AddressRanges& UnitConverter::FunctionsNearZero()
{
    if (m_shared.functions) {
        return *m_shared.functions;
    }
    AddressRanges& found = m_shared.functions.emplace();
    for (const InputUnit& input : m_shared.units) {
        UnitConverter other(m_shared, m_shared.reader.Read(input));
        for (u32 node = 1; node < other.m_unit.Count(); ++node) {
            if (other.m_unit.Tag(node) == DW_TAG_subprogram) {
                other.ClassifyFunction(node);
            }
        }
        for (const Function& function : other.m_functions) {
            for (const AddressRange& range : function.ranges) {
                if (m_shared.program.NearZero(range.begin)) {
                    found.push_back(range);
                }
            }
        }
    }
    return found;
}

/// AT_low_pc and AT_high_pc enclose all the code.
void UnitConverter::FindExtent()
{
    const auto take = [&](u32 begin, u32 end) {
        m_low = std::min(m_low, begin);
        m_high = std::max(m_high, end);
    };
    for (const Function& function : m_functions) {
        for (const AddressRange& range : function.ranges) {
            take(range.begin, range.end);
        }
    }
    for (const LineSequence* sequence : m_sequences) {
        take(sequence->begin, sequence->end);
    }
}

void UnitConverter::AddUnitEntry()
{
    m_tree.Add(kNoEntry, DW_TAG_compile_unit);
    const std::string_view name = m_unit.Text(0, DW_AT_name);
    const std::string_view directory = m_unit.Text(0, DW_AT_comp_dir);
    // A directory that is itself relative is joined to the names: readers would put it before the files' paths once
    // more.
    const bool isWhole = directory.empty() || JoinPath("/", directory) == directory;
    if (name.empty() && (m_unit.IsType() || m_unit.Tag(0) == DW_TAG_partial_unit)) {
        m_tree.Text(DW_AT_name, "<types>");
    } else if (name.empty()) { // a skeleton: its first file is the one that was compiled
        m_tree.OwnText(DW_AT_name, m_lineTable.files.empty() ? "<unnamed>" : m_lineTable.files.front());
    } else if (isWhole) {
        m_tree.Text(DW_AT_name, name);
    } else {
        m_tree.OwnText(DW_AT_name, JoinPath(directory, name));
    }
    if (isWhole) {
        m_tree.Text(DW_AT_comp_dir, directory);
    }
    const std::string_view producer = m_unit.Text(0, DW_AT_producer);
    m_tree.Text(DW_AT_producer, producer.empty() ? m_shared.producer : producer);
    const u32 language = m_unit.Language() != 0 ? m_unit.Language() : m_shared.language;
    if (language != 0) {
        m_tree.Number(DW_AT_language, Dwarf2Language(language));
    }
    if (m_lineOffset) {
        m_tree.Offset(DW_AT_stmt_list, LineOffset());
    }
    if (m_low < m_high) {
        m_tree.Address(DW_AT_low_pc, m_low);
        m_tree.Address(DW_AT_high_pc, m_high);
    }
    Dwarf_Die die = m_unit.Die(0);
    if (const std::optional<u32> macros = m_shared.macros.Write(&die, m_lineTable)) {
        m_tree.Offset(DW_AT_macro_info, *macros);
    }
}

/// Units without code share one table of files if their tables come from the same input.
u32 UnitConverter::LineOffset()
{
    if (!m_sequences.empty()) {
        return m_shared.lines.Write(m_lineTable, m_sequences);
    }
    const std::string key = std::to_string(*m_lineOffset) + ' ' + std::string(m_unit.Text(0, DW_AT_comp_dir));
    const auto [known, added] = m_shared.tablesOfFiles.try_emplace(key, 0);
    if (added) {
        known->second = m_shared.lines.Write(m_lineTable, {});
    }
    return known->second;
}

void UnitConverter::Coordinates(u32 node)
{
    if (IsCopier()) {
        return; // the files have other numbers
    }
    if (!m_unit.Has(node, DW_AT_decl_line) && !m_unit.Has(node, DW_AT_decl_file)) {
        return ForeignCoordinates(node);
    }
    if (const std::optional<u64> file = m_unit.Number(node, DW_AT_decl_file)) {
        if (const u32 index = m_lineTable.FileOf(*file); index != LineTable::kNoFile) {
            m_tree.Number(DW_AT_decl_file, u64{index} + 1);
        }
    }
    for (const u32 name : {DW_AT_decl_line, DW_AT_decl_column}) {
        if (const std::optional<u64> number = m_unit.Number(node, name)) {
            m_tree.Number(name, *number);
        }
    }
}

/// With link-time optimisation the origin of an entry is in another unit, and uses that unit's file numbers. If this
/// unit's table doesn't have the file, nothing is added.
void UnitConverter::ForeignCoordinates(u32 node)
{
    for (const u32 link : {DW_AT_specification, DW_AT_abstract_origin}) {
        Reference origin = m_unit.Refer(node, link);
        if (!origin.foreign) {
            continue;
        }
        Dwarf_Die& die = *origin.foreign;
        const char* const path = dwarf_decl_file(&die);
        const auto& files = m_lineTable.files;
        const auto file = path == nullptr ? files.end() : std::find(files.begin(), files.end(), path);
        if (file == files.end()) {
            return;
        }
        m_tree.Number(DW_AT_decl_file, static_cast<u64>(file - files.begin()) + 1);
        int number = 0;
        if (dwarf_decl_line(&die, &number) == 0 && number > 0) {
            m_tree.Number(DW_AT_decl_line, static_cast<u64>(number));
        }
        if (dwarf_decl_column(&die, &number) == 0 && number > 0) {
            m_tree.Number(DW_AT_decl_column, static_cast<u64>(number));
        }
        return;
    }
}

void UnitConverter::WriteTables(const PlacedUnit& placed)
{
    WritePublicNames(placed);
    WriteRanges(placed);
}

void UnitConverter::WritePublicNames(const PlacedUnit& placed)
{
    if (m_public.empty() && m_publicLocals.empty()) {
        return;
    }
    ByteWriter& out = m_shared.publicNames;
    const u32 start = out.Size();
    out.U32(0);
    out.U16(2);
    out.U32(placed.offset);
    out.U32(placed.size);
    for (const auto* list : {&m_public, &m_publicLocals}) {
        for (const auto& [name, entry] : *list) {
            out.U32(placed.offsets[entry] - placed.offset);
            out.Text(name);
        }
    }
    out.U32(0);
    out.PatchU32(start, out.Size() - start - 4);
}

void UnitConverter::WriteRanges(const PlacedUnit& placed)
{
    AddressRanges ranges;
    for (const Function& function : m_functions) {
        ranges.insert(ranges.end(), function.ranges.begin(), function.ranges.end());
    }
    for (const LineSequence* sequence : m_sequences) {
        ranges.push_back({sequence->begin, sequence->end});
    }
    if (ranges.empty()) {
        return;
    }
    ranges = Disjoint(std::move(ranges));
    constexpr u32 kHeaderSize = 12;
    constexpr u32 kPairSize = 8;
    ByteWriter& out = m_shared.ranges;
    out.U32(kHeaderSize + kPairSize * (ranges.size() + 1));
    out.U16(2);
    out.U32(placed.offset);
    out.U8(4);
    out.U8(0);
    out.U32(0); // pairs are aligned to their size
    for (const AddressRange& range : ranges) {
        out.U32(range.begin);
        out.U32(range.end - range.begin);
    }
    out.U64(0);
}

} // namespace convert
