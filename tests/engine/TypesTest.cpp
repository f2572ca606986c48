// Types and their infos: kinds, 32-bit words, names.
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/DbgUserDefinedVarType.h"

#include <gtest/gtest.h>

#include <string>

TEST(Types, EachInfoBringsItsKindAndNullLeavesIt)
{
    DbgSymSymFile store("p.axf", 1);
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(0x100000005, nullptr, 0x100000006);
    EXPECT_EQ(type->GetId(), 5u);
    EXPECT_EQ(type->GetByteSize(), 6u);
    EXPECT_EQ(type->GetType(), kUdtNone);
    EXPECT_EQ(type->GetInfo(), nullptr);

    type->SetTypeInfo(new DbgUDTInfoTypedef(&store, kBaseInt, 0, kNone));
    EXPECT_EQ(type->GetType(), kUdtTypedef);
    type->SetTypeInfo(new DbgUDTInfoPointer(&store, "", 1, kBaseVoid, 0, kNone));
    EXPECT_EQ(type->GetType(), kUdtPointer);
    type->SetTypeInfo(new DbgUDTInfoArray(&store, kBaseInt, 0, kNone, 0, 0, 4, 0));
    EXPECT_EQ(type->GetType(), kUdtArray);
    type->SetTypeInfo(new DbgUDTInfoEnum32(&store));
    EXPECT_EQ(type->GetType(), kUdtEnum);
    type->SetTypeInfo(new DbgUDTInfoMembers, kUdtClass);
    EXPECT_EQ(type->GetType(), kUdtClass);
    EXPECT_EQ(type->GetInfo()->GetKind(), DbgUDTInfo::Kind::Members);
    type->SetType(kUdtBitFields);
    type->SetTypeInfo(static_cast<DbgUDTInfoEnum32*>(nullptr));
    EXPECT_EQ(type->GetType(), kUdtBitFields);
    EXPECT_EQ(type->GetInfo(), nullptr);
}

TEST(Types, WordsAreCutToThoseOfTheTarget)
{
    DbgSymSymFile store("p.axf", 1);
    const DbgUDTInfoArray array(&store, kBaseUserDefined, kQualifierVolatile, 0x100000001, 0x100000002, 0x1FFFFFFFF,
                                0x100000004, 0x100000005);
    EXPECT_EQ(array.element.udtId, 1u);
    EXPECT_EQ(array.element.qualifiers, kQualifierVolatile);
    EXPECT_EQ(array.lower, 2u);
    EXPECT_EQ(array.upper, 0xFFFFFFFFu);
    EXPECT_EQ(array.elementSize, 4u);
    EXPECT_EQ(array.gap, 5u);

    DbgUDTInfoEnum32 values(&store);
    values.AddEnumValue(0xFFFFFFFF, "minus");
    values.AddEnumValue(-2, "two");
    values.AddEnumValue(255, nullptr);
    EXPECT_EQ(values.Values()[0].value, -1);
    EXPECT_EQ(values.Values()[1].value, -2);
    EXPECT_EQ(values.Values()[2].value, 255);
    EXPECT_EQ(values.Values()[2].name, nullptr);

    DbgUDTInfoMembers members;
    std::string name = "member";
    members.AddMember(&store, name.c_str(), 0x100000004, kBaseInt, 0, 0x100000008, 0x100000009, 3, 5);
    name = "gone";
    const DbgUDTInfoMembers::Member& member = members.Members().front();
    EXPECT_STREQ(member.name, "member");
    EXPECT_EQ(member.byteSize, 4u);
    EXPECT_EQ(member.offset, 8u);
    EXPECT_EQ(member.type.udtId, 9u);
    EXPECT_EQ(member.bitSize, 3u);
    EXPECT_EQ(member.bitOffset, 5u);
}

TEST(Types, NamesAreCopiedBeforeAndAfterTheStoreTakesThem)
{
    DbgSymSymFile store("p.axf", 1);
    std::string name = "first";
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(1, name.c_str(), 4);
    name = "other";
    EXPECT_STREQ(type->GetName(), "first");
    store.AddUserDefinedType(type);
    EXPECT_EQ(type->GetName(), store.KeepText("first"));
    type->SetTypeName(name.c_str());
    name = "x";
    EXPECT_STREQ(type->GetName(), "other");
    type->SetTypeName(nullptr);
    EXPECT_EQ(type->GetName(), nullptr);
}
