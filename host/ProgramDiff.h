// What two builds of a program differ in: sections, symbols and types.
#pragma once

#include "host/ProgramImage.h"
#include "host/SymbolUnits.h"
#include "host/TypeShapes.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Loader;

/// One of the two programs, with all of it that is compared.
struct ComparedProgram {
    explicit ComparedProgram(Loader& file);

    ProgramImage image;
    TypeShapes types;
    SymbolUnits units; ///< behind the types: it may load functions, and only of some programs
    bool hasUnits;
};

struct SectionDifference {
    std::string_view name;
    std::optional<u64> oldSize; ///< of all sections of the name; nothing if there is none
    std::optional<u64> newSize;
    u64 oldFlash = 0;
    u64 newFlash = 0;
    u64 oldRam = 0;
    u64 newRam = 0;
};

struct SymbolDifference {
    const ProgramSymbol* symbol; ///< in the new program, or in the old one if it has gone
    std::string_view section;
    std::string_view unit; ///< empty if it isn't known
    std::optional<u32> oldSize;
    std::optional<u32> newSize;

    i64 Growth() const { return i64{newSize.value_or(0)} - i64{oldSize.value_or(0)}; }
    /// "added", "removed", "grown" or "shrunk".
    const char* Change() const;
};

struct TypeDifference {
    const TypeShape* oldType; ///< null: added
    const TypeShape* newType; ///< null: removed
};

struct MemberDifference {
    std::optional<ShapeRow> oldRow; ///< nothing: added
    std::optional<ShapeRow> newRow; ///< nothing: removed
};

struct ProgramDiff {
    /// @param older, @param newer outlive this.
    ProgramDiff(const ComparedProgram& older, const ComparedProgram& newer);

    bool IsSame() const;
    /// What a type that changed differs in, in the order of the offsets.
    std::vector<MemberDifference> MembersOf(const TypeDifference& type) const;

    const ComparedProgram& older;
    const ComparedProgram& newer;

    std::vector<SectionDifference> sections; ///< all of both programs
    std::vector<SymbolDifference> symbols;   ///< by section, the largest changes first
    std::vector<TypeDifference> types;       ///< by name
};
