// Reading a DIE of any tag, and walking a level with all that lies below it.
#include "tests/support/LoadTest.h"

class DieWalker : public LoadTest {};
BOTH_BYTE_ORDERS(DieWalker);

TEST_P(DieWalker, AUnitsWalkHopsOverBodiesAndAFunctionsReadsThem)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Sibling().Children([&] {
            Variable(dwarf, "local");
            dwarf.Die(TAG_lexical_block).Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8008);
            dwarf.Children([&] { Variable(dwarf, "inner"); });
        });
        Variable(dwarf, "global");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
    EXPECT_EQ(Variables(), std::vector<std::string>{"global"});
    EXPECT_EQ(Store().VariableAt(0).scope, kScopeFileStatic);

    LoadFunction(dwarf.Offset("f"));
    EXPECT_EQ(Variables(), (std::vector<std::string>{"global", "local", "inner"}));
    ASSERT_EQ(Store().SubScopeCount(), 1u);
    const DbgSymContext& inner = Store().VariableAt(2).context;
    EXPECT_EQ(inner.fileScope, kUnitDie);
    EXPECT_EQ(inner.funcScope, dwarf.Offset("f"));
    EXPECT_EQ(inner.subScope, Store().SubScopeAt(0).id);

    const std::size_t things = Things();
    LoadUnit();
    LoadFunction(dwarf.Offset("f"));
    EXPECT_EQ(Things(), things);
}

TEST_P(DieWalker, RowsKnowTheirNeighbours)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        // Without AT_sibling: the end of the children tells where the next entry is.
        Function(dwarf.Label("open"), "open").Children([&] { dwarf.Label("local").Die(TAG_label); });
        dwarf.Label("leaf").Die(TAG_label).Name("leaf");
        Function(dwarf.Label("last"), "last");
    });
    Index(dwarf);
    LoadUnit();
    const DIEInfo& open = *Row(dwarf.Offset("open"));
    EXPECT_EQ(open.parent, kUnitDie);
    EXPECT_EQ(open.child, dwarf.Offset("local"));
    EXPECT_EQ(open.sibling, dwarf.Offset("leaf"));
    EXPECT_EQ(open.flags & 3, DIEInfo::kDieBuilt);
    EXPECT_EQ(Row(dwarf.Offset("local"))->parent, dwarf.Offset("open"));
    const DIEInfo& end = *Row(dwarf.Offset("leaf") - 1); // the null entry
    EXPECT_EQ(end.abbrIndex, 0u);
    EXPECT_EQ(end.parent, kNone);
    const DIEInfo& leaf = *Row(dwarf.Offset("leaf"));
    EXPECT_EQ(leaf.sibling, dwarf.Offset("last"));
    EXPECT_EQ(leaf.child, kNone);
    EXPECT_EQ(leaf.flags & 3, 0u);
}

TEST_P(DieWalker, SiblingsThatLeadAstrayEndTheWalkOrGoOn)
{
    const auto functions = [&](const char* target) {
        DwarfBuilder dwarf(GetParam());
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
    EXPECT_EQ(functions("g"), (std::vector<std::string>{"f", "g", "h"})); // to itself: on behind it
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf, "f").Attr(AT_sibling, FORM_ref4, 0x7FFFFFFF); // behind the section
        Function(dwarf, "g");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(DieWalker, ADieThatNamesItselfAsSiblingGoesOnAtEveryVisit)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_sibling, "pointer");
        Function(dwarf.Label("f"), "f");
    });
    Index(dwarf);
    Probe::m_flags(File()) |= Probe::kLoadTypes;
    Probe::LoadDieAtOffset(File(), dwarf.Offset("pointer")); // built ahead of the walk
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(DieWalker, AnEmptyListOfChildrenOrAnUnknownCodeEndsTheWalk)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf, "f");
        Function(dwarf, "g").Children().End();
        Function(dwarf, "h");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Functions(), (std::vector<std::string>{"f", "g"}));

    DwarfBuilder broken(GetParam());
    broken.Unit().Name("a.c").Children([&] {
        Function(broken, "f").Children([&] { broken.Label("bad").Entry(99); });
        Function(broken, "g");
    });
    Index(broken);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
    const DIEInfo& bad = *Row(broken.Offset("bad"));
    EXPECT_EQ(bad.abbrIndex, 99u);
    EXPECT_NE(bad.parent, kNone);
    EXPECT_EQ(bad.sibling, kNone);
}

TEST_P(DieWalker, MembersAndSubrangesOutsideTheirTypesAddNothing)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("member").Die(TAG_member).Name("m");
        dwarf.Label("range").Die(TAG_subrange_type).Attr(AT_upper_bound, FORM_data1, 3);
        Function(dwarf, "f");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Store().TypeCount(), 0u);
    EXPECT_EQ(Row(dwarf.Offset("member"))->flags & 3, 0u);
    EXPECT_EQ(Row(dwarf.Offset("range"))->flags & 3, DIEInfo::kDieBuilt);
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(DieWalker, TheLoadOfADieThatIsNeverBuiltGoesOnBehindIt)
{
    // Producers write `const void` as a const without a type. A pointer to it loads the const again
    // and again takes the entries behind it, which thereby lose their unit.
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("const").Die(TAG_const_type);
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "const");
        Function(dwarf, "behind");
    });
    Index(dwarf);
    LoadUnit();
    ASSERT_EQ(Store().FuncScopeCount(), 1u);
    EXPECT_EQ(Store().FuncScopeAt(0).fileId, kNone);
    EXPECT_EQ(Row(dwarf.Offset("const"))->parent, dwarf.Offset("const"));
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(dwarf.Offset("pointer"));
    EXPECT_EQ(pointer.target.udtId, dwarf.Offset("const"));
    EXPECT_EQ(pointer.target.qualifiers, 0u);
    EXPECT_EQ(pointer.targetSize, 0u);
}
