// Line tables: look-ups over rows of any shape.
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

class LineTable : public testing::Test {
protected:
    DbgSymLineEntry* Add(u32 line, u32 address, u32 size, u32 section = kNone, const std::string* path = nullptr)
    {
        DbgSymLineEntry* entry = table.AddLineEntry(line, address, section, u16{1}, path);
        entry->range.size = size;
        return entry;
    }

    /// The line of the row at an address, 0 for none.
    u32 LineAt(u32 address, u32 section = kNone) const
    {
        const DbgSymLineEntry* entry = table.FindByAddress(address, section);
        return entry == nullptr ? 0 : entry->line;
    }

    DbgSymSrcFile file{11, "/src/main.c"};
    DbgSymLineTable& table = *file.GetLineTableMember();
};

} // namespace

TEST_F(LineTable, AddressesRespectSectionsAndFourGigabytes)
{
    Add(1, 0x10, 8);
    Add(2, 0x10, 8, 3);
    Add(4, 0xFFFFFFF0, 0x20);
    Add(5, 0xFFFFFFF8, 0xFFFFFFFF, 3);
    const std::tuple<u32, u32, u32> cases[] = {{0x14, kNone, 1}, {0x14, 3, 2},  {0x14, 4, 0}, {kNone, kNone, 4},
                                               {kNone, 3, 5},    {0, kNone, 0}, {0, 4, 0}};
    for (const auto& [address, section, line] : cases) {
        EXPECT_EQ(LineAt(address, section), line) << address << " in " << section;
    }
}

TEST_F(LineTable, AmongOverlappingRowsTheOneAddedLastWins)
{
    std::mt19937 random(2);
    std::vector<u32> lineOf(256, 0);
    for (u32 round = 0; round < 200; ++round) {
        const auto start = static_cast<u32>(random() % 256);
        const u32 size = static_cast<u32>(random() % (round % 7 == 0 ? 200 : 12));
        Add(round + 1, start, size);
        std::fill(lineOf.begin() + start, lineOf.begin() + std::min<u32>(start + size, 256), round + 1);
        if (round % 20 == 19) {
            for (u32 address = 0; address < 256; ++address) {
                ASSERT_EQ(LineAt(address), lineOf[address]) << "address " << address << " after " << round;
            }
        }
    }
    constexpr u32 kRows = 200'000; // so deep that a search over all would take hours
    for (u32 row = 0; row < kRows; ++row) {
        Add(row + 1, row, 0x10000000);
    }
    for (u32 row = 0; row < kRows; ++row) {
        ASSERT_EQ(LineAt(row), row + 1);
    }
}

TEST_F(LineTable, TheEndOfTheUnitSizesALastRowThatLiesBelowIt)
{
    const DbgSymLineEntry* last = Add(1, 0x10, 4);
    const auto sizeUpTo = [&](u32 end, u32 section) {
        DbgAddress address;
        address.value = end;
        address.section = section;
        table.SetLastEntrySizeByHiPC(&address);
        return last->range.size;
    };
    EXPECT_EQ(sizeUpTo(0x10, kNone), 4u);
    EXPECT_EQ(sizeUpTo(0x20, 3), 4u) << "of another section";
    EXPECT_EQ(sizeUpTo(0x20, kNone), 0x10u);
}

TEST_F(LineTable, ALineHasItsRowsInTheirOrder)
{
    EXPECT_EQ(table.FindByLine(7), std::vector<u32>{});
    Add(7, 0x20, 4);
    Add(9, 0x10, 4);
    DbgSymLineEntry* last = Add(7, 0x00, 0);
    EXPECT_EQ(table.FindByLine(7), (std::vector<u32>{0, 2}));
    last->line = 8; // the last row may still change
    EXPECT_EQ(table.FindByLine(7), std::vector<u32>{0});
    EXPECT_EQ(table.FindByLine(8), std::vector<u32>{2});
    Add(7, 0x30, 4);
    EXPECT_EQ(table.FindByLine(7), (std::vector<u32>{0, 3}));
    EXPECT_EQ(table.FindByLine(8), std::vector<u32>{2}) << "no longer the last one";
}

TEST_F(LineTable, PathsFromOneBufferAreToldApart)
{
    std::string path = "/src/one.h";
    Add(1, 0x10, 4, kNone, &path);
    path.replace(5, 3, "two");
    Add(2, 0x14, 4, kNone, &path);
    EXPECT_EQ(*table.GetEntryPath(*table.GetLineEntryByIdx(0)), "/src/one.h");
    EXPECT_EQ(*table.GetEntryPath(*table.GetLineEntryByIdx(1)), "/src/two.h");
}
