// Contexts, address conversions and sections.
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSymFile.h"

#include <gtest/gtest.h>

#include <string>

namespace {

DbgAddress Absolute(u32 value)
{
    DbgAddress address;
    address.value = value;
    return address;
}

void Add(DbgSectionList& list, u32 id, u32 size, u32 base)
{
    const DbgSection section(".s", kSectionCode, id, kNone, size, base);
    list.AddSection(&section);
}

} // namespace

TEST(Addresses, ContextWordsAreValidUnlessTheyAreMarkers)
{
    DbgSymContext context(0, 1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(context.ValidSymFileContext());
    EXPECT_TRUE(context.ValidFuncContext());
    context.funcScope = kContents;
    EXPECT_FALSE(context.ValidFuncContext());
    context.Clear();
    EXPECT_FALSE(context.ValidSymFileContext());
    EXPECT_EQ(context.word5, 0u);
    EXPECT_EQ(context.loadTarget, kNone);
}

TEST(Addresses, ConvertBetweenAbsoluteAndSectionOffset)
{
    DbgSectionList list;
    Add(list, 901, 0x100, 0x8000);
    DbgAddress address = Absolute(0x8010);
    ASSERT_TRUE(address.MakeSectionOffset(nullptr));
    EXPECT_EQ(address.value, 0x10u);
    EXPECT_EQ(address.section, 901u);
    ASSERT_TRUE(address.MakeAbsolute(nullptr));
    EXPECT_EQ(address.value, 0x8010u);
    EXPECT_EQ(address.section, kNone);
    EXPECT_TRUE(address.MakeAbsolute(nullptr));

    DbgAddress outside = Absolute(0x8100);
    EXPECT_FALSE(outside.MakeSectionOffset(nullptr));
    EXPECT_EQ(outside.value, 0x8100u);
}

TEST(Addresses, SectionsAreKnownWhileTheirListLives)
{
    DbgSectionList other;
    Add(other, 907, 16, 0x6000);
    DbgAddress address;
    address.SetAddress(4, 902, 1, 0xFFFF);
    EXPECT_FALSE(address.MakeAbsolute(nullptr));
    EXPECT_EQ(address.section, 902u);
    {
        DbgSectionList list;
        Add(list, 902, 16, 0x4000);
        DbgAddress inside = address;
        EXPECT_TRUE(inside.MakeAbsolute(nullptr));
        EXPECT_EQ(inside.value, 0x4004u);
        EXPECT_TRUE(Absolute(0x4000).MakeSectionOffset(nullptr));
    }
    EXPECT_FALSE(address.MakeAbsolute(nullptr));
    EXPECT_FALSE(Absolute(0x4000).MakeSectionOffset(nullptr));
    address.section = 907;
    EXPECT_TRUE(address.MakeAbsolute(nullptr));
    EXPECT_EQ(address.value, 0x6004u);
}

TEST(Addresses, SectionAddedLastWinsAndEmptyOnesHoldNothing)
{
    DbgSectionList first;
    DbgSectionList second;
    Add(first, 903, 0x1000, 0);
    Add(second, 904, 0x10, 0x20);
    Add(first, 905, 0, 0x28);
    Add(first, 908, 0, 0);
    Add(second, 906, 0x20, 0xFFFFFFF0); // goes over 4 GiB and doesn't come back at 0
    const auto sectionAt = [](u32 value) {
        DbgAddress address = Absolute(value);
        address.MakeSectionOffset(nullptr);
        return address.section;
    };
    EXPECT_EQ(sectionAt(0x00), 903u);
    EXPECT_EQ(sectionAt(0x1F), 903u);
    EXPECT_EQ(sectionAt(0x28), 904u);
    EXPECT_EQ(sectionAt(0x30), 903u);
    EXPECT_EQ(sectionAt(0xFFF), 903u);
    EXPECT_EQ(sectionAt(0x1000), kNone);
    EXPECT_EQ(sectionAt(0xFFFFFFFF), 906u);
}

TEST(Addresses, EndOfARangeWrapsAndNeedsAStart)
{
    DbgAddrRange range;
    range.size = 8;
    DbgAddress end = Absolute(77);
    EXPECT_FALSE(range.GetEndAddress(end));
    EXPECT_EQ(end.value, 77u);
    range.SetAddress(0xFFFFFFFC, 3, 1, 9);
    ASSERT_TRUE(range.GetEndAddress(end));
    EXPECT_EQ(end.value, 4u);
    EXPECT_EQ(end.section, 3u);
    EXPECT_EQ(end.tag, 9u);
}

TEST(Addresses, SectionListKeepsCopiesAndNewIdsDiffer)
{
    DbgSectionList list;
    list.AddSection(nullptr);
    const std::string unended(1 << 20, 'n');
    for (u32 id = 910; id < 1000; ++id) {
        const DbgSection section(id == 910 ? nullptr : unended.c_str(), kSectionData, id, kNone, id, 0);
        list.AddSection(&section);
    }
    ASSERT_EQ(list.Count(), 90u);
    const DbgSection* kept = list.FindSection(910);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->name, "");
    EXPECT_EQ(kept, &list.At(0));
    EXPECT_LE(list.At(1).name.size(), 4096u);
    EXPECT_EQ(list.FindSection(1000), nullptr);

    const u32 id = DbgSymSymFile::GetNewSectionID();
    EXPECT_GE(id, 1u);
    EXPECT_EQ(DbgSymSymFile::GetNewSectionID(), id + 1);
}
