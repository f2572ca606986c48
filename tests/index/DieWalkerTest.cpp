// Reading a DIE of any tag, and walking a level with everything below it.
#include "tests/support/LoadTest.h"

class DieWalker : public LoadTest {};
BOTH_BYTE_ORDERS(DieWalker);

TEST_P(DieWalker, SiblingsThatLeadAstrayEndTheWalkOrGoOn)
{
    const auto functions = [&](const char* target) {
        Restart();
        dwarf.Unit().Name("a.c").Children([&] {
            Function(dwarf.Label("f"), "f");
            Function(dwarf.Label("g"), "g").Ref(AT_sibling, target);
            Function(dwarf, "h");
        });
        Index(dwarf);
        LoadUnit();
        return Functions();
    };
    EXPECT_EQ(functions("f"), (std::vector<std::string>{"f", "g"}));      // back
    EXPECT_EQ(functions("g"), (std::vector<std::string>{"f", "g", "h"})); // to itself: continues after it
    Restart();
    LoadUnitOf([&] {
        Function(dwarf, "f").Attr(AT_sibling, FORM_ref4, 0x7FFFFFFF); // beyond the section
        Function(dwarf, "g");
    });
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(DieWalker, ACodeIsFoundByItsDistanceFromTheFirst)
{
    dwarf.Header().Declare(5, TAG_compile_unit, true, {{AT_name, FORM_string}}).Declare(6, TAG_label, false, {});
    dwarf.Declare(100, TAG_base_type, false, {{AT_name, FORM_string}}); // whatever it says, it is 7
    dwarf.Entry(5).info.Text("a.c");
    dwarf.Entry(7).info.Text("found");
    dwarf.Entry(0).EndUnit();
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Store().TypeCount(), 1u);
}

TEST_P(DieWalker, TheSiblingThatADieStatesStays)
{
    LoadUnitOf([&] {
        Function(dwarf.Label("f"), "f").Ref(AT_sibling, "h").Children([&] { Variable(dwarf, "v"); });
        Function(dwarf, "g");
        Function(dwarf.Label("h"), "h");
    });
    LoadFunction("f");
    EXPECT_EQ(Row("f").Sibling(), dwarf.Offset("h")) << "and not what stands behind the children";
}

TEST_P(DieWalker, ADieThatNamesItselfAsSiblingGoesOnAtEveryVisit)
{
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_sibling, "pointer");
        Function(dwarf.Label("f"), "f");
    });
    Index(dwarf);
    Probe::m_flags(File()) |= Probe::kLoadTypes;
    Probe::LoadDieAtOffset(File(), dwarf.Offset("pointer")); // built before the walk
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(DieWalker, AnEmptyListOfChildrenOrAnUnknownCodeEndsTheWalk)
{
    LoadUnitOf([&] {
        Function(dwarf, "f");
        Function(dwarf, "g").Children().End();
        Function(dwarf, "h");
    });
    EXPECT_EQ(Functions(), (std::vector<std::string>{"f", "g"}));

    DwarfBuilder broken(GetParam());
    broken.Unit().Name("a.c").Children([&] {
        Function(broken, "f").Children([&] { broken.Label("bad").Entry(99); });
        Function(broken, "g");
    });
    Index(broken);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
    const DIEInfo bad = Row(broken.Offset("bad"));
    EXPECT_NE(bad.Parent(), kNone);
    EXPECT_EQ(bad.Sibling(), kNone);
}

TEST_P(DieWalker, TheLoadOfADieThatIsNeverBuiltGoesOnBehindIt)
{
    // Producers write `const void` as a const without a type. A pointer to it loads the const again and
    // again takes the entries after it, which thereby lose their unit.
    LoadUnitOf([&] {
        dwarf.Label("const").Die(TAG_const_type);
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "const");
        Function(dwarf, "behind");
    });
    ASSERT_EQ(Store().FuncScopeCount(), 1u);
    EXPECT_EQ(Store().FuncScopeAt(0).fileId, kNone);
    EXPECT_EQ(Row("const").Parent(), dwarf.Offset("const"));
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(dwarf.Offset("pointer"));
    EXPECT_EQ(pointer.target.udtId, dwarf.Offset("const"));
    EXPECT_EQ(pointer.target.qualifiers, 0u);
    EXPECT_EQ(pointer.targetSize, 0u);
}
