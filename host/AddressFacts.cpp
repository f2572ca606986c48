// Facts about addresses. What belongs to one symbol, unit or function is loaded when it is first asked for.
#include "host/AddressFacts.h"

#include "host/LineOpcodes.h"
#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <utility>

namespace {

bool Holds(const DbgAddrRange& range, const DbgAddress& address)
{
    return range.section == address.section && address.value >= range.value && address.value - range.value < range.size;
}

} // namespace

AddressFinder::AddressFinder(Loader& file, const VFKElfFile& elf, NameLookup& names, bool demangle)
    : m_file(file)
    , m_elf(elf)
    , m_names(names)
    , m_symbols(names.Symbols())
    , m_types(file.Store(), elf.m_byteOrder == kElfDataMsb, file.IsConverted())
    , m_lines(file)
    , m_demangle(demangle)
    , m_ambiguous(m_symbols.IsRelocatable() && m_symbols.CodeSections() > 1)
{
}

std::vector<Spot> AddressFinder::SpotsAt(u32 address) const
{
    std::vector<Spot> spots;
    for (const u16 section : m_symbols.SectionsAt(address)) {
        spots.push_back({address, section});
    }
    if (spots.empty()) {
        return {{address, SymbolTable::kAnySection}};
    }
    const auto nameless = [&](const Spot& spot) { return m_symbols.FindAt(address, spot.section) == nullptr; };
    if (!m_symbols.IsRelocatable()) {
        spots.resize(1);
    } else if (!std::all_of(spots.begin(), spots.end(), nameless)) {
        std::erase_if(spots, nameless); // tables of the linker
    }
    return spots;
}

AddressFacts AddressFinder::Find(const Spot& spot, bool inlines)
{
    AddressFacts facts;
    facts.spot = spot;
    AskModule(facts);
    const std::vector<u16> sections = m_symbols.SectionsAt(spot.address);
    if (std::find(sections.begin(), sections.end(), spot.section) == sections.end()) {
        return facts; // a symbol can also stand behind the last byte of its section
    }
    facts.section = spot.section;
    facts.isCode = m_symbols.IsCode(spot.section);
    FindSymbol(facts);
    if (facts.isCode) {
        FindCode(facts, inlines);
        FindSource(facts);
    } else {
        FindData(facts);
    }
    return facts;
}

void AddressFinder::AskModule(AddressFacts& facts)
{
    const DbgAddress held = m_file.AddressOf(facts.spot.address);
    const DbgSymContext context = m_file.Context();
    AddressFacts::Function function;
    if (m_file.Plugin().FindElfSymbolByAddress(&context, nullptr, &held, &function.name, &function.range)) {
        facts.function = std::move(function);
    } else if (const DbgSymFuncScope* scope = m_lines.FindFunction(held)) {
        // A stripped file may have nothing else.
        facts.function = AddressFacts::Function{std::string(scope->name), scope->range};
    }
    AddressFacts::Code code;
    if (m_file.Plugin().GetCodeType(&context, &held, &code.type, &code.run, nullptr)) {
        facts.code = code;
    }
    facts.place = m_lines.FindLine(held);
}

void AddressFinder::FindSymbol(AddressFacts& facts)
{
    const u32 address = facts.spot.address;
    facts.symbol = m_symbols.FindAt(address, facts.spot.section);
    if (facts.symbol != nullptr) {
        const std::string_view demangled = m_names.Demangled(*facts.symbol);
        facts.name = m_demangle && !demangled.empty() ? demangled : facts.symbol->name;
        facts.offset = address - facts.symbol->address;
    }
}

/// The module knows mapping symbols by their plain names ("$a"); some compilers number them ("$a.12"), and then the
/// nearest plain one says nothing, or something wrong. In an object file those of all sections have the same addresses.
char AddressFinder::KindOf(const AddressFacts& facts) const
{
    if (const char kind = m_symbols.MarkAt(facts.spot.address, facts.spot.section)) {
        return kind;
    }
    if (m_ambiguous) {
        const bool isFunction = facts.symbol != nullptr && facts.symbol->IsFunction();
        return !isFunction ? '\0' : facts.symbol->value != facts.symbol->address ? 't' : 'a';
    }
    switch (facts.code ? facts.code->type : 0) {
    case DbgSymbolicInterface::kCodeArm:
        return 'a';
    case DbgSymbolicInterface::kCodeThumb:
        return 't';
    case DbgSymbolicInterface::kCodeData:
        return 'd';
    default:
        return '\0';
    }
}

void AddressFinder::FindCode(AddressFacts& facts, bool inlines)
{
    facts.kind = KindOf(facts);
    if (facts.kind == 't') {
        facts.offset &= ~1u; // the lowest bit of a return address says Thumb
    }
    if (m_ambiguous || (facts.symbol != nullptr && !inlines)) {
        return;
    }
    const DbgAddress held = m_file.AddressOf(facts.spot.address);
    const DbgSymFuncScope* function = m_lines.FindFunction(held);
    if (function == nullptr) {
        return;
    }
    if (facts.symbol == nullptr) {
        facts.name = function->name;
        facts.offset = held.value - function->range.value;
    }
    if (inlines) {
        facts.inlined = InlinedAt(*function, held);
    }
}

std::vector<std::string> AddressFinder::InlinedAt(const DbgSymFuncScope& function, const DbgAddress& address)
{
    m_file.LoadScopes(function);
    const DbgSymSymFile& store = m_file.Store();
    for (; m_blocksSeen < store.SubScopeCount(); ++m_blocksSeen) {
        const DbgSymSubScope& block = store.SubScopeAt(m_blocksSeen);
        if (block.name != nullptr) {
            m_blocks[block.context.funcScope].push_back(static_cast<u32>(m_blocksSeen));
        }
    }
    // An entry stands behind those around it, so the ids of a chain ascend inwards.
    std::vector<const DbgSymSubScope*> chain;
    for (const u32 index : m_blocks[function.id]) {
        const DbgSymSubScope& block = store.SubScopeAt(index);
        if (Holds(block.range, address)) {
            chain.push_back(&block);
        }
    }
    std::sort(chain.begin(), chain.end(), [](const auto* one, const auto* other) { return one->id > other->id; });
    std::vector<std::string> names;
    for (const DbgSymSubScope* block : chain) {
        names.emplace_back(block->name);
    }
    return names;
}

/// Line 0 stands for no line, and so do those that a table counts down to below it. A table's last row can be stretched
/// to the end of its unit, over what isn't of its sequence: beyond the function that it began in it says nothing.
void AddressFinder::FindSource(AddressFacts& facts)
{
    constexpr u32 kGreatest = 0x7FFFFFFF;
    std::optional<AddressLookup::Place> place = facts.place;
    if (m_ambiguous) {
        place = LinesOfSections().Find(facts.spot.address, facts.spot.section);
    }
    if (!place || place->entry->line == 0 || place->entry->line > kGreatest || MisreadsLines(*place->unit)) {
        return;
    }
    if (m_ambiguous) {
        facts.source = place;
        return;
    }
    const u32 begin = facts.place->entry->range.value;
    const std::vector<u16> sections = m_symbols.SectionsAt(begin);
    const bool sameSection = std::find(sections.begin(), sections.end(), facts.spot.section) != sections.end();
    const bool otherPlace = facts.symbol == nullptr ? m_symbols.HasSizes(facts.spot.section)
                                                    : m_symbols.FindAt(begin, facts.spot.section) != facts.symbol;
    const bool stretched = facts.place->isLast && otherPlace;
    if (sameSection && !stretched) {
        facts.source = facts.place;
    }
}

ObjectLines& AddressFinder::LinesOfSections()
{
    if (!m_objectLines) {
        m_objectLines.emplace(m_file, m_elf);
    }
    return *m_objectLines;
}

const ObjectLines* AddressFinder::LinesBySection()
{
    return m_ambiguous && !LinesOfSections().Rows().empty() ? &LinesOfSections() : nullptr;
}

bool AddressFinder::MisreadsLines(const DbgSymSrcFile& unit)
{
    if (!m_misread) {
        m_misread = MisreadLineProgrammes(m_elf);
    }
    const FileRange* range = nullptr;
    m_file.Store().FindFileScope(unit.GetId(), &range);
    return range != nullptr && m_misread->contains(range->lineOffset);
}

void AddressFinder::FindData(AddressFacts& facts)
{
    facts.kind = 'd';
    const std::optional<Variable> variable = VariableFor(facts);
    if (!variable) {
        return;
    }
    facts.isVariable = true;
    if (facts.symbol == nullptr) {
        facts.name = variable->name;
        facts.offset = facts.spot.address - variable->address;
    }
    const u32 size = facts.symbol == nullptr ? variable->size : facts.symbol->size;
    facts.member = FindMember(m_types.Layouts(), variable->type, size, facts.offset);
    facts.type = m_types.NameOf(facts.member.type);
}

std::optional<Spot> AddressFinder::FindMemberSpot(const Spot& variable, std::string_view path)
{
    AddressFacts facts;
    facts.spot = variable;
    FindSymbol(facts);
    const std::optional<Variable> found = m_symbols.IsCode(variable.section) ? std::nullopt : VariableFor(facts);
    if (!found || found->address != variable.address) {
        return std::nullopt;
    }
    const u32 size = facts.symbol == nullptr ? found->size : facts.symbol->size;
    const std::optional<u32> offset = FindMemberOffset(m_types.Layouts(), found->type, size, path);
    return offset ? std::optional(Spot{variable.address + *offset, variable.section}) : std::nullopt;
}

std::optional<AddressFinder::Variable> AddressFinder::VariableFor(const AddressFacts& facts)
{
    if (facts.symbol != nullptr) {
        return facts.symbol->size == 0 ? std::nullopt : VariableOf(*facts.symbol);
    }
    const bool unnamed = !m_symbols.IsRelocatable() && !m_symbols.HasSizes(facts.spot.section);
    return unnamed ? VariableAt(facts.spot.address) : std::nullopt;
}

AddressFinder::Variable AddressFinder::Describe(const DbgVariable& variable, u32 address) const
{
    return {std::string(variable.name), address, variable.byteSize,
            DbgTypeDescription{variable.baseType, variable.qualifiers, variable.udtId}};
}

std::optional<AddressFinder::Variable> AddressFinder::VariableOf(const ElfSymbol& symbol)
{
    const auto [known, added] = m_variables.try_emplace(&symbol);
    if (!added) {
        return known->second;
    }
    for (const NamedThing& thing : m_names.Find(NamePattern(std::string(symbol.name)))) {
        const bool same = std::find(thing.symbols.begin(), thing.symbols.end(), &symbol) != thing.symbols.end();
        if (same && thing.kind == NamedThing::Kind::Variable) {
            known->second = Describe(m_file.Store().VariableAt(thing.index), symbol.address);
            break;
        }
    }
    return known->second;
}

/// Without a symbol table only the debug information has the variables, and their places are known once all is loaded.
std::optional<AddressFinder::Variable> AddressFinder::VariableAt(u32 address)
{
    if (!m_allVariables) {
        m_allVariables.emplace();
        m_names.LoadEverything();
        for (std::size_t i = 0; i < m_file.Store().VariableCount(); ++i) {
            const DbgVariable& variable = m_file.Store().VariableAt(i);
            if (const std::optional<u32> at = FixedAddress(variable)) {
                m_allVariables->emplace(*at, Describe(variable, *at));
            }
        }
    }
    const auto above = m_allVariables->upper_bound(address);
    if (above == m_allVariables->begin()) {
        return std::nullopt;
    }
    const Variable& variable = std::prev(above)->second;
    return address - variable.address < variable.size ? std::optional(variable) : std::nullopt;
}
