// Tests what odd line number programmes leave in the engine's table.
#include "interfaces/DbgSymSrcFile.h"
#include "tests/support/DwarfTest.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Rows = std::vector<std::string>;

class LineTable : public DwarfTest {
protected:
    /// Runs the programme into a new table.
    /// @return what BuildLineTable answered.
    bool Load(LineBuilder& line)
    {
        const u32 offset = line.Finish();
        Open(dwarf);
        m_source = std::make_unique<DbgSymSrcFile>(11, m_ownPath);
        return File().BuildLineTable(m_source.get(), &Table(), nullptr, offset);
    }

    DbgSymLineTable& Table() { return *m_source->GetLineTableMember(); }

    /// Each row's line, followed by the path if it has one.
    Rows Read()
    {
        Rows rows;
        for (u32 index = 0; const DbgSymLineEntry* entry = Table().GetLineEntryByIdx(index); ++index) {
            const std::string* path = Table().GetEntryPath(*entry);
            rows.push_back(std::to_string(entry->line) + (path == nullptr ? "" : " " + *path));
        }
        return rows;
    }

    std::string m_ownPath = "/src/main.c";

private:
    std::unique_ptr<DbgSymSrcFile> m_source;
};
BOTH_BYTE_ORDERS(LineTable);

// A number that means the unit's own file keeps that meaning until a row of the own file has another
// number.
TEST_P(LineTable, ANumberTakenForTheOwnFileStaysItWhileItIsTheLastOne)
{
    LineBuilder line(dwarf.line);
    line.Directory("/inc").File("main.c");
    line.SetFile(2).Copy().DefineFile("late.h", 1).Row(1, 1); // still the home file
    line.SetFile(1).Row(1, 1).SetFile(2).Row(1, 1);
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Read(), (Rows{"1", "2", "3", "4 /inc\\late.h"}));
}

TEST_P(LineTable, TheEndOfASequenceStretchesItsLastRowOrIsOneOfItsOwn)
{
    LineBuilder line(dwarf.line);
    line.File("main.c").SetAddress(0x8000).Row(1, 1).AdvancePc(6).EndSequence();
    line.SetAddress(0x9000).Row(1, 1).AdvanceLine(4).AdvancePc(6).EndSequence();
    EXPECT_TRUE(Load(line));
    std::vector<u32> sizes;
    for (u32 index = 0; const DbgSymLineEntry* entry = Table().GetLineEntryByIdx(index); ++index) {
        sizes.push_back(entry->range.size);
    }
    EXPECT_EQ(Read(), (Rows{"2", "2", "6"}));
    EXPECT_EQ(sizes, (std::vector<u32>{12, 12, 0})) << "six instructions of two bytes";
}

TEST_P(LineTable, AnEndOfSequenceIsARowOnceARegisterHasBeenSet)
{
    using Opcode = LineBuilder& (*)(LineBuilder&);
    const std::pair<Opcode, bool> cases[] = {
        {[](LineBuilder& line) -> LineBuilder& { return line.AdvancePc(0); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.AdvanceLine(0); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.SetFile(1); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.SetColumn(1); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.ConstAddPc(); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.FixedAdvancePc(0); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.SetAddress(0); }, true},
        {[](LineBuilder& line) -> LineBuilder& { return line.NegateStatement(); }, false},
        {[](LineBuilder& line) -> LineBuilder& { return line.SetBasicBlock(); }, false}};
    for (const auto& [opcode, sets] : cases) {
        Restart();
        LineBuilder line(dwarf.line);
        line.File("main.c");
        opcode(line).EndSequence();
        EXPECT_EQ(Load(line), sets);
        EXPECT_EQ(Read().size(), sets ? 1u : 0u);
    }
}

// The sum of offset and length wraps at 32 bits and is then before what has been read.
TEST_P(LineTable, AUnitEndThatWrapsOrLiesAtTheStartLeavesAllEmpty)
{
    for (const u32 length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFE0u, 0x80000000u + 0x7FFFFFF0u, 0u, 10u}) {
        Restart();
        dwarf.line.Fill(0x20, 1);
        LineBuilder line(dwarf.line, {.unitLength = length});
        line.File("a.c").SetAddress(0x8000).Copy();
        EXPECT_FALSE(Load(line)) << length;
        EXPECT_EQ(Table().Count(), 0u) << length;
    }
}

// Each file's path would repeat the directory, which makes the square of the section's size.
TEST_P(LineTable, PathsTakeAMultipleOfTheUnitsBytesAtMost)
{
    LineBuilder line(dwarf.line);
    line.Directory(std::string(20000, 'd'));
    constexpr u32 kFiles = 2000;
    for (u32 file = 0; file < kFiles; ++file) {
        line.File(std::to_string(file), 1);
    }
    for (u32 file = 1; file <= kFiles; ++file) {
        line.SetFile(file).Row(1, 1);
    }
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Table().Count(), kFiles);
    EXPECT_NE(Table().GetEntryPath(*Table().GetLineEntryByIdx(0)), nullptr);
    EXPECT_EQ(Table().GetEntryPath(*Table().GetLineEntryByIdx(kFiles - 1)), nullptr) << "as the table's own";
    std::size_t bytes = 0;
    for (u32 index = 0; const DbgSymLineEntry* entry = Table().GetLineEntryByIdx(index); ++index) {
        const std::string* path = Table().GetEntryPath(*entry);
        bytes += path == nullptr ? 0 : path->size();
    }
    EXPECT_LE(bytes, 64 * (dwarf.line.Size() + m_ownPath.size()));
}

} // namespace
