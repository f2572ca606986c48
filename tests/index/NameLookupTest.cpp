// The look-up of a name in `.debug_pubnames`, and what it loads.
#include "tests/support/LoadTest.h"

class NameLookup : public LoadTest {};
BOTH_BYTE_ORDERS(NameLookup);

TEST_P(NameLookup, TheFirstWholeMatchInTheOrderOfTheSectionWins)
{
    dwarf.PubSet(0x100, 0, {{1, "alpha"}, {2, "beta"}});
    dwarf.PubSet(0, 0, {});
    dwarf.PubSet(0x200, 0, {{3, "beta"}, {4, "Alpha"}});
    Dwarf2File& file = Open(dwarf);
    EXPECT_EQ(Probe::FindPubName(file, "beta", true), 0x102u);
    EXPECT_EQ(Probe::FindPubName(file, "beta", true), 0x102u);
    EXPECT_EQ(Probe::FindPubName(file, "beta", false), 0x203u); // after the last match
    EXPECT_EQ(Probe::FindPubName(file, "Alpha", true), 0x204u);
    for (const char* absent : {"alph", "alphas", "BETA", ""}) {
        EXPECT_EQ(Probe::FindPubName(file, absent, true), kNone) << absent;
    }
    EXPECT_EQ(Probe::FindPubName(file, static_cast<const char*>(nullptr), true), kNone);
}

TEST_P(NameLookup, LengthsThatLieEndTheSearchOrCorrectIt)
{
    dwarf.PubSet(0, 0, {{1, "one"}});
    dwarf.PubSet(0, 0, {{2, "two"}});
    dwarf.pubnames.Patch(0, 0xFFFFFFFE, 4); // wraps
    EXPECT_EQ(Probe::FindPubName(Open(dwarf), "two", true), kNone);
    dwarf.pubnames.Patch(0, 0x7FFFFFFF, 4); // beyond the section
    EXPECT_EQ(Probe::FindPubName(Open(dwarf), "two", true), kNone);
    EXPECT_EQ(Probe::FindPubName(File(), "one", true), 1u);

    DwarfBuilder cut(GetParam());
    cut.PubSet(0, 0, {{1, "cut"}});
    for (u32 size = cut.pubnames.Size(); size-- != 0;) {
        cut.pubnames.Truncate(size);
        Probe::FindPubName(Open(cut), "other", true);
    }
}

/// Asks for each name so often that an index is made.
void ExpectSameAnswers(Dwarf2File& file, std::initializer_list<const char*> names)
{
    for (u32 round = 0; round < 8; ++round) {
        for (const char* name : names) {
            const bool there = Dwarf2FileProbe::FindPubName(file, name, true) != kNone;
            const u32 end = Dwarf2FileProbe::m_debug_pubnames(file).Pos();
            EXPECT_EQ(file.LoadSymbolByName(nullptr, name), there) << name << " in round " << round;
            EXPECT_EQ(Dwarf2FileProbe::m_debug_pubnames(file).Pos(), end) << "where a dump looks";
        }
    }
}

TEST_P(NameLookup, ManyNamesGetTheSameAnswers)
{
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("first").Die(TAG_base_type).Name("first").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Label("second").Die(TAG_base_type).Name("second").Attr(AT_byte_size, FORM_data1, 2);
    });
    dwarf.EndUnit();
    dwarf.PubSet(0, 0, {{dwarf.Offset("first"), "twice"}, {dwarf.Offset("second"), "b"}});
    dwarf.PubSet(0, 0, {{dwarf.Offset("second"), "twice"}, {dwarf.Offset("first"), "last"}});
    ExpectSameAnswers(Index(dwarf), {"twice", "last", "absent", ""});
    EXPECT_NE(Type(dwarf.Offset("first")), nullptr);
    EXPECT_EQ(Type(dwarf.Offset("second")), nullptr) << "of two entries the first";

    dwarf.pubnames.Patch(0, 15, 4); // too short: the second set begins among the entries of the first
    ExpectSameAnswers(Index(dwarf), {"twice", "last", "wice", "absent"});
    for (u32 size = dwarf.pubnames.Size(); size-- != 0;) {
        dwarf.pubnames.Truncate(size);
        ExpectSameAnswers(Index(dwarf), {"twice", "last", "las"});
    }
}

TEST_P(NameLookup, ANameLoadsItsTypesAndNoScopes)
{
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Label("alias").Die(TAG_typedef).Name("alias").Ref(AT_type, "int");
        Function(dwarf.Label("f"), "f").Sibling().Children([&] {
            dwarf.Label("local").Die(TAG_pointer_type);
            Variable(dwarf, "v");
        });
        dwarf.Label("other").Die(TAG_pointer_type);
    });
    dwarf.EndUnit();
    const u32 length = dwarf.info.Size();
    dwarf.PubSet(0, length, {{dwarf.Offset("alias"), "alias"}, {dwarf.Offset("f"), "f"}, {0xFFFFFFF0, "nowhere"}});
    Dwarf2File& file = Index(dwarf);
    EXPECT_TRUE(file.LoadSymbolByName(nullptr, "alias"));
    EXPECT_EQ(Store().TypeCount(), 2u);
    EXPECT_EQ(Type(dwarf.Offset("alias"))->GetByteSize(), 4u);
    Probe::m_flags(file) |= Probe::kLoadSelection;
    EXPECT_TRUE(file.LoadSymbolByName(nullptr, "f"));
    EXPECT_EQ(Store().FuncScopeCount(), 0u);
    EXPECT_EQ(Store().VariableCount(), 0u);
    EXPECT_NE(Type(dwarf.Offset("local")), nullptr); // a function's children are walked
    EXPECT_EQ(Type(dwarf.Offset("other")), nullptr);
    EXPECT_TRUE(file.LoadSymbolByName(nullptr, "nowhere"));
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}
