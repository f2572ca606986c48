// Sections pair by name. Symbols pair by name and section, types by name and kind; where several have one name, their
// units tell them apart.
#include "host/ProgramDiff.h"

#include "host/Loader.h"
#include "host/Namesakes.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <tuple>
#include <unordered_map>

namespace {

template <typename Thing>
struct Sides {
    std::vector<Thing> olds;
    std::vector<Thing> news;
};

/// Calls `visit(old, new)` for each pair of things, and for those without partner with null.
template <typename Thing, typename Describe, typename Visit>
void VisitPairs(const std::vector<Thing>& olds, const std::vector<Thing>& news, Describe&& describe, Visit&& visit)
{
    std::vector<Namesake> oldNamesakes;
    std::vector<Namesake> newNamesakes;
    for (const Thing& thing : olds) {
        oldNamesakes.push_back(describe(thing, true));
    }
    for (const Thing& thing : news) {
        newNamesakes.push_back(describe(thing, false));
    }
    std::vector<bool> oldIsPaired(olds.size());
    std::vector<bool> newIsPaired(news.size());
    for (const auto& [oldIndex, newIndex] : PairUp(oldNamesakes, newNamesakes)) {
        oldIsPaired[oldIndex] = true;
        newIsPaired[newIndex] = true;
        visit(&olds[oldIndex], &news[newIndex]);
    }
    for (std::size_t i = 0; i < olds.size(); ++i) {
        if (!oldIsPaired[i]) {
            visit(&olds[i], static_cast<const Thing*>(nullptr));
        }
    }
    for (std::size_t i = 0; i < news.size(); ++i) {
        if (!newIsPaired[i]) {
            visit(static_cast<const Thing*>(nullptr), &news[i]);
        }
    }
}

using SymbolsByName = std::unordered_map<std::string, Sides<u32>>; // indices

class SymbolDiff {
public:
    SymbolDiff(const ComparedProgram& older, const ComparedProgram& newer)
        : m_old(older)
        , m_new(newer)
    {
    }

    std::vector<SymbolDifference> Run()
    {
        SymbolsByName byName;
        Collect(m_old, byName, &Sides<u32>::olds);
        Collect(m_new, byName, &Sides<u32>::news);
        for (const auto& [name, sides] : byName) {
            VisitPairs(
                sides.olds, sides.news, [&](u32 symbol, bool old) { return NamesakeOf(old ? m_old : m_new, symbol); },
                [&](const u32* before, const u32* now) { Compare(before, now); });
        }
        std::sort(m_found.begin(), m_found.end(), [](const SymbolDifference& a, const SymbolDifference& b) {
            const auto key = [](const SymbolDifference& of) {
                return std::tuple(of.section, -std::abs(of.Growth()), of.symbol->name, of.unit, of.symbol->offset);
            };
            return key(a) < key(b);
        });
        return std::move(m_found);
    }

private:
    static void Collect(const ComparedProgram& program, SymbolsByName& byName, std::vector<u32> Sides<u32>::*side)
    {
        const std::vector<ProgramSymbol>& symbols = program.image.Symbols();
        for (u32 i = 0; i < symbols.size(); ++i) {
            const ProgramSymbol& symbol = symbols[i];
            if (symbol.IsLocal() && symbol.name.starts_with(".L")) {
                continue; // a compiler's own label, numbered anew in each build
            }
            std::string key(symbol.IsLocal() ? WithoutNumber(symbol.name) : symbol.name);
            key += '\0';
            key += SectionOf(program, symbol);
            (byName[key].*side).push_back(i);
        }
    }

    static const std::string& SectionOf(const ComparedProgram& program, const ProgramSymbol& symbol)
    {
        return program.image.Sections()[symbol.section].name;
    }

    static std::string_view UnitOf(const ComparedProgram& program, const ProgramSymbol& symbol)
    {
        const u32 unit = program.units.UnitOf(symbol);
        return unit == kNone ? symbol.file : program.units.Paths()[unit];
    }

    static Namesake NamesakeOf(const ComparedProgram& program, u32 index)
    {
        const ProgramSymbol& symbol = program.image.Symbols()[index];
        const std::string_view unit = UnitOf(program, symbol);
        return {unit, symbol.size, !symbol.IsLocal() || unit.empty()};
    }

    void Compare(const u32* before, const u32* now)
    {
        const ComparedProgram& program = now == nullptr ? m_old : m_new;
        const ProgramSymbol& symbol = program.image.Symbols()[now == nullptr ? *before : *now];
        SymbolDifference found = {&symbol, SectionOf(program, symbol), {}, {}, {}};
        if (before != nullptr) {
            found.oldSize = m_old.image.Symbols()[*before].size;
        }
        if (now != nullptr) {
            found.newSize = symbol.size;
        }
        // How large a symbol without size is depends on where the next one lies.
        const bool unknown = before != nullptr && now != nullptr && (*found.oldSize == 0 || *found.newSize == 0);
        if (found.oldSize != found.newSize && !unknown) {
            found.unit = UnitOf(program, symbol);
            m_found.push_back(found);
        }
    }

    const ComparedProgram& m_old;
    const ComparedProgram& m_new;
    std::vector<SymbolDifference> m_found;
};

std::vector<SectionDifference> DiffSections(const ComparedProgram& older, const ComparedProgram& newer)
{
    std::vector<SectionDifference> found;
    std::unordered_map<std::string_view, std::size_t> byName;
    const auto at = [&](const ProgramSection& section) -> SectionDifference& {
        const auto [known, isNew] = byName.try_emplace(section.name, found.size());
        if (isNew) {
            found.emplace_back().name = section.name;
        }
        return found[known->second];
    };
    for (const ProgramSection& section : older.image.Sections()) {
        SectionDifference& sum = at(section);
        sum.oldSize = sum.oldSize.value_or(0) + section.size;
        sum.oldFlash += TakesFlash(section.memory) ? section.size : 0;
        sum.oldRam += TakesRam(section.memory) ? section.size : 0;
    }
    for (const ProgramSection& section : newer.image.Sections()) {
        SectionDifference& sum = at(section);
        sum.newSize = sum.newSize.value_or(0) + section.size;
        sum.newFlash += TakesFlash(section.memory) ? section.size : 0;
        sum.newRam += TakesRam(section.memory) ? section.size : 0;
    }
    return found;
}

std::vector<TypeDifference> DiffTypes(const ComparedProgram& older, const ComparedProgram& newer)
{
    std::map<std::pair<std::string_view, std::string_view>, Sides<const TypeShape*>> byName;
    for (const TypeShape& shape : older.types.All()) {
        byName[{shape.name, shape.kind}].olds.push_back(&shape);
    }
    for (const TypeShape& shape : newer.types.All()) {
        byName[{shape.name, shape.kind}].news.push_back(&shape);
    }
    std::vector<TypeDifference> found;
    const auto describe = [](const TypeShape* shape, bool) { return Namesake{shape->unit, shape->likeness, true}; };
    for (const auto& [name, sides] : byName) {
        // What both have is the same in whichever unit.
        std::unordered_map<u64, u32> known;
        for (const TypeShape* shape : sides.olds) {
            known[shape->likeness] |= 1;
        }
        for (const TypeShape* shape : sides.news) {
            known[shape->likeness] |= 2;
        }
        Sides<const TypeShape*> rest = sides;
        const auto isInBoth = [&](const TypeShape* shape) { return known[shape->likeness] == 3; };
        std::erase_if(rest.olds, isInBoth);
        std::erase_if(rest.news, isInBoth);
        const bool isBase = name.second == std::string_view("base");
        VisitPairs(rest.olds, rest.news, describe, [&](const TypeShape* const* before, const TypeShape* const* now) {
            if ((before == nullptr || now == nullptr) && isBase) {
                return; // one base type more or less breaks nothing
            }
            TypeDifference difference = {before == nullptr ? nullptr : *before, now == nullptr ? nullptr : *now};
            found.push_back(difference);
        });
    }
    return found;
}

} // namespace

ComparedProgram::ComparedProgram(Loader& file)
    : image(file.Store().GetPath())
    , types(file)
    , units(file, image)
    , hasUnits(file.UnitCount() != 0)
{
}

const char* SymbolDifference::Change() const
{
    if (!oldSize) {
        return "added";
    }
    return !newSize ? "removed" : *newSize > *oldSize ? "grown" : "shrunk";
}

ProgramDiff::ProgramDiff(const ComparedProgram& oldProgram, const ComparedProgram& newProgram)
    : older(oldProgram)
    , newer(newProgram)
    , sections(DiffSections(older, newer))
    , symbols(SymbolDiff(older, newer).Run())
{
    if (older.hasUnits && newer.hasUnits) {
        types = DiffTypes(older, newer);
    }
}

std::vector<MemberDifference> ProgramDiff::MembersOf(const TypeDifference& type) const
{
    std::vector<MemberDifference> found;
    if (type.oldType == nullptr || type.newType == nullptr) {
        return found;
    }
    const std::vector<ShapeRow> oldRows = older.types.RowsOf(*type.oldType);
    const std::vector<ShapeRow> newRows = newer.types.RowsOf(*type.newType);
    std::unordered_map<std::string_view, Sides<const ShapeRow*>> byKey;
    for (const ShapeRow& row : oldRows) {
        byKey[row.Key()].olds.push_back(&row);
    }
    for (const ShapeRow& row : newRows) {
        byKey[row.Key()].news.push_back(&row);
    }
    const auto at = [](const std::vector<const ShapeRow*>& rows, std::size_t i) {
        return i < rows.size() ? std::optional(*rows[i]) : std::nullopt;
    };
    for (const auto& [key, sides] : byKey) {
        for (std::size_t i = 0; i < std::max(sides.olds.size(), sides.news.size()); ++i) {
            MemberDifference member = {at(sides.olds, i), at(sides.news, i)};
            if (member.oldRow != member.newRow) {
                found.push_back(std::move(member));
            }
        }
    }
    std::sort(found.begin(), found.end(), [](const MemberDifference& a, const MemberDifference& b) {
        const auto order = [](const MemberDifference& of) {
            const ShapeRow& row = of.newRow ? *of.newRow : *of.oldRow;
            return std::tuple(row.value.value_or(0), row.offset, row.Key(), of.newRow.has_value());
        };
        return order(a) < order(b);
    });
    return found;
}

bool ProgramDiff::IsSame() const
{
    const auto isSame = [](const SectionDifference& section) { return section.oldSize == section.newSize; };
    return symbols.empty() && types.empty() && std::all_of(sections.begin(), sections.end(), isSame);
}
