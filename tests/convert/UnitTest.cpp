// Units and their abbreviations, read from bytes: each form, each bound, and what is found by offset.
#include "convert/Unit.h"

#include "convert/DebugSections.h"
#include "convert/InfoWriter.h"
#include "tests/convert/CraftedDwarf.h"
#include "tests/convert/HandMadeUnit.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace convert;

namespace {

constexpr u32 kAddressOffsetForm = 0x2001;
constexpr u8 kMark = 0x5A;

using Units = HandMadeUnit;
INSTANTIATE_TEST_SUITE_P(, Units, testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& order) {
    return order.param == ByteOrder::Little ? "LittleEndian" : "BigEndian";
});

/// What follows a value is found, and a value that the unit's end cuts makes no entry.
TEST_P(Units, EveryFormEndsWhereItsValueDoes)
{
    const auto fixed = [&](u32 size) { return Bytes().Fill(size, 0xEE); };
    const auto block = [&](u32 width) { return Bytes().Number(3, width).Fill(3, 0xEE); };
    struct Case {
        u32 form;
        ByteSection value;
        u16 version = 5;
        u8 offsetSize = 4;
    };
    std::vector<Case> cases = {
        {DW_FORM_string, Bytes().Text("abc")},
        {DW_FORM_block1, block(1)},
        {DW_FORM_block2, block(2)},
        {DW_FORM_block4, block(4)},
        {DW_FORM_block, Bytes().Uleb(200).Fill(200, 0xEE)},
        {DW_FORM_exprloc, Bytes().Uleb(1).U8(0x9C)},
        {DW_FORM_data16, fixed(16)},
        {DW_FORM_addr, fixed(4)},
        {DW_FORM_sdata, Bytes().Sleb(-1'000'000)},
        {DW_FORM_ref_addr, fixed(4), 2, 8},
        {DW_FORM_ref_addr, fixed(8), 3, 8},
        {DW_FORM_ref_addr, fixed(4), 3, 4},
        {kAddressOffsetForm, Bytes().Uleb(300).Fill(4, 0xEE)},
        {DW_FORM_indirect, Bytes().Uleb(DW_FORM_data2).Fill(2, 0xEE)},
        {DW_FORM_indirect, Bytes().Uleb(DW_FORM_indirect).Uleb(DW_FORM_udata).Uleb(70'000)},
    };
    for (const u32 form : {DW_FORM_data1, DW_FORM_ref1, DW_FORM_flag, DW_FORM_strx1, DW_FORM_addrx1}) {
        cases.push_back({form, fixed(1)});
    }
    for (const u32 form : {DW_FORM_data2, DW_FORM_ref2, DW_FORM_strx2, DW_FORM_addrx2}) {
        cases.push_back({form, fixed(2)});
    }
    for (const u32 form : {DW_FORM_strx3, DW_FORM_addrx3}) {
        cases.push_back({form, fixed(3)});
    }
    for (const u32 form : {DW_FORM_data4, DW_FORM_ref4, DW_FORM_strx4, DW_FORM_addrx4, DW_FORM_ref_sup4}) {
        cases.push_back({form, fixed(4)});
    }
    for (const u32 form : {DW_FORM_data8, DW_FORM_ref8, DW_FORM_ref_sig8, DW_FORM_ref_sup8}) {
        cases.push_back({form, fixed(8)});
    }
    for (const u32 form : {DW_FORM_strp, DW_FORM_line_strp, DW_FORM_sec_offset, DW_FORM_strp_sup, DW_FORM_GNU_strp_alt,
                           DW_FORM_GNU_ref_alt}) {
        cases.push_back({form, fixed(4)});
        cases.push_back({form, fixed(8), 5, 8});
    }
    for (const u32 form : {DW_FORM_udata, DW_FORM_ref_udata, DW_FORM_strx, DW_FORM_addrx, DW_FORM_loclistx,
                           DW_FORM_rnglistx, DW_FORM_GNU_addr_index, DW_FORM_GNU_str_index}) {
        cases.push_back({form, Bytes().Uleb(5, 4)});
    }
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::Message() << "form " << each.form << " version " << each.version);
        abbrev = Bytes();
        Abbreviate(1, DW_TAG_compile_unit, true, {});
        Abbreviate(2, DW_TAG_base_type, false, {{DW_AT_start_scope, each.form}, {DW_AT_decl_line, DW_FORM_data1}});
        info = Bytes().Uleb(1).Uleb(2).Raw(each.value).U8(kMark).U8(0);
        const Unit unit = Read(each.version, each.offsetSize);
        EXPECT_FALSE(unit.IsDamaged());
        ASSERT_EQ(unit.Count(), 2u);
        EXPECT_EQ(unit.Number(1, DW_AT_decl_line), kMark);
        for (u32 end = 2; end < 3 + each.value.Size(); ++end) {
            const Unit cut = Read(each.version, each.offsetSize, end);
            EXPECT_TRUE(cut.IsDamaged());
            EXPECT_EQ(cut.Count(), 1u) << end;
            EXPECT_EQ(cut.End(0), 1u);
        }
    }
}

TEST_P(Units, ValuesAreReadByTheirForms)
{
    const std::string texts("\0first\0cut", 10);
    const std::string lineTexts("\0\0line\0", 7);
    sections.texts = View(texts);
    sections.lineTexts = View(lineTexts);
    Abbreviate(1, DW_TAG_compile_unit, true, {{DW_AT_comp_dir, DW_FORM_string}, {DW_AT_name, DW_FORM_strp}});
    abbrev.Uleb(2).Uleb(DW_TAG_base_type).U8(0);
    const std::vector<std::pair<u32, u32>> attributes = {
        {DW_AT_byte_size, DW_FORM_data2},
        {DW_AT_bit_size, DW_FORM_data4},
        {DW_AT_bit_offset, DW_FORM_data8},
        {DW_AT_lower_bound, DW_FORM_sdata},
        {DW_AT_upper_bound, DW_FORM_udata},
        {DW_AT_count, DW_FORM_indirect},
        {DW_AT_low_pc, DW_FORM_addr},
        {DW_AT_name, DW_FORM_line_strp},
        {DW_AT_producer, DW_FORM_strp},
        {DW_AT_comp_dir, DW_FORM_strp},
        {DW_AT_external, DW_FORM_flag},
        {DW_AT_artificial, DW_FORM_flag},
        {DW_AT_prototyped, DW_FORM_flag_present},
    };
    for (const auto& [name, form] : attributes) {
        abbrev.Uleb(name).Uleb(form);
    }
    abbrev.Uleb(DW_AT_const_value).Uleb(DW_FORM_implicit_const).Sleb(-70'000).Uleb(DW_AT_GNU_vector);
    abbrev.Uleb(DW_FORM_flag_present).U16(0);
    info.Uleb(1).Text("here").U32(1).Uleb(2);
    info.U16(0xFEDC).U32(0x89ABCDEF).U64(0x8000000000000001).Sleb(-300).Uleb(0xFFFFFFFF);
    info.Uleb(DW_FORM_indirect).Uleb(DW_FORM_sdata).Sleb(-2).U32(0x8004);
    info.U32(2).U32(7).U32(1000).U8(0).U8(2).U8(0);
    const Unit unit = Read();
    ASSERT_EQ(unit.Count(), 2u);
    EXPECT_FALSE(unit.IsDamaged());
    EXPECT_EQ(unit.Text(0, DW_AT_comp_dir), "here");
    EXPECT_EQ(unit.Text(0, DW_AT_name), "first");
    EXPECT_EQ(unit.Number(1, DW_AT_byte_size), 0xFEDCu);
    EXPECT_EQ(unit.Number(1, DW_AT_bit_size), 0x89ABCDEFu);
    EXPECT_EQ(unit.Number(1, DW_AT_bit_offset), 0x8000000000000001u);
    EXPECT_EQ(unit.Signed(1, DW_AT_lower_bound), -300);
    EXPECT_EQ(unit.Number(1, DW_AT_upper_bound), 0xFFFFFFFFu);
    EXPECT_EQ(unit.Signed(1, DW_AT_count), -2);
    EXPECT_EQ(unit.Signed(1, DW_AT_const_value), -70'000);
    EXPECT_EQ(unit.Address(1, DW_AT_low_pc), 0x8004u);
    EXPECT_EQ(unit.Number(1, DW_AT_low_pc), std::nullopt);
    EXPECT_EQ(unit.Address(1, DW_AT_byte_size), std::nullopt);
    EXPECT_EQ(unit.Text(1, DW_AT_name), "line");
    EXPECT_EQ(unit.Text(1, DW_AT_producer), "") << "a text without an end";
    EXPECT_EQ(unit.Text(1, DW_AT_comp_dir), "") << "a text behind the section";
    EXPECT_FALSE(unit.Flag(1, DW_AT_external)) << "a flag may be there and say no";
    EXPECT_TRUE(unit.Flag(1, DW_AT_artificial));
    EXPECT_TRUE(unit.Flag(1, DW_AT_prototyped));
    EXPECT_TRUE(unit.Flag(1, DW_AT_GNU_vector)) << "a code too great for the bits of an abbreviation";
    EXPECT_FALSE(unit.Has(1, DW_AT_MIPS_linkage_name));
    EXPECT_FALSE(unit.Has(1, DW_AT_type));
    const std::optional<Dwarf_Attribute> implicit = unit.Get(1, DW_AT_const_value);
    ASSERT_TRUE(implicit);
    EXPECT_GE(implicit->valp, sections.abbreviations.data) << "its value stands in the abbreviation";
    EXPECT_LT(implicit->valp, sections.abbreviations.data + sections.abbreviations.size);
}

TEST_P(Units, ReferencesLeadToEntriesAlone)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {});
    Abbreviate(2, DW_TAG_structure_type, true, {{DW_AT_decl_line, DW_FORM_data4}});
    Abbreviate(3, DW_TAG_member, false,
               {{DW_AT_type, DW_FORM_ref1},
                {DW_AT_containing_type, DW_FORM_ref2},
                {DW_AT_specification, DW_FORM_ref4},
                {DW_AT_abstract_origin, DW_FORM_ref8},
                {DW_AT_import, DW_FORM_ref_udata}});
    info.Uleb(1).Label("struct").Uleb(2).U32(0);
    for (u32 i = 0; i < 9; ++i) { // longer than a piece of the index
        info.Label("member" + std::to_string(i)).Uleb(3).Ref("struct", 1).Ref("member3", 2);
        info.Ref(i == 0 ? "member0" : "member8", 4).Ref("end", 8).Uleb(info.Offset("struct") + 1);
    }
    info.U8(0).Label("end").U8(0);
    const Unit unit = Read();
    ASSERT_EQ(unit.Count(), 11u);
    EXPECT_EQ(unit.Refer(5, DW_AT_type).node, 1u);
    EXPECT_EQ(unit.Refer(5, DW_AT_containing_type).node, 5u);
    EXPECT_EQ(unit.Refer(5, DW_AT_specification).node, 10u);
    EXPECT_FALSE(unit.Refer(5, DW_AT_abstract_origin)) << "behind the last entry";
    EXPECT_FALSE(unit.Refer(5, DW_AT_import)) << "into an entry";
    EXPECT_EQ(unit.DeclarationOf(5), 10u);
    EXPECT_EQ(unit.DeclarationOf(2), kNoNode) << "an entry isn't its own declaration";
    EXPECT_EQ(unit.DeclarationOf(1), kNoNode);
    for (u32 node = 0; node < unit.Count(); ++node) {
        EXPECT_EQ(unit.NodeAt(unit.Key(node).offset), node);
    }
    EXPECT_EQ(unit.NodeAt(~u64{0}), kNoNode);
}

TEST_P(Units, TheTreeIsThatOfTheSection)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {});
    Abbreviate(2, DW_TAG_namespace, true, {});
    Abbreviate(3, DW_TAG_variable, false, {});
    info.U8(1).U8(2).U8(2).U8(3).U8(0).U8(0).U8(3).U8(0).U8(0).U8(3); // and padding, after which nothing is read
    const auto shape = [](const Unit& unit) {
        std::string text;
        for (u32 node = 1; node < unit.Count(); ++node) {
            text += std::to_string(unit.Parent(node)) + '-' + std::to_string(unit.End(node)) + ' ';
        }
        return text;
    };
    const Unit whole = Read();
    EXPECT_FALSE(whole.IsDamaged());
    EXPECT_EQ(shape(whole), "0-4 1-4 2-4 0-5 ");
    EXPECT_EQ(whole.End(0), 5u);
    EXPECT_EQ(whole.Parent(0), kNoNode);
    u32 children = 0;
    whole.ForEachChild(0, [&](u32 child) { children = 10 * children + child; });
    EXPECT_EQ(children, 14u);

    const Unit open = Read(4, 4, 4); // nothing ends
    EXPECT_TRUE(open.IsDamaged());
    EXPECT_EQ(shape(open), "0-4 1-4 2-4 ");
    info.Patch(3, 9, 1); // no abbreviation has the code
    const Unit unknown = Read();
    EXPECT_TRUE(unknown.IsDamaged());
    EXPECT_EQ(shape(unknown), "0-3 1-3 ");
    info.Patch(0, 9, 1);
    const Unit empty = Read();
    EXPECT_TRUE(empty.IsDamaged());
    EXPECT_EQ(empty.Count(), 1u);
    EXPECT_EQ(empty.Tag(0), u32{DW_TAG_compile_unit});
    EXPECT_FALSE(empty.Has(0, DW_AT_name));
}

TEST_P(Units, FormsThatAreNoneEndTheUnit)
{
    const std::pair<u32, ByteSection> cases[] = {
        {0x55, Bytes()}, // a form that nobody defines
        {DW_FORM_indirect, Bytes().Uleb(DW_FORM_implicit_const)},
        {DW_FORM_indirect, Bytes().Uleb(0x1000B)},
        {DW_FORM_indirect, Bytes().Fill(5, DW_FORM_indirect).Uleb(DW_FORM_data1)},
    };
    for (const auto& [form, value] : cases) {
        abbrev = Bytes();
        Abbreviate(1, DW_TAG_compile_unit, true, {});
        Abbreviate(2, DW_TAG_variable, false, {{DW_AT_byte_size, form}});
        info = Bytes().Uleb(1).Uleb(2).Raw(value).Fill(20, 1);
        const Unit unit = Read();
        EXPECT_TRUE(unit.IsDamaged());
        EXPECT_EQ(unit.Count(), 1u);
    }
}

TEST_P(Units, CodesOfAbbreviationsComeInAnyOrder)
{
    Abbreviate(2, DW_TAG_member, false, {{DW_AT_name, DW_FORM_string}});
    Abbreviate(1, DW_TAG_compile_unit, true, {});
    Abbreviate(1, DW_TAG_variable, false, {});
    Abbreviate(300, DW_TAG_namespace, false, {{DW_AT_GNU_vector, DW_FORM_flag}, {0x1'0003, 0x1'0008}});
    Abbreviate(2, DW_TAG_variable, false, {});
    const u32 whole = abbrev.Size();
    Abbreviate(3, DW_TAG_label, true, {{DW_AT_name, DW_FORM_string}});
    const std::string bytes = abbrev.Bytes();
    for (u32 size = whole; size < bytes.size(); ++size) { // what is cut isn't there
        const std::string cut = bytes.substr(0, size);
        const Abbreviations table(View(cut), 0, IsBigEndian());
        ASSERT_NE(table.Find(1), nullptr);
        ASSERT_NE(table.Find(2), nullptr);
        ASSERT_NE(table.Find(300), nullptr);
        EXPECT_EQ(table.Find(1)->tag, DW_TAG_compile_unit) << "of equal codes the first counts";
        EXPECT_TRUE(table.Find(1)->hasChildren);
        EXPECT_EQ(table.Find(2)->tag, DW_TAG_member);
        EXPECT_TRUE(table.Find(2)->MayHave(DW_AT_name));
        EXPECT_FALSE(table.Find(2)->MayHave(DW_AT_type));
        EXPECT_EQ(table.Find(300)->tag, DW_TAG_namespace);
        EXPECT_FALSE(table.Find(300)->MayHave(DW_AT_name));
        EXPECT_TRUE(table.Find(300)->MayHave(DW_AT_GNU_vector));
        const AttributeShape& odd = table.AttributesOf(*table.Find(300))[1];
        EXPECT_EQ(odd.name, 0xFFFF);
        EXPECT_EQ(odd.form, 0xFFFF);
        EXPECT_EQ(odd.layout, Layout::Unknown);
        EXPECT_EQ(table.Find(3), nullptr);
        EXPECT_EQ(table.Find(0), nullptr);
    }
    const Abbreviations inOrder(View(bytes), whole, IsBigEndian());
    ASSERT_NE(inOrder.Find(3), nullptr);
    EXPECT_EQ(inOrder.Find(2), nullptr);
    const Abbreviations behind(View(bytes), bytes.size() + 1, IsBigEndian());
    EXPECT_EQ(behind.Find(1), nullptr);
}

/// A compile unit and a type unit of version 5, and a type unit of version 4 in a section of its own.
TEST_P(Units, UnitsStandInTheirSections)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {{DW_AT_addr_base, DW_FORM_sec_offset}, {DW_AT_language, DW_FORM_data1}});
    Abbreviate(2, DW_TAG_label, false, {{DW_AT_low_pc, DW_FORM_addrx}});
    Abbreviate(3, DW_TAG_label, false, {{DW_AT_low_pc, kAddressOffsetForm}});
    abbrev.U8(0).Label("types");
    Abbreviate(1, DW_TAG_type_unit, true, {});
    Abbreviate(2, DW_TAG_base_type, false, {{DW_AT_byte_size, DW_FORM_data1}});
    const u32 types = abbrev.Offset("types");
    const u32 first = info.OpenLength();
    info.U16(5).U8(DW_UT_compile).U8(4).U32(0).Uleb(1).U32(8).U8(DW_LANG_C99);
    info.Uleb(2).Uleb(1).Uleb(3).Uleb(1).U32(0x10).U8(0).CloseLength(first);
    const u32 second = info.OpenLength();
    info.U16(5).U8(DW_UT_type).U8(4).U32(types).U64(7).U32(25).Uleb(1).Uleb(2).U8(1).U8(0).CloseLength(second);
    ByteSection old = Bytes();
    old.OpenLength();
    old.U16(4).U32(types).U8(4).U64(9).U32(24).Uleb(1).Uleb(2).U8(2).U8(0).CloseLength(0);

    CraftedDwarf file(GetParam());
    Dwarf* const dwarf =
        file.OpenSections({{".debug_abbrev", abbrev.U8(0).Bytes()},
                           {".debug_info", info.Bytes()},
                           {".debug_types", old.Bytes()},
                           {".debug_addr", Bytes().U32(12).U16(5).U8(4).U8(0).U32(0x9000).U32(0xA000).Bytes()}});
    const std::vector<InputUnit> units = ListUnits(dwarf);
    ASSERT_EQ(units.size(), 3u);
    EXPECT_EQ(units[0].language, u32{DW_LANG_C99});
    EXPECT_EQ(units[1].offset, second);
    EXPECT_EQ(units[1].end, info.Size());
    EXPECT_EQ(units[1].type, DW_UT_type);
    EXPECT_FALSE(units[1].standsInTypes) << "from version 5 on type units stand with the others";
    EXPECT_TRUE(units[2].standsInTypes);
    EXPECT_EQ(units[2].offset, 0u);
    EXPECT_EQ(units[2].end, old.Size());
    EXPECT_EQ(FindUnit(units, units[0].end - 1, false), &units[0]);
    EXPECT_EQ(FindUnit(units, units[1].offset, false), &units[1]);
    EXPECT_EQ(FindUnit(units, info.Size(), false), nullptr);
    EXPECT_EQ(FindUnit(units, units[2].entry, true), &units[2]);
    EXPECT_EQ(FindUnit(units, old.Size(), true), nullptr);

    sections.info = FindDebugSection(dwarf, ".debug_info").bytes;
    sections.types = FindDebugSection(dwarf, ".debug_types").bytes;
    sections.abbreviations = FindDebugSection(dwarf, ".debug_abbrev").bytes;
    sections.bigEndian = IsBigEndian();
    UnitReader reader(sections);
    const Unit compiled = reader.Read(units[0]);
    EXPECT_EQ(compiled.Address(1, DW_AT_low_pc), 0xA000u);
    EXPECT_EQ(compiled.Address(2, DW_AT_low_pc), 0xA010u) << "an index and what is added";
    EXPECT_EQ(reader.Read(units[1]).Number(1, DW_AT_byte_size), 1u) << "with its own table of abbreviations";
    const Unit apart = reader.Read(units[2]);
    EXPECT_EQ(apart.Number(1, DW_AT_byte_size), 2u);
    EXPECT_EQ(apart.Key(1), (EntryKey{static_cast<u32>(units[2].entry) + 1, true}));
}

/// What is written is read back equal, at the limits of each form.
TEST_P(Units, WrittenValuesAreReadAgain)
{
    const u64 numbers[] = {0, 0xFF, 0x100, 0xFFFF, 0x10000, 0xFFFFFFFF, 0x100000000, ~u64{0}};
    const i64 signedNumbers[] = {-1, -64, -65, 63, 64, -8192, -8193, INT64_MIN};
    const std::size_t sizes[] = {0, 0xFF, 0x100, 0xFFFF, 0x10000};
    LocationWriter lists(IsBigEndian());
    InfoWriter writer(IsBigEndian(), {}, lists, 0);
    EntryTree tree(0);
    tree.Add(kNoEntry, DW_TAG_compile_unit);
    const auto entry = [&] {
        tree.Number(DW_AT_decl_line, kMark); // of the one before: it ends where it should
        return tree.Add(0, DW_TAG_base_type);
    };
    for (const u64 number : numbers) {
        entry();
        tree.Number(DW_AT_byte_size, number);
    }
    for (const i64 number : signedNumbers) {
        entry();
        tree.Signed(DW_AT_byte_size, number);
    }
    for (const std::size_t size : sizes) {
        entry();
        const std::vector<u8> bytes(size, 0xEE);
        tree.Block(DW_AT_byte_size, {bytes.data(), bytes.size()});
    }
    for (const char* text : {"abc", "abcd"}) { // within the entry, and in the table
        entry();
        tree.Text(DW_AT_name, text);
    }
    const u32 parent = entry();
    tree.Add(tree.Add(parent, DW_TAG_namespace), DW_TAG_label);
    const u32 last = tree.Add(0, DW_TAG_label);
    const PlacedUnit placed = writer.Write(tree);
    writer.Finish();

    UnitSections written;
    written.info = writer.Info().View();
    written.abbreviations = writer.Abbreviations().View();
    written.texts = writer.Texts().View();
    written.bigEndian = IsBigEndian();
    InputUnit input{};
    input.version = 2;
    input.addressSize = input.offsetSize = 4;
    input.entry = placed.offsets[0];
    input.end = placed.size;
    EXPECT_EQ(input.end, written.info.size);
    const Unit unit = UnitReader(written).Read(input);
    EXPECT_FALSE(unit.IsDamaged());
    ASSERT_EQ(unit.Count(), tree.Count());
    u32 node = 0;
    for (const u64 number : numbers) {
        EXPECT_EQ(unit.Number(++node, DW_AT_byte_size), number);
    }
    for (const i64 number : signedNumbers) {
        EXPECT_EQ(unit.Signed(++node, DW_AT_byte_size), number);
    }
    for (const std::size_t size : sizes) {
        const std::optional<Dwarf_Attribute> attribute = unit.Get(++node, DW_AT_byte_size);
        ASSERT_TRUE(attribute);
        const u32 width = attribute->form == DW_FORM_block1 ? 1 : attribute->form == DW_FORM_block2 ? 2 : 4;
        EXPECT_EQ(LoadNumber(attribute->valp, width, IsBigEndian()), size);
    }
    EXPECT_EQ(unit.Text(++node, DW_AT_name), "abc");
    EXPECT_EQ(unit.Text(++node, DW_AT_name), "abcd");
    for (u32 marked = 0; marked <= node; ++marked) {
        EXPECT_EQ(unit.Number(marked, DW_AT_decl_line), kMark) << marked;
    }
    // The sibling of an entry with children is after them, and the unit's own entry has none.
    for (u32 each = 0; each < unit.Count(); ++each) {
        EXPECT_EQ(unit.Key(each).offset, placed.offsets[each]);
    }
    const std::optional<Dwarf_Attribute> sibling = unit.Get(parent, DW_AT_sibling);
    ASSERT_TRUE(sibling);
    EXPECT_EQ(LoadNumber(sibling->valp, 4, IsBigEndian()), placed.offsets[last]);
    EXPECT_FALSE(unit.Has(0, DW_AT_sibling));
}

} // namespace
