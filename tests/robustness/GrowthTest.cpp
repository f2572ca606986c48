// What hostile files may cost: loading everything of one, running every dump and listing all of it takes
// work in proportion to its size. Counted is what was spent, kept and printed, not the time; what
// isn't counted would take a test over the limit of minutes that ctest sets.
#include "frame/Dwarf2SymbolicPlugin.h"
#include "host/Export.h"
#include "host/Listing.h"
#include "host/Loader.h"
#include "host/NamePattern.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgUIConsole.h"
#include "tests/support/LoadTest.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

namespace {

using Probe = Dwarf2FileProbe;

/// Fills the sections with about `size` bytes.
using Maker = void (*)(DwarfBuilder& dwarf, u32 size);

struct Hostile {
    const char* name;
    Maker make;
};

constexpr u32 kUnknownForm = 0x7E; // takes no bytes
constexpr u64 kMebi = u64{1} << 20;

DwarfBuilder& Unit(DwarfBuilder& dwarf, const UnitHeader& header = {})
{
    return dwarf.Unit(header).Name("a.c").Range(0x8000, 0x9000).Children();
}

/// `count` DIEs of one byte that share a list of as many attributes, in a container of their own.
template <u32 Tag, u32 Container>
void AttributesWithoutBytes(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    if (Container != 0) {
        dwarf.Die(Container).Children();
    }
    dwarf.Die(Tag);
    const u32 code = Container != 0 ? 3 : 2;
    for (u32 pair = 0; pair < size / 4; ++pair) {
        dwarf.Spec(AT_decl_file, kUnknownForm);
    }
    for (u32 die = 0; die < size / 2; ++die) {
        dwarf.Entry(code);
    }
}

constexpr u32 kTypedef = 2;
void DeclareTypedef(DwarfBuilder& dwarf)
{
    dwarf.Declare(kTypedef, TAG_typedef, false, {{AT_type, FORM_ref_addr}});
}

/// Typedefs, each to another place in the run of bytes that comes next.
void Typedefs(DwarfBuilder& dwarf, u32 count, u32 stride, u32 first = 0)
{
    for (u32 die = 0; die < count; ++die) {
        dwarf.Entry(kTypedef);
        dwarf.info.Ref("run", 4, 0u - die * stride - first);
    }
    dwarf.Label("run");
}

void OverlappingEnumerations(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    DeclareTypedef(dwarf);
    dwarf.Declare(3, TAG_enumerator, false, {{AT_name, FORM_block1}, {AT_const_value, kUnknownForm}});
    dwarf.Declare(4, TAG_enumeration_type, true, {});
    Typedefs(dwarf, size / 12, 3, 2);
    for (u32 i = 0; i < size / 12; ++i) {
        dwarf.info.Raw({3, 1, 4}); // an enumerator whose name is the code of an enumeration
    }
}

void OverlappingArrays(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    DeclareTypedef(dwarf);
    dwarf.Declare(3, TAG_subrange_type, false, {{AT_upper_bound, FORM_data1}});
    dwarf.Declare(4, TAG_array_type, true, {});
    Typedefs(dwarf, size / 12, 3, 2);
    for (u32 i = 0; i < size / 12; ++i) {
        dwarf.info.Raw({3, 1, 4});
    }
}

void OverlappingBlocks(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    DeclareTypedef(dwarf);
    dwarf.Declare(3, TAG_variable, false, {{AT_name, FORM_string}, {AT_location, FORM_block4}});
    const u32 count = size / 13;
    Typedefs(dwarf, count, 8);
    for (u32 i = 0; i < count; ++i) {
        dwarf.Entry(3).info.Text("v").U32(8 * (count - i) - 7).U8(0x96);
    }
}

void ManyIndirectForms(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    DeclareTypedef(dwarf);
    for (u32 code = 3; code <= FORM_indirect; ++code) {
        dwarf.Declare(code, TAG_base_type, false, {{AT_decl_file, FORM_indirect}});
    }
    Typedefs(dwarf, size / 10, 1);
    dwarf.info.Fill(size / 2, FORM_indirect).U8(FORM_data1);
}

/// A line number programme with a row a byte, all of the unit's own file.
void Rows(DwarfBuilder& dwarf, u32 count)
{
    const u32 unit = dwarf.line.OpenLength();
    dwarf.line.U16(2).U32(16).Raw({1, 1, 0xFB, 14, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1}).Raw({0, 0});
    dwarf.line.Fill(count, 0x20).CloseLength(unit);
}

void OneProgrammeOfManyUnits(DwarfBuilder& dwarf, u32 size)
{
    Rows(dwarf, size / 2);
    for (u32 i = 0; i < size / 2 / 40; ++i) {
        dwarf.Unit({.abbrevOffset = i == 0 ? std::nullopt : std::optional<u32>(0)}).Name("a.c");
        dwarf.Attr(AT_stmt_list, FORM_data4, 0).Range(0x8000, 0x9000);
    }
}

/// Rows, and functions of one name.
void UnitOfALongPath(DwarfBuilder& dwarf, u32 size)
{
    Rows(dwarf, size / 4);
    dwarf.Unit().Name(std::string(size / 2, 'x')).Attr(AT_stmt_list, FORM_data4, 0).Range(0x8000, 0x9000).Children();
    dwarf.Declare(2, TAG_subprogram, false,
                  {{AT_name, FORM_string}, {AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    const u32 first = dwarf.info.Size();
    for (u32 i = 0; i < size / 4 / 5; ++i) {
        dwarf.Entry(2).info.Text("f").Raw({1, 2});
    }
    dwarf.EndUnit().PubSet(0, dwarf.info.Size(), {{first, "f"}});
}

void OverlappingNameSets(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    for (u32 i = 0; i < size / 8; ++i) {
        dwarf.pubnames.U32(4).U32(0x41414141);
    }
}

template <u32 Tag>
void OneLongText(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.str.Fill(size / 2, 'x').U8(0);
    dwarf.Declare(2, Tag, false, {{AT_name, FORM_strp}, {AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    for (u32 i = 0; i < size / 14; ++i) {
        dwarf.Entry(2).info.U32(i).U8(1).U8(2);
    }
}

void MembersOfALongType(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Label("type").Die(TAG_union_type).Name(std::string(size / 2, 'x'));
    dwarf.Die(TAG_structure_type).Name("s").Children();
    dwarf.Declare(4, TAG_member, false, {{AT_data_member_location, FORM_block1}, {AT_type, FORM_ref_addr}});
    for (u32 i = 0; i < size / 16; ++i) {
        dwarf.Entry(4).info.Raw({2, 0x23, 0}).Ref("type");
    }
}

/// Paths of one long name and one long directory.
void UnitsOfLongTexts(DwarfBuilder& dwarf, u32 size)
{
    dwarf.str.Fill(size / 2, 'x').U8(0);
    for (u32 i = 0; i < size / 40; ++i) {
        dwarf.Unit({.abbrevOffset = i == 0 ? std::nullopt : std::optional<u32>(0)});
        dwarf.Attr(AT_name, FORM_strp, i).Attr(AT_comp_dir, FORM_strp, 2 * i);
    }
}

void MethodsOfALongClass(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.str.Fill(size / 2, 'x').U8(0);
    dwarf.Die(TAG_class_type).Attr(AT_name, FORM_strp, 0).Children();
    dwarf.Label("f").Die(TAG_subprogram).Name("f").End();
    dwarf.Declare(4, TAG_subprogram, false,
                  {{AT_specification, FORM_ref_addr}, {AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    for (u32 i = 0; i < size / 14; ++i) {
        dwarf.Entry(4).info.Ref("f").U8(1).U8(2);
    }
}

void OneListOfManyVariables(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    for (u32 i = 0; i < size / 22; ++i) {
        dwarf.loc.U32(1).U32(2).U16(1).U8(0x50);
    }
    dwarf.Declare(2, TAG_variable, false, {{AT_name, FORM_string}, {AT_location, FORM_data4}});
    for (u32 i = 0; i < size / 14; ++i) {
        dwarf.Entry(2).info.Text("v").U32(0);
    }
}

/// One location of very many frame-base operators, and a long frame base of very many variables.
void FrameBases(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    ByteSection operators(dwarf.Order());
    for (u32 i = 0; i < size / 8; ++i) {
        operators.Raw({0x91, 0});
    }
    dwarf.Die(TAG_subprogram).Name("f").Range(0x8000, 0x9000).Attr(AT_frame_base, FORM_block1, {0x5B}).Children();
    dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block4, operators).End();
    dwarf.Die(TAG_subprogram).Name("g").Range(0x8000, 0x9000);
    dwarf.Attr(AT_frame_base, FORM_block4, ByteSection(dwarf.Order()).Fill(size / 4, 0x96)).Children();
    dwarf.Declare(5, TAG_variable, false, {{AT_name, FORM_string}, {AT_location, FORM_block1}});
    for (u32 i = 0; i < size / 12; ++i) {
        dwarf.Entry(5).info.Text("v").Raw({2, 0x91, 0});
    }
}

void NestedBlocks(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Die(TAG_subprogram).Name("f").Range(0x8000, 0x9000).Children();
    dwarf.Declare(3, TAG_lexical_block, true, {{AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    dwarf.Declare(4, TAG_variable, false, {{AT_name, FORM_string}, {AT_location, FORM_block1}});
    for (u32 i = 0; i < size / 8; ++i) {
        dwarf.Entry(3).info.Raw({1, 2});
        dwarf.Entry(4).info.Text("v").Raw({1, 0x50});
    }
}

void NestedStructures(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Declare(2, TAG_structure_type, true, {{AT_name, FORM_string}});
    for (u32 i = 0; i < size / 3; ++i) {
        dwarf.Entry(2).info.Text("s");
    }
}

/// Units with a variable of one type that is never built, so that each goes on reading after it:
/// `level` writes what follows.
void UnitsThatRefer(DwarfBuilder& dwarf, u32 size, void (*level)(DwarfBuilder& dwarf, u32 size))
{
    for (u32 i = 0; i < size / 2 / 40; ++i) {
        dwarf.Unit({.abbrevOffset = i == 0 ? std::nullopt : std::optional<u32>(0)}).Name("a.c").Children();
        if (i == 0) {
            dwarf.Declare(2, TAG_const_type, false, {});
            dwarf.Declare(3, TAG_variable, false, {{AT_location, FORM_block1}, {AT_type, FORM_ref_addr}});
            dwarf.Declare(4, TAG_compile_unit, false, {{AT_name, FORM_string}});
        }
        dwarf.Entry(3).info.Raw({1, 0x50}).Ref("type");
    }
    dwarf.Unit({.abbrevOffset = 0}).Name("b.c").Children();
    dwarf.Label("type").Entry(2);
    level(dwarf, size);
}

void UnitsThatReferIntoOne(DwarfBuilder& dwarf, u32 size)
{
    UnitsThatRefer(dwarf, size, [](DwarfBuilder& entries, u32 bytes) { entries.info.Fill(bytes / 2, 2); });
}

void UnitsReadAgain(DwarfBuilder& dwarf, u32 size)
{
    UnitsThatRefer(dwarf, size, [](DwarfBuilder& entries, u32 bytes) {
        for (u32 i = 0; i < bytes / 6; ++i) {
            entries.Entry(4).info.Text("b");
        }
    });
}

void ClosedSiblings(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Declare(2, TAG_lexical_block, true, {{AT_sibling, FORM_ref_addr}});
    const u32 first = dwarf.info.Size();
    for (u32 i = 0; i < size / 5; ++i) {
        dwarf.Entry(2).info.U32(first + 5 * (i * 7 % (size / 5)));
    }
}

/// One long number among the attributes that all entries share.
void PaddedPair(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Die(TAG_variable);
    dwarf.abbrev.Uleb(AT_decl_file, size / 2).Uleb(kUnknownForm);
    for (u32 die = 0; die < size / 2; ++die) {
        dwarf.Entry(2);
    }
}

void PaddedCodes(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    DeclareTypedef(dwarf);
    Typedefs(dwarf, size / 10, 1);
    dwarf.info.Fill(size / 2, 0x80).U8(3);
}

/// Programmes of one instruction, whose operand reaches to the end of the section.
void ProgrammesThatReadOn(DwarfBuilder& dwarf, u32 size)
{
    const u32 unit = dwarf.line.OpenLength();
    dwarf.line.U16(2).U32(20).Raw({1, 1, 0xFB, 14, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1}).U8(0).U8(0).U8(LNS_advance_pc);
    dwarf.line.CloseLength(unit).Fill(size / 2, 0x80);
    for (u32 i = 0; i < size / 2 / 40; ++i) {
        dwarf.Unit({.abbrevOffset = i == 0 ? std::nullopt : std::optional<u32>(0)}).Name("a.c");
        dwarf.Attr(AT_stmt_list, FORM_data4, 0);
    }
}

/// They get the name of the unit's file.
void FunctionsWithoutNames(DwarfBuilder& dwarf, u32 size)
{
    dwarf.Unit().Name(std::string(size / 2, 'a')).Children();
    dwarf.Declare(2, TAG_subprogram, false, {{AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    for (u32 i = 0; i < size / 6; ++i) {
        dwarf.Entry(2).info.Raw({1, 2});
    }
}

/// Each link of one chain is the beginning of another reference.
void ChainOfSpecifications(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Declare(2, TAG_subprogram, false,
                  {{AT_specification, FORM_ref_addr}, {AT_low_pc, FORM_data1}, {AT_high_pc, FORM_data1}});
    for (u32 i = 0; i < size / 7; ++i) {
        const u32 next = dwarf.info.Size() + 7;
        dwarf.Entry(2).info.U32(next).Raw({1, 2});
    }
}

template <bool Closed>
void ChainOfModifiers(DwarfBuilder& dwarf, u32 size)
{
    Unit(dwarf);
    dwarf.Declare(2, TAG_const_type, false, {{AT_type, FORM_ref_addr}});
    dwarf.Declare(3, TAG_variable, false,
                  {{AT_name, FORM_string}, {AT_location, FORM_block1}, {AT_type, FORM_ref_addr}});
    const u32 first = dwarf.info.Size();
    const u32 count = size / 14;
    for (u32 i = 0; i < count; ++i) {
        dwarf.Entry(2).info.U32(first + (Closed ? (i + 1) % count : i + 1) * 5);
    }
    for (u32 i = 0; i < count; ++i) {
        dwarf.Entry(3).info.Text("v").Raw({1, 0x50}).U32(first + i * 5);
    }
}

constexpr Hostile kFiles[] = {
    {"OverlappingEnumerations", OverlappingEnumerations},
    {"OverlappingBlocks", OverlappingBlocks},
    {"OneProgrammeOfManyUnits", OneProgrammeOfManyUnits},
    {"UnitOfALongPath", UnitOfALongPath},
    {"BaseTypesOfOneLongText", OneLongText<TAG_base_type>},
    {"FunctionsOfOneLongText", OneLongText<TAG_subprogram>},
    {"MembersOfALongType", MembersOfALongType},
    {"UnitsOfLongTexts", UnitsOfLongTexts},
    {"MethodsOfALongClass", MethodsOfALongClass},
    {"OneListOfManyVariables", OneListOfManyVariables},
    {"FrameBases", FrameBases},
    {"NestedBlocks", NestedBlocks},
    {"NestedStructures", NestedStructures},
    {"FunctionsWithoutNames", FunctionsWithoutNames},
    {"AttributesWithoutBytes", AttributesWithoutBytes<0x4081, 0>},
    {"MembersWithoutBytes", AttributesWithoutBytes<TAG_member, TAG_structure_type>},
    {"EnumeratorsWithoutBytes", AttributesWithoutBytes<TAG_enumerator, TAG_enumeration_type>},
    {"SubrangesWithoutBytes", AttributesWithoutBytes<TAG_subrange_type, TAG_array_type>},
    {"OverlappingArrays", OverlappingArrays},
    {"ManyIndirectForms", ManyIndirectForms},
    {"OverlappingNameSets", OverlappingNameSets},
    {"UnitsThatReferIntoOne", UnitsThatReferIntoOne},
    {"ClosedSiblings", ClosedSiblings},
    {"PaddedPair", PaddedPair},
    {"PaddedCodes", PaddedCodes},
    {"ProgrammesThatReadOn", ProgrammesThatReadOn},
    {"UnitsReadAgain", UnitsReadAgain},
    {"ChainOfSpecifications", ChainOfSpecifications},
    {"ChainOfModifiers", ChainOfModifiers<false>},
    {"ClosedChainOfModifiers", ChainOfModifiers<true>},
};

/// The first of them fill the listings.
constexpr std::size_t kListed = 14;

/// Counts what is printed and drops it.
class DroppingOutput : public Output {
public:
    DroppingOutput()
        : Output(-1)
    {
    }

protected:
    void Deliver(const char* /*bytes*/, std::size_t /*count*/) override {}
};

class DroppingConsole : public DbgUIConsole {
public:
    std::iostream& iostream() override { return m_stream; }
    void ClearContents(u32) override {}
    void CommandFinished() override {}
    u64 Count() const { return m_output.Taken(); }

private:
    DroppingOutput m_output;
    std::iostream m_stream{&m_output};
};

struct SmallStack : LoadTest {
    using LoadTest::OnSmallStack;
};

/// What one file cost.
struct Cost {
    u64 bytes = 0; ///< the file's debug sections
    u64 spent = 0; ///< in bytes read
    u64 kept = 0;  ///< rows, records of the store and what hangs on them
    u64 printed = 0;
};

class Growth : public ::testing::TestWithParam<Hostile> {
protected:
    static TempFile Write(Maker make, u32 size)
    {
        DwarfBuilder dwarf(ByteOrder::Little);
        make(dwarf, size);
        ElfWriter elf(ByteOrder::Little);
        dwarf.AddTo(elf);
        return elf.Write();
    }

    static Cost Measure(Maker make, u32 size)
    {
        const TempFile path = Write(make, size);
        DbgSymSymFile store(path.Path(), 1);
        Dwarf2File file(&store);
        // Without the extra budget that any file gets up to a fixed amount.
        Probe::m_budget(file).Fill(16 * kMebi + 256 * std::filesystem::file_size(path.Path()));
        SmallStack::OnSmallStack([&] { LoadAll(file, store); });
        Cost cost;
        cost.bytes = std::filesystem::file_size(path.Path());
        cost.printed = Print(file);
        cost.spent = Probe::m_budget(file).Spent();
        cost.kept = Probe::m_dieInfoMap(file).Size() + store.FuncScopeCount() + store.SubScopeCount() +
                    store.VariableCount() + store.TypeCount() + store.FileScopeCount();
        for (std::size_t i = 0; i < store.TypeCount(); ++i) {
            cost.kept += MembersOf(store.TypeAt(i));
        }
        for (std::size_t i = 0; i < store.FileScopeCount(); ++i) {
            cost.kept += store.FileScopeAt(i).GetLineTableMember()->Count();
        }
        return cost;
    }

    /// What docs/robustness.md says.
    static void ExpectWithinBounds(const Cost& cost)
    {
        EXPECT_LE(cost.spent, 32 * kMebi + 260 * cost.bytes + 4096 * cost.kept);
        EXPECT_LE(cost.kept, 8 * cost.bytes + kMebi);
        EXPECT_LE(cost.printed, 640 * cost.bytes + kMebi);
    }

private:
    static std::size_t MembersOf(const DbgUserDefinedVarType& type)
    {
        if (const auto* members = dynamic_cast<const DbgUDTInfoMembers*>(type.GetInfo())) {
            return members->Members().size();
        }
        const auto* values = dynamic_cast<const DbgUDTInfoEnum32*>(type.GetInfo());
        return values == nullptr ? 0 : values->Values().size();
    }

    static void LoadAll(Dwarf2File& file, DbgSymSymFile& store)
    {
        file.BuildCompileUnitIndex();
        file.LoadSymbolByName(nullptr, "absent");
        for (std::size_t i = 0; i < store.FileScopeCount(); ++i) {
            file.LoadCompileUnitSymbols(store.FileScopeAt(i).GetId());
        }
        DbgSymContext context;
        for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
            context.funcScope = store.FuncScopeAt(i).id;
            file.LoadFunctionScopes(&context);
        }
        for (std::size_t i = 0; i < store.FileScopeCount(); ++i) {
            const FileRange& range = store.FileRangeAt(i);
            DbgSymSrcFile& source = store.FileScopeAt(i);
            file.BuildLineTable(&source, source.GetLineTableMember(), &range.range, range.lineOffset);
        }
    }

    static u64 Print(Dwarf2File& file)
    {
        DroppingConsole console;
        for (const char* line : {"dump", "dieinfo", "elf", "elfsect .debug_info", "abbr", "abbr x", "DIE 0xb", "line 0",
                                 "loclist", "pubnames", "macinfo"}) {
            const std::string command = line;
            file.ConsoleCommand(&command, &console);
        }
        return console.Count();
    }
};

using Listings = Growth;

} // namespace

TEST_P(Growth, IsNoFasterThanTheFiles)
{
    Cost small;
    for (const u32 size : {60'000u, 120'000u, 240'000u}) {
        const Cost cost = Measure(GetParam().make, size);
        ExpectWithinBounds(cost);
        for (u64 Cost::*part : {&Cost::spent, &Cost::kept, &Cost::printed}) {
            EXPECT_TRUE(small.bytes == 0 || cost.*part <= small.*part * 9 / 4 + 65'536)
                << small.*part << " became " << cost.*part << " at " << size;
        }
        small = cost;
    }
}

TEST_F(Growth, WhatReachesBeyondItsEntryIsCharged)
{
    constexpr u64 kSize = 6000;
    EXPECT_GT(Measure(PaddedPair, kSize).spent, kSize * kSize / 10);
    EXPECT_GT(Measure(PaddedCodes, kSize).spent, kSize * kSize / 40);
    EXPECT_GT(Measure(ProgrammesThatReadOn, kSize).spent, 8 * kSize * Budget::kLineByte);
    EXPECT_GT(Measure(FunctionsWithoutNames, kSize).spent, kSize * kSize / 5);
}

// Other tools take gigabytes or end in a crash.
TEST_F(Growth, AMillionOfOneThingIsLinearToo)
{
    constexpr std::pair<Maker, u32> kLarge[] = {
        {NestedBlocks, 8'000'000}, {ClosedSiblings, 5'000'000}, {ManyIndirectForms, 2'000'000}};
    for (const auto& [make, size] : kLarge) {
        ExpectWithinBounds(Measure(make, size));
    }
}

// Once a fixed amount has been kept, each text is cut to 1 KiB at most; JSON writes up to six characters for one.
TEST_P(Listings, AreInProportionToTheFile)
{
    const TempFile path = Write(GetParam().make, 240'000);
    Dwarf2SymbolicPlugin plugin;
    Loader file(plugin, path.Path());
    ASSERT_TRUE(file.Add());
    const auto list = [&](auto&& listing) {
        DroppingOutput output;
        listing(output);
        EXPECT_LE(output.Taken(), 64 * kMebi + 4096 * std::filesystem::file_size(path.Path()));
    };
    const NamePattern function("f");
    const Selection all;
    for (const bool json : {false, true}) {
        list([&](Output& output) { ListUnits(file, {output, json}, all); });
        list([&](Output& output) { ListFunctions(file, {output, json}, "", all); });
        list([&](Output& output) { ListTypes(file, {output, json}, {}, all); });
        list([&](Output& output) { ListLines(file, {output, json}, "", std::nullopt, all); });
        list([&](Output& output) { ShowScopes(file, {output, json}, &function, ""); });
        list([&](Output& output) { FindNames(file, {output, json}, {.names = {"f"}}); });
    }
    list([&](Output& output) { ExportStore(file, file.Rate(), output); });
}

constexpr auto kName = [](const auto& instance) { return std::string(instance.param.name); };
INSTANTIATE_TEST_SUITE_P(, Growth, ::testing::ValuesIn(kFiles), kName);
INSTANTIATE_TEST_SUITE_P(, Listings, ::testing::ValuesIn(kFiles, kFiles + kListed), kName);
