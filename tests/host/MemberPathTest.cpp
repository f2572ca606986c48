// host/MemberPath.cpp: the way from a variable and an offset to a member.
#include "host/MemberPath.h"

#include "host/TypeLayout.h"
#include "tests/host/TypeStore.h"

#include <string>

namespace {

class MemberPathTest : public TypeStore {
protected:
    /// "path+rest"
    std::string At(DbgTypeDescription type, u32 offset)
    {
        const auto stored = store.GetUserDefinedType(type.udtId);
        const u32 size = stored == nullptr ? 4 : stored->GetByteSize();
        const TypeLayouts layouts(store, false, true);
        const MemberPath found = FindMember(layouts, type, size, offset);
        EXPECT_EQ(FindMemberOffset(layouts, type, size, found.path).value_or(kNone), offset - found.rest) << found.path;
        return found.path + '+' + std::to_string(found.rest);
    }
};

TEST_F(MemberPathTest, GoesThroughTypedefsArraysAndMembers)
{
    const DbgTypeDescription point = Struct(1, "point", 12, {{"x", kInt, 4, 0}, {"y", kInt, 4, 8}});
    const DbgTypeDescription points = Typedef(2, "points", Array(3, Typedef(4, "point_t", point), 5, 6));
    store.GetUserDefinedType(3)->SetTypeInfo(new DbgUDTInfoArray(&store, kBaseUserDefined, 0, 4, 5, 6, 12, 0));
    const DbgTypeDescription whole = Struct(9, "whole", 32, {{"n", kInt, 4, 0}, {"all", points, 24, 4}});
    EXPECT_EQ(At(whole, 0), ".n+0");
    EXPECT_EQ(At(whole, 3), ".n+3");
    EXPECT_EQ(At(whole, 4), ".all[5].x+0") << "the lower bound counts";
    EXPECT_EQ(At(whole, 4 + 12 + 9), ".all[6].y+1");
    EXPECT_EQ(At(whole, 4 + 5), ".all[5]+5") << "a hole has the type around it";
    EXPECT_EQ(At(whole, 28), "+28") << "padding";
    EXPECT_EQ(At(whole, 1000), "+1000");
    EXPECT_EQ(At(kInt, 2), "+2");
}

TEST_F(MemberPathTest, WhatHasNoNameIsPassedOver)
{
    const DbgTypeDescription parts = Struct(1, nullptr, 4, {{"low", kChar, 1, 0}, {"word", kInt, 4, 0}});
    const DbgTypeDescription whole = Struct(2, "whole", 8, {{"tag", kInt, 4, 0}, {nullptr, parts, 4, 4}});
    EXPECT_EQ(At(whole, 4), ".low+0") << "of a union the first that reaches far enough";
    EXPECT_EQ(At(whole, 6), ".word+2");
}

TEST_F(MemberPathTest, APathLeadsBack)
{
    const DbgTypeDescription part = Struct(1, nullptr, 8, {{"low", kInt, 4, 0}, {"x", kInt, 4, 4}});
    const DbgTypeDescription base = Struct(2, "Base", 12, {{"_vptr.Base", kInt, 4, 0}, {nullptr, part, 8, 4}});
    const DbgTypeDescription whole =
        Struct(3, "whole", 24, {{nullptr, base, 12, 0}, {"x", kInt, 4, 12}, {"rows", Array(4, kInt, 1, 2), 8, 16}});
    const std::pair<const char*, std::optional<u32>> cases[] = {
        {"", 0},          {".x", 12},        {".low", 4}, {"._vptr.Base", 0}, {".rows", 16},
        {".rows[2]", 20}, {".rows[0]", {}},  {".lo", {}}, {".lower", {}},     {".x.x", {}},
        {".x[0]", {}},    {".rows[0x2", {}}, {"x", {}},   {".", {}},          {"[1]", {}}};
    for (const auto& [path, offset] : cases) {
        EXPECT_EQ(FindMemberOffset(TypeLayouts(store, false, true), whole, 24, path), offset) << path;
    }
    const DbgTypeDescription row = Array(5, kInt, 0, 1);
    const DbgTypeDescription table = Struct(6, "table", 16, {{"cells", row, 8, 0}});
    EXPECT_EQ(FindMemberOffset(TypeLayouts(store, false, true), table, 16, ".cells[1]"), 4u);
    EXPECT_EQ(FindMemberOffset(TypeLayouts(store, false, false), table, 16, ".cells[1]"), std::nullopt)
        << "a dimension is missing";
}

TEST_F(MemberPathTest, AMemberOfATypeThatWasNotCompleteHasItsSize)
{
    const DbgTypeDescription part =
        Typedef(2, "part_t", Struct(1, "part", 8, {{"a", kInt, 4, 0}, {"b", kInt, 4, 4}}), 0);
    const DbgTypeDescription whole = Struct(3, "whole", 8, {{"part", part, 0, 0}});
    EXPECT_EQ(At(whole, 5), ".part.b+1");
}

TEST_F(MemberPathTest, TypesInACircleEnd)
{
    const DbgTypeDescription self = Typedef(1, "self", {kBaseUserDefined, 0, 1}, 0);
    EXPECT_EQ(At(self, 3), "+3");
    const DbgTypeDescription loop = Struct(2, "loop", 4, {{"loop", {kBaseUserDefined, 0, 2}, 4, 0}});
    EXPECT_EQ(At(loop, 1).substr(0, 10), ".loop.loop");
    EXPECT_EQ(At(Struct(3, "empty", 4, {{"e", self, 0, 0}}), 0), "+0");
    EXPECT_EQ(At({kBaseUserDefined, 0, 77}, 1), "+1") << "not in the store";
}

} // namespace
