// Converts one unit of the input to DWARF 2.0.
//
// The unit's tree is written in this order: typedefs, the other types, functions without code (declarations and what
// others are instances of), then variables and functions with code in the order of the input. Later entries refer to
// earlier ones, and a typedef gets its size from what it names when a reader comes to it first.
#pragma once

#include "convert/Definitions.h"
#include "convert/Entries.h"
#include "convert/InfoWriter.h"
#include "convert/LineTables.h"
#include "convert/LocationWriter.h"
#include "convert/Locations.h"
#include "convert/Macros.h"
#include "convert/Names.h"
#include "convert/Program.h"
#include "convert/Report.h"
#include "convert/TypeGraph.h"
#include "convert/Unit.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace convert {

/// What all units of a conversion share.
struct Shared {
    const Program& program;
    Dwarf* dwarf;
    const std::vector<InputUnit>& units;
    const UnitSections& sections;
    const Definitions& definitions;
    LineSections lineSections;
    LocationReader& locations;
    InfoWriter& info;
    LineWriter& lines;
    MacroWriter& macros;
    ByteWriter& publicNames;
    ByteWriter& ranges; ///< `.debug_aranges`
    Report& report;
    u32 language;                                       ///< for units that don't state theirs
    std::string producer;                               ///< likewise
    std::optional<AddressRanges> functions;             ///< of all units, near address 0; found when first needed
    std::unordered_map<std::string, u32> tablesOfFiles; ///< written line tables without rows, by their input
    UnitReader reader;                                  ///< for units that others need
    u64 copyBudget;                                     ///< bytes of units that may still be read for copies
};

class UnitConverter {
public:
    UnitConverter(Shared& shared, Unit unit);
    ~UnitConverter();

    /// Makes the tree of entries, and writes what the unit needs in the sections of lines and macros.
    void Convert();
    /// Writes the entries and what leads to them. May run while other units are converted: of what is shared it uses
    /// `info`, `publicNames` and `ranges`, which Convert() doesn't use.
    void Write();

private:
    /// For copies of classes of a type unit.
    UnitConverter(Shared& shared, Unit unit, EntryTree& tree);

    /// Where a type leads once what DWARF 2.0 can't express is left out.
    struct Target {
        enum class Kind : u8 { Void, Node, Foreign };
        Kind kind = Kind::Void;
        u32 node = kNoNode;
        EntryKey key;
    };

    /// The code of one entry of a scope; a scope with several ranges has several entries.
    struct Extent {
        AddressRange range;
        const AddressRanges* whole; ///< all ranges of the scope
        bool isFirst;
        u32 entry;
        const Extent* around; ///< of the scope around; null for a function
    };

    struct Dimension {
        i64 lower = 0;
        std::optional<u64> count;
        bool isDynamic = false; ///< known at run time only
    };

    /// A function with code, and which stretches of it are in the program.
    struct Function {
        u32 node;
        AddressRanges ranges;
    };

    // UnitConverter.cpp
    void Classify();
    void ClassifyFunction(u32 node);
    void FindLocalTypes();
    bool StandsWithoutCode(u32 node) const;
    void ReadLines();
    bool SequenceStands(const LineSequence& sequence);
    const AddressRanges& FunctionsNearZero();
    void FindExtent();
    void AddUnitEntry();
    void WriteTables(const PlacedUnit& placed);
    void WritePublicNames(const PlacedUnit& placed);
    void WriteRanges(const PlacedUnit& placed);
    u32 LineOffset();

    // TypeTargets.cpp
    Target TargetOf(u32 node); ///< where the type of an entry leads
    Target Resolve(Reference type);
    Target ResolveForeign(Dwarf_Die die) const;
    bool IsDeclaration(u32 node) const;
    u32 DefinitionIn(u32 node); ///< of a declared class: the definition in this unit, else kNoNode
    std::optional<Target> LinkOf(u32 node);
    Reference TypeOf(u32 node) const; ///< AT_type, the entry's own or its declaration's
    u32 Final(u32 node) const;        ///< past const and volatile
    u32 Next(u32 node) const;         ///< the node that AT_type leads to in this unit, else kNoNode
    std::optional<u64> SizeOf(Reference type, u32 depth = 0) const;
    std::vector<Dimension> DimensionsOf(u32 node) const;
    void BuildGraph();

    // TypeEntries.cpp
    void AddTypes();
    void AddType(u32 node, u32 parent);
    void AddTypedef(u32 node, u32 parent);
    void AddClass(u32 node, u32 parent);
    void AddMembers(u32 node, u32 entry);
    void AddMember(u32 node, u32 parent, u32 classNode);
    void AddBitField(u32 node);
    void AddStaticMember(u32 node, u32 parent);
    void AddInheritance(u32 node, u32 parent);
    void AddMethod(u32 node, u32 parent);
    void AddEnumeration(u32 node, u32 parent);
    void AddArray(u32 node, u32 parent);
    void AddBaseType(u32 node, u32 parent);
    void AddPointerToMember(u32 node, u32 parent);
    void AddTemplateParameter(u32 node, u32 parent);
    void AddSignature(u32 node, u32 entry); ///< parameters of a subroutine type or declaration
    u32 IntType();
    void Accessibility(u32 node, u32 parentNode, bool always);
    void DataLocation(u32 node);
    void MemberOffset(u64 offset);
    u64 ConstantLocation(u32 node);
    /// AT_type of an entry whose size comes from its type: where the type leads back to the entry, the entry gets a
    /// copy of its own.
    void SizedType(u32 node, Target target);
    void AddCopies();
    u32 AddCopy(u32 node);
    u32 AddForeignCopy(EntryKey key);
    UnitConverter* CopierOf(EntryKey key);
    void Copy(Target target); ///< AT_type of the last entry leads to a copy
    bool LeadsToOtherTypeUnit(Target target);
    void TypeAttribute(Target target, u32 name = DW_AT_type);
    void TypeAttribute(u32 node) { TypeAttribute(TargetOf(node)); }

    // ScopeEntries.cpp
    void AddCodelessFunction(u32 node);
    void AddFunction(const Function& function);
    void FunctionAttributes(u32 node, bool hasCode);
    void AddChildren(u32 node, u32 parent, const std::optional<Extent>& extent, u32 depth);
    void AddBlock(u32 node, u32 parent, const std::optional<Extent>& extent, u32 depth);
    u32 ScopeOfStray(AddressRange range, const Extent& around);
    void AddVariable(u32 node, u32 parent, std::optional<AddressRange> range);
    void AddLabel(u32 node, u32 parent, std::optional<AddressRange> range);
    void AddFileVariable(u32 node);
    void AddLocalTypes(u32 function, u32 entry);
    u32 OriginOf(u32 node);
    u32 OriginByName(u32 node);
    bool AddOrigin(u32 node);              ///< @return false if there is none
    bool FlagOf(u32 node, u32 name) const; ///< a flag of its own, or of its declaration or origin
    void NameAndType(u32 node, std::string_view name, bool hasType);
    bool LocationAttribute(u32 name, const Location& location, std::optional<AddressRange> range);
    void ConstantAttribute(u32 node);
    AddressRanges RangesOf(u32 node) const;
    const Location& LocationOf(u32 node);
    bool StandsAt(u32 node, u32 begin, u32 end);
    bool VariableStands(u32 node, u32 address);

    bool IsCopier() const { return &m_tree != &m_ownTree; }
    void ForeignCoordinates(u32 node);
    void Coordinates(u32 node); ///< AT_decl_file, AT_decl_line, AT_decl_column
    void LeaveOut(const char* kind, const char* reason) { m_shared.report.LeaveOut(kind, reason); }

    Shared& m_shared;
    const Unit m_unit;
    Names m_names;
    EntryTree m_ownTree;
    EntryTree& m_tree; ///< this unit's, or that of the unit that gets copies of this one's classes
    LineTable m_lineTable;
    std::vector<const LineSequence*> m_sequences; ///< those that are in the program
    std::optional<u64> m_lineOffset;              ///< in the input
    u32 m_low = kNone;                            ///< lowest address of the unit's code
    u32 m_high = 0;
    std::vector<u32> m_typeNodes;
    std::vector<u32> m_codelessFunctions;
    std::vector<Function> m_functions; ///< with code in the program, in the order of the input
    std::vector<u32> m_functionOf;     ///< by node: index in m_functions, or kNoNode
    u64 m_maxEntries;                  ///< of the tree; beyond that nothing is added twice
    /// Code of functions near address 0, in the order of the input, and whether it is there.
    std::vector<std::pair<AddressRange, bool>> m_codeNearZero;
    bool m_hasCodeNearZero = false;
    std::vector<u32> m_fileVariables;
    std::unordered_set<u32> m_constantDeclarations;         ///< of variables that are defined without a place
    std::unordered_map<u32, std::vector<u32>> m_localTypes; ///< by function
    std::unordered_map<u32, u32> m_definitionOf;            ///< by declaration of a class
    std::unordered_map<std::string_view, u32> m_definitionByName;
    std::vector<u32> m_targetOf; ///< by node: another one, or one of the values in TargetOf
    std::vector<EntryKey> m_foreignTargets;
    std::optional<TypeGraph> m_graph;
    std::vector<std::pair<u32, Target>> m_copies;            ///< an entry whose AT_type is to lead to a copy
    std::map<u64, std::unique_ptr<UnitConverter>> m_copiers; ///< of other type units, by offset
    u32 m_intType = kNoEntry;
    std::unordered_map<std::string, u32> m_originByName;
    u32 m_currentFunction = kNoNode; ///< index in m_functions
    bool m_hasFrameBase = true;      ///< that function
    std::vector<u32> m_locationOf;   ///< by node of the current function: index in m_locations
    std::deque<Location> m_locations;
    std::vector<std::pair<std::string_view, u32>> m_public; ///< names and entries
    std::vector<std::pair<std::string_view, u32>> m_publicLocals;
};

} // namespace convert
