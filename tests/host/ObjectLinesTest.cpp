// host/ObjectLines.cpp: the lines of sections that all begin at 0.
#include "host/ObjectLines.h"

#include "frame/Dwarf2SymbolicPlugin.h"
#include "host/LineOpcodes.h"
#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/VFKElfFile.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

class ObjectLinesTest : public testing::TestWithParam<ByteOrder> {
protected:
    /// Two functions of two sections, both from 0 on; rows without code in front of each.
    ObjectLinesTest()
    {
        LineBuilder line(dwarf.line);
        line.SetAddress(0);
        m_places.push_back(dwarf.line.Size() - 4);
        line.Row(4, 0).Row(1, 0).Row(1, 2).Row(1, 2).EndSequence(); // 5 and 6 at 0, 7 at 4, 8 at the end at 8
        line.SetAddress(0);
        m_places.push_back(dwarf.line.Size() - 4);
        line.AdvanceLine(19).Copy().Row(1, 2).EndSequence(); // 20 at 0, 21 at 4, the end
        const u32 offset = line.Finish();
        dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, offset).EndUnit();
    }

    /// The relocation of each set address is against the symbol of that index.
    std::string LinesAt(std::vector<u32> symbols, u16 section, std::initializer_list<u32> offsets)
    {
        ByteSection relocations(GetParam());
        for (std::size_t i = 0; i < symbols.size(); ++i) {
            relocations.U32(m_places[i]).U32(symbols[i] << 8 | 2);
        }
        ElfWriter elf(GetParam());
        elf.Section(".text.a", std::string(0x10, 0), {.flags = kCodeFlags});
        elf.Section(".text.b", std::string(0x10, 0), {.flags = kCodeFlags});
        elf.Section(".data", std::string(0x10, 0), {.flags = kShfAlloc});
        dwarf.AddTo(elf);
        elf.Section(".rel.debug_line", relocations);
        elf.Symbol({"a", 0, 0, 3, 0, 1});
        elf.Symbol({"b", 0, 0, 3, 0, 2});
        elf.Symbol({"inside", 12, 0, 0, 0, 2});
        elf.Symbol({"data", 0, 0, 3, 0, 3});
        elf.Edit([](ElfRecords& records) { records.header.e_type = 1; });
        const TempFile path = elf.Write();
        const VFKElfFile image(path.Path());
        Dwarf2SymbolicPlugin plugin;
        Loader file(plugin, path.Path());
        EXPECT_TRUE(file.Add());
        file.LoadIndex();
        ObjectLines lines(file, image);
        m_rows = lines.Rows().size();
        std::string text;
        for (const u32 offset : offsets) {
            const auto place = lines.Find(offset, section);
            text += (text.empty() ? "" : " ") + (place ? std::to_string(place->entry->line) : "-");
        }
        return text;
    }

    DwarfBuilder dwarf{GetParam()};
    std::size_t m_rows = 0; ///< of all sections

private:
    std::vector<u32> m_places; ///< of the addresses that the programme sets
};
INSTANTIATE_TEST_SUITE_P(, ObjectLinesTest, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(ObjectLinesTest, ARelocationTellsTheSection)
{
    EXPECT_EQ(LinesAt({1, 2}, 1, {0, 3, 4}), "6 6 7");
    EXPECT_EQ(LinesAt({1, 2}, 2, {0, 3, 4}), "20 20 -");
    EXPECT_EQ(LinesAt({2, 1}, 1, {0}), "20");
    EXPECT_EQ(LinesAt({1, 3}, 2, {0, 12, 15}), "- 20 20") << "an offset from its symbol";
    EXPECT_EQ(LinesAt({1, 2}, 3, {0}), "-");
}

TEST_P(ObjectLinesTest, AProgrammeOfManyUnitsIsReadAFewTimes)
{
    EXPECT_EQ(LinesAt({1, 2}, 1, {4}), "7");
    const std::size_t ofOne = m_rows;
    for (u32 unit = 0; unit < 50; ++unit) {
        dwarf.Unit().Name("b.c").Attr(AT_stmt_list, FORM_data4, 0).EndUnit();
    }
    EXPECT_EQ(LinesAt({1, 2}, 1, {4}), "7");
    EXPECT_GT(m_rows, ofOne);
    EXPECT_LE(m_rows, 17 * ofOne);
}

TEST_P(ObjectLinesTest, WhatDoesNotAgreeIsNotKnown)
{
    EXPECT_EQ(LinesAt({1}, 1, {0, 4}), "- -") << "a relocation is missing";
    EXPECT_EQ(LinesAt({1, 4}, 1, {0, 4}), "- -") << "data has no lines";
    EXPECT_EQ(LinesAt({1, 77}, 1, {0, 4}), "- -") << "no such symbol";
    EXPECT_EQ(LinesAt({3, 2}, 2, {0, 12}), "- -") << "beyond the end of its section";
    dwarf.line.Truncate(dwarf.line.Size() - 8);
    LinesAt({1, 2}, 1, {0, 4});
}

TEST(LineOpcodes, ANumberEndsWithItsProgrammeAtTheLatest)
{
    // Many units may have the programme: each would read what stands behind it.
    for (const u8 opcode : {u8{5}, u8{0}}) { // a column, the length of an extended opcode
        ByteSection programme(ByteOrder::Little);
        programme.U16(2).U32(14).U8(1).U8(1).U8(0).U8(1).U8(10); // and the operands of the opcodes 1 to 9:
        programme.U8(0).U8(1).U8(1).U8(1).U8(1).U8(0).U8(0).U8(0).U8(1).U8(opcode).U8(0x80);
        const u32 end = programme.Size();
        programme.Fill(1000, 0x80);
        VFKDataBuf line(false, true);
        std::memcpy(line.bytes.Allocate(programme.Size()), programme.Bytes().data(), programme.Size());
        line.Init();
        u32 count = 0;
        VisitLineOpcodes(line, end, [&](const LineOpcode&) { return ++count < 100; });
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(line.Pos(), end) << u32{opcode};
    }
}

} // namespace
