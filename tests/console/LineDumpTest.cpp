// Tests the text of the `line` command, and that the dump and the load of a programme agree.
#include "interfaces/DbgSymSrcFile.h"
#include "tests/console/ConsoleTest.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class LineDump : public ConsoleTest {
protected:
    /// What the command prints behind its head line.
    std::string Show(LineBuilder& line)
    {
        const u32 offset = line.Finish();
        Open(m_dwarf);
        return ShowAt(offset);
    }

    /// The same on the file as it is open.
    std::string ShowAt(u32 offset) { return Dump("line " + std::to_string(offset)); }

    DwarfBuilder m_dwarf{GetParam()};
};
BOTH_BYTE_ORDERS(LineDump);

TEST_P(LineDump, ShowsPrologueInstructionsAndTable)
{
    LineBuilder line(m_dwarf.line);
    line.Directory("inc").File("main.c").File("list.h", 1, 0x10, 300);
    line.SetAddress(0x8000).AdvanceLine(9).SetColumn(5).Copy().SetBasicBlock().NegateStatement().Row(-2, 1);
    line.AdvancePc(3).ConstAddPc().FixedAdvancePc(16).SetFile(2).DefineFile("late.h", 1, 2, 3);
    line.Extended(0x80, "ab").EndSequence();
    EXPECT_EQ(Show(line), R"(.debug_line byte Offset: 0x00000000

Prologue: 
     total_length = 0x0000005f
          version = 0x0002
  prologue_length = 0x00000029
     min_inst_len = 0x02
  default_is_stmt = 0x01
        line_base = 0xfffb
       line_range = 0x0e
      opcode_base = 0x0a
 opcode[1].length = 0x00
 opcode[2].length = 0x01
 opcode[3].length = 0x01
 opcode[4].length = 0x01
 opcode[5].length = 0x01
 opcode[6].length = 0x00
 opcode[7].length = 0x00
 opcode[8].length = 0x00
 opcode[9].length = 0x01
       inc_dir[1] = "inc"
    file_names[1] = "main.c"
          dir_idx = 0
              mod = 0x00000000
           length = 0x00000000
    file_names[2] = "list.h"
          dir_idx = 1
              mod = 0x00000010
           length = 0x0000012c
  Address    File Line   Column S B E V
  ---------- ---- ------ ------ - - - -
  0x00000000    1      1      0 1 0 0 1 (Initial State)
  0x00008000    1      1      0 1 0 0 1 LNS_extented(LNE_set_address(0x00008000))
  0x00008000    1     10      0 1 0 0 1 LNS_advance_line(9) line += 9 = 10
  0x00008000    1     10      5 1 0 0 1 LNS_set_column(5)
* 0x00008000    1     10      5 1 0 0 1 LNS_copy(
  0x00008000    1     10      5 1 1 0 1 LNS_set_basic_block()   basic_block = true
  0x00008000    1     10      5 0 1 0 1 LNS_negate_stmt()   is_stmt = !1 = 0
* 0x00008002    1      8      5 0 0 0 1 LNS(0x001b)( line += -2 = 8,   addr = 0x00008000+(0x00000001*0x02)=0x00008002
  0x00008008    1      8      5 0 0 0 1 LNS_advance_pc(3)    addr = 0x00008002 + (0x00000003*0x02) = 0x00008008
  0x0000802a    1      8      5 0 0 0 1 LNS_const_add_pc(addr = 0x00008008 + (0x00000011 * 0x02) = 0x0000802a
  0x0000803a    1      8      5 0 0 0 1 LNS_fixed_advance_pc(16)    addr = 0x0000802a + 0x00000010 = 0x0000803a
  0x0000803a    2      8      5 0 0 0 1 LNS_set_file(2)
  0x0000803a    2      8      5 0 0 0 1 LNS_extented(LNE_define_file(
    file_names[3] = "late.h"
          dir_idx = 1
              mod = 0x00000002
           length = 0x00000003))
  0x0000803a    2      8      5 0 0 0 1 LNS_extented(
  0x00000000    1      1      0 1 0 0 1 LNS_extented(LNE_end_sequence()) 

Resulting debugger line table:
Line       Line   Col Address Range
---------- ------ --- ---------------------
0x0000000a     10   5 0x00008000 + 0x00000000
0x00000008      8   5 0x00008002 + 0x00000000
)");
}

TEST_P(LineDump, LongNumbersWidenTheirFields)
{
    LineHeader fields;
    fields.defaultIsStatement = false;
    LineBuilder line(m_dwarf.line, fields);
    line.SetFile(12345).AdvanceLine(-2).SetColumn(0x12345678).Copy();
    const std::vector<std::string> lines = Lines(Show(line));
    EXPECT_EQ(lines.at(lines.size() - 6), "* 0x00000000 12345 4294967295 305419896 0 0 0 0 LNS_copy(");
    EXPECT_EQ(lines.back(), "0xffffffff 4294967295 22136 0x00000000 + 0x00000000");
}

TEST_P(LineDump, ShowsOneUnitAndNothingAtAnOffsetOutside)
{
    LineBuilder first(m_dwarf.line);
    first.File("a.c").Copy();
    first.Finish();
    LineBuilder second(m_dwarf.line);
    second.File("b.c").Copy();
    const std::string text = Show(second);
    EXPECT_EQ(text.find("a.c"), std::string::npos);
    EXPECT_EQ(ShowAt(0).find("b.c"), std::string::npos);
    EXPECT_EQ(ShowAt(m_dwarf.line.Size()), "");
}

TEST_P(LineDump, WithoutAnInstructionThatIsSeenTheTableHasNoRows)
{
    LineBuilder line(m_dwarf.line);
    line.NegateStatement().EndSequence();
    const std::vector<std::string> lines = Lines(Show(line));
    EXPECT_EQ(lines.back(), "---------- ------ --- ---------------------");
    EXPECT_EQ(lines.at(lines.size() - 5), "  0x00000000    1      1      0 1 0 0 1 LNS_extented(LNE_end_sequence()) ");
}

TEST_P(LineDump, ASectionRelativeFileShowsOffsetsInSection1)
{
    LineBuilder line(m_dwarf.line);
    line.SetAddress(0x8000).Copy();
    line.Finish();
    Probe::m_flags(Open(m_dwarf)) |= Probe::kSectionRelative;
    EXPECT_EQ(Lines(ShowAt(0)).back(), "0x00000001      1   0 Sect(1)+0x00008000 + 0x00000000");
}

TEST_P(LineDump, MalformedHeadersPrintWhatIsThere)
{
    LineHeader fields;
    fields.lineRange = 0;
    fields.opcodeBase = 0;
    fields.operandCounts = {};
    LineBuilder line(m_dwarf.line, fields);
    line.Opcode(200);
    line.Raw().Raw({LNS_extented, 99, LNE_define_file});
    const std::vector<std::string> lines = Lines(Show(line));
    const auto special = std::find(lines.begin(), lines.end(),
                                   "* 0x00000000    1 4294967292      0 1 0 0 1 LNS(0x00c8)( line += -5 = 4294967292"
                                   ",   addr = 0x00000000+(0x00000000*0x02)=0x00000000");
    ASSERT_NE(special, lines.end());
    EXPECT_EQ(special[2], "    file_names[1] = \"\"") << "the section ends ahead of the name";
    for (const std::string& text : lines) {
        EXPECT_NE(text.substr(0, 8), " opcode[");
    }
}

/// What a table should hold after the load of a programme, made of nothing but the programme's dump.
class ExpectedTable {
public:
    explicit ExpectedTable(const std::string& dump)
    {
        for (const std::string& line : Lines(dump)) {
            Take(line);
        }
    }

    struct Row {
        u32 line;
        u32 addr;
        u32 size;
        u32 column;
        bool operator==(const Row& other) const = default;
    };
    std::vector<Row> rows;
    u32 closingRows = 0;
    bool seen = false;

private:
    void Take(const std::string& text)
    {
        Row row{};
        u32 file = 0;
        char name[32];
        const int fields =
            std::sscanf(text.c_str() + std::min<std::size_t>(2, text.size()), "0x%x %u %u %u %*d %*d %*d %*d %31s",
                        &row.addr, &file, &row.line, &row.column, name);
        if (fields != 5) {
            return;
        }
        const std::string instruction = text.substr(text.find(name));
        if (instruction.find("LNE_end_sequence") != std::string::npos) {
            EndSequence();
        } else if (instruction[0] != '(') {
            const bool unseen = instruction.substr(0, 10) == "LNS_negate" ||
                                instruction.substr(0, 13) == "LNS_set_basic" ||
                                (instruction.substr(0, 12) == "LNS_extented" &&
                                 instruction.find("LNE_set_address") == std::string::npos);
            seen = seen || !unseen;
            if (text[0] == '*') {
                Add(row);
                m_previous = true;
            }
        }
        m_state = row;
    }

    void EndSequence()
    {
        if (seen && m_previous && rows.back().line == m_state.line) {
            rows.back().size = m_state.addr - rows.back().addr;
        } else if (seen) {
            Add(m_state);
            ++closingRows;
        }
        m_previous = false;
    }

    void Add(const Row& row)
    {
        if (m_previous) {
            Row& last = rows.back();
            last.size = row.addr > last.addr ? row.addr - last.addr : 4;
        }
        rows.push_back({row.line, row.addr, 0, row.column & 0xFFFF});
    }

    Row m_state{};
    bool m_previous = false;
};

void AddInstruction(LineBuilder& line, std::mt19937& random)
{
    const auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    const auto number = [&]() { return static_cast<u32>(random() >> below(32)); };
    switch (below(16)) {
    case 0:
        line.Copy();
        break;
    case 1:
        line.AdvancePc(number());
        break;
    case 2:
        line.AdvanceLine(static_cast<i32>(number()));
        break;
    case 3:
        line.SetFile(number());
        break;
    case 4:
        line.SetColumn(number());
        break;
    case 5:
        line.NegateStatement();
        break;
    case 6:
        line.SetBasicBlock();
        break;
    case 7:
        line.ConstAddPc();
        break;
    case 8:
        line.FixedAdvancePc(static_cast<u16>(number()));
        break;
    case 9:
        line.EndSequence();
        break;
    case 10:
        line.SetAddress(number());
        break;
    case 11:
        line.DefineFile("late.h", number(), number(), number());
        break;
    case 12:
        line.Extended(static_cast<u8>(3 + below(253)), "operands", below(12));
        break;
    default:
        line.Opcode(static_cast<u8>(10 + below(246)));
        break;
    }
}

bool operator==(const ExpectedTable::Row& row, const DbgSymLineEntry& entry)
{
    return row.line == entry.line && row.addr == entry.range.value && row.size == entry.range.size &&
           row.column == entry.column;
}

// The load's table follows from the dump's text alone, and the dump's own table is the load's
// without the closing rows and the sizes.
TEST_P(LineDump, AgreesWithTheLoad)
{
    std::mt19937 random(20240117);
    u32 rows = 0;
    for (int round = 0; round < 100; ++round) {
        DwarfBuilder dwarf(GetParam());
        LineHeader fields;
        fields.minimumInstructionLength = static_cast<u8>(random() % 5);
        fields.defaultIsStatement = random() % 2 == 0;
        fields.lineBase = static_cast<i8>(random());
        fields.lineRange = static_cast<u8>(random() % 3 == 0 ? random() : 14);
        fields.opcodeBase = static_cast<u8>(random() % 3 == 0 ? random() : 10);
        fields.operandCounts.assign(fields.opcodeBase == 0 ? 0 : fields.opcodeBase - 1u, 1);
        LineBuilder line(dwarf.line, fields);
        line.Directory("inc").File("main.c").File("list.h", 1);
        for (u64 left = random() % 60; left != 0; --left) {
            AddInstruction(line, random);
        }
        const u32 offset = line.Finish();
        DbgSymSrcFile source(1, "/src/main.c");
        DbgSymLineTable& table = *source.GetLineTableMember();
        const bool seen = Open(dwarf).BuildLineTable(&source, &table, nullptr, offset);
        const std::string dump = ShowAt(offset);

        const ExpectedTable expected(dump);
        EXPECT_EQ(expected.seen, seen) << dump;
        ASSERT_EQ(expected.rows.size(), table.Count()) << dump;
        for (u32 index = 0; index < table.Count(); ++index) {
            EXPECT_TRUE(expected.rows[index] == *table.GetLineEntryByIdx(index)) << "row " << index << "\n" << dump;
        }
        const std::size_t shown = dump.substr(dump.find("Resulting")).size();
        const std::vector<std::string> ownTable = Lines(dump.substr(dump.size() - shown));
        EXPECT_EQ(ownTable.size() - 3, seen ? table.Count() - expected.closingRows : 0) << dump;
        rows += static_cast<u32>(table.Count());
    }
    EXPECT_GT(rows, 500u);
}

} // namespace
