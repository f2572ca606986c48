// Tests the reading of line number programmes of all versions, and that what is written of them says the same.
#include "convert/LineTables.h"

#include "tests/support/ByteSection.h"
#include "tests/support/LineBuilder.h"

#include <dwarf.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace convert;

namespace {

ByteView ViewOf(const std::string& bytes)
{
    return {reinterpret_cast<const u8*>(bytes.data()), bytes.size()};
}

/// "address file:line" with ",column" if there is one, "~" if no statement begins and "b" if a block does; "|" and the
/// end after each sequence.
std::string Describe(const LineTable& table, const std::vector<LineSequence>& sequences)
{
    std::ostringstream out;
    out << std::hex;
    for (const LineSequence& sequence : sequences) {
        for (std::size_t i = sequence.firstRow; i < sequence.endRow; ++i) {
            const LineRow& row = table.rows[i];
            out << row.address << ' ' << table.files[row.file] << ':' << std::dec << row.line << std::hex;
            if (row.column != 0) {
                out << ',' << std::dec << row.column << std::hex;
            }
            out << (row.isStatement ? "" : "~") << (row.basicBlock ? "b" : "") << ' ';
        }
        out << '|' << sequence.end << ' ';
    }
    return out.str();
}

std::string Describe(const LineTable& table)
{
    return Describe(table, table.sequences);
}

std::vector<const LineSequence*> AllOf(const LineTable& table)
{
    std::vector<const LineSequence*> all;
    for (const LineSequence& sequence : table.sequences) {
        all.push_back(&sequence);
    }
    return all;
}

class Lines : public testing::TestWithParam<ByteOrder> {
protected:
    bool BigEndian() const { return GetParam() == ByteOrder::Big; }

    LineTable Read(std::string_view name = "main.c", std::string_view compDir = "/src")
    {
        m_bytes = line.Bytes();
        return ReadLineTable({ViewOf(m_bytes), ViewOf(lineStr), ViewOf(str), BigEndian()}, 0, name, compDir);
    }

    /// A header of version 4 or 5 up to its tables, the tables, and the programme after them.
    void Programme(u16 version, bool wide, const std::function<void()>& tables, const std::function<void()>& opcodes,
                   u8 minimumLength = 2, u8 operations = 1)
    {
        const u32 width = wide ? 8 : 4;
        if (wide) {
            line.U32(0xFFFFFFFF);
        }
        line.Number(0, width);
        const u32 unit = line.Size();
        line.U16(version);
        if (version >= 5) {
            line.U8(4).U8(0);
        }
        const u32 header = line.Number(0, width).Size();
        line.U8(minimumLength).U8(operations).U8(1).U8(0xFD).U8(12).U8(14);
        line.Raw({0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1, 2}); // 13 is unknown and has two operands
        tables();
        line.Patch(header - width, line.Size() - header, width);
        opcodes();
        line.Patch(unit - width, line.Size() - unit, width);
    }
    void Special(u32 lines, u32 operations) { line.U8(14 + 3 + lines + 12 * operations); }
    void SetAddress(u32 address) { line.Raw({0, 5, DW_LNE_set_address}).U32(address); }
    void EndSequence() { line.Raw({0, 1, DW_LNE_end_sequence}); }

    ByteSection line{GetParam()};
    std::string lineStr;
    std::string str;

private:
    std::string m_bytes;
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, Lines, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(Lines, OpcodesOfVersion2)
{
    LineBuilder builder(line);
    builder.Directory("inc").Directory("/usr/inc").File("main.c").File("a.h", 1).File("b.h", 2).File("../c.h", 9);
    builder.SetAddress(0x8000).AdvanceLine(9).Copy().SetColumn(7).Row(-2, 3).NegateStatement().SetBasicBlock();
    builder.SetFile(2).Row(1, 0).ConstAddPc().SetColumn(70000).SetFile(3).Copy().FixedAdvancePc(3).SetFile(4);
    builder.Copy().AdvancePc(2).EndSequence();
    builder.SetAddress(0x100).Copy().EndSequence();
    builder.Finish();
    EXPECT_EQ(Describe(Read()), "8000 /src/main.c:10 8006 /src/main.c:8,7 8006 /src/inc/a.h:9,7~b "
                                "8028 /usr/inc/b.h:9~ 802b /src/../c.h:9~ |802f 100 /src/main.c:1 |100 ");
}

TEST_P(Lines, HeaderOfVersion3WithMoreOpcodesAndAnAreaThatOnlyItsLengthTellsOf)
{
    LineHeader header;
    header.version = 3;
    header.opcodeBase = 13;
    header.operandCounts = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1};
    header.lineBase = 0;
    header.lineRange = 4;
    header.headerLength = 5 + 12 + 1 + 10 + 1 + 3;
    LineBuilder builder(line, header);
    builder.File("main.c");
    builder.Raw().Fill(3, 0xFF);
    builder.SetAddress(0x10).Opcode(DW_LNS_set_prologue_end).Opcode(DW_LNS_set_isa).Raw().U8(0x81).U8(1);
    builder.Opcode(DW_LNS_set_epilogue_begin).Row(3, 2).DefineFile("late.c").SetFile(2).Row(0, 1).EndSequence();
    builder.Finish();
    EXPECT_EQ(Describe(Read()), "14 /src/main.c:4 16 /src/late.c:4 |16 ");
}

TEST_P(Lines, OperationsOfLongInstructionsAndUnknownOpcodesOfVersion4)
{
    Programme(
        4, false,
        [&] {
            line.U8(0).Text("main.c").Raw({0, 0, 0, 0});
        },
        [&] {
            SetAddress(0x100);
            Special(1, 2); // operation 2 of the first instruction
            line.U8(13).Raw({0x80, 1, 5});
            Special(1, 2);                                                 // operation 1 of the next
            line.U8(DW_LNS_advance_pc).U8(5).Raw({0, 2, 4, 9}).U8(1);      // a discriminator; operation 0 of the fourth
            line.U8(DW_LNS_const_add_pc).Raw({0, 3, 0x80, 0xFF, 0}).U8(1); // 20 operations
            EndSequence();
        },
        4, 3);
    EXPECT_EQ(Describe(Read()), "100 /src/main.c:2 104 /src/main.c:3 10c /src/main.c:3 124 /src/main.c:3 |124 ");
}

TEST_P(Lines, EntryFormatsOfVersion5InBothFormats)
{
    for (const bool wide : {false, true}) {
        line = ByteSection(GetParam());
        lineStr = std::string("/src\0main.c\0", 12);
        str = std::string("sub\0", 4);
        const u32 width = wide ? 8 : 4;
        Programme(
            5, wide,
            [&] {
                line.Raw({1, DW_LNCT_path, DW_FORM_line_strp, 2}).Number(0, width).Number(13, width); // no text there
                line.Raw({4, DW_LNCT_path, DW_FORM_strp, DW_LNCT_directory_index, DW_FORM_udata, DW_LNCT_MD5,
                          DW_FORM_data16});
                line.Uleb(DW_LNCT_size).U8(DW_FORM_block).U8(2);
                line.Number(0, width).U8(0).Fill(16, 0xAA).Raw({2, 7, 7});
                line.Number(0, width).U8(1).Fill(16, 0xBB).U8(0);
            },
            [&] {
                SetAddress(0x10);
                line.U8(DW_LNS_copy).U8(DW_LNS_set_file).U8(0);
                Special(2, 1);
                line.U8(DW_LNS_set_file).U8(2).U8(DW_LNS_copy);
                EndSequence();
            });
        const LineTable table = Read();
        EXPECT_EQ(Describe(table), "10 /src/sub:1 12 /src/sub:3 12 /src/main.c:3 |12 ") << wide;
        EXPECT_EQ(table.files, (std::vector<std::string>{"/src/sub", "/src/main.c"})) << "each path once";
        EXPECT_EQ(table.fileOfNumber, (std::vector<u32>{0, 0}));
    }
}

TEST_P(Lines, DirectoryZeroOfVersion5)
{
    // Directory 0, the compilation directory, and where a file of directory 1, "sub", is then.
    const char* cases[][3] = {{"/src", "/src", "/src/sub/a.c"},    {".", ".", "./sub/a.c"},
                              {"obj", "/src", "/src/obj/sub/a.c"}, {"/b", "/src", "/b/sub/a.c"},
                              {"", "/src", "/src/sub/a.c"},        {"C:\\b", "", "C:\\b\\sub\\a.c"}};
    for (const auto& texts : cases) {
        line = ByteSection(GetParam());
        Programme(
            5, false,
            [&] {
                line.Raw({1, DW_LNCT_path, DW_FORM_string, 2}).Text(texts[0]).Text("sub");
                line.Raw({2, DW_LNCT_path, DW_FORM_string, DW_LNCT_directory_index, DW_FORM_data1, 1})
                    .Text("a.c")
                    .U8(1);
            },
            [] {});
        EXPECT_EQ(Read("x", texts[1]).files, std::vector<std::string>{texts[2]});
    }
}

TEST_P(Lines, ARowOfAnUnknownFileBelongsToTheUnitsOwn)
{
    LineBuilder builder(line);
    builder.File("a.h").SetAddress(0x10).SetFile(0).Copy().SetFile(7).Copy().SetFile(1).Copy().EndSequence();
    builder.Finish();
    EXPECT_EQ(Describe(Read("main.c")), "10 /src/main.c:1 10 /src/main.c:1 10 /src/a.h:1 |10 ");
    EXPECT_EQ(Read("/src/a.h").files.size(), 1u);
}

TEST_P(Lines, SequencesThatRunBackwardsWereDroppedOrHaveNoEnd)
{
    LineBuilder builder(line);
    builder.File("main.c").SetAddress(0x20).Copy().SetAddress(0x10).Copy().EndSequence();
    builder.SetAddress(0xFFFFFFFF).Copy().AdvancePc(2).Copy().EndSequence();
    builder.SetAddress(0x40).EndSequence(); // no row
    builder.SetAddress(0x50).Copy();
    builder.Finish();
    const LineTable table = Read();
    ASSERT_EQ(table.sequences.size(), 2u);
    EXPECT_EQ(table.rows.size(), 4u);
    EXPECT_EQ(table.sequences[0].begin, 0x10u);
    EXPECT_EQ(table.sequences[0].end, 0x20u);
    EXPECT_EQ(table.sequences[1].begin, 0xFFFFFFFFu) << "although its second row wraps around to 3";
}

TEST_P(Lines, DamageEndsAProgrammeEarly)
{
    const auto readWith = [&](const LineHeader& header, const std::function<void(LineBuilder&)>& rest) {
        line = ByteSection(GetParam());
        LineBuilder builder(line, header);
        builder.File("main.c").SetAddress(0x10).Copy().EndSequence().SetAddress(0x20).Copy();
        rest(builder);
        builder.Finish();
        return Read().rows.size();
    };
    EXPECT_EQ(readWith({}, [](LineBuilder& b) { b.EndSequence(); }), 2u);
    EXPECT_EQ(readWith({}, [](LineBuilder& b) { b.Extended(DW_LNE_end_sequence, {}, 100); }), 1u);
    EXPECT_EQ(readWith({},
                       [](LineBuilder& b) {
                           b.Raw().U8(0).U8(0).Raw({0, 1, 1});
                       }),
              2u)
        << "an empty one is nothing";
    EXPECT_EQ(readWith({}, [](LineBuilder& b) { b.Opcode(DW_LNS_advance_pc).Raw().U8(0x80); }), 1u);
    EXPECT_EQ(readWith({.version = 6}, [](LineBuilder& b) { b.EndSequence(); }), 0u);
    EXPECT_EQ(readWith({.lineRange = 0}, [](LineBuilder& b) { b.EndSequence(); }), 0u);
    EXPECT_EQ(readWith({.unitLength = 0xFFFFFFF0}, [](LineBuilder& b) { b.EndSequence(); }), 0u);
    EXPECT_EQ(readWith({.unitLength = 0x7FFFFFFF}, [](LineBuilder& b) { b.EndSequence(); }), 2u) << "up to the end";
    EXPECT_EQ(readWith({.headerLength = 0x7FFFFFFF}, [](LineBuilder& b) { b.EndSequence(); }), 2u);
    EXPECT_EQ(readWith({.headerLength = 1}, [](LineBuilder& b) { b.EndSequence(); }), 2u);
    // Wherever a section ends, everything before the end is read.
    const std::string whole = line.Bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string cut(whole, 0, size); // a copy, so that a sanitizer sees a read beyond it
        EXPECT_LE(ReadLineTable({ViewOf(cut), {}, {}, BigEndian()}, 0, "", "").rows.size(), 1u);
    }
}

TEST_P(Lines, ManyFilesWithLongTextsHaveABound)
{
    lineStr = std::string(1 << 20, 'x'); // one text, of which each file has another end
    Programme(
        5, false,
        [&] {
            line.Raw({1, DW_LNCT_path, DW_FORM_line_strp, 1}).U32(0);
            line.Raw({1, DW_LNCT_path, DW_FORM_line_strp}).Uleb(100000);
            for (u32 i = 0; i < 100000; ++i) {
                line.U32(i);
            }
        },
        [] {});
    const LineTable table = Read();
    u64 size = 0;
    for (const std::string& file : table.files) {
        size += file.size();
    }
    EXPECT_EQ(table.fileOfNumber.size(), 100000u);
    EXPECT_LE(size, (u64{64} << 10) + 256 * line.Size());

    // Entries without a form have no bytes, and so no bound of their own.
    line = ByteSection(GetParam());
    Programme(
        5, false, [&] { line.Raw({0}).Uleb(~u64{0}).Raw({0}).Uleb(~u64{0}); }, [] {});
    EXPECT_TRUE(Read().fileOfNumber.empty());
}

TEST(JoinPath, JoinsAsTheEngineDoes)
{
    EXPECT_EQ(JoinPath("/src", "a.c"), "/src/a.c");
    EXPECT_EQ(JoinPath("/src/", "../a.c"), "/src/../a.c");
    EXPECT_EQ(JoinPath("C:\\src", "a.c"), "C:\\src\\a.c");
    EXPECT_EQ(JoinPath("C:/src\\x", "a.c"), "C:/src\\x/a.c");
    EXPECT_EQ(JoinPath("C:", "a.c"), "C:/a.c");
    EXPECT_EQ(JoinPath("/src", "\\a.c"), "\\a.c");
    EXPECT_EQ(JoinPath("/src", "D:a.c"), "D:a.c");
    EXPECT_EQ(JoinPath("", "a.c"), "a.c");
}

/// A table with one sequence of the rows.
LineTable TableOf(const std::vector<LineRow>& rows, u32 end)
{
    LineTable table;
    table.files = {"/src/main.c", "b \xFF\x01.h"};
    table.rows = rows;
    LineSequence sequence;
    sequence.begin = rows.front().address;
    sequence.end = end;
    sequence.endRow = rows.size();
    table.sequences = {sequence};
    return table;
}

TEST_P(Lines, WhatIsWrittenReadsTheSame)
{
    std::vector<LineRow> rows = {
        {0x8000, 1, 0, 65535, false, true},      {0x8000, 1, 0, 65535, false, false},
        {0x8000, 0, 0xFFFFFFFF, 0, true, false}, {0x7000, 0, 5, 1, true, true},
        {0x10007000, 0, 5, 1, false, false},     {0xF0000000, 0, 6, 1, false, false},
    };
    // All advances around the limits of one opcode and of two.
    for (u32 advance = 0; advance < 60; ++advance) {
        for (u32 lines = 0; lines < 30; ++lines) {
            rows.push_back({rows.back().address + advance, 0, 1000 + (rows.back().line + lines) % 17, 1, true, false});
        }
    }
    const LineTable table = TableOf(rows, rows.back().address + 300);
    LineWriter writer(BigEndian());
    EXPECT_EQ(writer.Write(table, {}), 0u);
    const u32 offset = writer.Write(table, AllOf(table));
    const LineTable read = ReadLineTable({writer.Section().View(), {}, {}, BigEndian()}, offset, "", "");
    EXPECT_EQ(read.files, table.files);
    EXPECT_EQ(read.fileOfNumber, (std::vector<u32>{LineTable::kNoFile, 0, 1}));
    EXPECT_EQ(Describe(read), Describe(table));
    ASSERT_EQ(read.sequences.size(), 1u);
    EXPECT_EQ(read.sequences[0].endLine, rows.back().line) << "so that no reader makes a row of the end";

    const LineTable empty = ReadLineTable({writer.Section().View(), {}, {}, BigEndian()}, 0, "", "");
    EXPECT_EQ(empty.files, table.files);
    EXPECT_TRUE(empty.rows.empty());
}

TEST_P(Lines, WhatIsWrittenIsSortedAndOfTheProfile)
{
    LineTable table = TableOf({{0x20, 0, 1, 0, true, false}, {0x10, 1, 2, 0, true, false}}, 0x24);
    table.sequences = {{0x20, 0x24, 0, 1, 1}, {0x10, 0x14, 1, 2, 2}, {0x5, 0x9, 2, 2, 1}};
    LineWriter writer(BigEndian());
    writer.Write(table, AllOf(table));
    const LineTable read = ReadLineTable({writer.Section().View(), {}, {}, BigEndian()}, 0, "", "");
    EXPECT_EQ(Describe(read), Describe(table, {table.sequences[1], table.sequences[0]}));

    ByteSection start(GetParam());
    start.U32(writer.Section().Size() - 4).U16(2).U32(5 + 9 + 1 + 15 + 10 + 1).Raw({1, 1, 0xFB, 14, 10});
    start.Raw({0, 1, 1, 1, 1, 0, 0, 0, 1, 0}).Text("/src/main.c").Raw({0, 0, 0}).Text("b \xFF\x01.h").Raw({0, 0, 0, 0});
    start.Raw({0, 5, DW_LNE_set_address}).U32(0x10);
    const u8* const bytes = writer.Section().View().data;
    EXPECT_EQ(std::string(bytes, bytes + start.Size()), start.Bytes());
}

} // namespace
