// Names, addresses and code types from the ELF symbol table alone.
#include "interfaces/DbgAddress.h"
#include "tests/support/DwarfTest.h"

#include <optional>
#include <string>
#include <utility>

namespace {

constexpr u32 kArm = 0x41524D00;
constexpr u32 kThumb = 0x54484D42;
constexpr u32 kData = 0x44415441;

class ElfSymbols : public DwarfTest {
protected:
    ElfSymbols()
    {
        m_text = static_cast<u16>(m_elf.Section(".text", Code(), {.flags = kShfAlloc | kShfExecInstr}));
        m_data = static_cast<u16>(m_elf.Section(".data", Code(), {.flags = kShfAlloc | kShfWrite}));
    }

    ByteSection Code() { return ByteSection(GetParam()).Fill(0x400); }

    void Map(const std::string& name, u32 value)
    {
        m_elf.Symbol({.name = name, .value = value, .type = 0, .binding = 0});
    }
    void Function(const std::string& name, u32 value, u32 size)
    {
        m_elf.Symbol({.name = name, .value = value, .size = size, .section = m_text});
    }

    static DbgAddress Address(u32 value, u32 section = kNone)
    {
        DbgAddress address;
        address.value = value;
        address.section = section;
        return address;
    }

    /// Code type and length of the run, or nothing.
    std::optional<std::pair<u32, u32>> CodeType(u32 value, u32 section = kNone)
    {
        const DbgAddress address = Address(value, section);
        u32 type = 1;
        u32 run = 2;
        const bool known = File().GetCodeType(&address, &type, &run, nullptr);
        EXPECT_TRUE(known || (type == 1 && run == 2)) << "untouched on failure";
        EXPECT_EQ(address.value, value) << "the caller's address stays";
        return known ? std::optional(std::pair(type, run)) : std::nullopt;
    }
    /// Name, value and size of the function at an address, or nothing.
    std::optional<std::tuple<std::string, u32, u32>> FunctionAt(u32 value, u32 section = kNone)
    {
        const DbgAddress address = Address(value, section);
        std::string name = "untouched";
        DbgAddrRange range;
        range.section = 99; // left by an earlier answer
        const bool known = File().FindElfSymbolByAddress(nullptr, &address, &name, &range);
        EXPECT_TRUE(known || (name == "untouched" && range.size == 0));
        EXPECT_EQ(range.section, known ? section : 99);
        return known ? std::optional(std::tuple(name, range.value, range.size)) : std::nullopt;
    }

    using Run = std::pair<u32, u32>;
    using Found = std::tuple<std::string, u32, u32>;
    ElfWriter m_elf{GetParam()};
    u16 m_text = 0;
    u16 m_data = 0;
};
BOTH_BYTE_ORDERS(ElfSymbols);

TEST_P(ElfSymbols, ARunEndsWhereTheKindOfCodeChanges)
{
    Map("$a", 0x100);
    Map("$a", 0x140);
    Map("$d", 0x180);
    Map("$t.1", 0x1C0); // no mapping symbol: its name is longer
    Map("$a", 0x200);
    Map("$t", 0x300);
    Map("$d", 0x300); // the first one at an address counts
    Map("$t", 0x320);
    Open(m_elf);
    EXPECT_EQ(CodeType(0x100), Run(kArm, 0x80));
    EXPECT_EQ(CodeType(0x110), Run(kArm, 0x70));
    EXPECT_EQ(CodeType(0x190), Run(kData, 0x70));
    EXPECT_EQ(CodeType(0x2FF), Run(kArm, 1));
    EXPECT_EQ(CodeType(0x300), Run(kThumb, 0x20));
    for (const u32 unknown : {0xFFu, 0x320u, kNone - 2}) { // before the first, at or after the last
        EXPECT_EQ(CodeType(unknown), std::nullopt);
    }
    EXPECT_FALSE(File().GetCodeType(nullptr, nullptr, nullptr, nullptr));
}

TEST_P(ElfSymbols, AFunctionsExtentIsMadeUpFromItsNeighbour)
{
    Function("sized", 0x100, 0x10);
    Function("short", 0x140, 0x10);
    Function("open", 0x180, 0);
    Function("", 0x1C0, 0);
    Function("alias", 0x200, 0);
    Function("aliased", 0x200, 0x20);
    Function("last", 0x300, 0);
    Function("thumb", 0x381, 4);
    Function("lost", 0x500, 0x10);
    Function("top", 0xFFFFFF00, 0x100);
    m_elf.Symbol({.name = "variable", .value = 0x150, .size = 4, .type = 1, .section = m_text});
    m_elf.Edit([](ElfRecords& records) { records.symbols[9].st_name = 0x7FFFFFFF; });
    Open(m_elf);
    EXPECT_EQ(FunctionAt(0xFF), std::nullopt);
    EXPECT_EQ(FunctionAt(0x10F), Found("sized", 0x100, 0x10));
    EXPECT_EQ(FunctionAt(0x110), Found("sized", 0x100, 0x40)) << "behind its end: up to the next";
    EXPECT_EQ(FunctionAt(0x17F), Found("short", 0x140, 0x40));
    EXPECT_EQ(FunctionAt(0x190), Found("open", 0x180, 0x40));
    EXPECT_EQ(FunctionAt(0x1D0), Found("", 0x1C0, 0x40));
    EXPECT_EQ(FunctionAt(0x210), Found("alias", 0x200, 0x20)) << "the size of its twin";
    EXPECT_EQ(FunctionAt(0x310), Found("last", 0x300, 0x81));
    EXPECT_EQ(FunctionAt(0x380), Found("thumb", 0x381, 4)) << "the Thumb bit doesn't count";
    EXPECT_EQ(FunctionAt(0x400), Found("thumb", 0x381, 0x17F));
    EXPECT_EQ(FunctionAt(0x504), Found("", 0x500, 0x10)) << "a name's offset that lies";
    EXPECT_EQ(FunctionAt(0xFFFFFFF0), Found("top", 0xFFFFFF00, 0x100));
    std::string name;
    DbgAddrRange range;
    EXPECT_FALSE(File().FindElfSymbolByAddress(nullptr, nullptr, &name, &range));
}

TEST_P(ElfSymbols, ARelativeFileAnswersInItsSectionOnly)
{
    g_prefs.relocateLibs = true;
    Map("$a", 0);
    Map("$t", 0x100);
    Function("entry", 0x20, 0x10);
    m_elf.Segment(1, kPfArmPi | kPfX);
    Dwarf2File& file = Open(m_elf);
    EXPECT_EQ(FunctionAt(0x24), Found("entry", 0x20, 0x10)) << "absolute before the index";
    file.BuildCompileUnitIndex();
    const u32 section = Probe::m_sectionId(file);
    ASSERT_NE(section, kNone);

    EXPECT_EQ(FunctionAt(0x24, section), Found("entry", 0x20, 0x10));
    EXPECT_EQ(CodeType(0x24, section), Run(kArm, 0x100 - 0x24));
    DbgAddrRange range;
    EXPECT_FALSE(file.FindElfSymbolByName("entr", &range));
    EXPECT_EQ(range.value, kNone);
    ASSERT_TRUE(file.FindElfSymbolByName("entry", &range));
    EXPECT_EQ(std::tuple(range.value, range.section, range.size), std::tuple(0x20u, section, 0x10u));

    const u32 other = DbgSymSymFile::GetNewSectionID();
    const DbgSection elsewhere("other", 0, other, kNone, 0x100, 0x50000);
    Store().GetSectionList().AddSection(&elsewhere);
    EXPECT_EQ(FunctionAt(0x24, other), std::nullopt);
    EXPECT_EQ(CodeType(0x24, other), std::nullopt);
    EXPECT_EQ(FunctionAt(0x60000), std::nullopt) << "in no section";
}

} // namespace
