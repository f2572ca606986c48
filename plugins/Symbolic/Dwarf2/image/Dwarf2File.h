// One symbol file: its ELF reader, its DWARF sections with their cursors, and the indexes made of them. The work of
// every folder but `frame` is done by operations of this one class; the heading above an operation names the file that
// defines it.
#pragma once

#include "image/Budget.h"
#include "index/AbbrevDecl.h"
#include "index/AttrValue.h"
#include "index/CompileUnitInfo.h"
#include "index/DieInfoMap.h"
#include "index/OffsetMap.h"
#include "index/PubNames.h"
#include "interfaces/Elf32.h"
#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"
#include "interfaces/VFKElfFile.h"
#include "symbols/Chain.h"
#include "symbols/KnownTypes.h"

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

class AttrReader;
class DbgContext;
class DbgSection;
class DbgSymLineTable;
class DbgSymSrcFile;
class DbgSymSymFile;
class DbgUIConsole;
class DbgUserDefinedVarType;
class VFKDataString;
enum class FormLayout : u8;
struct DbgAddrRange;
struct DbgAddress;
struct DbgSymContext;
struct Entry;
struct LineProgramHeader;
struct MemberRecord;
struct TypeRef;

class Dwarf2File {
public:
    /// Opens the ELF file that `symFile` names and reads the five early debug sections. An invalid ELF file gives a
    /// complete but empty object. `symFile` is borrowed and outlives it.
    explicit Dwarf2File(DbgSymSymFile* symFile);
    ~Dwarf2File();
    Dwarf2File(const Dwarf2File&) = delete;
    Dwarf2File& operator=(const Dwarf2File&) = delete;

    const VFKElfFile& Elf() const { return m_elf; }
    DbgSymSymFile* SymFile() const { return m_symFile; }

    /// The value of CheckFile: how much of the file can be served (127, 63, 2 or 0).
    u32 Capability() const;

    // image/SectionTable.cpp
    /// Offers every second ELF section, from index 0 on, to the engine.
    void LoadAllSections();

    // image/ElfSymbols.cpp
    /// Each answers false with the out-arguments untouched. Addresses follow the file's address
    /// form: absolute, or offsets in the relocation section.
    bool FindElfSymbolByName(const char* name, DbgAddrRange* range);
    bool FindElfSymbolByAddress(const DbgContext* dbgContext, const DbgAddress* address, std::string* name,
                                DbgAddrRange* range);
    /// @param codeType gets `ARM`, `THMB` or `DATA` as four letters, big-endian.
    /// @param runLength gets the bytes from the address to where the code type changes.
    bool GetCodeType(const DbgAddress* address, u32* codeType, u32* runLength, const DbgContext* dbgContext);

    // index/CompileUnitIndex.cpp
    /// Builds the index of compile units, once: one hop and one DIE for each unit.
    void BuildCompileUnitIndex();

    // index/Loading.cpp
    /// Loads functions, file-level variables and types of the unit whose DIE stands at
    /// `cuDieOffset`. The cursors stand wherever the walk ends.
    void LoadCompileUnitSymbols(u32 cuDieOffset);
    /// Loads blocks and variables of the function in the context's function-scope word.
    void LoadFunctionScopes(const DbgSymContext* ctx);

    // index/NameLookup.cpp
    /// Finds `name` in `.debug_pubnames` and loads the DIE that it names.
    /// @return true if the name was found, whatever was built.
    bool LoadSymbolByName(const DbgSymContext* ctx, const char* name);

    // symbols/LineTable.cpp
    /// Runs the line number programme at `stmtOffset` of `.debug_line` (DWARF 2.0, 6.2) into a
    /// table. `range` is the unit's and may be null: the last row ends where it ends.
    /// @return true if an instruction set address, file, line or column, or emitted a row.
    bool BuildLineTable(DbgSymSrcFile* srcFile, DbgSymLineTable* lineTable, const DbgAddrRange* range, u32 stmtOffset);

    // console/Commands.cpp
    /// Runs one console line. Always 1.
    u32 ConsoleCommand(const std::string* command, DbgUIConsole* console);

private:
    friend class AttrReader;
    friend class Dwarf2FileProbe;

    /// Bits of m_flags.
    static constexpr u32 kIndexBuilt = 0x1;
    static constexpr u32 kSectionRelative = 0x8; ///< addresses are held against m_sectionId
    static constexpr u32 kRelocationDone = 0x10;
    static constexpr u32 kLoadFunctions = 0x100;
    static constexpr u32 kLoadBlocks = 0x200;
    static constexpr u32 kLoadVariables = 0x400;
    static constexpr u32 kLoadTypeModifiers = 0x800;
    static constexpr u32 kResolveTypes = 0x1000;
    static constexpr u32 kLoadTypes = 0x2000;
    static constexpr u32 kLoadSelection = 0x3F00; ///< the six load bits
    static constexpr u32 kUnitSelection = kLoadSelection & ~kLoadBlocks;

    /// Values of m_codeTypeCache other than the code types themselves.
    static constexpr u32 kCodeTypeUnknown = 0;
    static constexpr u32 kCodeTypeByAddress = kNone;

    // image/Dwarf2File.cpp
    /// Fetches a section that the constructor doesn't read, unless its bytes are there already.
    /// @param always binds the cursor even if the section is missing.
    void ReadLateSection(VFKDataBuf& section, const char* name, bool always);
    bool LittleEndian() const { return m_elf.m_byteOrder != kElfDataMsb; }

    // image/Budget.cpp
    void FillBudget();
    u64 CapitalOfDump() const;
    /// `text`, or its beginning in `cut` if it is very long and no more may be copied.
    const char* CopyableText(const char* text, std::string& cut);

    // image/SectionTable.cpp
    u32 GetSectionType(const Elf32_Shdr* shdr, const elf32_phdr* phdr, const Elf32_Ehdr* ehdr) const;
    /// @return the id of the engine's new section, or kNone if none was made.
    u32 AddHostSection(const Elf32_Shdr* shdr, const elf32_phdr* phdr, const Elf32_Ehdr* ehdr);
    void CheckRelocation();
    /// The fallback of CheckRelocation for a file without section headers.
    void RelocateBySegment();
    /// The section against which addresses are held; null for a file with absolute addresses.
    const DbgSection* GetRelocationSection() const;

    // image/ElfSymbols.cpp
    bool NormaliseAddress(const DbgAddress* address, const DbgContext* dbgContext, u32& value) const;
    void FillRange(const elf32_sym& symbol, DbgAddrRange* range) const;
    void ScanMappingSymbols();
    void DecideCodeType();

    // index/AbbrevTables.cpp
    void ReadAbbrevTables();
    /// Appends the pairs of the declaration at the cursor of m_debug_abbrev.
    void ReadAttributePairs(std::vector<AttrSpec>& specs);
    bool ChooseAbbrevTable(u32 tableOffset); ///< false if there is none, or an empty one

    // index/CompileUnits.cpp
    /// The first unit that contains a DIE offset, or null. A header's own offset lies in no unit.
    CompileUnitInfo* FindCompileUnit(u32 dieOffset);
    void AddCompileUnit(const CompileUnitInfo& header);

    // index/CompileUnitIndex.cpp
    /// Reads the header at the cursor of m_debug_info and leaves the cursor after it.
    void ReadCompileUnitHeader(CompileUnitInfo& header);
    void ReadHeaderFields(CompileUnitInfo& header);
    /// Reads one unit at the cursor and goes to the next. False ends the scan of the section.
    bool IndexCompileUnit();

    // index/AttributeReader.cpp
    /// Takes the next attribute pair at the cursor of m_debug_abbrev, and leaves the width open.
    AttrSpec ReadAttrSpec(bool dump);
    /// Decodes the value at the cursor of m_debug_info (DWARF 2.0, 7.5.4), or steps over it.
    /// @param out gets the value, or AttrValue's start values if the form gives none; a form of 0 leaves it untouched.
    /// Null drops the value.
    /// @return false if nothing could be read: then the value means nothing.
    bool ReadAttrValue(const CompileUnitInfo* unit, u32 form, bool dump, AttrValue* out, bool makeAbsolute,
                       bool parenthesise);
    void SkipLEB128();
    /// The bytes of a block, cut where the section that holds them ends.
    std::string_view BlockBytes(const AttrValue& block) const;
    /// Steps over a value that nobody wants, and prints nothing.
    /// @param readsStrings the caller is one that prints in a dump, so a FORM_strp is read as it would be then.
    bool StepOverValue(const CompileUnitInfo* unit, u32 form, bool readsStrings);
    /// Reads a value of a form that is neither 0 nor indirect, and prints it unless `stream` is null.
    bool DecodeValue(const CompileUnitInfo* unit, u32 form, bool makeAbsolute, AttrValue& value, std::ostream* stream);
    /// Reads what the section has, a reference relative to its unit.
    bool DecodeStored(const CompileUnitInfo* unit, u32 form, AttrValue& value);
    void PrintStored(std::ostream& stream, u32 form, AttrValue& value);
    u32 ReadBlockLength(FormLayout layout);
    void ReadStrp(AttrValue& value);

    // index/AttributeLoop.h
    /// Runs `handle(attribute, read)` over the attributes of an entry. What it does not read is stepped over.
    /// Afterwards the cursor of m_debug_info stands after the last attribute.
    template <typename Handle>
    void ForEachAttribute(const Entry& entry, Handle&& handle);
    /// The same, and keeps the row: AT_sibling goes there, and so does the place where the attributes end.
    template <typename Handle>
    void ReadEntry(const Entry& entry, Handle&& handle);

    // index/DieRows.cpp
    DIEInfo GetDieInfo(u32 offset) { return m_dieInfoMap.GetOrAdd(offset); }
    DIEInfo FindDieInfo(u32 offset) { return m_dieInfoMap.Find(offset); }
    u32 CodeOf(const DIEInfo& row); ///< the abbreviation code at the DIE; 0 for a null entry
    /// The DIE's declaration in the unit that it lies in, or null.
    const AbbrevDecl* DeclOf(const DIEInfo& row);

    // index/EntrySteps.h
    /// If the budget is spent, true, with the cursor of m_debug_info at its end.
    bool EndIfSpent();
    void SpendOnAttributes(u32 pairs, u32 values); ///< bytes read of either section
    u32 ReadCode();                                ///< the abbreviation code at the cursor
    /// Null if there is no such table or no such code in it. Assumes consecutive codes.
    const AbbrevDecl* FindAbbrevDecl(u32 tableOffset, u32 code);
    /// True if an entry of the unit, a null entry too, starts at the cursor of m_debug_info.
    bool HasEntry(const CompileUnitInfo& unit) const;
    /// The same for any unit, but false for a null entry.
    bool HasNextEntry() const;
    /// Notes in the row that its children, or else its sibling, begin at the cursor.
    void FinishDieAttributes(const Entry& entry);

    // index/DieWalker.cpp
    struct TagRule;
    static const TagRule* FindTagRule(u32 tag);
    /// Calls the tag's builder if the load selection asks for it. False if nothing was read.
    bool BuildByTag(const Entry& entry, MemberRecord* member);
    /// Leaves a DIE to LoadPendingDies, unless it is in the queue already.
    void QueueDie(const DIEInfo& row);
    /// Reads past a DIE that isn't built.
    void PassBy(const Entry& entry);
    /// Reads the DIE at the cursor.
    /// @param parents its last element is the DIE whose children are being read.
    /// @param skipKnownChildren hops over the children of a DIE whose sibling is known.
    /// @param member the member loop's record, else null.
    /// @return offset of the next entry of the level, or kNone.
    u32 ReadDie(const CompileUnitInfo* unit, std::vector<u32>* parents, bool skipKnownChildren, MemberRecord* member);
    u32 ReadNullEntry(const CompileUnitInfo* unit, const DIEInfo& row, std::vector<u32>* parents);
    void PrintBadAbbrev(u32 code);
    /// Reads entries from the cursor to the end of the level, children included.
    /// @param last the entry read before; all that follow must lie after it. kNone for none.
    /// @param walked CompileUnitInfo::walked, kept up to date; null not to keep it.
    void WalkEntries(const CompileUnitInfo* unit, std::vector<u32>* parents, bool skipKnownChildren, u32 last = kNone,
                     u32* walked = nullptr);
    /// Notes that `entry` has been walked, or skips what has been walked after it.
    void PassWalkedEntries(const CompileUnitInfo& unit, u32& walked, u32 unitDie, u32 entry);
    /// True if reading the row's DIE once more, in a walk over its unit, changes nothing.
    bool IsSettled(const CompileUnitInfo& unit, const DIEInfo& row);

    // index/Loading.cpp
    class RequestScope;
    class SavedSelection;
    /// @param alone leaves the level that the DIE opened unread.
    /// @return what ReadDie returned; kNone if there is nothing to read.
    u32 LoadDieAtCursor(const CompileUnitInfo* unit, std::vector<u32>* parents, bool alone);
    /// Loads the DIE at `offset` unless it is built. True if it was read.
    bool LoadDieAtOffset(u32 offset);
    /// True if the running request has read too much to go on after each DIE that it loads.
    bool RequestIsSpent(const CompileUnitInfo& unit) const;
    void LoadPendingDies();
    /// The row of a DIE's parent, after loading the DIE's unit; null if there is none.
    DIEInfo LoadParentOf(const DIEInfo& row);

    // index/NestedLoad.h
    /// Runs `body` one level deeper in nested loads; every kLevelsOfStack levels get a stack of their own.
    template <typename Body>
    void Nest(Body&& body);

    // index/NameLookup.cpp
    /// Offset of the first DIE of that name, or kNone. Without `restart` the search goes on after the last match.
    u32 FindPubName(const char* name, bool restart);
    template <typename Wanted>
    u32 SearchPubNames(Wanted&& isWanted);
    bool IndexPubNames();
    u32 FindIndexedPubName(const char* name); ///< the same as FindPubName from the start
    void OpenPubNameSet();

    // symbols/AddressForm.cpp
    void SetLinkAddress(DbgAddress& address, u32 value) const; ///< in the file's address form
    /// Size of a range that ends at `highPc`, in either address form.
    u32 SizeFromHighPc(const DbgAddress& start, u32 highPc) const;

    // symbols/CompileUnitScope.cpp
    class UnitScopeBuilder;
    /// Like all builders below, marks the row built and leaves the cursor of m_debug_info after what it read.
    void BuildCompileUnitScope(const Entry& entry);

    // symbols/LineProgram.cpp
    class LineFiles; // defined in LineProgram.h
    /// Full name of file `fileNumber`, in `path`.
    /// @param ownPath the table's own file; may be null.
    /// @return true if a name was built and differs from `*ownPath`.
    static bool MakeSourcePath(const LineProgramHeader& header, u32 fileNumber, std::string& path,
                               const std::string* ownPath);

    // symbols/LineTable.cpp
    class LineRun;

    // symbols/Scopes.cpp
    class ScopeBuilder;
    void BuildScope(const Entry& entry);
    /// Reads name, type and artificial flag at the end of a chain of AT_specification. Puts both
    /// cursors back.
    /// @param typeOut, artificialOut may be null.
    /// @return the DIE at the end of the chain.
    u32 ReadDeclInfo(u32 offset, const char** nameOut, u32* typeOut, bool* artificialOut);
    /// Reads one DIE of a chain. Puts both cursors back.
    /// @return the next DIE of the chain, or 0.
    u32 ReadDecl(u32 offset, const char** nameOut, u32* typeOut, bool* artificialOut);
    /// Names the block, function and unit around a DIE.
    void FillContextFromDie(const DIEInfo& die, DbgSymContext* context);
    /// The scopes around the children of `parent`.
    ScopeWords ScopesOf(u32 parent);
    /// Turns the scopes around a DIE into those around its children.
    void EnterScope(const DIEInfo& row, ScopeWords& scopes);
    void SetParent(const DIEInfo& row, u32 parent);
    void SetSibling(const DIEInfo& row, u32 sibling);
    /// Forgets how far the row's unit has been walked.
    void ForgetWalk(const DIEInfo& row);

    // symbols/Locations.cpp
    void TakeLocationBytes(const AttrValue& value, VFKDataString& bytes); ///< as they stand
    /// Rewrites DW_OP_fbreg and DW_OP_breg9 in a location expression.
    void PrepareExpression(const CompileUnitInfo* unit, const DIEInfo& die, VFKDataString* expr);
    class ExpressionScan;
    /// The frame base of the function around a DIE, if one is known: bytes of a section, or of `buffer`.
    std::optional<std::string_view> FrameBase(const CompileUnitInfo* unit, const DIEInfo& die,
                                              const VFKDataString& expr, std::string& buffer);
    /// Wraps the list at `listOffset` of `.debug_loc` into `expr`, in the 0xEC form. Always true.
    bool BuildLocationList(const CompileUnitInfo* unit, const DIEInfo& die, VFKDataString* expr, u32 listOffset);

    // symbols/Variables.cpp
    class VariableBuilder;
    void BuildVariable(const Entry& entry);

    // symbols/Members.cpp
    void BuildMember(const Entry& entry, MemberRecord* member);
    void BuildInheritance(const Entry& entry, MemberRecord* member);
    void BuildMemberOrBase(const Entry& entry, MemberRecord* member, bool isMember);
    void EvaluateMemberOffset(const Entry& entry, const AttrValue& location, MemberRecord* member);

    // symbols/TypeResolution.cpp
    /// Describes the type at a DIE offset, loading it if it isn't there and the selection allows.
    void ResolveType(u32 offset, TypeRef* ref);
    void LoadMissingType(u32 offset, TypeRef* ref);
    /// What a DIE is known as: a base type, else a type of the store, else const or volatile. Null for none.
    const TypeStep* LookupType(u32 offset);
    void AddTypeModifier(u32 offset, TypeStep step);
    void AddBaseTypeSize(u32 offset, u32 byteSize);
    void AddToStore(const boost::shared_ptr<DbgUserDefinedVarType>& type);

    // symbols/TypeBuilder.h
    class TypeBuilder;

    // symbols/DerivedTypes.cpp
    void BuildType(const Entry& entry);
    void BuildTypedef(const Entry& entry);
    void BuildTypeModifier(const Entry& entry);
    void BuildLoneSubrange(const Entry& entry);

    // console/Commands.cpp
    class CommandRun;

    // console/Printers.cpp
    /// Each writes to m_dumpStream, and nothing while that is null.
    void PrintOffsetPrefix(u32 offset, bool blankLine);
    void PrintIndent(u32 extra);
    /// The head of an attribute's line; its value is at the cursor of m_debug_info.
    void PrintAttributeHead(u32 attribute);
    void PrintDIEHead(u32 offset, const AbbrevDecl* decl);
    void PrintCompileUnitHeader(const CompileUnitInfo& unit);

    void OpenLevel();
    void CloseLevel();

    // console/StructureDumps.cpp
    class AbbrevDump;
    void DumpAbbrevSection(bool parsed);
    void DumpDIEInfoMap();

    // console/LineDump.cpp
    class LineDumpRun;
    bool DumpLineTable(u32 offset);

    // console/NameDumps.cpp
    bool DumpPubnames(std::ostream& stream);
    bool DumpMacinfo(std::ostream& stream);

    // console/LocationDumps.cpp
    void DumpLocationSection(u32 offset);

    // console/InfoDump.cpp
    class InfoDump;
    void DumpWholeFile();
    void DumpDIE(u32 offset, bool withChildren);

    // console/ElfDumps.cpp
    void DumpElfSymbol(const std::string& name);
    void DumpElfSymbol(u32 value);
    void DumpLibraryRecord();

    u32 m_flags = 0;
    VFKElfFile m_elf;
    DbgSymSymFile* m_symFile; ///< borrowed; all results go into it
    VFKDataBuf m_debug_info;
    VFKDataBuf m_debug_abbrev;
    VFKDataBuf m_debug_line;
    VFKDataBuf m_debug_loc;
    VFKDataBuf m_debug_str;
    VFKDataBuf m_debug_macinfo;
    VFKDataBuf m_debug_pubnames;
    std::map<u32, AbbrevList> m_abbrListMap;      ///< by offset in `.debug_abbrev`
    std::vector<AttrSpec> m_attrSpecs;            ///< of all declarations
    std::map<u32, CompileUnitInfo> m_cuHeaderMap; ///< by offset in `.debug_info`
    DieInfoMap m_dieInfoMap;
    OffsetMap<u32> m_baseTypeSizes;                  ///< DIE of a base or subroutine type to its byte size
    OffsetMap<TypeStep> m_typeModifiers;             ///< DIE of a const or volatile to its AT_type
    KnownTypes m_knownTypes;                         ///< the last answers of those two and of the store
    OffsetMap<u32> m_frameBaseLocListMap;            ///< function DIE to offset in `.debug_loc`
    OffsetMap<std::string_view> m_frameBaseBlockMap; ///< function DIE to its AT_frame_base block
    std::unordered_set<u32> m_typesBeingLoaded;      ///< offsets that ResolveType is loading now
    std::map<u32, char> m_mappingSymbols;            ///< address to 'a', 't' or 'd'
    u32 m_codeTypeCache = kCodeTypeUnknown;
    std::vector<u32> m_pendingDies; ///< offsets to load when the running walk is over
    PubNames m_pubNames;
    std::ostream* m_dumpStream = nullptr; ///< where dump text goes; null is silent
    i32 m_dumpIndent = 0;                 ///< nesting level of the DIE dump, never below 0
    u32 m_sectionId = kNone;              ///< engine section against which addresses are held
    u32 m_frameBaseDepth = 0;             ///< 1 while the location list of a frame base is being built
    Budget m_budget;                      ///< for all that is loaded of the file; a dump has one of its own
    /// The running request: how deep its loads nest, and how many entries it has read.
    u32 m_requestDepth = 0;
    u64 m_entriesRead = 0;
    /// Loads and member loops nested in the running walk; the file decides how deep. Beyond the bound a type waits in
    /// the queue, and a function keeps its plain name.
    u32 m_loadDepth = 0;
    static constexpr u32 kMaxLoadDepth = 65536;
    OffsetMap<ScopeWords> m_scopes; ///< around the children of a DIE
    /// The last answer of ScopesOf, and for which DIE.
    u32 m_lastScopesParent = kNone;
    ScopeWords m_lastScopes;
    /// The table that FindAbbrevDecl looked into last.
    u32 m_lastAbbrevOffset = kNone;
    const AbbrevList* m_lastAbbrevList = nullptr;
    std::vector<UnitEnd> m_unitEnds;
    FoundUnit m_foundUnit;
};
