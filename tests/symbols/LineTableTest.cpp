// Tests what a unit's line number programme leaves in the engine's table: rows, sizes, paths.
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "tests/support/DwarfTest.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using Rows = std::vector<std::string>;

class LineTable : public DwarfTest {
protected:
    /// Runs the programme into a new table.
    /// @return what BuildLineTable answered.
    bool Load(LineBuilder& line, const DbgAddrRange* range = nullptr)
    {
        const u32 offset = line.Finish();
        Open(dwarf);
        return LoadAgain(offset, range);
    }

    /// The same on the file as it is open.
    bool LoadAgain(u32 offset, const DbgAddrRange* range = nullptr)
    {
        m_source = std::make_unique<DbgSymSrcFile>(11, m_ownPath);
        return File().BuildLineTable(m_source.get(), &Table(), range, offset);
    }

    DbgSymLineTable& Table() { return *m_source->GetLineTableMember(); }

    /// Each row as "LINE ADDRESS+SIZE", and behind these ":COLUMN" and " PATH" if it has them.
    Rows Read()
    {
        Rows rows;
        for (u32 index = 0; const DbgSymLineEntry* entry = Table().GetLineEntryByIdx(index); ++index) {
            char text[64];
            const char* const sectionMark = entry->range.section == kNone ? "" : "@";
            std::snprintf(text, sizeof text, "%u %s%x+%x", entry->line, sectionMark, entry->range.value,
                          entry->range.size);
            std::string row = text;
            if (entry->column != 0) {
                row += ":" + std::to_string(entry->column);
            }
            if (const std::string* path = Table().GetEntryPath(*entry)) {
                row += " " + *path;
            }
            rows.push_back(row);
        }
        return rows;
    }

    std::string m_ownPath = "/src/main.c";

private:
    std::unique_ptr<DbgSymSrcFile> m_source;
};
BOTH_BYTE_ORDERS(LineTable);

TEST_P(LineTable, ARowReachesToTheNextAndAtLeast4Bytes)
{
    LineBuilder line(dwarf.line);
    line.File("main.c").SetAddress(0x8000).SetColumn(7).AdvanceLine(9).Copy();
    line.SetColumn(0).Row(1, 1).Row(1, 0).AdvancePc(3).Row(-2, 0);
    line.SetAddress(0x7000).Copy(); // goes back
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Read(), (Rows{"10 8000+2:7", "11 8002+4", "12 8002+6", "10 8008+4", "10 7000+0"}));
}

TEST_P(LineTable, TheLastRowOfASequenceIsStretchedIfItsLineIsThatOfTheEnd)
{
    LineBuilder line(dwarf.line);
    line.File("main.c").SetAddress(0x8000).AdvanceLine(9).Copy().AdvancePc(8).EndSequence();
    line.SetAddress(0x9000).Copy().AdvancePc(8).EndSequence();
    line.SetAddress(0xA000).Copy().EndSequence(); // over no bytes: no floor of 4
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Read(), (Rows{"10 8000+10", "1 9000+10", "1 a000+0"}));
}

TEST_P(LineTable, AnotherLineAtTheEndOfASequenceMakesAClosingRow)
{
    LineBuilder line(dwarf.line);
    line.File("main.c").SetAddress(0x8000).AdvanceLine(9).Copy().AdvancePc(8).AdvanceLine(1).EndSequence();
    line.SetAddress(0x9000).Row(1, 0).EndSequence(); // the end's line is 2, as its row's
    line.EndSequence();                              // no row before it, and something has been seen
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Read(), (Rows{"10 8000+10", "11 8010+0", "2 9000+0", "1 0+0"}));
}

// A number that means the own file goes on doing so until a row of the own file has another.
TEST_P(LineTable, ANumberTakenForTheOwnFileStaysItWhileItIsTheLastOne)
{
    LineBuilder line(dwarf.line);
    line.Directory("/inc").File("main.c");
    line.SetFile(2).Copy().DefineFile("late.h", 1).Row(1, 1); // still the home file
    line.SetFile(1).Row(1, 1).SetFile(2).Row(1, 1);
    EXPECT_TRUE(Load(line));
    EXPECT_EQ(Read(), (Rows{"1 0+2", "2 2+2", "3 4+2", "4 6+0 /inc\\late.h"}));
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
