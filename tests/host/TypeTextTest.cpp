// host/TypeText.cpp
#include "host/TypeText.h"

#include "interfaces/DbgSymSymFile.h"
#include "tests/host/HostTesting.h"

#include <gtest/gtest.h>

namespace {

DbgTypeDescription Of(u32 id, u16 qualifiers = 0)
{
    return {kBaseUserDefined, qualifiers, id};
}

class Types : public testing::Test {
protected:
    void Add(u32 id, const char* name, u32 size, const std::function<void(DbgUserDefinedVarType&)>& fill)
    {
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, name, size);
        fill(*type);
        m_store.AddUserDefinedType(type);
    }

    void Base(u32 id, const char* name, u32 size, DbgVariableBaseType base)
    {
        Add(id, name, size,
            [&](DbgUserDefinedVarType& type) { type.SetTypeInfo(new DbgUDTInfoTypedef(&m_store, base, 0, kNone)); });
    }

    void Pointer(u32 id, u32 target, u16 qualifiers = 0)
    {
        Add(id, nullptr, 4, [&](DbgUserDefinedVarType& type) {
            type.SetTypeInfo(new DbgUDTInfoPointer(&m_store, "", 0, kBaseUserDefined, qualifiers, target));
        });
    }

    void Array(u32 id, u32 element, u32 upper)
    {
        Add(id, nullptr, 0, [&](DbgUserDefinedVarType& type) {
            type.SetTypeInfo(new DbgUDTInfoArray(&m_store, kBaseUserDefined, 0, element, 0, upper, 4, 0));
        });
    }

    std::vector<std::string> Layout(u32 id, bool bigEndian = false)
    {
        return SplitLines(TypeText(m_store, bigEndian).Layout(*m_store.GetUserDefinedType(id), true));
    }

    std::string NameOf(const DbgTypeDescription& type) { return TypeText(m_store, false).NameOf(type); }

    DbgSymSymFile m_store{"x.axf", 1};
};

TEST_F(Types, NamesFollowPointersArraysAndQualifiers)
{
    Base(1, "char", 1, kBaseChar);
    Pointer(2, 1, kQualifierConst);
    Pointer(3, 2);
    Array(4, 3, 9);
    EXPECT_EQ(NameOf(Of(2)), "const char *");
    EXPECT_EQ(NameOf(Of(2, kQualifierConst | kQualifierVolatile)), "const char * const volatile");
    EXPECT_EQ(NameOf(Of(4)), "const char ** [10]");
    EXPECT_EQ(NameOf({kBaseVoid, 0, kNone}), "void");
    EXPECT_EQ(NameOf(Of(0x99)), "type 0x00000099");
}

TEST_F(Types, ANameThroughTypesThatReferToEachOtherEnds)
{
    Pointer(1, 2);
    Array(2, 1, 0);
    const std::string name = NameOf(Of(1));
    EXPECT_EQ(name.substr(0, 3), "...");
    EXPECT_LT(name.size(), 200u);
}

TEST_F(Types, AStructShowsItsHolesAndItsLateSizes)
{
    Base(1, "int", 4, kBaseInt);
    Base(2, "char", 1, kBaseChar);
    Pointer(4, 3);
    Add(3, "node", 16, [&](DbgUserDefinedVarType& type) {
        auto* members = new DbgUDTInfoMembers;
        members->AddMember(&m_store, "value", 4, kBaseUserDefined, 0, 8, 1, 0, 0);
        members->AddMember(&m_store, "flag", 1, kBaseUserDefined, kQualifierVolatile, 0, 2, 0, 0);
        members->AddMember(&m_store, "next", 0, kBaseUserDefined, 0, 4, 4, 0, 0); // was not complete yet
        type.SetTypeInfo(members, kUdtStruct);
    });
    EXPECT_EQ(Layout(3), (std::vector<std::string>{
                             "struct node  size 16  id 0x00000003",
                             "  offset    size  bits    type                        name",
                             "       0       1          volatile char               flag",
                             "       1       3          <hole>",
                             "       4       4          node *                      next",
                             "       8       4          int                         value",
                             "      12       4          <padding>",
                         }));
}

TEST_F(Types, BitFieldsLieWhereTheByteOrderPutsThem)
{
    Base(1, "unsigned int", 4, kBaseUnsignedInt);
    // Three bits, five free, eight bits; little-endian compilers count from the low end.
    const auto fill = [&](u16 firstOffset, u16 secondOffset) {
        return [this, firstOffset, secondOffset](DbgUserDefinedVarType& type) {
            auto* members = new DbgUDTInfoMembers;
            members->AddMember(&m_store, "first", 4, kBaseUserDefined, 0, 0, 1, 3, firstOffset);
            members->AddMember(&m_store, "second", 4, kBaseUserDefined, 0, 0, 1, 8, secondOffset);
            type.SetTypeInfo(members, kUdtBitFields);
        };
    };
    Add(2, "little", 4, fill(29, 16));
    Add(3, "big", 4, fill(0, 8));
    const std::vector<std::string> little = Layout(2);
    ASSERT_EQ(little.size(), 6u);
    EXPECT_EQ(little[2], "       0       4  0-2     unsigned int                first");
    EXPECT_EQ(little[3], "       0       0  5 bits  <hole>");
    EXPECT_EQ(little[4], "       0       4  8-15    unsigned int                second");
    EXPECT_EQ(little[5], "       2       2          <padding>");
    const std::vector<std::string> big = Layout(3, true);
    ASSERT_EQ(big.size(), 6u);
    EXPECT_EQ(big[2], "       0       4  29-31   unsigned int                first");
    EXPECT_EQ(big[3], "       0       0  5 bits  <hole>");
    EXPECT_EQ(big[4], "       0       4  16-23   unsigned int                second");
}

TEST_F(Types, SizesThatLieDoNoHarm)
{
    Add(1, "liar", 0xFFFFFFFF, [&](DbgUserDefinedVarType& type) {
        auto* members = new DbgUDTInfoMembers;
        members->AddMember(&m_store, "far", 0xFFFFFFFF, kBaseUserDefined, 0, 0xFFFFFFF0, 77, 0, 0);
        members->AddMember(&m_store, "bits", 0, kBaseUserDefined, 0, 0, 1, 0xFFFF, 0xFFFF);
        type.SetTypeInfo(members, kUdtStruct);
    });
    const std::vector<std::string> lines = Layout(1);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_NE(lines.back().find("far"), std::string::npos);
}

TEST_F(Types, EnumerationsAndTypedefsAreShown)
{
    Base(1, "int", 4, kBaseInt);
    Add(2, "level", 4, [&](DbgUserDefinedVarType& type) {
        auto* values = new DbgUDTInfoEnum32(&m_store);
        values->AddEnumValue(-40, "LOW");
        values->AddEnumValue(7, "HIGH\x1b");
        type.SetTypeInfo(values);
    });
    Add(3, "word_t", 4, [&](DbgUserDefinedVarType& type) {
        type.SetTypeInfo(new DbgUDTInfoTypedef(&m_store, kBaseUserDefined, kQualifierVolatile, 1));
    });
    EXPECT_EQ(Layout(2), (std::vector<std::string>{"enum level  size 4  id 0x00000002", "          -40  LOW",
                                                   "            7  HIGH?"}));
    EXPECT_EQ(Layout(3), (std::vector<std::string>{"typedef word_t = volatile int  size 4  id 0x00000003"}));
    EXPECT_EQ(Layout(1), (std::vector<std::string>{"base int  size 4  id 0x00000001"}));
}

} // namespace
