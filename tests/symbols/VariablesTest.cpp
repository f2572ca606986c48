// Variables and parameters: which exist, what is known of them, and how their locations are prepared.
#include "tests/support/LoadTest.h"

#include <initializer_list>
#include <string>

class Variables : public LoadTest {
protected:
    static std::string Bytes(std::initializer_list<u8> bytes) { return {bytes.begin(), bytes.end()}; }
    /// A 32-bit number in the file's byte order.
    std::string Word(u32 value) { return ByteSection(GetParam()).U32(value).Bytes(); }
    std::string Half(u16 value) { return ByteSection(GetParam()).U16(value).Bytes(); }

    /// The locations of all variables after loading the unit and the function labelled "f".
    std::vector<std::string> Locations()
    {
        Index(dwarf);
        LoadUnit();
        LoadFunction("f");
        return OfVariables(&DbgVariable::location);
    }
};
BOTH_BYTE_ORDERS(Variables);

TEST_P(Variables, WhatLacksALocationOrANameIsNoneAndFiltersDropTheRest)
{
    g_prefs.omitArtificialVars = true;
    g_prefs.omitVarsStart = {"", "__", "tmp"};
    LoadUnitOf([&] {
        dwarf.Label("declared").Die(TAG_variable).Name("declared").Attr(AT_declaration, FORM_flag, 1);
        dwarf.Die(TAG_variable).Name("constant").Attr(AT_const_value, FORM_data1, 4);
        dwarf.Die(TAG_variable).Name("empty").Attr(AT_location, FORM_block1, {});
        dwarf.Die(TAG_variable).Attr(AT_location, FORM_block1, {0x50}).Ref(AT_specification, "declared");
        Variable(dwarf, "__hidden");
        Variable(dwarf, "tmp");
        Variable(dwarf, "a__b").Attr(AT_artificial, FORM_flag, 0);
        Variable(dwarf, "this").Attr(AT_artificial, FORM_flag, 1);
        dwarf.Die(TAG_variable).Attr(AT_artificial, FORM_flag, 1).Name("that").Attr(AT_location, FORM_block1, {0x50});
        dwarf.Label("artificial").Die(TAG_variable).Name("tmp2").Attr(AT_artificial, FORM_flag, 1);
        dwarf.Label("origin").Die(TAG_variable).Name("tmp3").Ref(AT_type, "int");
        dwarf.Die(TAG_variable).Ref(AT_abstract_origin, "artificial").Attr(AT_location, FORM_block1, {0x50});
        dwarf.Die(TAG_variable).Ref(AT_abstract_origin, "origin").Attr(AT_location, FORM_block1, {0x50});
        dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
    });
    // An origin's name is not looked at by the filter of names.
    EXPECT_EQ(LoadTest::Variables(), (std::vector<std::string>{"a__b", "tmp3"}));
    EXPECT_EQ(Store().VariableAt(1).byteSize, 4u);
    EXPECT_EQ(Store().VariableAt(1).baseType, kBaseUserDefined);
    EXPECT_EQ(Store().VariableAt(1).udtId, dwarf.Offset("int"));
    EXPECT_EQ(Store().VariableAt(0).byteSize, 1u); // without a type
    LoadUnit();
    EXPECT_EQ(Store().VariableCount(), 2u);

    g_prefs.omitArtificialVars = false;
    g_prefs.omitVarsStart.clear();
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(LoadTest::Variables(),
              (std::vector<std::string>{"__hidden", "tmp", "a__b", "this", "that", "tmp2", "tmp3"}));
}

TEST_P(Variables, TheirScopeFollowsFromTheirPlaceAndTag)
{
    dwarf.Unit().Name("a.c").Children([&] {
        Variable(dwarf, "static");
        Variable(dwarf, "external").Attr(AT_external, FORM_flag, 1);
        Variable(dwarf, "not external").Attr(AT_external, FORM_flag, 0);
        Function(dwarf.Label("f"), "f").Sibling().Children([&] {
            dwarf.Die(TAG_formal_parameter).Name("parameter").Attr(AT_location, FORM_block1, {0x50});
            Variable(dwarf, "local").Attr(AT_external, FORM_flag, 1);
        });
    });
    Locations();
    std::vector<DbgVariableScope> scopes;
    for (std::size_t i = 0; i < Store().VariableCount(); ++i) {
        scopes.push_back(Store().VariableAt(i).scope);
    }
    EXPECT_EQ(scopes, (std::vector{kScopeFileStatic, kScopeExternal, kScopeFileStatic, kScopeParameter, kScopeLocal}));
}

TEST_P(Variables, FrameBasesAreReplacedAndOtherOperatorsSteppedOver)
{
    const auto local = [&](std::initializer_list<u8> location) {
        dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block1, location);
    };
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Attr(AT_frame_base, FORM_block1, {0x7D, 0x08}).Sibling().Children([&] {
            local({0x91, 0x78});
            local({0x91, 0x08, 0x06, 0x91, 0xFF, 0x7E, 0x22}); // fbreg 8, deref, fbreg -129, plus
            local({0x08, 0x91, 0x92, 0x91, 0x91, 0x01, 0x91, 0x03, 0x91, 0x91, 0x91, 0x91, 0x91, 0x00});
            local({0x91, 0x80}); // cut off
            local({0x79, 0x04});
        });
        Variable(dwarf, "global");
        dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block1, {0x91, 0x04});
    });
    EXPECT_EQ(Locations(), (std::vector<std::string>{
                               Bytes({0x50}), Bytes({0x91, 0x04}), // no function, no frame base
                               Bytes({0x7D, 0x08, 0x11, 0x78, 0x22}),
                               Bytes({0x7D, 0x08, 0x11, 0x08, 0x22, 0x06, 0x7D, 0x08, 0x11, 0xFF, 0x7E, 0x22, 0x22}),
                               Bytes({0x08, 0x91, 0x92, 0x91, 0x91, 0x01, 0x91, 0x03, 0x7D, 0x08, 0x11, 0x91, 0x91,
                                      0x91, 0x91, 0x00, 0x22}),
                               Bytes({0x7D, 0x08, 0x11, 0x80, 0x22}), Bytes({0x79, 0x04})}));
}

TEST_P(Variables, TheStaticBaseTakesTheExpressionOfThePreferences)
{
    g_prefs.enableSb = true;
    g_prefs.sbExpr = "sectid_base(%d) + %d";
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f");
        dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block1, {0x79, 0x7C, 0x06});
    });
    EXPECT_EQ(Locations(), std::vector<std::string>{Bytes({0x79, 0x7C, 0x06})}); // no section

    g_prefs.sbExpr = "sectid_base(%d)";
    for (const bool enabled : {true, false}) {
        g_prefs.enableSb = enabled;
        Probe::m_sectionId(Index(dwarf)) = 7;
        LoadUnit();
        EXPECT_EQ(Store().VariableAt(0).location,
                  enabled ? Bytes({0x11, 0x7C, 0xF8, 0x07, 0x22, 0x06}) : Bytes({0x79, 0x7C, 0x06}));
    }
}

TEST_P(Variables, ListsAreWrappedWithTheirEntriesPrepared)
{
    const u32 plain = dwarf.LocationList({{0x10, 0x20, {0x50}}, {0x20, 0x30, {0x91, 0x04}}});
    const u32 empty = dwarf.LocationList({});
    const u32 looping = dwarf.LocationList({{0, 8, {0x91, 0x00}}});
    const auto local = [&](u32 list) { dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_data4, list); };
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Attr(AT_frame_base, FORM_block1, {0x5B}).Sibling().Children([&] {
            local(plain);
            local(empty);
            local(0x10000); // beyond the section
        });
        Function(dwarf.Label("g"), "g").Attr(AT_frame_base, FORM_data4, looping).Sibling().Children([&] {
            dwarf.Die(TAG_variable).Name("w").Attr(AT_location, FORM_block1, {0x91, 0x02});
        });
    });
    const std::string end = Word(0) + Word(0);
    EXPECT_EQ(Locations(), (std::vector<std::string>{"\xEC" + Word(0x10) + Word(0x20) + Half(1) + "\x50" + Word(0x20) +
                                                         Word(0x30) + Half(4) + Bytes({0x5B, 0x11, 0x04, 0x22}) + end,
                                                     "\xEC" + end, "\xEC"}));
    LoadFunction("g");
    // A frame base list that itself needs the frame base keeps its operator unchanged.
    EXPECT_EQ(Store().VariableAt(3).location,
              "\xEC" + Word(0) + Word(8) + Half(2) + Bytes({0x91, 0x00}) + end + Bytes({0x11, 0x02, 0x22}));
}

TEST_P(Variables, WithoutListsInTheFileAListIsNoLocation)
{
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Attr(AT_frame_base, FORM_data4, 0).Sibling().Children([&] {
            dwarf.Die(TAG_variable).Name("list").Attr(AT_location, FORM_data4, 0);
            dwarf.Die(TAG_variable).Name("based").Attr(AT_location, FORM_block1, {0x91, 0x04});
        });
    });
    EXPECT_EQ(Locations(), std::vector<std::string>{Bytes({0x11, 0x04, 0x22})});
}

TEST_P(Variables, ALocationGivenAsTextReachesToTheEndOfItsSection)
{
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f");
        dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_string, "P");
    });
    const std::string location = Locations().at(0);
    EXPECT_EQ(location, Bytes({0x50, 0, 0})); // the text, its end, and the null entry after it
}

TEST_P(Variables, FrameBasesCannotSwellALocation)
{
    // One operator after the other, each replaced by a frame base of the greatest length.
    ByteSection base(GetParam());
    base.Fill(60'000, 0x96);
    ByteSection location(GetParam());
    for (u32 i = 0; i < 30'000; ++i) {
        location.Raw({0x91, 0x00});
    }
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Attr(AT_frame_base, FORM_block2, base).Sibling().Children([&] {
            dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block2, location);
        });
    });
    const std::string prepared = Locations().at(0);
    EXPECT_LT(prepared.size(), 8'000'000u);
    EXPECT_EQ(prepared.substr(60'000, 4), Bytes({0x11, 0x00, 0x22, 0x96})); // the first ones are exact
    EXPECT_EQ(prepared.substr(prepared.size() - 2), Bytes({0x91, 0x00}));
}

TEST_P(Variables, AnExpressionGrowsToItsLimitAndNoFurther)
{
    // Each operator grows by the frame base and one byte more: sixteen of them by 61,681 bytes are just below the
    // limit of a mebibyte, and the next one would come to one byte above it.
    ByteSection location(GetParam());
    for (u32 i = 0; i < 17; ++i) {
        location.Raw({0x91, 0x00});
    }
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f");
        dwarf.Attr(AT_frame_base, FORM_block2, ByteSection(GetParam()).Fill(61'680, 0x96)).Sibling();
        dwarf.Children([&] { dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block1, location); });
    });
    EXPECT_EQ(Locations().at(0).size(), 34u + 16 * 61'681);
}

TEST_P(Variables, AListEntryThatOutgrowsItsLengthStaysUnprepared)
{
    const auto locationWithBaseOf = [&](u32 size) {
        Restart();
        const u32 list = dwarf.LocationList({{1, 2, {0x91, 0x08}}, {2, 3, {0x50}}});
        dwarf.Unit().Name("a.c").Children([&] {
            Function(dwarf.Label("f"), "f");
            dwarf.Attr(AT_frame_base, FORM_block2, ByteSection(GetParam()).Fill(size, 0x96)).Sibling();
            dwarf.Children([&] { dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_data4, list); });
        });
        return Locations().at(0);
    };
    const std::string rest = Word(2) + Word(3) + Half(1) + Bytes({0x50}) + Word(0) + Word(0);
    // The operators around the frame base take three bytes.
    EXPECT_EQ(locationWithBaseOf(0xFFFC),
              "\xEC" + Word(1) + Word(2) + Half(0xFFFF) + std::string(0xFFFC, '\x96') + Bytes({0x11, 8, 0x22}) + rest);
    EXPECT_EQ(locationWithBaseOf(0xFFFD), "\xEC" + Word(1) + Word(2) + Half(2) + Bytes({0x91, 8}) + rest);
}
