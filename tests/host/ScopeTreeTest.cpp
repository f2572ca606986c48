// host/ScopeTree.cpp: the nesting of scopes, and what is in scope at an address.
#include "host/ScopeTree.h"

#include "interfaces/VFKDataString.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr u32 kFunction = 0x10;

class ScopeTreeTest : public testing::Test {
protected:
    void Block(u32 id, u32 around, u32 begin, u32 size, const char* name = nullptr)
    {
        DbgAddrRange range;
        range.value = begin;
        range.size = size;
        store.AddSubScope(In(around), id, range, name);
    }
    void Variable(u32 id, u32 around, const char* name, DbgVariableScope scope = kScopeLocal)
    {
        store.AddVariable(In(around), id, scope, name, 4, kBaseInt, 0, VFKDataString(false, true, "P"), kNone);
    }
    void Parameter(u32 id, u32 around, const char* name) { Variable(id, around, name, kScopeParameter); }

    /// "1 a, 1 f, 2 b": depths and names, a block without a name as "{}", with '?' where the scope isn't certain.
    std::string Rows(std::optional<u32> at = {})
    {
        std::string text;
        for (const ScopeRow& row : ScopeTree(store, ScopeIndex(store).Of(kFunction)).Rows(at)) {
            const char* name = row.item.IsInlined() ? row.item.block->name : "{}";
            text += (text.empty() ? "" : ", ") + std::to_string(row.depth) + ' ';
            text += row.item.variable == nullptr ? name : std::string(row.item.variable->name);
            text += row.inScope == InScope::Unknown ? "?" : "";
        }
        return text;
    }

    DbgSymSymFile store{"a.axf", 1};

private:
    static DbgSymContext In(u32 block) { return {1, 5, kFunction, block, kNone, 0, kNone}; }
};

TEST_F(ScopeTreeTest, WhatFollowsAnInlinedFunctionIsItsOwn)
{
    Parameter(0x11, kNone, "argument");
    Variable(0x12, kNone, "local");
    Block(0x20, kNone, 0x100, 0x40, "outer");
    Parameter(0x21, kNone, "of outer");
    Block(0x22, kNone, 0x110, 0x10, "inner");
    Parameter(0x23, kNone, "of inner");
    Block(0x24, kNone, 0x130, 8);
    Variable(0x25, 0x24, "in block");
    Block(0x30, kNone, 0x140, 8, "next");
    Variable(0x31, kNone, "of next");
    EXPECT_EQ(Rows(), "1 argument, 1 local, 1 outer, 2 of outer, 2 inner, 3 of inner, 2 {}, 3 in block, "
                      "1 next, 2 of next");
    EXPECT_EQ(Rows(0x111), "1 argument, 1 local, 1 outer, 2 of outer, 2 inner, 3 of inner");
    EXPECT_EQ(Rows(0x130), "1 argument, 1 local, 1 outer, 2 of outer, 2 {}, 3 in block");
    EXPECT_EQ(Rows(0x148), "1 argument, 1 local") << "behind the last byte";
}

TEST_F(ScopeTreeTest, ScopesWithoutARangeAreUncertain)
{
    Variable(0x12, kNone, "local");
    Block(0x20, kNone, 0x100, 0, "scattered");
    Variable(0x21, kNone, "of scattered");
    Variable(0x31, 0x30, "in the unknown"); // a block that has no record
    Block(0x40, kNone, 0x100, 0x10);
    Parameter(0x41, kNone, "stray"); // of an inlined function that has none
    Variable(0x42, kNone, "with it");
    EXPECT_EQ(Rows(0x104),
              "1 local, 1 scattered?, 2 of scattered?, 1 {}?, 2 in the unknown?, 1 {}, 1 stray?, 1 with it?");
}

TEST_F(ScopeTreeTest, RepeatedIdsShowNothingTwice)
{
    Variable(0x12, 0x30, "names a later block");
    for (u32 level = 0; level < 40; ++level) {
        Block(0x20 + level, level == 0 ? kNone : 0x1F + level, 0x100, 0x10);
        Block(0x20 + level, level == 0 ? kNone : 0x1F + level, 0x100, 0x10);
    }
    EXPECT_LT(Rows().size(), 1'000u) << "each level would double what is below";
}

} // namespace
