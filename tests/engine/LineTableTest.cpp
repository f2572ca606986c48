// Line tables: rows in order, shared paths, look-ups over rows of any shape.
#include "interfaces/DbgSymSrcFile.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
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

    std::vector<u32> AddressesOf(u32 line, const std::string* path) const
    {
        std::vector<u32> addresses;
        for (const DbgSymLineEntry* entry : table.FindByLine(line, path)) {
            addresses.push_back(entry->range.value);
        }
        return addresses;
    }

    DbgSymSrcFile file{11, "/src/main.c"};
    DbgSymLineTable& table = *file.GetLineTableMember();
};

} // namespace

TEST_F(LineTable, RowsKeepTheirOrderAndWhatEachOverloadGives)
{
    const std::string path = "/inc/a.h";
    DbgAddress address;
    address.SetAddress(0x20, 5, 1, 77);
    table.AddLineEntry(3, 0x8000u, u16{9}, nullptr);
    table.AddLineEntry(2, 0x10u, 4u, u16{0}, &path);
    table.AddLineEntry(1, &address, u16{0}, nullptr);
    ASSERT_EQ(table.Count(), 3u);
    EXPECT_EQ(table.GetLineEntryByIdx(3), nullptr);
    const DbgSymLineEntry& first = *table.GetLineEntryByIdx(0);
    EXPECT_EQ(first.range.section, kNone);
    EXPECT_EQ(first.range.size, 0u);
    EXPECT_EQ(first.column, 9u);
    EXPECT_EQ(table.GetEntryPath(first), nullptr);
    EXPECT_EQ(table.GetLineEntryByIdx(1)->range.section, 4u);
    EXPECT_EQ(*table.GetEntryPath(*table.GetLineEntryByIdx(1)), path);
    EXPECT_EQ(table.GetLineEntryByIdx(2)->range.tag, 77u);
    EXPECT_EQ(table.AddLineEntry(1, static_cast<const DbgAddress*>(nullptr), u16{0}, nullptr), nullptr);
    EXPECT_EQ(*table.GetOrigFileDesc(), "/src/main.c");
    EXPECT_EQ(DbgSymLineTable(nullptr).GetOrigFileDesc(), nullptr);
}

TEST_F(LineTable, PathsAreSharedByTheirText)
{
    std::string path = "/inc/a.h";
    Add(1, 0, 4, kNone, &path);
    path = "/inc/b.h"; // the same object with another text
    Add(2, 4, 4, kNone, &path);
    const std::string again = "/inc/a.h";
    Add(3, 8, 4, kNone, &again);
    const std::string* first = table.GetEntryPath(*table.GetLineEntryByIdx(0));
    EXPECT_EQ(*first, "/inc/a.h");
    EXPECT_EQ(*table.GetEntryPath(*table.GetLineEntryByIdx(1)), "/inc/b.h");
    EXPECT_EQ(table.GetEntryPath(*table.GetLineEntryByIdx(2)), first);
}

TEST_F(LineTable, TheLastRowEndsAtTheHighAddressIfThatLiesAboveIt)
{
    DbgAddress end;
    table.SetLastEntrySizeByHiPC(&end);
    Add(1, 0x100, 0);
    Add(2, 0x200, 7);
    const auto sizeWith = [&](u32 value, u32 section) {
        end.value = value;
        end.section = section;
        table.SetLastEntrySizeByHiPC(&end);
        return table.GetLineEntryByIdx(1)->range.size;
    };
    EXPECT_EQ(sizeWith(0x200, kNone), 7u);
    EXPECT_EQ(sizeWith(0x1FF, kNone), 7u);
    EXPECT_EQ(sizeWith(0x300, 1), 7u) << "another section";
    EXPECT_EQ(sizeWith(0x300, kNone), 0x100u);
    table.SetLastEntrySizeByHiPC(nullptr);
    EXPECT_EQ(LineAt(0x2FF), 2u);
    EXPECT_EQ(LineAt(0x100), 0u);
}

TEST_F(LineTable, AddressesRespectSectionsEmptyRowsAndFourGigabytes)
{
    EXPECT_EQ(LineAt(0), 0u);
    Add(1, 0x10, 8);
    Add(2, 0x10, 8, 3);
    Add(3, 0x14, 0);
    Add(4, 0xFFFFFFF0, 0x20);
    Add(5, 0xFFFFFFF8, 0xFFFFFFFF, 3);
    Add(6, 0, 0);
    EXPECT_EQ(LineAt(0x14), 1u);
    EXPECT_EQ(LineAt(0x14, 3), 2u);
    EXPECT_EQ(LineAt(0x14, 4), 0u);
    EXPECT_EQ(LineAt(0xFFFFFFFF), 4u);
    EXPECT_EQ(LineAt(0xFFFFFFFF, 3), 5u);
    EXPECT_EQ(LineAt(0), 0u);
    EXPECT_EQ(LineAt(0, 4), 0u) << "a range cut at 4 GiB doesn't reach the next section";
    Add(7, 0xFFFFFFFC, 0x20);
    Add(8, 1, 1);
    EXPECT_EQ(LineAt(0xFFFFFFFB), 4u);
    EXPECT_EQ(LineAt(0xFFFFFFFF), 7u);
    EXPECT_EQ(LineAt(0), 0u);
}

TEST_F(LineTable, TheLastRowMayChangeAfterALookUp)
{
    Add(1, 0x10, 8);
    DbgSymLineEntry* last = Add(2, 0x18, 8);
    EXPECT_EQ(LineAt(0x10), 1u);
    last->range.size = 4;
    EXPECT_EQ(LineAt(0x1E), 0u);
    last->range.size = 8;
    EXPECT_EQ(LineAt(0x1E), 2u);
    Add(3, 0x1C, 4);
    EXPECT_EQ(LineAt(0x1E), 3u);
    EXPECT_EQ(LineAt(0x1B), 2u);
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
}

TEST_F(LineTable, DeeplyOverlappingRowsAreSearchedQuickly)
{
    constexpr u32 kRows = 200'000;
    for (u32 row = 0; row < kRows; ++row) {
        Add(row + 1, row, 0x10000000);
    }
    for (u32 row = 0; row < kRows; ++row) {
        ASSERT_EQ(LineAt(row), row + 1);
    }
}

TEST_F(LineTable, LinesAreFoundByFileInTheirOrder)
{
    const std::string header = "/inc/a.h";
    const std::string own = "/src/main.c";
    const std::string unknown = "/inc/none.h";
    EXPECT_TRUE(table.FindByLine(7, nullptr).empty());
    Add(7, 0x40, 4);
    Add(7, 0x20, 4, kNone, &header);
    Add(8, 0x30, 4);
    Add(7, 0x10, 4);
    EXPECT_EQ(AddressesOf(7, nullptr), (std::vector<u32>{0x40, 0x10}));
    EXPECT_EQ(AddressesOf(7, &own), (std::vector<u32>{0x40, 0x10}));
    EXPECT_EQ(AddressesOf(7, &header), (std::vector<u32>{0x20}));
    EXPECT_TRUE(AddressesOf(7, &unknown).empty());
    EXPECT_TRUE(AddressesOf(9, nullptr).empty());
    Add(9, 0x50, 4);
    Add(10, 0x60, 4);
    EXPECT_EQ(AddressesOf(9, nullptr), (std::vector<u32>{0x50}));
}
