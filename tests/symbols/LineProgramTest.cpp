// Tests the header reader, the interpreter that load and dump share, and the names of its files.
#include "symbols/LineProgram.h"

#include "tests/support/DwarfTest.h"

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

/// Notes what an interpreter tells.
struct Recorder {
    std::vector<LineState> rows;
    std::vector<LineStep> steps;
    std::vector<LineState> states; ///< after each step

    void Row(const LineState& state) { rows.push_back(state); }
    void EndSequence(const LineState&) {}
    void Executed(const LineStep& step, const LineState& state)
    {
        steps.push_back(step);
        states.push_back(state);
    }
    const LineState& Last() const { return states.back(); }
};

class LineProgram : public ::testing::TestWithParam<ByteOrder> {
protected:
    LineInterpreter& Open(const std::string& bytes, u32 offset = 0)
    {
        m_interpreter.reset();
        m_section = std::make_unique<VFKDataBuf>(false, GetParam() == ByteOrder::Little);
        std::memcpy(m_section->bytes.Allocate(bytes.size()), bytes.data(), bytes.size());
        m_section->Init();
        m_interpreter = std::make_unique<LineInterpreter>(*m_section, offset);
        return *m_interpreter;
    }

    /// Runs what has been built from the offset of its last programme on.
    Recorder Run(LineBuilder& line)
    {
        const u32 offset = line.Finish();
        Recorder recorder;
        Open(line.Raw().Bytes(), offset).Run(recorder);
        return recorder;
    }

    VFKDataBuf& Section() { return *m_section; }
    LineInterpreter& Interpreter() { return *m_interpreter; }

    ByteSection m_bytes{GetParam()};

private:
    std::unique_ptr<VFKDataBuf> m_section;
    std::unique_ptr<LineInterpreter> m_interpreter;
};
BOTH_BYTE_ORDERS(LineProgram);

// Ten standard opcodes is what DWARF 2.0 has. A later producer's opcode 10, say, is a special one
// here even if its header declares more, and its distance is an 8-bit value.
TEST_P(LineProgram, OpcodesFrom10OnAreSpecialWhateverOpcodeBaseSays)
{
    LineBuilder line(m_bytes, {.opcodeBase = 13, .operandCounts = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1}});
    line.AdvanceLine(99).Opcode(10).Opcode(13).Opcode(255).ConstAddPc();
    const Recorder run = Run(line);

    ASSERT_EQ(run.rows.size(), 3u);
    EXPECT_EQ(run.rows[0].line, 100u - 5 + 253 % 14);
    EXPECT_EQ(run.rows[0].addr, 253u / 14 * 2);
    EXPECT_EQ(run.rows[1].line, run.rows[0].line - 5);
    EXPECT_EQ(run.rows[1].addr, run.rows[0].addr);
    EXPECT_EQ(run.rows[2].line, run.rows[1].line - 5 + 242 % 14);
    EXPECT_EQ(run.rows[2].addr, run.rows[1].addr + 242 / 14 * 2);
    EXPECT_EQ(run.Last().addr, run.rows[2].addr + 242 / 14 * 2);
}

TEST_P(LineProgram, ALineRangeAndAnOpcodeBaseOf0)
{
    LineBuilder line(m_bytes, {.lineRange = 0});
    line.AdvanceLine(99).Opcode(200).ConstAddPc();
    Recorder run = Run(line);
    EXPECT_EQ(run.rows.at(0).line, 95u) << "moved by the base alone";
    EXPECT_EQ(run.Last().addr, 0u);

    LineBuilder noCounts(m_bytes, {.opcodeBase = 0, .operandCounts = {}});
    noCounts.File("a.c").Opcode(14);
    run = Run(noCounts);
    EXPECT_TRUE(Interpreter().Header().opcodeLengths.empty());
    EXPECT_EQ(Interpreter().Header().fileNames.size(), 1u);
    EXPECT_EQ(run.rows.at(0).addr, 2u);
}

TEST_P(LineProgram, TheLengthOfAnExtendedOpcodeCountsForUnknownOnesOnly)
{
    LineBuilder line(m_bytes);
    line.Extended(LNE_set_address, ByteSection(GetParam()).U32(0x8000).Bytes(), 99); // a length that is wrong
    line.Extended(0x80, "\1\1\1\1\1");         // five copies if it weren't skipped
    line.Extended(LNS_set_basic_block, "", 0); // with 0 the sub-opcode is the next opcode
    line.Copy();
    const Recorder run = Run(line);
    ASSERT_EQ(run.rows.size(), 1u);
    EXPECT_EQ(run.rows[0].addr, 0x8000u);
    EXPECT_TRUE(run.rows[0].basicBlock);
    EXPECT_EQ(run.steps.size(), 5u);
}

// The sum of offset and length wraps at 32 bits and then lies ahead of what has been read.
TEST_P(LineProgram, AUnitEndThatWrapsOrLiesAtTheStartLeavesAllEmpty)
{
    for (const u32 length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFE0u, 0x80000000u + 0x7FFFFFF0u, 0u, 10u}) {
        ByteSection bytes(GetParam());
        bytes.Fill(0x20, 1);
        LineBuilder line(bytes, {.unitLength = length});
        line.Directory("d").File("a.c").Copy();
        const Recorder run = Run(line);
        EXPECT_TRUE(run.steps.empty()) << length;
        EXPECT_TRUE(Interpreter().Header().incDir.empty()) << length;
        EXPECT_TRUE(Interpreter().Header().fileNames.empty()) << length;
        EXPECT_FALSE(Interpreter().Seen()) << length;
    }
}

TEST(MakeSourcePath, JoinsDirectoryAndName)
{
    LineProgramHeader header;
    header.incDir = {"/usr/include", "C:\\inc\\", "sub/"};
    header.fileNames = {{"a.h", 1},   {"b.h", 2},    {"c.h", 3},    {"d.h", 4}, {"main.c", 0},
                        {"x/e.h", 0}, {"x\\f.h", 0}, {"../g.h", 1}, {"A.C", 0}, {"", 1}};
    DbgSymSymFile store("", 1);
    Dwarf2File file(&store);
    // The number, the own path, and the path with + in front if it differs from the own one.
    const std::tuple<u32, const char*, const char*> cases[] = {
        {1, "/src/a.c", "+/usr/include\\a.h"},
        {2, "/src/a.c", "+C:\\inc\\b.h"},
        {3, "/src/a.c", "+sub/c.h"},
        {4, "/src/a.c", "+d.h"}, // a directory number out of range counts as none
        {5, "/src/a.c", "+/src/main.c"},
        {6, "/src/a.c", "+x/e.h"},
        {7, "/src/a.c", "+x\\f.h"},
        {8, "/src/a.c", "+/usr/include\\../g.h"},
        {9, "/src/a.c", "+/src/A.C"},
        {10, "/src/a.c", "+/usr/include\\"},
        {0, "/src/a.c", "-"},
        {11, "/src/a.c", "-"},
        {kNone, "/src/a.c", "-"},
        {5, "/src/main.c", "-/src/main.c"},
        {1, "/usr/include/a.h", "+/usr/include\\a.h"}, // the separators differ
        {5, "main.c", "-main.c"},
        {1, "", "-/usr/include\\a.h"}, // there is none
    };
    for (const auto& [number, ownPath, path] : cases) {
        const std::string own = ownPath;
        std::string text = "left over";
        const std::string* const given = own.empty() ? nullptr : &own;
        const bool differs = Dwarf2FileProbe::MakeSourcePath(file, header, number, text, given);
        EXPECT_EQ((differs ? "+" : "-") + text, path) << number;
    }
}

} // namespace
