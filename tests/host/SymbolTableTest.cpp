// host/SymbolTable.cpp: which symbol a place belongs to.
#include "host/SymbolTable.h"

#include "interfaces/VFKElfFile.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>
#include <string>

namespace {

std::string NameAt(SymbolTable& table, u32 address, u16 section = 1)
{
    const ElfSymbol* symbol = table.FindAt(address, section);
    return symbol == nullptr ? "-" : std::string(symbol->name);
}

TEST(SymbolTable, ASizedSymbolEndsAndALabelGoesOnToTheNext)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(0x100, 0), {.flags = kCodeFlags, .address = 0x8000});
    elf.Symbol({"sized", 0x8011, 0x10}); // Thumb
    elf.Symbol({"inner_label", 0x8018, 0, kSttNoType, kStbLocal});
    elf.Symbol({"$t", 0x8030, 0, kSttNoType, kStbLocal});
    elf.Symbol({"label", 0x8040, 0, kSttNoType});
    elf.Symbol({"weak", 0x8061, 8, kSttFunc, 2});
    elf.Symbol({"strong", 0x8061, 8});
    elf.Symbol({"name", 0x8060, 8, kSttNoType});
    elf.Symbol({"outer", 0x8080, 0x20, kSttObject});
    elf.Symbol({"inner", 0x8088, 4, kSttObject});
    elf.Symbol({"absolute", 0x80C0, 4, kSttObject, 1, kShnAbs});
    elf.Symbol({"unsized", 0x80E1, 0});
    elf.Symbol({"sized_text", 0x80E0, 8, kSttNoType, kStbLocal});
    const TempFile file = elf.Write();
    const VFKElfFile image(file.Path());
    SymbolTable table(image);
    ASSERT_EQ(table.StandingAt(0x80E0, 1).size(), 2u);
    EXPECT_EQ(table.StandingAt(0x80E0, 1)[0]->name, "sized_text") << "what has a size comes first";
    const std::pair<u32, const char*> cases[] = {
        {0x8000, "-"},     {0x8010, "sized"},  {0x801F, "sized"},  {0x8020, "-"}, {0x8030, "-"},     {0x8040, "label"},
        {0x8050, "label"}, {0x8060, "strong"}, {0x8067, "strong"}, {0x8068, "-"}, {0x8080, "outer"}, {0x8088, "inner"},
        {0x808B, "inner"}, {0x808C, "outer"},  {0x80A0, "-"},      {0x80C0, "-"}};
    for (const auto& [address, name] : cases) {
        EXPECT_EQ(NameAt(table, address), name) << std::hex << address;
    }
    EXPECT_TRUE(table.SectionsAt(0x7FFF).empty());
    EXPECT_EQ(table.SectionsAt(0x80FF).size(), 1u);
    EXPECT_TRUE(table.SectionsAt(0x8100).empty());
}

TEST(SymbolTable, MappingSymbolsTellTheKindUpToTheNextOne)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(0x100, 0), {.flags = kCodeFlags, .address = 0x8000});
    elf.Section(".more", std::string(0x100, 0), {.flags = kCodeFlags, .address = 0x8100});
    elf.Symbol({"$t.12", 0x8020, 0, kSttNoType, kStbLocal});
    elf.Symbol({"$d", 0x8030, 0, kSttNoType, kStbLocal});
    elf.Symbol({"$a.0", 0x8010, 0, kSttNoType, kStbLocal});
    const TempFile file = elf.Write();
    const VFKElfFile image(file.Path());
    const SymbolTable table(image);
    EXPECT_EQ(table.MarkAt(0x800F, 1), '\0');
    EXPECT_EQ(table.MarkAt(0x8010, 1), 'a');
    EXPECT_EQ(table.MarkAt(0x802F, 1), 't');
    EXPECT_EQ(table.MarkAt(0x80FF, 1), 'd');
    EXPECT_EQ(table.MarkAt(0x8100, 2), '\0');
}

TEST(SymbolTable, SectionsOfAnObjectFileHaveTheirOwnSymbols)
{
    ElfWriter elf(ByteOrder::Big);
    elf.Section(".text.a", std::string(0x10, 0), {.flags = kCodeFlags});
    elf.Section(".text.b", std::string(0x20, 0), {.flags = kCodeFlags});
    elf.Section(".debug_info", std::string(0x20, 0));
    elf.Section(".tbss", "", {.type = kShtNobits, .flags = kShfAlloc | kShfWrite | 0x400, .size = 0x20});
    elf.Symbol({"a", 1, 0x10, kSttFunc, 1, 1});
    elf.Symbol({"b", 1, 0x20, kSttFunc, 1, 2});
    elf.Edit([](ElfRecords& records) { records.header.e_type = 1; });
    const TempFile file = elf.Write();
    const VFKElfFile image(file.Path());
    SymbolTable table(image);
    EXPECT_TRUE(table.IsRelocatable());
    EXPECT_EQ(table.SectionsAt(4), (std::vector<u16>{1, 2}));
    EXPECT_EQ(table.SectionsAt(0x10), (std::vector<u16>{2}));
    EXPECT_EQ(NameAt(table, 4, 1) + NameAt(table, 4, 2), "ab");
    EXPECT_EQ(table.CodeSections(), 2u);
}

} // namespace
