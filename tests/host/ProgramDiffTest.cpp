// host/ProgramDiff.cpp, host/TypeShapes.cpp and host/Namesakes.cpp, through `symhost diff --json`.
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

struct Build {
    TempFile file;
    explicit Build(const std::function<void(ElfWriter&)>& fill, u32 textSize = 64)
        : file([&] {
            ElfWriter elf(ByteOrder::Little);
            elf.Section(".text", std::string(textSize, '\0'), {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
            elf.Section(".bss", "",
                        {.type = kShtNobits, .flags = kShfAlloc | kShfWrite, .address = 0x9000, .size = 64});
            fill(elf);
            return elf.Write();
        }())
    {
    }
};

/// "CHANGE NAME OLD NEW" of each record of a kind; for a type also its members.
std::vector<std::string> Differences(const Build& before, const Build& now, const std::string& kind)
{
    const auto size = [](const nlohmann::json& number) { return number.is_null() ? "-" : number.dump(); };
    const auto name = [](const nlohmann::json& record) {
        return record["name"].is_null() ? std::string("?") : record["name"].get<std::string>();
    };
    std::vector<std::string> rows;
    const Ran ran = RunHost({"diff", before.file.Path(), now.file.Path(), "--json"});
    for (const std::string& line : SplitLines(ran.out)) {
        const nlohmann::json record = nlohmann::json::parse(line);
        if (record["record"] == kind) {
            std::string row = kind == "section" ? "" : record["change"].get<std::string>() + ' ';
            row += name(record) + ' ' + size(record["old"]) + ' ' + size(record["new"]);
            for (const nlohmann::json& member : record.value("members", nlohmann::json::array())) {
                row += ", " + member["change"].get<std::string>() + ' ' + name(member);
            }
            rows.push_back(row);
        }
    }
    std::sort(rows.begin(), rows.end());
    EXPECT_LE(ran.status, 1) << ran.err;
    return rows;
}

struct Symbol {
    const char* file; ///< null: global
    const char* name;
    u32 value;
    u32 size;
    u16 section = 1;
};

Build With(const std::vector<Symbol>& symbols)
{
    return Build([&](ElfWriter& elf) {
        for (const Symbol& symbol : symbols) {
            if (symbol.file != nullptr) {
                elf.Symbol({.name = symbol.file, .type = kSttFile, .binding = kStbLocal, .section = kShnAbs});
            }
            elf.Symbol({.name = symbol.name,
                        .value = symbol.value,
                        .size = symbol.size,
                        .type = symbol.section == 1 ? kSttFunc : kSttObject,
                        .binding = static_cast<u8>(symbol.file == nullptr ? 1 : kStbLocal),
                        .section = symbol.section});
        }
    });
}

TEST(Diff, SymbolsComeGoGrowAndShrinkAndOnesThatMoveDoNot)
{
    const Build before = With({{nullptr, "moves", 0x8000, 4},
                               {nullptr, "grows", 0x8004, 4},
                               {nullptr, "goes", 0x8008, 4},
                               {nullptr, "label", 0x8010, 0},
                               {nullptr, "to_bss", 0x8020, 4},
                               {"a.c", ".L1", 0x8030, 4}});
    const Build now = With({{nullptr, "moves", 0x8021, 4},
                            {nullptr, "grows", 0x8004, 6},
                            {nullptr, "comes", 0x8000, 4},
                            {nullptr, "label", 0x8030, 9},
                            {nullptr, "to_bss", 0x9000, 4, 2}});
    EXPECT_EQ(Differences(before, now, "symbol"),
              (std::vector<std::string>{"added comes - 4", "added to_bss - 4", "grown grows 4 6", "removed goes 4 -",
                                        "removed to_bss 4 -"}));
    EXPECT_TRUE(Differences(before, before, "symbol").empty());
}

TEST(Diff, LocalSymbolsPairByTheirUnits)
{
    const Build before = With({{"x/a.c", "init", 0x8000, 4},
                               {"b.c", "init", 0x8004, 8},
                               {"c.c", "init", 0x8010, 10},
                               {"b.c", "count.0", 0x9000, 4, 2},
                               {"b.c", "count.1", 0x9004, 8, 2},
                               {"p\\u.c", "f", 0x8020, 2},
                               {"q\\u.c", "f", 0x8024, 4}});
    // Files are in another order and folder, numbers are assigned anew, one file is removed, another added.
    const Build now = With({{"d.c", "init", 0x8000, 4},
                            {"b.c", "init", 0x8004, 10},
                            {"/new/x/a.c", "init", 0x8010, 5},
                            {"b.c", "count.0", 0x9000, 8, 2},
                            {"b.c", "count.7", 0x9008, 4, 2},
                            {"c:\\new\\q\\u.c", "f", 0x8020, 3},
                            {"c:\\new\\p\\u.c", "f", 0x8024, 2}});
    EXPECT_EQ(Differences(before, now, "symbol"),
              (std::vector<std::string>{"added init - 4", "grown init 4 5", "grown init 8 10", "removed init 10 -",
                                        "shrunk f 4 3"}));
}

TEST(Diff, SumsAreThoseOfAllSections)
{
    const auto sections = [](const char* extra, u32 text) {
        return Build(
            [&](ElfWriter& elf) {
                elf.Symbol({.name = "f", .value = 0x8000, .size = 4});
                elf.Section(extra, "12345678", {.flags = kShfAlloc, .address = 0xA000});
                elf.Section(".comment", "12345678", {});
            },
            text);
    };
    EXPECT_EQ(Differences(sections(".old", 64), sections(".text", 60), "section"),
              (std::vector<std::string>{".bss 64 64", ".old 8 -", ".text 64 68"}));
}

/// A unit with types that `fill` adds; it may refer to "int".
Build Typed(const std::function<void(DwarfBuilder&)>& fill, u32 units = 1)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    for (u32 unit = 0; unit < units; ++unit) {
        const std::string prefix = std::to_string(unit);
        dwarf.Unit().Name("unit" + prefix + ".c").Children([&] {
            dwarf.Label("int").Die(TAG_base_type).Name("int");
            dwarf.Attr(AT_byte_size, FORM_data1, 4).Attr(AT_encoding, FORM_data1, 5);
            fill(dwarf);
        });
        dwarf.EndUnit();
    }
    return Build([&](ElfWriter& elf) { dwarf.AddTo(elf); });
}

void Member(DwarfBuilder& dwarf, const char* name, const char* type, u8 offset)
{
    dwarf.Die(TAG_member);
    if (name != nullptr) {
        dwarf.Name(name);
    }
    dwarf.Ref(AT_type, type).Attr(AT_data_member_location, FORM_block1, {0x23, offset});
}

void Struct(DwarfBuilder& dwarf, const char* name, u32 size, const std::function<void()>& members)
{
    dwarf.Die(TAG_structure_type);
    if (name != nullptr) {
        dwarf.Name(name);
    }
    dwarf.Attr(AT_byte_size, FORM_data1, size).Children(members);
}

void Enum(DwarfBuilder& dwarf, const char* name, std::initializer_list<std::pair<const char*, i32>> values)
{
    dwarf.Die(TAG_enumeration_type);
    if (name != nullptr) {
        dwarf.Name(name);
    }
    dwarf.Attr(AT_byte_size, FORM_data1, 1).Children([&] {
        for (const auto& [enumerator, value] : values) {
            dwarf.Die(TAG_enumerator).Name(enumerator).Attr(AT_const_value, FORM_sdata, value);
        }
    });
}

TEST(Diff, TypesChangeInSizeMembersAndEnumerators)
{
    const auto types = [](bool isNew) {
        return Typed([isNew](DwarfBuilder& dwarf) {
            Struct(dwarf, "same", 4, [&] { Member(dwarf, "a", "int", 0); });
            Struct(dwarf, "node", isNew ? 12 : 8, [&] {
                Member(dwarf, "a", "int", 0);
                if (isNew) {
                    Member(dwarf, "more", "int", 4);
                }
                Member(dwarf, "moves", "int", isNew ? 8 : 4);
            });
            Struct(dwarf, isNew ? "comes" : "goes", 4, [&] { Member(dwarf, "a", "int", 0); });
            dwarf.Die(TAG_structure_type).Name("declared").Attr(AT_declaration, FORM_flag, 1);
            Enum(dwarf, "level", {{"LOW", 0}, {"HIGH", isNew ? 3 : 2}});
            // Constants of an enumeration that has no name.
            Enum(dwarf, nullptr, {{"LIMIT", isNew ? 9 : 8}, {"OTHER", 1}});
            // A structure that has its name by a typedef, with one inside that has none.
            dwarf.Label("inner");
            Struct(dwarf, nullptr, 4, [&] { Member(dwarf, isNew ? "after" : "before", "int", 0); });
            dwarf.Label("outer");
            Struct(dwarf, nullptr, 8, [&] {
                Member(dwarf, "named", "inner", 0);
                Member(dwarf, nullptr, "inner", 4);
            });
            dwarf.Die(TAG_typedef).Name("outer_t").Ref(AT_type, "outer");
            if (isNew) {
                dwarf.Die(TAG_base_type)
                    .Name("char")
                    .Attr(AT_byte_size, FORM_data1, 1)
                    .Attr(AT_encoding, FORM_data1, 8);
            }
        });
    };
    const Build before = types(false);
    EXPECT_EQ(Differences(before, types(true), "type"),
              (std::vector<std::string>{
                  "added comes - 4", "changed ? - -, changed LIMIT", "changed level 1 1, changed HIGH",
                  "changed node 8 12, added more, changed moves",
                  "changed outer_t 8 8, added named.after, removed named.before, added after, removed before",
                  "removed goes 4 -"}));
    EXPECT_TRUE(Differences(before, before, "type").empty());
    const std::string text = RunHost({"diff", before.file.Path(), types(true).file.Path()}).out;
    EXPECT_NE(text.find("\nchanged  enum level  size 1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nchanged  struct node  size 8 -> 12\n"), std::string::npos) << text;
}

TEST(Diff, PartsOfPartsMoveWithThem)
{
    const auto types = [](u8 place) {
        return Typed([place](DwarfBuilder& dwarf) {
            dwarf.Label("leaf");
            Struct(dwarf, nullptr, 4, [&] { Member(dwarf, "v", "int", 0); });
            dwarf.Label("inner");
            Struct(dwarf, nullptr, 4, [&] { Member(dwarf, "deep", "leaf", 0); });
            Struct(dwarf, "outer", 12, [&] { Member(dwarf, "named", "inner", place); });
        });
    };
    EXPECT_EQ(
        Differences(types(0), types(8), "type"),
        (std::vector<std::string>{"changed outer 12 12, changed named, changed named.deep, changed named.deep.v"}));
}

TEST(Diff, TypesOfOneNameThatDifferByBitsAreTwo)
{
    const auto types = [](u32 secondBits) {
        u32 unit = 0;
        return Typed(
            [&](DwarfBuilder& dwarf) {
                const u32 bits = unit++ == 0 ? 3 : secondBits;
                Struct(dwarf, "flags", 4, [&] {
                    Member(dwarf, "low", "int", 0);
                    dwarf.Attr(AT_bit_size, FORM_data1, bits).Attr(AT_bit_offset, FORM_data1, 24);
                });
            },
            2);
    };
    EXPECT_EQ(Differences(types(3), types(5), "type"), (std::vector<std::string>{"added flags - 4"}));
}

TEST(Diff, ATypeOfManyUnitsChangesOnce)
{
    const auto types = [](u32 units, u32 size) {
        return Typed(
            [size](DwarfBuilder& dwarf) { Struct(dwarf, "shared", size, [&] { Member(dwarf, "a", "int", 0); }); },
            units);
    };
    EXPECT_EQ(Differences(types(3, 4), types(5, 8), "type"), (std::vector<std::string>{"changed shared 4 8"}));
    EXPECT_TRUE(Differences(types(1, 4), types(4, 4), "type").empty());
}

TEST(Diff, TheStatusTellsSameDifferentAndTrouble)
{
    const std::string station = Sample("station.axf");
    const std::string other = Sample("station-O2.axf");
    EXPECT_EQ(RunHost({"diff", station, station}).status, 0);
    EXPECT_EQ(RunHost({"diff", station, station}).out, "");
    EXPECT_EQ(RunHost({"diff", station, other}).status, 1);
    EXPECT_EQ(RunHost({"diff", station, other + "/none"}).status, 2);
    EXPECT_EQ(RunHost({"diff", Sample("library-bare.axf"), other}).status, 2);
    EXPECT_EQ(RunHost({"diff", station}).status, 2);
    EXPECT_EQ(RunHost({"diff", station, other}, "", "/dev/full").status, 2);
    EXPECT_NE(RunHost({"diff", station, Sample("symbols.axf")}).err.find("types aren't compared"), std::string::npos);
}

} // namespace
