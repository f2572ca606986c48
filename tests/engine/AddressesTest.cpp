// Sections, and addresses that convert between absolute and section-relative.
#include "interfaces/DbgAddress.h"

#include "interfaces/DbgSection.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace {

void Add(DbgSectionList& list, u32 id, u32 base, u32 size)
{
    const DbgSection section(".text", kSectionCode, id, kNone, size, base);
    list.AddSection(&section);
}

/// "ID:OFFSET" of an absolute address; "none" if no section contains it.
std::string Offset(u32 address)
{
    DbgAddrRange at;
    at.value = address;
    if (!at.MakeSectionOffset(nullptr)) {
        EXPECT_EQ(at.value, address);
        EXPECT_EQ(at.section, kNone);
        return "none";
    }
    return std::to_string(at.section) + ":" + std::to_string(at.value);
}

std::optional<u32> Absolute(u32 section, u32 offset)
{
    DbgAddress at;
    at.SetAddress(offset, section, 3, 9);
    if (!at.MakeAbsolute(nullptr)) {
        EXPECT_EQ(at.value, offset);
        EXPECT_EQ(at.section, section);
        return std::nullopt;
    }
    EXPECT_EQ(at.section, kNone);
    EXPECT_EQ(at.byte0, 3);
    EXPECT_EQ(at.tag, 9);
    return at.value;
}

TEST(Addresses, ConvertThroughTheSectionThatHoldsThem)
{
    DbgSectionList list;
    Add(list, 501, 0x1000, 0x100);
    Add(list, 502, 0x1080, 0x100);
    Add(list, 503, 0x3000, 0);
    Add(list, 504, 0xFFFFFFF0, 0x100); // ends at 4 GiB
    EXPECT_EQ(Offset(0x0FFF), "none");
    EXPECT_EQ(Offset(0x1000), "501:0");
    EXPECT_EQ(Offset(0x107F), "501:127");
    EXPECT_EQ(Offset(0x1080), "502:0") << "the one added last";
    EXPECT_EQ(Offset(0x117F), "502:255");
    EXPECT_EQ(Offset(0x1180), "none");
    EXPECT_EQ(Offset(0x3000), "none");
    EXPECT_EQ(Offset(0xFFFFFFFF), "504:15");
    EXPECT_EQ(Offset(0x10), "none");
    EXPECT_EQ(Absolute(502, 4), 0x1084u);
    EXPECT_EQ(Absolute(504, 0x20), 0x10u) << "sums are of 32 bits";
    EXPECT_EQ(Absolute(kNone, 5), 5u);
    EXPECT_EQ(Absolute(505, 5), std::nullopt);
    DbgAddress relative;
    relative.SetAddress(4, 501, 0, 0);
    EXPECT_TRUE(relative.MakeSectionOffset(nullptr)) << "which it is";
    EXPECT_EQ(relative.value, 4u);
}

TEST(Addresses, ASectionLivesAsLongAsItsList)
{
    DbgSectionList list;
    Add(list, 601, 0x1000, 0x100);
    {
        DbgSectionList other;
        Add(other, 601, 0x2000, 0x100);
        Add(other, 602, 0x1000, 0x100);
        EXPECT_EQ(Absolute(601, 0), 0x2000u) << "the one added last";
        EXPECT_EQ(Absolute(602, 0), 0x1000u);
        EXPECT_EQ(Offset(0x1000), "602:0");
        EXPECT_EQ(list.FindSection(602), nullptr);
        EXPECT_EQ(list.FindSection(601)->base, 0x1000u);
    }
    EXPECT_EQ(Absolute(601, 0), 0x1000u);
    EXPECT_EQ(Absolute(602, 0), std::nullopt);
    EXPECT_EQ(Offset(0x1000), "601:0");
    EXPECT_EQ(Offset(0x2000), "none");
    list.AddSection(nullptr);
    EXPECT_EQ(list.Count(), 1u);
}

TEST(Addresses, ContextsAndRangesKnowWhatIsNone)
{
    DbgSymContext context(1, 2, kContents, 4, 5, 6, 7);
    EXPECT_TRUE(context.ValidSymFileContext());
    EXPECT_FALSE(context.ValidFuncContext());
    context.funcScope = 0;
    EXPECT_TRUE(context.ValidFuncContext());
    context.Clear();
    EXPECT_FALSE(context.ValidSymFileContext());
    EXPECT_EQ(context.word5, 0u);
    EXPECT_EQ(context.loadTarget, kNone);

    DbgAddrRange range;
    DbgAddress end;
    range.size = 4;
    EXPECT_FALSE(range.GetEndAddress(end));
    EXPECT_EQ(end.value, kNone);
    range.SetAddress(0xFFFFFFFE, 3, 0, 0);
    EXPECT_TRUE(range.GetEndAddress(end));
    EXPECT_EQ(end.value, 2u);
    EXPECT_EQ(end.section, 3u);
}

} // namespace
