// host/AddressInput.cpp, host/AddressFacts.cpp and what `at` makes of them.
#include "host/AddressInput.h"
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

using nlohmann::json;

/// The rows for what is typed, without those of the hint that more could be converted.
std::vector<std::string> RowsAt(const std::string& text, const std::string& file = "station.axf")
{
    return SplitLines(RunHost({"at", Sample(file), text}).out);
}

json At(const std::string& text, const std::string& file = "station.axf")
{
    return json::parse(SplitLines(RunHost({"at", Sample(file), text, "--json"}).out).at(0));
}

TEST(AddressInput, AnAddressCanBeTypedInManyWays)
{
    const std::vector<std::string> wanted = RowsAt("0x85f6");
    ASSERT_EQ(wanted.size(), 1u);
    for (const char* text : {"34294", "0102766", "85f6", "clamp", "clamp+0", "filter.c:7", "samples/filter:7",
                             "0x85F0+6", "clamp-clamp+2"}) {
        EXPECT_EQ(RowsAt(text), wanted) << text;
    }
    EXPECT_EQ(RowsAt("Ring<short, 4>::Next()"), RowsAt("_ZN4RingIsLi4EE4NextEv"));
}

TEST(AddressInput, ARangeIsListedWhereSomethingBegins)
{
    std::vector<std::string> wanted;
    for (const char* start : {"0x85d8", "0x85e2", "0x85ea", "0x85ee", "0x85f6"}) {
        wanted.push_back(RowsAt(start).at(0));
    }
    EXPECT_EQ(RowsAt("0x85d8-0x85f8"), wanted);
    wanted.pop_back();
    EXPECT_EQ(RowsAt("85d8-85f6"), wanted) << "the end doesn't belong to it";
    EXPECT_GT(RowsAt("0-0xffffffff").size(), 100u);
    EXPECT_EQ(RowsAt("0x802c-0x804c").size(), 1u) << "a second row of the same line is no news";
}

TEST(AddressInput, WhatIsWrongIsTold)
{
    const std::pair<const char*, const char*> cases[] = {
        {"8480", "8480 is decimal; 0x8480?"},
        {"8480-8490", "8480 is decimal; 0x8480?"},
        {"0x9000", "Nothing is known of the address 0x00009000"},
        {"station_mian", "Did you mean station_main?"},
        {"filter.c:1", "No code is of line 1 of 'filter.c'; the next that has some is 7"},
        {"fliter.c:1", "No code is of a file 'fliter.c'"},
        {"0x8480-0x8480", "ends ahead of its start"},
        {"scale-0x8600", "more than one start"},
        {"", "no address"},
        {"+4", "no address"}};
    for (const auto& [text, words] : cases) {
        const Ran ran = RunHost({"at", Sample("station.axf"), text});
        EXPECT_EQ(ran.status, 1) << text;
        EXPECT_NE(ran.err.find(words), std::string::npos) << ran.err;
    }
}

TEST(AddressInput, AnAbsoluteSymbolIsANumberAndSoMayBeWhatLooksOctal)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(0x20, '\0'), {.flags = kCodeFlags, .address = 0x10000});
    elf.Symbol({.name = "f", .value = 0x10000, .size = 8});
    elf.Symbol({.name = "entry", .value = 0x10004, .section = kShnAbs});
    const TempFile file = elf.Write();
    const auto at = [&](const char* text) { return RunHost({"at", file.Path(), text}); };
    EXPECT_EQ(at("entry").out, at("0x10004").out);
    EXPECT_EQ(at("entry").out.substr(0, 15), "0x00010004  f+4") << at("entry").err;
    EXPECT_NE(at("010000").err.find("010000 is octal; 0x010000?"), std::string::npos) << at("010000").err;
}

TEST(AddressInput, NumbersOfATextAreThoseThatLookLikeAddresses)
{
    const std::pair<const char*, std::vector<u32>> cases[] = {
        {"PC=0x8480, LR:00008485 [<000085f6>]", {0x8480, 0x8485, 0x85F6}},
        {"main+0x10/0x40 1a2b face 1234 dead12", {0x40, 0x1A2B, 0xDEAD12}},
        {"pc=8490 R14 : 8485 <addr (8486) r16 8487 time 8488", {0x8490, 0x8485, 0x8486}},
        {"    8004:\te28db000 add", {0x8004, 0xE28DB000}},
        {"8004: 09 8005: 1b", {0x8004}},
        {"8004: 1234 5678", {0x8004}},
        {"8004: late", {}},
        {"1a2 is short, 0x1a2 is none", {0x1A2}},
        {"x12345678 0x123456789 _1a2b 0x 12ag", {}},
        {"", {}}};
    for (const auto& [text, wanted] : cases) {
        std::vector<u32> found;
        for (const ScannedNumber& number : ScanNumbers(text)) {
            found.push_back(number.value);
        }
        EXPECT_EQ(found, wanted) << text;
    }
    EXPECT_EQ(ParseBareHex("00008000"), 0x8000u);
    EXPECT_EQ(ParseBareHex("8000"), std::nullopt) << "decimal";
    EXPECT_EQ(ParseBareHex("123456789"), std::nullopt);
}

TEST(AddressQuery, TextFromStandardInputIsAnsweredAndAnnotated)
{
    const std::string log = "PC 00008490 r0 00009000\n0x85f6\nstation_main\n";
    const std::vector<std::string> rows = SplitLines(RunHost({"at", Sample("station.axf")}, log).out);
    EXPECT_EQ(rows, (std::vector<std::string>{RowsAt("0x8490")[0], RowsAt("clamp")[0], RowsAt("station_main")[0]}));
    EXPECT_EQ(RunHost({"at", Sample("station.axf"), "--annotate"}, log).out,
              "PC 00008490 <station_main+16 station.c:81> r0 00009000\n"
              "0x85f6 <clamp filter.c:7>\n"
              "station_main\n");
}

TEST(AddressQuery, NothingIsSaidOfWhatIsBeyond)
{
    const json beyond = At("0x9000");
    EXPECT_EQ(beyond["function"], "__device_update_from_arm") << "the module's answer";
    for (const char* key : {"section_name", "symbol", "symbol_name", "offset", "kind", "source"}) {
        EXPECT_TRUE(beyond[key].is_null()) << key;
    }
    const json gap = At("0x8af4");
    EXPECT_EQ(gap["section_name"], ".text");
    EXPECT_TRUE(gap["symbol"].is_null());
    EXPECT_TRUE(gap["source"].is_null());
}

TEST(AddressQuery, TheKindIsThatOfNumberedMappingSymbolsToo)
{
    EXPECT_EQ(At("station_main", "clang.axf")["kind"], "ARM");
    EXPECT_EQ(At("clamp", "clang.axf")["kind"], "THMB");
    EXPECT_TRUE(At("clamp", "clang.axf")["code"].is_null()) << "the module's answer";
}

TEST(AddressQuery, VariablesAreToldByTheirMembers)
{
    const std::pair<const char*, const char*> cases[] = {{"root+5", "root.right"},
                                                         {"root", "root.left"},
                                                         {"control_words+4", "control_words[1]"},
                                                         {"weights+1", "weights"}, // bytes [3][2]
                                                         {"last_total", "last_total"}};
    for (const auto& [text, path] : cases) {
        const json answer = At(text);
        EXPECT_EQ(answer["variable"], path) << text;
        EXPECT_EQ(answer["kind"], "DATA");
    }
    EXPECT_EQ(At("root+5")["variable_offset"], 1);
    EXPECT_EQ(At("root+5")["variable_type"], "node *");
    EXPECT_TRUE(At("channels+20")["variable"].is_null()) << "without debug information";
    EXPECT_EQ(At("channels+20")["offset"], 20);
}

TEST(AddressInput, MembersAreTypedAsTheyArePrinted)
{
    for (const char* member : {"root.right", "control_words[1]", "g_ring.values[2]", "overflows.0"}) {
        EXPECT_EQ(At(member)["variable"], member);
        EXPECT_EQ(At(member)["variable_offset"], 0) << member;
    }
    EXPECT_EQ(At("root.right+1")["variable_offset"], 1);
    for (const char* none : {"root.rigth", "root[0]", "root.", "control_words[99]", "control_words[", "weights[1]"}) {
        EXPECT_EQ(RunHost({"at", Sample("station.axf"), none}).status, 1) << none;
    }
}

TEST(AddressInput, LinesOfAnObjectFileAreInTheirSections)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    LineBuilder line(dwarf.line);
    std::vector<u32> places;
    for (const i32 first : {9, 19}) {
        line.SetAddress(0);
        places.push_back(dwarf.line.Size() - 4);
        line.AdvanceLine(first).Copy().Row(1, 2).Row(1, 2).EndSequence();
    }
    dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, line.Finish()).EndUnit();
    ByteSection relocations(ByteOrder::Little);
    relocations.U32(places[0]).U32(1 << 8 | 2).U32(places[1]).U32(2 << 8 | 2); // R_ARM_ABS32 against each section
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text.f", std::string(0x10, 0), {.flags = kCodeFlags});
    elf.Section(".text.g", std::string(0x10, 0), {.flags = kCodeFlags});
    dwarf.AddTo(elf);
    elf.Section(".rel.debug_line", relocations);
    elf.Symbol({"f", 0, 0x10, kSttFunc, kStbGlobal, 1});
    elf.Symbol({"g", 0, 0x10, kSttFunc, kStbGlobal, 2});
    elf.Edit([](ElfRecords& records) { records.header.e_type = 1; });
    const TempFile file = elf.Write();
    const auto at = [&](const char* text) { return RunHost({"at", file.Path(), text}); };
    for (const char* text : {"a.c:10", "a.c:11", "a.c:20", "a.c:21"}) {
        const std::string row = at(text).out;
        EXPECT_EQ(SplitLines(row).size(), 1u) << row << at(text).err;
        EXPECT_NE(row.find(text), std::string::npos) << row;
    }
    EXPECT_NE(at("a.c:13").err.find("the next that has some is 20"), std::string::npos) << at("a.c:13").err;
}

TEST(AddressQuery, InlinedFunctionsAreToldFromTheInside)
{
    const json chain = {"geometry::Shape::Shape", "geometry::detail::Polygon<int, 4>::Polygon"};
    EXPECT_EQ(At("0x80cc", "shapes-5-O2.axf")["inlined"], chain);
    EXPECT_EQ(RowsAt("0x80cc", "shapes-5-O2.axf").size(), 1u);
    EXPECT_EQ(SplitLines(RunHost({"at", "-i", Sample("shapes-5-O2.axf"), "0x80cc"}).out).at(1),
              "              inlined geometry::Shape::Shape, in geometry::detail::Polygon<int, 4>::Polygon");
}

TEST(ScopeQuery, FunctionsOfAnObjectFileAreToldByTheirNames)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    const auto function = [&](const char* name, u32 size) { dwarf.Die(TAG_subprogram).Name(name).Range(0, size); };
    dwarf.Unit().Name("a.c").Range(0, 0x20).Children([&] {
        function("first", 0x10);
        function("second", 0x20);
        function("over", 8);
        function("over", 4);
    });
    dwarf.EndUnit();
    ElfWriter elf(ByteOrder::Little);
    for (const char* section : {".text.a", ".text.b", ".text.c", ".text.d"}) {
        elf.Section(section, std::string(0x20, 0), {.flags = kShfAlloc | kShfExecInstr});
    }
    elf.Symbol({"first", 0, 0x10, kSttFunc, kStbGlobal, 1});
    elf.Symbol({"second", 0, 0x20, kSttFunc, kStbGlobal, 2});
    elf.Symbol({"_Z4overd", 0, 8, kSttFunc, kStbGlobal, 3});
    elf.Symbol({"_Z4overi", 0, 4, kSttFunc, kStbGlobal, 4});
    dwarf.AddTo(elf);
    elf.Edit([](ElfRecords& records) { records.header.e_type = 1; });
    const TempFile file = elf.Write();
    const auto heads = [&](const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {"scopes", file.Path()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::string text;
        for (const std::string& line : SplitLines(RunHost(words).out)) {
            text += line[0] == ' ' ? "" : line.substr(0, line.find("  id ")) + '\n';
        }
        return text;
    };
    EXPECT_EQ(heads({"second"}), "second  0x00000000  size 32\n");
    EXPECT_EQ(heads({"--at", "second+12"}), "second  0x00000000  size 32\n");
    EXPECT_EQ(heads({"over(int)"}), "over  0x00000000  size 4\n");
    EXPECT_EQ(heads({"--at", "0xc"}), "first  0x00000000  size 16\nsecond  0x00000000  size 32\n");
}

TEST(ScopeQuery, TheEndOfAFunctionIsOutside)
{
    EXPECT_EQ(RunHost({"scopes", Sample("station.axf"), "clamp", "--at", "0x8623"}).status, 0);
    const Ran ran = RunHost({"scopes", Sample("station.axf"), "clamp", "--at", "0x8624"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.err.find("0x00008624 is outside of 'clamp'"), std::string::npos) << ran.err;
}

TEST(ScopeQuery, AListSaysThatAVariableIsThereWhateverItsBlock)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    const u32 list = dwarf.LocationList({{0, 8, {0x50}}});
    dwarf.Unit().Name("a.c").Range(0x8000, 0x8010).Children([&] {
        dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Attr(AT_encoding, FORM_data1, 5);
        dwarf.Die(TAG_subprogram).Name("f").Range(0x8000, 0x8010).Children([&] {
            dwarf.Die(TAG_lexical_block).Children([&] { // states no range
                dwarf.Die(TAG_variable).Name("listed").Ref(AT_type, "int").Attr(AT_location, FORM_data4, list);
                dwarf.Die(TAG_variable).Name("always").Ref(AT_type, "int");
                dwarf.Attr(AT_location, FORM_block1, {0x51});
            });
        });
    });
    dwarf.EndUnit();
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(16, '\0'), {.flags = kCodeFlags, .address = 0x8000});
    elf.Symbol({.name = "f", .value = 0x8000, .size = 16});
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    std::string shown;
    for (const std::string& line : SplitLines(RunHost({"scopes", file.Path(), "--at", "0x8004", "--json"}).out)) {
        const json record = json::parse(line);
        if (record.contains("in_scope")) {
            shown +=
                record["name"].get<std::string>() + ' ' + record["here"].dump() + ' ' + record["in_scope"].dump() + ' ';
        }
    }
    EXPECT_EQ(shown, "listed \"r0\" true always \"r1\" false ");
}

} // namespace
