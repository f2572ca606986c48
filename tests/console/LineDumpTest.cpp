// The text of the `line` command.
#include "tests/console/ConsoleTest.h"

#include <algorithm>

namespace {

class LineDump : public ConsoleTest {
protected:
    /// What the command prints behind its head line, line by line.
    std::vector<std::string> Show(LineBuilder& line)
    {
        const u32 offset = line.Finish();
        Open(dwarf);
        return ShowAt(offset);
    }

    /// The same on the file as it is open.
    std::vector<std::string> ShowAt(u32 offset)
    {
        std::istringstream stream(Dump("line " + std::to_string(offset)));
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }
};
BOTH_BYTE_ORDERS(LineDump);

TEST_P(LineDump, ShowsInstructionsAndTable)
{
    LineBuilder line(dwarf.line);
    line.Directory("inc").File("main.c").File("list.h", 1, 0x10, 300);
    line.SetAddress(0x8000).AdvanceLine(9).SetColumn(5).Copy().SetBasicBlock().NegateStatement().Row(-2, 1);
    line.AdvancePc(3).ConstAddPc().FixedAdvancePc(16).SetFile(2).DefineFile("late.h", 1, 2, 3);
    line.Extended(0x80, "ab").EndSequence();
    std::string text;
    for (const std::string& shown : Show(line)) {
        text += shown + "\n";
    }
    EXPECT_EQ(text.substr(text.find("  0x00000000 ")),
              R"(  0x00000000    1      1      0 1 0 0 1 (Initial State)
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
    EXPECT_EQ(ShowAt(dwarf.line.Size()), std::vector<std::string>()) << "outside the section";
}

TEST_P(LineDump, OddProgrammes)
{
    LineHeader fields;
    fields.defaultIsStatement = false;
    LineBuilder wide(dwarf.line, fields);
    wide.SetFile(12345).AdvanceLine(-2).SetColumn(0x12345678).Copy();
    std::vector<std::string> lines = Show(wide);
    EXPECT_EQ(lines.at(lines.size() - 6), "* 0x00000000 12345 4294967295 305419896 0 0 0 0 LNS_copy(");
    EXPECT_EQ(lines.back(), "0xffffffff 4294967295 22136 0x00000000 + 0x00000000");

    LineBuilder unseen(dwarf.line);
    unseen.NegateStatement().EndSequence();
    EXPECT_EQ(Show(unseen).back(), "---------- ------ --- ---------------------") << "nothing seen, no rows";

    LineBuilder relative(dwarf.line);
    const u32 offset = relative.SetAddress(0x8000).Copy().Finish();
    Probe::m_flags(Open(dwarf)) |= Probe::kSectionRelative;
    EXPECT_EQ(ShowAt(offset).back(), "0x00000001      1   0 Sect(1)+0x00008000 + 0x00000000");

    fields = {.lineRange = 0, .opcodeBase = 0, .operandCounts = {}};
    LineBuilder malformed(dwarf.line, fields);
    malformed.Opcode(200);
    malformed.Raw().Raw({LNS_extented, 99, LNE_define_file});
    lines = Show(malformed);
    const auto special = std::find(lines.begin(), lines.end(),
                                   "* 0x00000000    1 4294967292      0 1 0 0 1 LNS(0x00c8)( line += -5 = 4294967292"
                                   ",   addr = 0x00000000+(0x00000000*0x02)=0x00000000");
    ASSERT_NE(special, lines.end());
    EXPECT_EQ(special[2], "    file_names[1] = \"\"") << "the section ends ahead of the name";
    EXPECT_TRUE(std::none_of(lines.begin(), lines.end(),
                             [](const std::string& text) { return text.rfind(" opcode[", 0) == 0; }));
}

} // namespace
