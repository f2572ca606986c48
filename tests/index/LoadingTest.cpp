// The on-demand loads: what they select and put back, the queue, and files of excessive depth, chains
// and repetitions.
#include "tests/support/LoadTest.h"

#include <string>

namespace {

/// A million of anything takes a debug build with its checks too long; this is far beyond any stack.
constexpr u32 kMany = 100'000;

/// A store that asks for another function's scopes in the middle of a variable.
class CallingStore : public DbgSymSymFile {
public:
    using DbgSymSymFile::DbgSymSymFile;

    boost::shared_ptr<DbgVariable> AddVariable(const DbgSymContext& context, u32 id, DbgVariableScope scope,
                                               const char* name, unsigned long byteSize, DbgVariableBaseType baseType,
                                               unsigned short qualifiers, const VFKDataString& location,
                                               unsigned long udtId) override
    {
        if (onVariable != nullptr) {
            std::exchange(onVariable, nullptr)();
        }
        return DbgSymSymFile::AddVariable(context, id, scope, name, byteSize, baseType, qualifiers, location, udtId);
    }

    std::function<void()> onVariable;
};

} // namespace

class Loading : public LoadTest {};
BOTH_BYTE_ORDERS(Loading);

TEST_P(Loading, TheSelectionIsPutBackExceptByALookUpOfAName)
{
    dwarf.Unit().Name("a.c").Children([&] { Function(dwarf.Label("f"), "f"); });
    dwarf.EndUnit();
    dwarf.PubSet(0, dwarf.info.Size(), {{dwarf.Offset("f"), "f"}});
    Dwarf2File& file = Index(dwarf);
    const auto selection = [&] { return Probe::m_flags(file) & Probe::kLoadSelection; };
    LoadUnit();
    LoadFunction("f");
    EXPECT_EQ(selection(), 0u);
    EXPECT_FALSE(file.LoadSymbolByName(nullptr, "g"));
    EXPECT_EQ(selection(), 0u);
    EXPECT_TRUE(file.LoadSymbolByName(nullptr, "f"));
    EXPECT_EQ(selection(), 0x3800u);
    LoadUnit();
    LoadFunction("f");
    EXPECT_EQ(selection(), 0x3800u);
}

TEST_P(Loading, TheQueueIsReadInOrderAndAnOffsetOfZeroEndsThePass)
{
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("a").Die(TAG_pointer_type);
        dwarf.Label("b").Die(TAG_pointer_type);
    });
    Dwarf2File& file = Index(dwarf);
    Probe::m_flags(file) |= Probe::kLoadTypes;
    Probe::m_pendingDies(file) = {dwarf.Offset("b"), 0, dwarf.Offset("a")};
    Probe::LoadPendingDies(file);
    EXPECT_EQ(Store().TypeCount(), 0u);
    EXPECT_TRUE(Probe::m_pendingDies(file).empty());
    Probe::m_pendingDies(file) = {dwarf.Offset("b"), dwarf.Offset("a"), dwarf.Offset("b")};
    Probe::LoadPendingDies(file);
    ASSERT_EQ(Store().TypeCount(), 2u);
    EXPECT_EQ(Store().TypeAt(0).GetId(), dwarf.Offset("a"));
}

TEST_P(Loading, TheEngineMayAskForMoreInTheMiddleOfAVariable)
{
    dwarf.Unit().Name("a.c").Children([&] {
        Function(dwarf.Label("f"), "f").Sibling().Children([&] {
            Variable(dwarf, "a");
            Variable(dwarf, "b");
        });
        Function(dwarf.Label("g"), "g").Sibling().Children([&] { Variable(dwarf, "c"); });
    });
    Index<CallingStore>(dwarf);
    LoadUnit();
    static_cast<CallingStore&>(Store()).onVariable = [&] {
        LoadFunction("g");
        File().LoadSymbolByName(nullptr, "nothing");
    };
    LoadFunction("f");
    EXPECT_EQ(Variables(), (std::vector<std::string>{"c", "a", "b"}));
}

TEST_P(Loading, WhatACallBackHasKeptOutOfAWalkTheNextOneBuilds)
{
    dwarf.Unit().Name("a.c").Children([&] {
        Variable(dwarf, "a");
        Function(dwarf, "f");
        Variable(dwarf, "c");
        dwarf.Label("int").Die(TAG_base_type).Name("int");
    });
    dwarf.EndUnit();
    dwarf.PubSet(0, dwarf.info.Size(), {{dwarf.Offset("int"), "int"}});
    Dwarf2File& file = Index<CallingStore>(dwarf);
    // Selects types alone, and the walk around goes on with that.
    static_cast<CallingStore&>(Store()).onVariable = [&] { EXPECT_TRUE(file.LoadSymbolByName(nullptr, "int")); };
    LoadUnit();
    EXPECT_EQ(Variables(), (std::vector<std::string>{"a"}));
    EXPECT_TRUE(Functions().empty());
    LoadUnit();
    EXPECT_EQ(Variables(), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(Functions(), (std::vector<std::string>{"f"}));
}

TEST_P(Loading, ATypesTargetIsExactHoweverDeepItsLoadsNest)
{
    // Each typedef is before its target, so each is found only through the one before; the unit
    // contains nothing that a walk builds before them.
    const auto load = [&](u32 depth) {
        Restart();
        LoadUnitOf([&] {
            dwarf.Declare(2, TAG_typedef, false, {{AT_type, FORM_ref4}});
            for (u32 i = 0; i < depth; ++i) {
                dwarf.Label(std::to_string(i)).Entry(2);
                dwarf.info.Ref(std::to_string(i + 1));
            }
            dwarf.Label(std::to_string(depth)).Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
        });
        ASSERT_EQ(Store().TypeCount(), depth + 1);
    };
    constexpr u32 kDepth = 60'000;
    load(kDepth);
    for (u32 i = 0; i < kDepth; ++i) {
        ASSERT_EQ(Type(dwarf.Offset(std::to_string(i)))->GetByteSize(), 4u) << i;
    }
    load(kMany); // beyond the limit: the rest is still loaded
}

TEST_P(Loading, ClassesThatAUnitsWalkNeverMeetsCostOneWalk)
{
    // The member functions of a class inside a function's body, as those of a lambda: each starts
    // another walk over the unit. What they add is in reverse order, since each waits for the walk that
    // it started.
    const auto load = [&](u32 count) {
        Restart();
        LoadUnitOf([&] {
            dwarf.Declare(2, TAG_subprogram, false,
                          {{AT_specification, FORM_ref4}, {AT_low_pc, FORM_addr}, {AT_high_pc, FORM_addr}});
            Function(dwarf, "outer").Sibling().Children([&] {
                dwarf.Die(TAG_structure_type).Name("Local").Children([&] {
                    dwarf.Label("call").Die(TAG_subprogram).Name("call");
                });
            });
            for (u32 i = 0; i < count; ++i) {
                dwarf.Entry(2);
                dwarf.info.Ref("call").Number(0x8000 + i, 4).Number(0x8000 + i, 4);
            }
        });
        EXPECT_EQ(Store().FuncScopeCount(), count + 1);
        EXPECT_EQ(Store().FuncScopeAt(1).name, "call");
        return Probe::m_entriesRead(File());
    };
    EXPECT_LT(load(100), 1000u);
    EXPECT_EQ(Store().FuncScopeAt(1).range.value, 0x8000u + 99);
    EXPECT_LT(load(kMany), 10 * kMany);
}

TEST_P(Loading, AUnitWhoseParentsALoadHasChangedIsWalkedAnew)
{
    LoadUnitOf([&] {
        dwarf.Label("p").Die(TAG_ptr_to_member_type); // has no builder, so each reference reads it and its level
        Function(dwarf.Label("f"), "f").Sibling().Children([&] { Variable(dwarf, "v").Ref(AT_type, "p"); });
        Variable(dwarf.Label("g"), "g");
    });
    LoadFunction("f");
    EXPECT_EQ(Row("p").Parent(), dwarf.Offset("p"));
    EXPECT_EQ(Row("f").Parent(), dwarf.Offset("p"));
    LoadUnit();
    for (const char* label : {"p", "f", "g"}) {
        EXPECT_EQ(Row(label).Parent(), kUnitDie) << label;
    }
}

TEST_P(Loading, AChainOfModifiersIsExactFromEachOfThem)
{
    constexpr u32 kLinks = 100;
    for (const bool closed : {false, true}) {
        Restart();
        LoadUnitOf([&] {
            dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
            dwarf.Declare(3, TAG_const_type, false, {{AT_type, FORM_ref4}});
            dwarf.Declare(4, TAG_volatile_type, false, {{AT_type, FORM_ref4}});
            dwarf.Declare(5, TAG_variable, false,
                          {{AT_location, FORM_block1}, {AT_name, FORM_string}, {AT_type, FORM_ref4}});
            for (u32 i = 0; i < kLinks; ++i) {
                dwarf.Label(std::to_string(i)).Entry(i == kLinks - 2 ? 4 : 3);
                dwarf.info.Ref(i + 1 < kLinks ? std::to_string(i + 1) : closed ? "1" : "int");
            }
            for (u32 i = 0; i < kLinks; ++i) {
                dwarf.Entry(5).info.Raw({1, 0x50}).Text("v").Ref(std::to_string(i));
            }
        });
        ASSERT_EQ(Store().VariableCount(), kLinks);
        for (u32 i = 0; i < kLinks; ++i) {
            const DbgVariable& variable = Store().VariableAt(i);
            // In a closed chain a walk ends where it first comes back.
            ASSERT_EQ(variable.udtId, dwarf.Offset(closed ? std::to_string(i == 0 ? 1 : i) : "int")) << i;
            ASSERT_EQ(variable.byteSize, closed ? 0u : 4u) << i;
            ASSERT_EQ(variable.qualifiers,
                      !closed && i == kLinks - 1 ? kQualifierConst : kQualifierConst | kQualifierVolatile);
        }
    }
}
