// Combines expressions, lists and frame rules.
#include "convert/Locations.h"

#include <algorithm>
#include <dwarf.h>
#include <optional>

namespace convert {

namespace {

/// The most pieces of one location, whatever frame rules make of its list.
constexpr std::size_t kMaxPieces = 0xFFFF;

ExpressionBytes Copy(ByteView bytes)
{
    return bytes.size == 0 ? ExpressionBytes() : ExpressionBytes(bytes.data, bytes.size);
}

/// The parts of `scope` where none of the entries with addresses holds.
AddressRanges Uncovered(const std::vector<ListEntry>& entries, const AddressRanges& scope)
{
    AddressRanges covered;
    for (const ListEntry& entry : entries) {
        if (!entry.isDefault) {
            covered.push_back({entry.begin, entry.end});
        }
    }
    std::sort(covered.begin(), covered.end(),
              [](const AddressRange& left, const AddressRange& right) { return left.begin < right.begin; });
    AddressRanges rest;
    std::size_t next = 0;
    u32 reached = 0; // everything below belongs to earlier entries, or to the scope's earlier ranges
    for (const AddressRange& range : scope) {
        reached = std::max(reached, range.begin);
        for (; next < covered.size() && covered[next].begin < range.end; ++next) {
            if (reached < covered[next].begin) {
                rest.push_back({reached, covered[next].begin});
            }
            reached = std::max(reached, covered[next].end);
        }
        if (reached < range.end) {
            rest.push_back({reached, range.end});
        }
    }
    return rest;
}

/// Sorts pieces by address, unless that would change which of two overlapping ones comes first.
void SortPieces(std::vector<LocationPiece>& pieces)
{
    const auto isBefore = [](const LocationPiece& left, const LocationPiece& right) {
        return left.begin < right.begin;
    };
    if (std::is_sorted(pieces.begin(), pieces.end(), isBefore)) {
        return;
    }
    std::vector<std::size_t> order(pieces.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t left, std::size_t right) { return isBefore(pieces[left], pieces[right]); });
    std::vector<LocationPiece> sorted;
    sorted.reserve(pieces.size());
    u32 reached = 0;
    for (const std::size_t index : order) {
        if (pieces[index].begin < reached) {
            return;
        }
        reached = pieces[index].end;
    }
    for (const std::size_t index : order) {
        sorted.push_back(std::move(pieces[index]));
    }
    pieces = std::move(sorted);
}

/// True if all pieces say the same, and cover every address of the scope.
bool IsOneOver(const std::vector<LocationPiece>& pieces, const AddressRanges& scope)
{
    std::size_t next = 0;
    for (const AddressRange& range : scope) {
        for (u32 reached = range.begin; reached < range.end; ++next) {
            if (next == pieces.size() || pieces[next].begin != reached ||
                pieces[next].expression != pieces[0].expression) {
                return false;
            }
            reached = pieces[next].end;
        }
    }
    return next != 0 && next == pieces.size();
}

void AddPiece(std::vector<LocationPiece>& pieces, AddressRange range, ExpressionBytes expression)
{
    pieces.push_back({range.begin, range.end, std::move(expression)});
}

void MakeFrameBase(ExpressionBytes& expression)
{
    if (expression.size() == 1 && expression[0] >= DW_OP_reg0 && expression[0] <= DW_OP_reg31) {
        expression = {static_cast<u8>(expression[0] - DW_OP_reg0 + DW_OP_breg0), 0};
        return;
    }
    if (expression.empty() || expression[0] != DW_OP_regx) {
        return;
    }
    ByteReader reader({expression.data(), expression.size()}, false);
    reader.Skip(1);
    reader.Uleb();
    if (reader.AtEnd() && !reader.Failed()) {
        expression[0] = DW_OP_bregx;
        expression.push_back(0);
    }
}

} // namespace

LocationReader::LocationReader(Dwarf* dwarf, FrameRules& frames, bool bigEndian)
    : m_frames(frames)
    , m_bigEndian(bigEndian)
    , m_lists(dwarf, bigEndian)
{
}

LocationUnit& LocationReader::UnitOf(Dwarf_CU* cu)
{
    if (m_lastUnit == nullptr || m_lastCu != cu) {
        const auto [unit, isNew] = m_units.try_emplace(cu);
        if (isNew) {
            unit->second = m_lists.UnitOf(cu);
        }
        m_lastCu = cu;
        m_lastUnit = &unit->second;
    }
    return *m_lastUnit;
}

Location LocationReader::Read(Dwarf_Attribute& attribute, const AddressRanges& scope)
{
    m_isAddress = false;
    m_address = 0;
    LocationUnit& unit = UnitOf(attribute.cu);
    if (LocationLists::IsList(attribute, unit)) {
        return ReadList(attribute, unit, scope);
    }
    switch (attribute.form) {
    case DW_FORM_block:
    case DW_FORM_block1:
    case DW_FORM_block2:
    case DW_FORM_block4:
    case DW_FORM_exprloc: {
        Dwarf_Block block;
        if (dwarf_formblock(&attribute, &block) == 0) {
            return ReadExpression({block.data, static_cast<std::size_t>(block.length)}, unit, scope);
        }
        LeaveOut(Unsaid::Malformed);
        return {};
    }
    default:
        return {};
    }
}

Location LocationReader::ReadExpression(ByteView expression, const LocationUnit& unit, const AddressRanges& scope)
{
    using Kind = ExpressionFacts::Kind;
    Location location;
    const ExpressionFacts facts = ScanExpression(expression, unit.format);
    switch (facts.kind) {
    case Kind::Nowhere:
        break;
    case Kind::Plain:
        location.kind = Location::Kind::Whole;
        location.expression = Copy(expression);
        NoteAddress(location.expression);
        break;
    case Kind::Rewrite:
        if (Rewrite(expression, unit, {}, location.expression)) {
            location.kind = Location::Kind::Whole;
        }
        break;
    case Kind::FrameBound:
        for (const AddressRange& range : scope) {
            AddFrameBound(expression, unit, range, scope, location.pieces);
        }
        if (scope.empty()) {
            LeaveOut(Unsaid::FrameUnknown);
        }
        if (IsOneOver(location.pieces, scope)) {
            location.kind = Location::Kind::Whole;
            location.expression = std::move(location.pieces[0].expression);
            location.pieces.clear();
        } else if (!location.pieces.empty()) {
            location.kind = Location::Kind::List;
        }
        break;
    case Kind::Constant:
        location.kind = Location::Kind::Constant;
        location.expression = Copy(facts.bytes);
        location.value = facts.value;
        break;
    case Kind::Unsaid:
        LeaveOut(facts.reason);
        break;
    }
    return location;
}

Location LocationReader::ReadList(const Dwarf_Attribute& attribute, LocationUnit& unit, const AddressRanges& scope)
{
    Location location;
    if (!m_lists.Read(attribute, unit, scope, m_entries)) {
        LeaveOut(Unsaid::Malformed);
    }
    for (const ListEntry& entry : m_entries) {
        if (!entry.isDefault) {
            AddPieces(entry.expression, unit, {entry.begin, entry.end}, scope, location.pieces);
        }
    }
    const auto isDefault = [](const ListEntry& entry) { return entry.isDefault; };
    const auto byDefault = std::find_if(m_entries.begin(), m_entries.end(), isDefault);
    if (byDefault != m_entries.end()) {
        for (const AddressRange& range : Uncovered(m_entries, scope)) {
            AddPieces(byDefault->expression, unit, range, scope, location.pieces);
        }
    }
    SortPieces(location.pieces);
    if (!location.pieces.empty()) {
        location.kind = Location::Kind::List;
    }
    return location;
}

/// Adds what an expression says at [begin, end), as DWARF 2.0.
void LocationReader::AddPieces(ByteView expression, const LocationUnit& unit, AddressRange range,
                               const AddressRanges& scope, std::vector<LocationPiece>& pieces)
{
    using Kind = ExpressionFacts::Kind;
    const ExpressionFacts facts = ScanExpression(expression, unit.format);
    if (pieces.size() >= kMaxPieces) {
        LeaveOut(Unsaid::Other);
        return;
    }
    switch (facts.kind) {
    case Kind::Nowhere:
        break;
    case Kind::Plain:
        AddPiece(pieces, range, Copy(expression));
        NoteAddress(pieces.back().expression);
        break;
    case Kind::Rewrite: {
        ExpressionBytes rewritten;
        if (Rewrite(expression, unit, {}, rewritten)) {
            AddPiece(pieces, range, std::move(rewritten));
        }
        break;
    }
    case Kind::FrameBound:
        AddFrameBound(expression, unit, range, scope, pieces);
        break;
    case Kind::Constant:
        LeaveOut(Unsaid::Constant);
        break;
    case Kind::Unsaid:
        LeaveOut(facts.reason);
        break;
    }
}

/// The same for an expression with DW_OP_call_frame_cfa: one piece for each rule.
void LocationReader::AddFrameBound(ByteView expression, const LocationUnit& unit, AddressRange range,
                                   const AddressRanges& scope, std::vector<LocationPiece>& pieces)
{
    const auto around = std::find_if(scope.begin(), scope.end(),
                                     [&](const AddressRange& function) { return function.Contains(range); });
    const std::vector<CfaRule>& rules = m_frames.Over(around == scope.end() ? range : *around);
    for (const CfaRule& rule : rules) {
        const AddressRange part{std::max(rule.begin, range.begin), std::min(rule.end, range.end)};
        if (part.begin >= part.end) {
            continue;
        }
        if (rule.expression.empty() || pieces.size() >= kMaxPieces) {
            LeaveOut(rule.expression.empty() ? Unsaid::FrameUnknown : Unsaid::Other);
            continue;
        }
        ExpressionBytes rewritten;
        if (Rewrite(expression, unit, View(rule.expression), rewritten)) {
            AddPiece(pieces, part, std::move(rewritten));
        }
    }
}

bool LocationReader::Rewrite(ByteView expression, const LocationUnit& unit, ByteView cfa, ExpressionBytes& out)
{
    if (const std::optional<Unsaid> reason = RewriteExpression(expression, unit.format, cfa, out)) {
        LeaveOut(*reason);
        out.clear();
        return false;
    }
    NoteAddress(out);
    return true;
}

void LocationReader::NoteAddress(const ExpressionBytes& expression)
{
    if (expression.size() == 5 && expression[0] == DW_OP_addr) {
        ByteReader reader({expression.data(), expression.size()}, m_bigEndian);
        reader.Skip(1);
        m_isAddress = true;
        m_address = reader.U32();
    }
}

Location Within(const Location& location, AddressRange range)
{
    if (location.kind != Location::Kind::List) {
        return location;
    }
    Location cut;
    for (const LocationPiece& piece : location.pieces) {
        if (range.Overlaps(piece.begin, piece.end)) {
            AddPiece(cut.pieces, {std::max(piece.begin, range.begin), std::min(piece.end, range.end)},
                     piece.expression);
        }
    }
    cut.kind = cut.pieces.empty() ? Location::Kind::None : Location::Kind::List;
    return cut;
}

void MakeFrameBase(Location& location)
{
    if (location.kind == Location::Kind::Whole) {
        MakeFrameBase(location.expression);
    }
    for (LocationPiece& piece : location.pieces) {
        MakeFrameBase(piece.expression);
    }
}

} // namespace convert
