// host/AddressLookup.cpp and host/ExtentIndex.h: which row holds an address, and what is loaded for it.
#include "host/AddressLookup.h"

#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "tests/host/HostTesting.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace {

TEST(ExtentIndex, FindsWhatALinearSearchFinds)
{
    std::mt19937 random(3);
    ExtentIndex index;
    struct Range {
        u32 begin;
        u32 size;
    };
    std::vector<Range> ranges;
    for (u32 i = 0; i < 300; ++i) {
        const u32 begin = static_cast<u32>(random() % 1000);
        ranges.push_back({begin, i % 50 == 0 ? 500u : static_cast<u32>(random() % 20)});
        index.Add(begin, ranges.back().size, i);
    }
    for (u32 address = 0; address < 1600; ++address) {
        std::vector<u32> want;
        for (u32 i = 0; i < ranges.size(); ++i) {
            if (address >= ranges[i].begin && address - ranges[i].begin < ranges[i].size) {
                want.push_back(i);
            }
        }
        // The closest beginning first, the last added of equal ones.
        std::reverse(want.begin(), want.end());
        std::stable_sort(want.begin(), want.end(), [&](u32 a, u32 b) { return ranges[a].begin > ranges[b].begin; });
        std::vector<u32> got;
        EXPECT_FALSE(index.Visiting(address, [&](u32 owner) {
            got.push_back(owner);
            return false;
        }));
        EXPECT_EQ(got, want) << address;
    }
    index.Add(0xFFFFFFF0, 0xFFFFFFFF, 301);
    EXPECT_TRUE(index.Visiting(0xFFFFFFFF, [](u32 owner) { return owner == 301; }));
    EXPECT_FALSE(index.Visiting(0, [](u32 owner) { return owner == 301; })) << "wrapped";
}

/// A file of three units: one with a range, one without, one whose code lies outside its range too.
class Lookup : public testing::Test {
protected:
    void SetUp() override
    {
        m_plugin.onIndex = [](DbgSymSymFile& store, u32) {
            store.AddFileScope(1, "ranged.c", RangeOf(0x8000, 0x100), 0, kNone, false);
            store.AddFileScope(2, "bare.c", DbgAddrRange(), 0, kNone, false);
            store.AddFileScope(3, "spread.c", RangeOf(0xA000, 0x100), 0, kNone, false);
        };
        m_plugin.onLines = [](DbgSymSymFile& store, u32 unit) {
            DbgSymLineTable& table = *store.FindFileScope(unit, nullptr)->GetLineTableMember();
            const std::string header = "inc\\x.h";
            if (unit == 1) {
                Row(table, 10, 0x8000, 0x80, nullptr);
                Row(table, 20, 0x8080, 4, &header); // the floor of rows at one address
                Row(table, 21, 0x8080, 0x40, &header);
                Row(table, 30, 0x20, 0x80E0, nullptr); // dropped code, stretched to the unit's end
            } else if (unit == 2) {
                Row(table, 40, 0x9000, 0x10, nullptr);
            } else {
                Row(table, 50, 0xA000, 0x100, nullptr);
                Row(table, 60, 0x7000, 0x10, nullptr);
            }
        };
        m_file.Add();
        m_file.LoadIndex();
        m_plugin.requests.clear();
    }

    static void Row(DbgSymLineTable& table, u32 line, u32 address, u32 size, const std::string* path)
    {
        table.AddLineEntry(line, address, 0, path)->range.size = size;
    }

    std::string At(AddressLookup& lookup, u32 address)
    {
        const auto place = lookup.FindLine(m_file.AddressOf(address));
        return place ? *place->path + ":" + std::to_string(place->entry->line) : "none";
    }

    FakePlugin m_plugin;
    Loader m_file{m_plugin, "x.axf"};
};

TEST_F(Lookup, LoadsOnlyTheTableOfTheUnitConcerned)
{
    AddressLookup lookup(m_file);
    EXPECT_EQ(At(lookup, 0x8000), "ranged.c:10");
    EXPECT_EQ(At(lookup, 0x8080), "inc\\x.h:21");
    EXPECT_EQ(At(lookup, 0x80BF), "inc\\x.h:21");
    EXPECT_EQ(m_plugin.requests, (std::vector<std::string>{"lines 1"}));
}

TEST_F(Lookup, GoesOnToUnitsWithoutRangeAndThenToAllOthersOnce)
{
    AddressLookup lookup(m_file);
    EXPECT_EQ(At(lookup, 0x9004), "bare.c:40");
    EXPECT_EQ(m_plugin.requests, (std::vector<std::string>{"lines 2"}));
    EXPECT_EQ(At(lookup, 0x7008), "spread.c:60");
    EXPECT_EQ(At(lookup, 0x7010), "none");
    EXPECT_EQ(At(lookup, 0x9004), "bare.c:40");
    EXPECT_EQ(m_plugin.requests, (std::vector<std::string>{"lines 2", "lines 1", "lines 3"}));
    EXPECT_EQ(At(lookup, 0x80C0), "none") << "a row of dropped code that reaches to the unit's end";
    EXPECT_EQ(At(lookup, 0x100), "none");
}

TEST_F(Lookup, FindsAFunctionInItsUnitOnly)
{
    m_plugin.onUnit = [](DbgSymSymFile& store, u32 unit) {
        DbgSymContext context;
        store.AddFuncScope(context, unit + 100, unit, "own", RangeOf(0x8010, 0x20));
        store.AddFuncScope(context, 3, kNone, "of the third", RangeOf(0xA010, 0x20));
    };
    AddressLookup lookup(m_file);
    const DbgSymFuncScope* function = lookup.FindFunction(m_file.AddressOf(0x801F));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function->id, 101u);
    EXPECT_EQ(lookup.FindFunction(m_file.AddressOf(0x8030)), nullptr);
    EXPECT_EQ(m_plugin.requests, (std::vector<std::string>{"unit 1"}));
    // Loaded along with the first unit, and found under the one it lies in.
    function = lookup.FindFunction(m_file.AddressOf(0xA010));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function->name, "of the third");
}

} // namespace
