// Types of all kinds, and what a reference to one is told.
#include "tests/support/LoadTest.h"

class TypeBuilding : public LoadTest {
protected:
    static DwarfBuilder& Int(DwarfBuilder& dwarf)
    {
        return dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
    }
};
BOTH_BYTE_ORDERS(TypeBuilding);

TEST_P(TypeBuilding, BaseTypesGoByNameThenByEncoding)
{
    struct Case {
        std::initializer_list<int> order; // 0 name, 1 encoding
        const char* name;
        u32 encoding;
        u32 code;
    };
    const Case cases[] = {
        {{0, 1}, "unsigned", 5, 0x33}, {{0, 1}, "long double", 5, 0x43}, {{0, 1}, "wchar_t", 7, 0x33},
        {{0, 1}, "Unsigned", 8, 0x30}, {{0, 1}, "odd", 99, 0},           {{1, 0}, "wchar_t", 7, 0},
        {{1, 0}, "char", 4, 0x10},     {{0, 1}, "_Complex", 3, 0x45},    {{0, 1}, "unsigned long long", 5, 0x35},
    };
    for (const Case& test : cases) {
        DwarfBuilder dwarf(GetParam());
        dwarf.Unit().Name("a.c").Children([&] {
            dwarf.Label("t").Die(TAG_base_type).Attr(AT_byte_size, FORM_data1, 0);
            for (const int attribute : test.order) {
                attribute == 0 ? dwarf.Name(test.name) : dwarf.Attr(AT_encoding, FORM_data1, test.encoding);
            }
        });
        Index(dwarf);
        LoadUnit();
        const u32 id = dwarf.Offset("t");
        EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(id).target.baseType, test.code) << test.name;
        EXPECT_STREQ(Type(id)->GetName(), test.name);
        EXPECT_EQ(Type(id)->GetByteSize(), 1u); // 0 counts as 1
    }
}

TEST_P(TypeBuilding, PointersSubroutinesAndTypedefs)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("void").Die(TAG_pointer_type).Attr(AT_byte_size, FORM_data1, 8);
        dwarf.Label("ref").Die(TAG_reference_type).Ref(AT_type, "array");
        dwarf.Label("call").Die(TAG_subroutine_type).Ref(AT_type, "int");
        dwarf.Label("callback").Die(TAG_pointer_type).Ref(AT_type, "call");
        dwarf.Label("alias").Die(TAG_typedef).Name("alias").Ref(AT_type, "int");
        dwarf.Label("nothing").Die(TAG_typedef).Name("nothing");
        dwarf.Label("self").Die(TAG_typedef).Name("self").Ref(AT_type, "self");
        Int(dwarf);
        dwarf.Label("array").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            dwarf.Die(TAG_subrange_type).Attr(AT_upper_bound, FORM_data1, 9);
        });
    });
    Index(dwarf);
    LoadUnit();
    const auto id = [&](const char* label) { return dwarf.Offset(label); };
    const auto& voids = InfoOf<DbgUDTInfoPointer>(id("void"));
    EXPECT_EQ(Type(id("void"))->GetByteSize(), 4u); // the unit's address size
    EXPECT_EQ(voids.targetSize, 1u);
    EXPECT_EQ(voids.target.udtId, kNone);
    const auto& array = InfoOf<DbgUDTInfoPointer>(id("ref"));
    EXPECT_EQ(array.targetSize, 40u);
    EXPECT_EQ(array.target.baseType, kBaseUserDefined);
    EXPECT_EQ(array.target.udtId, id("array"));
    EXPECT_STREQ(Type(id("call"))->GetName(), "(*function)");
    EXPECT_EQ(Type(id("call"))->GetByteSize(), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(id("call")).target.baseType, kBaseInt);
    EXPECT_EQ(InfoOf<DbgUDTInfoPointer>(id("callback")).targetSize, 0u);
    EXPECT_EQ(Type(id("alias"))->GetByteSize(), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(id("alias")).target.udtId, id("int"));
    EXPECT_EQ(Type(id("nothing"))->GetByteSize(), 1u);
    EXPECT_EQ(Type(id("self"))->GetByteSize(), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(id("self")).target.udtId, kNone);
}

TEST_P(TypeBuilding, ArraysTakeTheLastDimensionAndTheirStride)
{
    DwarfBuilder dwarf(GetParam());
    const auto range = [&](u32 attribute, u32 value) {
        dwarf.Die(TAG_subrange_type).Attr(attribute, FORM_data4, value);
    };
    dwarf.Unit().Name("a.c").Children([&] {
        Int(dwarf);
        dwarf.Label("matrix").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            range(AT_upper_bound, 1);
            range(AT_count, 3);
        });
        dwarf.Label("stride")
            .Die(TAG_array_type)
            .Name("dropped")
            .Ref(AT_type, "int")
            .Attr(AT_stride_size, FORM_data1, 8);
        dwarf.Children([&] { range(AT_lower_bound, 0xFFFFFFFE); });
        dwarf.Label("sized").Die(TAG_array_type).Ref(AT_type, "int").Attr(AT_byte_size, FORM_data1, 99);
        dwarf.Children([&] { range(AT_upper_bound, 4); });
        dwarf.Label("other").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            dwarf.Die(TAG_enumeration_type); // read code by code: no subrange
        });
        Function(dwarf, "f");
    });
    Index(dwarf);
    LoadUnit();
    const auto& matrix = InfoOf<DbgUDTInfoArray>(dwarf.Offset("matrix"));
    EXPECT_EQ(matrix.lower, 0u);
    EXPECT_EQ(matrix.upper, 2u);
    EXPECT_EQ(Type(dwarf.Offset("matrix"))->GetByteSize(), 12u);
    const auto& stride = InfoOf<DbgUDTInfoArray>(dwarf.Offset("stride"));
    EXPECT_EQ(stride.gap, 4u);
    EXPECT_EQ(Type(dwarf.Offset("stride"))->GetByteSize(), 24u); // 0 - 0xFFFFFFFE + 1 elements of 8
    EXPECT_EQ(Type(dwarf.Offset("stride"))->GetName(), nullptr);
    EXPECT_EQ(Type(dwarf.Offset("sized"))->GetByteSize(), 99u);
    EXPECT_EQ(Type(dwarf.Offset("other"))->GetByteSize(), 4u);
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(TypeBuilding, ModifiersAreLinksThatMayClose)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("cv").Die(TAG_const_type).Ref(AT_type, "v");
        dwarf.Label("v").Die(TAG_volatile_type).Ref(AT_type, "int");
        Int(dwarf);
        dwarf.Label("a").Die(TAG_const_type).Ref(AT_type, "b");
        dwarf.Label("b").Die(TAG_volatile_type).Ref(AT_type, "a");
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "cv");
        dwarf.Label("closed").Die(TAG_pointer_type).Ref(AT_type, "a");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Store().TypeCount(), 3u);
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(dwarf.Offset("pointer"));
    EXPECT_EQ(pointer.target.qualifiers, kQualifierConst | kQualifierVolatile);
    EXPECT_EQ(pointer.target.udtId, dwarf.Offset("int"));
    EXPECT_EQ(pointer.targetSize, 4u);
    const auto& closed = InfoOf<DbgUDTInfoPointer>(dwarf.Offset("closed"));
    EXPECT_EQ(closed.target.qualifiers, kQualifierConst | kQualifierVolatile);
    EXPECT_EQ(closed.targetSize, 0u);
}

TEST_P(TypeBuilding, TypesThatReferToEachOtherStandByTheirIds)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("node").Die(TAG_structure_type).Name("node").Attr(AT_byte_size, FORM_data1, 8).Children([&] {
            dwarf.Die(TAG_member).Name("next").Ref(AT_type, "pointer");
            dwarf.Attr(AT_data_member_location, FORM_block1, {0x23, 4});
            dwarf.Die(TAG_member).Name("alias").Ref(AT_type, "alias");
            dwarf.Attr(AT_data_member_location, FORM_block1, {0x23, 0});
        });
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "node");
        dwarf.Label("alias").Die(TAG_typedef).Name("node_t").Ref(AT_type, "node");
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(Store().TypeCount(), 3u);
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(dwarf.Offset("pointer"));
    EXPECT_EQ(pointer.target.udtId, dwarf.Offset("node"));
    EXPECT_EQ(pointer.targetSize, 0u); // the structure was in the making
    EXPECT_EQ(Type(dwarf.Offset("alias"))->GetByteSize(), 0u);
    const auto& members = InfoOf<DbgUDTInfoMembers>(dwarf.Offset("node")).Members();
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0].byteSize, 4u);
    EXPECT_EQ(members[0].type.udtId, dwarf.Offset("pointer"));
}

TEST_P(TypeBuilding, MembersNeedAnOffsetAndOneThatHasNoneLeavesItsFieldsToTheNext)
{
    DwarfBuilder dwarf(GetParam());
    const auto member = [&](const char* name) -> DwarfBuilder& { return dwarf.Die(TAG_member).Name(name); };
    dwarf.Unit().Name("a.c").Children([&] {
        Int(dwarf);
        dwarf.Label("s").Die(TAG_structure_type).Children([&] {
            dwarf.Die(TAG_inheritance).Ref(AT_type, "int").Attr(AT_data_member_location, FORM_block1, {0x23, 8});
            member("none").Ref(AT_type, "int").Attr(AT_bit_size, FORM_data1, 3);
            member("takes").Attr(AT_data_member_location, FORM_block1, {0x34, 0x22}); // lit4, plus
            member("sized").Ref(AT_type, "int").Attr(AT_byte_size, FORM_data1, 2);
            dwarf.Attr(AT_data_member_location, FORM_block1, {0x23, 12});
            member("register").Attr(AT_data_member_location, FORM_block1, {0x70, 0});
            member("list").Attr(AT_data_member_location, FORM_data1, 0);
        });
        dwarf.Label("after").Die(TAG_union_type).Name("u").Children([&] { member("lost").Ref(AT_type, "int"); });
        dwarf.Label("empty").Die(TAG_structure_type).Name("empty");
        dwarf.Label("class").Die(TAG_class_type).Name("class");
        dwarf.Label("sizedOne").Die(TAG_structure_type).Attr(AT_byte_size, FORM_data1, 8);
    });
    Index(dwarf);
    LoadUnit();
    const auto& members = InfoOf<DbgUDTInfoMembers>(dwarf.Offset("s")).Members();
    ASSERT_EQ(members.size(), 4u);
    EXPECT_EQ(members[0].name, nullptr);
    EXPECT_EQ(members[0].offset, 8u);
    EXPECT_STREQ(members[1].name, "takes");
    EXPECT_EQ(members[1].offset, 4u);
    EXPECT_EQ(members[1].bitSize, 3u);
    EXPECT_EQ(members[1].type.udtId, dwarf.Offset("int"));
    EXPECT_EQ(members[2].byteSize, 2u);
    EXPECT_STREQ(members[3].name, "list"); // of a file without lists: no bytes, which leave the 0 on the stack
    EXPECT_EQ(members[3].offset, 0u);
    EXPECT_EQ(Type(dwarf.Offset("s"))->GetType(), kUdtBitFields);
    EXPECT_TRUE(InfoOf<DbgUDTInfoMembers>(dwarf.Offset("after")).Members().empty());
    EXPECT_EQ(Type(dwarf.Offset("after"))->GetType(), kUdtUnion);
    EXPECT_EQ(Type(dwarf.Offset("empty"))->GetByteSize(), 1u);
    EXPECT_EQ(Type(dwarf.Offset("empty"))->GetType(), kUdtStruct);
    EXPECT_EQ(Type(dwarf.Offset("empty"))->GetInfo(), nullptr);
    EXPECT_EQ(Type(dwarf.Offset("class"))->GetByteSize(), 0u);
    EXPECT_EQ(Type(dwarf.Offset("sizedOne"))->GetByteSize(), 8u);
}

TEST_P(TypeBuilding, AMemberFunctionWithChildrenAndNoSiblingEndsTheMembers)
{
    DwarfBuilder dwarf(GetParam());
    const auto member = [&](const char* name) {
        dwarf.Die(TAG_member).Name(name).Attr(AT_data_member_location, FORM_block1, {0x23, 0});
    };
    const auto function = [&](const char* name) -> DwarfBuilder& { return dwarf.Die(TAG_subprogram).Name(name); };
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("s").Die(TAG_structure_type).Name("s").Children([&] {
            member("a");
            function("known").Sibling().Children([&] { dwarf.Die(TAG_formal_parameter); });
            member("b");
            function("unknown").Children([&] { dwarf.Die(TAG_formal_parameter); });
            member("c");
        });
    });
    Index(dwarf);
    LoadUnit();
    EXPECT_EQ(InfoOf<DbgUDTInfoMembers>(dwarf.Offset("s")).Members().size(), 2u);
}

TEST_P(TypeBuilding, EnumeratorsAreSignedWordsWithoutRows)
{
    DwarfBuilder dwarf(GetParam());
    const auto value = [&](const char* name, u32 form, i32 number) {
        dwarf.Label(name).Die(TAG_enumerator).Name(name).Attr(AT_const_value, form, number);
    };
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("e").Die(TAG_enumeration_type).Name("e").Attr(AT_byte_size, FORM_data1, 1).Children([&] {
            value("low", FORM_sdata, -1);
            value("high", FORM_data1, 0xFF);
            value("wide", FORM_data8, 5);
            dwarf.Die(TAG_enumerator).Name("valueless");
        });
        dwarf.Label("none").Die(TAG_enumeration_type);
        Function(dwarf, "f");
    });
    Index(dwarf);
    LoadUnit();
    const auto& values = InfoOf<DbgUDTInfoEnum32>(dwarf.Offset("e")).Values();
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(values[0].value, -1);
    EXPECT_EQ(values[1].value, 255);
    EXPECT_EQ(values[2].value, -1);
    EXPECT_EQ(Row(dwarf.Offset("low")), nullptr);
    EXPECT_TRUE(InfoOf<DbgUDTInfoEnum32>(dwarf.Offset("none")).Values().empty());
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}
