// Functions, blocks and inlined functions, their names and their place in the tree of scopes.
#include "tests/support/LoadTest.h"

class Scopes : public LoadTest {
protected:
    /// A class with one member function, declared only.
    static void Class(DwarfBuilder& dwarf, u32 tag, const char* name)
    {
        dwarf.Die(tag).Name(name).Sibling().Children(
            [&] { dwarf.Label(std::string(name) + "::f").Die(TAG_subprogram).Name("f"); });
    }
    /// A function with code and no name of its own.
    static DwarfBuilder& Definition(DwarfBuilder& dwarf) { return dwarf.Die(TAG_subprogram).Range(0x8000, 0x8010); }
};
BOTH_BYTE_ORDERS(Scopes);

TEST_P(Scopes, AFunctionIsNamedByItsClassOneLevelUp)
{
    LoadUnitOf([&] {
        Class(dwarf, TAG_class_type, "K");
        Class(dwarf, TAG_structure_type, "S");
        Class(dwarf, TAG_union_type, "U");
        Definition(dwarf.Label("k")).Ref(AT_specification, "K::f");
        Definition(dwarf).Ref(AT_specification, "S::f");
        Definition(dwarf).Ref(AT_specification, "U::f");
        // An abstract instance, whose own specification leads on to the class.
        dwarf.Label("abstract").Die(TAG_subprogram).Ref(AT_specification, "K::f");
        Definition(dwarf).Name("own").Ref(AT_abstract_origin, "abstract");
    });
    EXPECT_EQ(Functions(), (std::vector<std::string>{"K::f", "S::f", "f", "K::f"}));
    EXPECT_EQ(Store().FuncScopeAt(0).id, dwarf.Offset("k"));
    EXPECT_EQ(Store().FuncScopeAt(0).range.size, 0x10u);
}

TEST_P(Scopes, AClassBehindTheFunctionIsFoundByWalkingTheUnit)
{
    LoadUnitOf([&] {
        Definition(dwarf).Ref(AT_specification, "K::f");
        Function(dwarf, "g");
        Class(dwarf, TAG_class_type, "K");
    });
    EXPECT_EQ(Functions(), (std::vector<std::string>{"g", "K::f"})); // the walk for the name comes first
}

TEST_P(Scopes, AFunctionWithoutNameIsCalledAfterItsFile)
{
    dwarf.Unit().Name("dir/a.c").Children([&] { Definition(dwarf); });
    dwarf.Unit().Children([&] { Definition(dwarf); }); // a unit without a name has no file scope
    const u32 second = dwarf.UnitOffset() + CompileUnitInfo::kHeaderSize;
    Index(dwarf);
    LoadUnit();
    LoadUnit(second);
    EXPECT_EQ(Functions(), (std::vector<std::string>{"a.c", "no_name"}));
}

TEST_P(Scopes, ALongPathNeverNamesAFunctionAfterAFolder)
{
    const std::string folder(300, 'd');
    dwarf.Unit().Name(folder + "/a.c").Children([&] { Definition(dwarf); });
    Index(dwarf);
    Probe::m_budget(File()).Fill(500);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"a.c"});
}

TEST_P(Scopes, WithoutBothAddressesThereIsNoScopeButTheFrameBaseStays)
{
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("low").Die(TAG_subprogram).Name("low").Attr(AT_low_pc, FORM_addr, 0x8000);
        dwarf.Attr(AT_frame_base, FORM_block1, {0x5B}).Label("list").Die(TAG_subprogram).Name("list");
        dwarf.Attr(AT_frame_base, FORM_data4, 0x20);
        dwarf.Die(TAG_subprogram).Name("empty").Range(0x8000, 0);
    });
    Dwarf2File& file = Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{"empty"});
    EXPECT_EQ(Store().FuncScopeAt(0).range.size, 0u);
    EXPECT_TRUE(Row("low").Has(DIEInfo::kDieBuilt));
    EXPECT_EQ(*Probe::m_frameBaseBlockMap(file).Find(dwarf.Offset("low")), "\x5B");
    EXPECT_EQ(*Probe::m_frameBaseLocListMap(file).Find(dwarf.Offset("list")), 0x20u);
}

TEST_P(Scopes, BlocksNeedChildrenAndInlinedFunctionsTakeTheirOriginsName)
{
    const auto range = [&](u32 tag) -> DwarfBuilder& { return dwarf.Die(tag).Range(0x8000, 0x8004); };
    LoadUnitOf([&] {
        dwarf.Label("origin").Die(TAG_subprogram).Name("inlined");
        Function(dwarf.Label("f"), "f").Sibling().Children([&] {
            range(TAG_lexical_block);
            range(TAG_lexical_block).Sibling().Children().End();
            range(TAG_inlined_subroutine).Ref(AT_abstract_origin, "origin").Children([&] {
                dwarf.Label("block");
                range(TAG_lexical_block).Children([&] { Variable(dwarf, "v"); });
            });
        });
    });
    LoadFunction("f");
    ASSERT_EQ(Store().SubScopeCount(), 2u);
    EXPECT_STREQ(Store().SubScopeAt(0).name, "inlined");
    EXPECT_EQ(Store().SubScopeAt(1).name, nullptr);
    // An inlined function has no effect on what is below it.
    EXPECT_EQ(Store().SubScopeAt(1).context.subScope, kNone);
    EXPECT_EQ(Store().VariableAt(0).context.subScope, dwarf.Offset("block"));
    EXPECT_EQ(Store().VariableAt(0).context.funcScope, dwarf.Offset("f"));
}

TEST_P(Scopes, AChainOfSpecificationsIsFollowedToItsEndAndMayClose)
{
    constexpr u32 kLinks = 100;
    LoadUnitOf([&] {
        dwarf.Declare(2, TAG_subprogram, false,
                      {{AT_specification, FORM_ref4}, {AT_low_pc, FORM_addr}, {AT_high_pc, FORM_addr}});
        for (u32 i = 0; i < kLinks; ++i) {
            dwarf.Label("f" + std::to_string(i)).Entry(2);
            dwarf.info.Ref("f" + std::to_string(i + 1)).Number(0x8000, 4).Number(0x8004, 4);
        }
        dwarf.Label("f" + std::to_string(kLinks)).Die(TAG_subprogram).Name("end").Attr(AT_type, FORM_ref4, 1);
        dwarf.Label("a").Die(TAG_subprogram).Name("a").Ref(AT_specification, "b");
        dwarf.Label("b").Die(TAG_subprogram).Name("b").Ref(AT_specification, "a");
        dwarf.Label("self").Die(TAG_subprogram).Ref(AT_specification, "self");
    });
    ASSERT_EQ(Store().FuncScopeCount(), kLinks);
    EXPECT_EQ(Store().FuncScopeAt(0).name, "end");
    EXPECT_EQ(Store().FuncScopeAt(kLinks - 1).name, "end");

    const char* name = nullptr;
    u32 type = 0;
    const auto read = [&](const std::string& label) {
        return Probe::ReadDeclInfo(File(), dwarf.Offset(label), &name, &type, static_cast<bool*>(nullptr));
    };
    EXPECT_EQ(read("f7"), dwarf.Offset("f" + std::to_string(kLinks)));
    EXPECT_EQ(type, 1u);
    EXPECT_EQ(read("a"), dwarf.Offset("b"));
    EXPECT_STREQ(name, "b");
    EXPECT_EQ(read("self"), dwarf.Offset("self"));
    EXPECT_STREQ(name, "b"); // nothing found: left alone
}

TEST_P(Scopes, TheOutermostFunctionAndTheInnermostBlockStandInAContext)
{
    const auto block = [&](const char* label) -> DwarfBuilder& {
        return dwarf.Label(label).Die(TAG_lexical_block).Range(0x8000, 0x8004);
    };
    LoadUnitOf([&] {
        Function(dwarf.Label("outer"), "outer").Sibling().Children([&] {
            block("block").Children([&] {
                Function(dwarf.Label("inner"), "inner").Children([&] {
                    block("nested").Children([&] { Variable(dwarf, "v"); });
                });
            });
        });
    });
    LoadFunction("outer");
    ASSERT_EQ(Store().VariableCount(), 1u);
    const DbgSymContext& context = Store().VariableAt(0).context;
    EXPECT_EQ(context.fileScope, kUnitDie);
    EXPECT_EQ(context.funcScope, dwarf.Offset("outer"));
    EXPECT_EQ(context.subScope, dwarf.Offset("nested"));
}

TEST_P(Scopes, AnOriginInNoUnitLeavesThePlainName)
{
    LoadUnitOf([&] { Function(dwarf, "f").Attr(AT_abstract_origin, FORM_ref4, 0x7FFFFFF0); });
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(Scopes, ADeepContextFollowsWhatALoadChangesInTheClimb)
{
    // Forty blocks deep, with a const half way that a type refers to: loading it cuts the climb.
    LoadUnitOf([&] {
        Function(dwarf.Label("f"), "f").Children();
        for (u32 i = 0; i < 20; ++i) {
            dwarf.Die(TAG_lexical_block).Children();
        }
        dwarf.Label("cut").Die(TAG_namelist).Children();
        for (u32 i = 0; i < 20; ++i) {
            dwarf.Label("block" + std::to_string(i)).Die(TAG_lexical_block).Children();
        }
        Variable(dwarf, "before");
        Variable(dwarf, "cutting").Ref(AT_type, "cut");
        Variable(dwarf, "after");
    });
    LoadFunction("f");
    ASSERT_EQ(Variables(), (std::vector<std::string>{"before", "after", "cutting"}));
    EXPECT_EQ(Store().VariableAt(0).context.funcScope, dwarf.Offset("f"));
    EXPECT_EQ(Store().VariableAt(0).context.fileScope, kUnitDie);
    for (const std::size_t cut : {1u, 2u}) {
        EXPECT_EQ(Store().VariableAt(cut).context.funcScope, kNone);
        EXPECT_EQ(Store().VariableAt(cut).context.subScope, dwarf.Offset("block19"));
    }
}
