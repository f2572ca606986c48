// host/SizeTree.cpp, host/ProgramImage.cpp and host/SizeQuery.cpp: each byte of a program counts once.
#include "host/Extents.h"
#include "host/ProgramImage.h"
#include "host/SizeQuery.h"
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

constexpr u32 kText = 0x8000;
constexpr u32 kWritable = kShfAlloc | kShfWrite;

std::vector<nlohmann::json> Records(const std::string& path, const std::string& kind)
{
    std::vector<nlohmann::json> records;
    const Ran ran = RunHost({"sizes", path, "--json"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    for (const std::string& line : SplitLines(ran.out)) {
        nlohmann::json record = nlohmann::json::parse(line);
        if (record["record"] == kind) {
            records.push_back(std::move(record));
        }
    }
    return records;
}

/// "NAME KIND OFFSET+SIZE" of each symbol; a gap is called by what it is.
std::vector<std::string> Symbols(const ElfWriter& elf, u32 base = kText)
{
    std::vector<std::string> rows;
    const TempFile file = elf.Write();
    for (const nlohmann::json& symbol : Records(file.Path(), "symbol")) {
        const std::string name = (symbol["name"].is_null() ? symbol["gap"] : symbol["name"]).get<std::string>();
        rows.push_back(name + ' ' + symbol["kind"].get<std::string>() + ' ' +
                       std::to_string(symbol["address"].get<u32>() - base) + '+' +
                       std::to_string(symbol["size"].get<u32>()));
    }
    return rows;
}

class SizesOfBothOrders : public testing::TestWithParam<ByteOrder> {};
INSTANTIATE_TEST_SUITE_P(Orders, SizesOfBothOrders, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(SizesOfBothOrders, EachByteBelongsToTheFirstSymbolThatReachesIt)
{
    ElfWriter elf(GetParam());
    elf.Section(".text", std::string(100, '\0'), {.flags = kCodeFlags, .address = kText});
    const auto symbol = [&](const char* name, u32 offset, u32 size, u8 type = kSttFunc, u8 binding = 1) {
        elf.Symbol({.name = name, .value = kText + offset, .size = size, .type = type, .binding = binding});
    };
    symbol("$t", 0, 0, kSttNoType, kStbLocal);
    symbol("weak", 1, 10, kSttFunc, kStbWeak); // bit 0: Thumb
    symbol("local", 1, 10, kSttFunc, kStbLocal);
    symbol("global", 1, 10);
    symbol("inside", 4, 4);
    symbol("label_inside", 6, 0, kSttNoType);
    symbol("overlaps", 8, 8);
    symbol("label", 20, 0, kSttNoType);
    symbol("sized_at_label", 32, 2);
    symbol("label_at_sized", 32, 0, kSttNoType);
    symbol("$d", 36, 0, kSttNoType, kStbLocal);
    symbol("table", 44, 0, kSttNoType);
    symbol("words", 48, 8, kSttNoType);
    symbol("$a.1", 60, 0, kSttNoType, kStbLocal);
    symbol("other_local", 64, 4, kSttFunc, kStbLocal);
    symbol("other_weak", 64, 4, kSttFunc, kStbWeak);
    symbol("too_large", 90, 1000, kSttObject);
    symbol("outside", 100, 4);
    EXPECT_EQ(Symbols(elf),
              (std::vector<std::string>{"global function 0+10", "overlaps function 10+6", "unnamed gap 16+4",
                                        "label function 20+12", "sized_at_label function 32+2", "padding gap 34+2",
                                        "literals gap 36+8", "table data 44+4", "words variable 48+8",
                                        "literals gap 56+4", "padding gap 60+4", "other_weak function 64+4",
                                        "unnamed gap 68+22", "too_large variable 90+10"}));
}

TEST(Sizes, AUnitThatReachesOverOthersHasWhatTheyLeave)
{
    const auto pieces = [](std::vector<Extent> extents) {
        std::string text;
        for (const Extent& piece : Innermost(std::move(extents))) {
            text +=
                std::to_string(piece.owner) + ':' + std::to_string(piece.begin) + '-' + std::to_string(piece.end) + ' ';
        }
        return text;
    };
    EXPECT_EQ(pieces({{0, 100, 1, false}, {10, 20, 2, false}, {20, 30, 3, false}, {90, 110, 4, false}}),
              "1:0-10 2:10-20 3:20-30 1:30-90 4:90-110 ");
    EXPECT_EQ(pieces({{5, 9, 1, false}, {5, 9, 2, false}, {20, 24, 1, false}}), "1:5-9 1:20-24 ");
    EXPECT_EQ(pieces({}), "");
}

TEST(Sizes, OneFolderIsOneWhicheverWayLeadsToIt)
{
    EXPECT_EQ(FolderOf("/lib/build/stdio/../../src/stdio/printf.c"), "/lib/src/stdio");
    EXPECT_EQ(FolderOf("../src/a.c"), "../src");
    EXPECT_EQ(FolderOf("c:\\src\\a.c"), "c:\\src");
    EXPECT_EQ(FolderOf("a.c"), "");
}

TEST(Sizes, OverlappingAndEmptySectionsAddUpByThemselves)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".a", std::string(16, '\0'), {.flags = kShfAlloc, .address = kText});
    elf.Section(".b", std::string(16, '\0'), {.flags = kShfAlloc, .address = kText + 8});
    elf.Section(".none", "", {.flags = kShfAlloc, .address = kText});
    elf.Section(".wraps", "", {.type = kShtNobits, .flags = kWritable, .address = 0xFFFFFFF0, .size = 0xFFFFFFFF});
    elf.Section(".comment", "text", {});
    elf.Symbol({.name = "v", .value = kText + 8, .size = 16, .type = kSttObject, .section = 2});
    elf.Symbol({.name = "w", .value = 8, .size = 0xFFFFFFFF, .type = kSttObject, .section = 4});
    EXPECT_EQ(Symbols(elf, 0), (std::vector<std::string>{"unnamed gap 32768+16", "v variable 32776+16",
                                                         "unnamed gap 4294967280+24", "w variable 8+4294967271"}));
}

TEST(Sizes, AnObjectFileHasOffsets)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text.f", std::string(8, '\0'), {.flags = kCodeFlags});
    elf.Section(".text.g", std::string(8, '\0'), {.flags = kCodeFlags});
    elf.Section(".text.h", std::string(24, '\0'), {.flags = kCodeFlags});
    elf.Symbol({.name = "f", .value = 0, .size = 8, .section = 1});
    elf.Symbol({.name = "h", .value = 0, .size = 8, .section = 3});
    elf.Symbol({.name = "i", .value = 16, .size = 8, .section = 3});
    elf.Symbol({.name = "g", .value = 0, .size = 6, .section = 2});
    elf.Edit([](ElfRecords& records) { records.header.e_type = 1; });
    EXPECT_EQ(Symbols(elf, 0), (std::vector<std::string>{"f function 0+8", "g function 0+6", "padding gap 6+2",
                                                         "h function 0+8", "unnamed gap 8+8", "i function 16+8"}))
        << "no padding is so long";
}

TEST(Sizes, MemoryFollowsFlagsAndLoadAddresses)
{
    for (const bool moves : {false, true}) {
        ElfWriter elf(ByteOrder::Little);
        const auto section = [&](const char* name, u32 flags, u32 address, std::optional<u32> physical = {}) {
            elf.Segment(elf.Section(name, "bytes of it.", {.flags = flags, .address = address}), 0, physical);
        };
        section(".text", kCodeFlags, 0x8000);
        section(".init_array", kWritable, 0x9000);
        section(".data", kWritable, 0x20000000, moves ? std::optional<u32>(0xA000) : std::nullopt);
        section(".ramfunc", kCodeFlags, 0x20001000, moves ? std::optional<u32>(0xB000) : std::nullopt);
        elf.Section(".bss", "", {.type = kShtNobits, .flags = kWritable, .address = 0x20002000, .size = 64});
        const TempFile file = elf.Write();
        const ProgramImage image(file.Path());
        std::vector<std::string> memory;
        for (const ProgramSection& found : image.Sections()) {
            memory.push_back(found.name + ' ' + MemoryName(found.memory));
        }
        EXPECT_EQ(memory, moves ? (std::vector<std::string>{".text flash", ".init_array flash", ".data both",
                                                            ".ramfunc both", ".bss ram"})
                                : (std::vector<std::string>{".text flash", ".init_array both", ".data both",
                                                            ".ramfunc flash", ".bss ram"}));
    }
}

TEST(Sizes, UnitsTakeWhatTheirEntriesName)
{
    // A variable that a header declares (found by its public name), a static one of a function, a member of a class,
    // functions, and padding between two of a unit.
    const std::pair<const char*, const char*> expected[] = {
        {"channels", "station.c"},     {"overflows.0", "station.c"}, {"_ZN6Device7s_countE", "device.cpp"},
        {"station_main", "station.c"}, {"_ZTV8Recorder", nullptr},   {"memcpy", "start.c"}};
    const std::vector<nlohmann::json> symbols = Records(Sample("station.axf"), "symbol");
    for (const auto& [symbolName, unit] : expected) {
        const std::string name = symbolName;
        const auto found =
            std::find_if(symbols.begin(), symbols.end(), [&](const auto& symbol) { return symbol["name"] == name; });
        ASSERT_NE(found, symbols.end()) << name;
        const nlohmann::json& path = (*found)["unit"];
        EXPECT_EQ(path.is_null() ? "" : path.get<std::string>(),
                  unit == nullptr ? "" : std::string("/build/samples/") + unit)
            << name;
    }
}

TEST(Sizes, LinesTellTheCodeOfAUnitThatReachesOverOthers)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    LineBuilder line(dwarf.line);
    line.SetAddress(0x8000).Row(1, 0).Row(1, 4).EndSequence();
    line.SetAddress(0x8040).Row(1, 0).Row(1, 4).EndSequence(); // the last row is stretched to the unit's end
    dwarf.Unit().Name("wide.c").Attr(AT_stmt_list, FORM_data4, line.Finish()).Range(0x8000, 0x8060).EndUnit();
    dwarf.Unit().Name("inner.c").Range(0x8010, 0x8020).EndUnit();
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(0x60, '\0'), {.flags = kCodeFlags, .address = kText});
    const auto symbol = [&](const char* name, u32 value) { elf.Symbol({.name = name, .value = value, .size = 16}); };
    symbol("first", 0x8000);
    symbol("inner", 0x8010);
    symbol("strange", 0x8020);
    symbol("second", 0x8040);
    symbol("last", 0x8050);
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    std::string units;
    for (const nlohmann::json& record : Records(file.Path(), "symbol")) {
        units += record["name"].is_null() ? "" : record["name"].get<std::string>() + ' ' + record["unit"].dump() + ' ';
    }
    EXPECT_EQ(units, "first \"wide.c\" inner \"inner.c\" strange null second \"wide.c\" last null ");
}

TEST(Sizes, APublicNameIsNotThatOfALocalVariable)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    dwarf.Unit().Name("a.c").Children([&] { dwarf.Label("x").Die(TAG_variable); }); // declared elsewhere
    dwarf.EndUnit();
    dwarf.pubnames.U32(20).U16(2).U32(0).U32(dwarf.info.Size()).U32(dwarf.Offset("x")).Text("x").U32(0);
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".bss", "", {.type = kShtNobits, .flags = kWritable, .address = 0x9000, .size = 8});
    elf.Symbol({.name = "b.c", .type = kSttFile, .binding = kStbLocal, .section = kShnAbs});
    elf.Symbol({.name = "x", .value = 0x9000, .size = 4, .type = kSttObject, .binding = kStbLocal});
    elf.Symbol({.name = "x", .value = 0x9004, .size = 4, .type = kSttObject});
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    const std::vector<nlohmann::json> symbols = Records(file.Path(), "symbol");
    ASSERT_EQ(symbols.size(), 2u);
    EXPECT_TRUE(symbols[0]["unit"].is_null());
    EXPECT_EQ(symbols[1]["unit"], "a.c");
}

TEST(Sizes, AUnitMayBeginAtZero)
{
    for (const u32 units : {1, 2}) { // that of code which was dropped begins there, too
        DwarfBuilder dwarf(ByteOrder::Little);
        for (u32 unit = 0; unit < units; ++unit) {
            dwarf.Unit().Name("u" + std::to_string(unit) + ".c").Range(0, 16).EndUnit();
        }
        ElfWriter elf(ByteOrder::Little);
        elf.Section(".text", std::string(16, '\0'), {.flags = kCodeFlags});
        elf.Symbol({.name = "f", .value = 4, .size = 12});
        dwarf.AddTo(elf);
        const TempFile file = elf.Write();
        EXPECT_EQ(Records(file.Path(), "symbol").back()["unit"].is_null(), units == 2);
    }
}

TEST(Sizes, ManySymbolsOverOneAnotherTakeNoSquareOfTime)
{
    ElfWriter elf(ByteOrder::Little);
    constexpr u32 kCount = 200'000;
    elf.Section(".bss", "", {.type = kShtNobits, .flags = kWritable, .address = 0x1000, .size = kCount});
    for (u32 i = 0; i < kCount; ++i) {
        elf.Symbol({.name = "s", .value = 0x1000 + i, .size = i % 2 == 0 ? kCount - i : 0, .type = kSttObject});
    }
    const TempFile file = elf.Write();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Records(file.Path(), "symbol").size(), 1u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(Sizes, ThePageIsNotWrittenOverTheProgram)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", "code", {.flags = kCodeFlags, .address = kText});
    elf.Symbol({.name = "f", .value = kText, .size = 4});
    const TempFile file = elf.Write();
    const Ran ran = RunHost({"sizes", file.Path(), "--html", file.Path()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.err.find("It is the symbol file"), std::string::npos) << ran.err;
    EXPECT_EQ(RunHost({"sizes", file.Path(), "--html", "/nowhere/page.html"}).status, 1);
}

} // namespace
