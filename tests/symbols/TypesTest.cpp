// Types of all kinds, and what a reference to one gets.
#include "tests/support/LoadTest.h"

#include <tuple>

class TypeBuilding : public LoadTest {
protected:
    DwarfBuilder& Int() { return dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4); }
    static void At(DwarfBuilder& member, u8 offset)
    {
        member.Attr(AT_data_member_location, FORM_block1, {0x23, offset});
    }
    u32 Id(const char* label) { return dwarf.Offset(label); }
    u32 Size(const char* label) { return Type(Id(label))->GetByteSize(); }
};
BOTH_BYTE_ORDERS(TypeBuilding);

TEST_P(TypeBuilding, BaseTypesGoByNameThenByEncoding)
{
    // What comes first, the name, the encoding and the engine's code.
    const std::tuple<u32, const char*, u32, u32> cases[] = {
        {AT_name, "unsigned", 5, 0x33}, {AT_name, "long double", 5, 0x43}, {AT_name, "wchar_t", 7, 0x33},
        {AT_name, "Unsigned", 8, 0x30}, {AT_name, "odd", 99, 0},           {AT_encoding, "wchar_t", 7, 0},
        {AT_encoding, "char", 4, 0x10}, {AT_name, "_Complex", 3, 0x45},    {AT_name, "unsigned long long", 5, 0x35}};
    for (const auto& [where, text, number, code] : cases) {
        const u32 first = where;
        const char* name = text;
        const u32 encoding = number;
        Restart();
        LoadUnitOf([&] {
            dwarf.Label("t").Die(TAG_base_type).Attr(AT_byte_size, FORM_data1, 0);
            first == AT_name ? dwarf.Name(name) : dwarf.Attr(AT_encoding, FORM_data1, encoding);
            first == AT_name ? dwarf.Attr(AT_encoding, FORM_data1, encoding) : dwarf.Name(name);
        });
        EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(Id("t")).target.baseType, code) << name;
        EXPECT_STREQ(Type(Id("t"))->GetName(), name);
        EXPECT_EQ(Size("t"), 1u); // 0 counts as 1
    }
}

TEST_P(TypeBuilding, WhatRefersToABaseTypeOfUnknownKindTakesItForOneByte)
{
    LoadUnitOf([&] {
        dwarf.Label("t").Die(TAG_base_type).Name("odd").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Attr(AT_encoding, FORM_data1, 99);
        Variable(dwarf, "v").Ref(AT_type, "t");
    });
    EXPECT_EQ(Size("t"), 4u);
    EXPECT_EQ(Store().VariableAt(0).byteSize, 1u);
}

TEST_P(TypeBuilding, PointersSubroutinesAndTypedefs)
{
    LoadUnitOf([&] {
        dwarf.Label("void").Die(TAG_pointer_type).Attr(AT_byte_size, FORM_data1, 8);
        dwarf.Label("ref").Die(TAG_reference_type).Ref(AT_type, "array");
        dwarf.Label("call").Die(TAG_subroutine_type).Ref(AT_type, "int");
        dwarf.Label("callback").Die(TAG_pointer_type).Ref(AT_type, "call");
        dwarf.Label("alias").Die(TAG_typedef).Name("alias").Ref(AT_type, "int");
        dwarf.Label("nothing").Die(TAG_typedef).Name("nothing");
        dwarf.Label("self").Die(TAG_typedef).Name("self").Ref(AT_type, "self");
        Int();
        dwarf.Label("array").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            dwarf.Die(TAG_subrange_type).Attr(AT_upper_bound, FORM_data1, 9);
        });
    });
    const auto& voids = InfoOf<DbgUDTInfoPointer>(Id("void"));
    EXPECT_EQ(Size("void"), 4u); // the unit's address size
    EXPECT_EQ(voids.targetSize, 1u);
    EXPECT_EQ(voids.target.udtId, kNone);
    const auto& array = InfoOf<DbgUDTInfoPointer>(Id("ref"));
    EXPECT_EQ(array.targetSize, 40u);
    EXPECT_EQ(array.target.baseType, kBaseUserDefined);
    EXPECT_EQ(array.target.udtId, Id("array"));
    EXPECT_STREQ(Type(Id("call"))->GetName(), "(*function)");
    EXPECT_EQ(Size("call"), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(Id("call")).target.baseType, kBaseInt);
    EXPECT_EQ(InfoOf<DbgUDTInfoPointer>(Id("callback")).targetSize, 0u);
    EXPECT_EQ(Size("alias"), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(Id("alias")).target.udtId, Id("int"));
    EXPECT_EQ(Size("nothing"), 1u);
    EXPECT_EQ(Size("self"), 4u);
    EXPECT_EQ(InfoOf<DbgUDTInfoTypedef>(Id("self")).target.udtId, kNone);
}

TEST_P(TypeBuilding, ArraysTakeTheLastDimensionAndTheirStride)
{
    const auto range = [&](u32 attribute, u32 value) {
        dwarf.Die(TAG_subrange_type).Attr(attribute, FORM_data4, value);
    };
    LoadUnitOf([&] {
        Int();
        dwarf.Label("matrix").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            range(AT_upper_bound, 1);
            range(AT_count, 3);
        });
        dwarf.Label("stride").Die(TAG_array_type).Name("dropped").Ref(AT_type, "int");
        dwarf.Attr(AT_stride_size, FORM_data1, 8).Children([&] { range(AT_lower_bound, 0xFFFFFFFE); });
        dwarf.Label("sized").Die(TAG_array_type).Ref(AT_type, "int").Attr(AT_byte_size, FORM_data1, 99);
        dwarf.Children([&] { range(AT_upper_bound, 4); });
        dwarf.Label("other").Die(TAG_array_type).Ref(AT_type, "int").Children([&] {
            dwarf.Die(TAG_enumeration_type); // read code by code: no subrange
        });
        Function(dwarf, "f");
    });
    const auto& matrix = InfoOf<DbgUDTInfoArray>(Id("matrix"));
    EXPECT_EQ(matrix.lower, 0u);
    EXPECT_EQ(matrix.upper, 2u);
    EXPECT_EQ(Size("matrix"), 12u);
    const auto& stride = InfoOf<DbgUDTInfoArray>(Id("stride"));
    EXPECT_EQ(stride.gap, 4u);
    EXPECT_EQ(Size("stride"), 24u); // 0 - 0xFFFFFFFE + 1 elements of 8
    EXPECT_EQ(Type(Id("stride"))->GetName(), nullptr);
    EXPECT_EQ(Size("sized"), 99u);
    EXPECT_EQ(Size("other"), 4u);
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(TypeBuilding, ModifiersAreLinksThatMayClose)
{
    LoadUnitOf([&] {
        dwarf.Label("cv").Die(TAG_const_type).Ref(AT_type, "v");
        dwarf.Label("v").Die(TAG_volatile_type).Ref(AT_type, "int");
        Int();
        dwarf.Label("a").Die(TAG_const_type).Ref(AT_type, "b");
        dwarf.Label("b").Die(TAG_volatile_type).Ref(AT_type, "a");
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "cv");
        dwarf.Label("closed").Die(TAG_pointer_type).Ref(AT_type, "a");
    });
    EXPECT_EQ(Store().TypeCount(), 3u);
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(Id("pointer"));
    EXPECT_EQ(pointer.target.qualifiers, kQualifierConst | kQualifierVolatile);
    EXPECT_EQ(pointer.target.udtId, Id("int"));
    EXPECT_EQ(pointer.targetSize, 4u);
    const auto& closed = InfoOf<DbgUDTInfoPointer>(Id("closed"));
    EXPECT_EQ(closed.target.qualifiers, kQualifierConst | kQualifierVolatile);
    EXPECT_EQ(closed.targetSize, 0u);
}

TEST_P(TypeBuilding, TypesThatReferToEachOtherStandByTheirIds)
{
    LoadUnitOf([&] {
        dwarf.Label("node").Die(TAG_structure_type).Name("node").Attr(AT_byte_size, FORM_data1, 8).Children([&] {
            At(dwarf.Die(TAG_member).Name("next").Ref(AT_type, "pointer"), 4);
            At(dwarf.Die(TAG_member).Name("alias").Ref(AT_type, "alias"), 0);
        });
        dwarf.Label("pointer").Die(TAG_pointer_type).Ref(AT_type, "node");
        dwarf.Label("alias").Die(TAG_typedef).Name("node_t").Ref(AT_type, "node");
    });
    EXPECT_EQ(Store().TypeCount(), 3u);
    const auto& pointer = InfoOf<DbgUDTInfoPointer>(Id("pointer"));
    EXPECT_EQ(pointer.target.udtId, Id("node"));
    EXPECT_EQ(pointer.targetSize, 0u); // the structure was in the making
    EXPECT_EQ(Size("alias"), 0u);
    const auto& members = InfoOf<DbgUDTInfoMembers>(Id("node")).Members();
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0].byteSize, 4u);
    EXPECT_EQ(members[0].type.udtId, Id("pointer"));
}

TEST_P(TypeBuilding, MembersNeedAnOffsetAndOneThatHasNoneLeavesItsFieldsToTheNext)
{
    const auto member = [&](const char* name) -> DwarfBuilder& { return dwarf.Die(TAG_member).Name(name); };
    LoadUnitOf([&] {
        Int();
        dwarf.Label("s").Die(TAG_structure_type).Children([&] {
            At(dwarf.Die(TAG_inheritance).Ref(AT_type, "int"), 8);
            member("none").Ref(AT_type, "int").Attr(AT_bit_size, FORM_data1, 3);
            member("takes").Attr(AT_data_member_location, FORM_block1, {0x34, 0x22}); // lit4, plus
            At(member("sized").Ref(AT_type, "int").Attr(AT_byte_size, FORM_data1, 2), 12);
            member("register").Attr(AT_data_member_location, FORM_block1, {0x70, 0});
            member("list").Attr(AT_data_member_location, FORM_data1, 0);
        });
        dwarf.Label("after").Die(TAG_union_type).Name("u").Children([&] { member("lost").Ref(AT_type, "int"); });
        dwarf.Label("empty").Die(TAG_structure_type).Name("empty");
        dwarf.Label("class").Die(TAG_class_type).Name("class");
        dwarf.Label("sizedOne").Die(TAG_structure_type).Attr(AT_byte_size, FORM_data1, 8);
    });
    const auto& members = InfoOf<DbgUDTInfoMembers>(Id("s")).Members();
    ASSERT_EQ(members.size(), 4u);
    EXPECT_EQ(members[0].name, nullptr);
    EXPECT_EQ(members[0].offset, 8u);
    EXPECT_STREQ(members[1].name, "takes");
    EXPECT_EQ(members[1].offset, 4u);
    EXPECT_EQ(members[1].bitSize, 3u);
    EXPECT_EQ(members[1].type.udtId, Id("int"));
    EXPECT_EQ(members[2].byteSize, 2u);
    EXPECT_STREQ(members[3].name, "list"); // of a file without lists: no bytes, which leave the 0 on the stack
    EXPECT_EQ(members[3].offset, 0u);
    EXPECT_EQ(Type(Id("s"))->GetType(), kUdtBitFields);
    EXPECT_TRUE(InfoOf<DbgUDTInfoMembers>(Id("after")).Members().empty());
    EXPECT_EQ(Type(Id("after"))->GetType(), kUdtUnion);
    EXPECT_EQ(Size("empty"), 1u);
    EXPECT_EQ(Type(Id("empty"))->GetType(), kUdtStruct);
    EXPECT_EQ(Type(Id("empty"))->GetInfo(), nullptr);
    EXPECT_EQ(Size("class"), 0u);
    EXPECT_EQ(Size("sizedOne"), 8u);
}

TEST_P(TypeBuilding, AMemberFunctionWithChildrenAndNoSiblingEndsTheMembers)
{
    const auto member = [&](const char* name) { At(dwarf.Die(TAG_member).Name(name), 0); };
    const auto function = [&](const char* name) -> DwarfBuilder& { return dwarf.Die(TAG_subprogram).Name(name); };
    LoadUnitOf([&] {
        dwarf.Label("s").Die(TAG_structure_type).Name("s").Children([&] {
            member("a");
            function("known").Sibling().Children([&] { dwarf.Die(TAG_formal_parameter); });
            member("b");
            function("unknown").Children([&] { dwarf.Die(TAG_formal_parameter); });
            member("c");
        });
    });
    EXPECT_EQ(InfoOf<DbgUDTInfoMembers>(Id("s")).Members().size(), 2u);
}

TEST_P(TypeBuilding, EnumeratorsAreSignedWordsWithoutRows)
{
    const auto value = [&](const char* name, u32 form, i32 number) {
        dwarf.Label(name).Die(TAG_enumerator).Name(name).Attr(AT_const_value, form, number);
    };
    LoadUnitOf([&] {
        dwarf.Label("e").Die(TAG_enumeration_type).Name("e").Attr(AT_byte_size, FORM_data1, 1).Children([&] {
            value("low", FORM_sdata, -1);
            value("high", FORM_data1, 0xFF);
            value("wide", FORM_data8, 5);
            dwarf.Die(TAG_enumerator).Name("valueless");
        });
        dwarf.Label("none").Die(TAG_enumeration_type);
        Function(dwarf, "f");
        dwarf.Label("cut").Die(TAG_enumeration_type).Children([&] {
            value("first", FORM_data1, 1);
            dwarf.Die(TAG_label).Name("no enumerator").Attr(AT_const_value, FORM_data1, 2);
        });
    });
    const auto& values = InfoOf<DbgUDTInfoEnum32>(Id("e")).Values();
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(values[0].value, -1);
    EXPECT_EQ(values[1].value, 255);
    EXPECT_EQ(values[2].value, -1);
    EXPECT_FALSE(Row("low"));
    EXPECT_TRUE(InfoOf<DbgUDTInfoEnum32>(Id("none")).Values().empty());
    EXPECT_EQ(InfoOf<DbgUDTInfoEnum32>(Id("cut")).Values().size(), 1u) << "another entry ends the list";
    EXPECT_EQ(Functions(), std::vector<std::string>{"f"});
}

TEST_P(TypeBuilding, AMemberWhoseSiblingLeadsBackIsTheLast)
{
    LoadUnitOf([&] {
        dwarf.Label("s").Die(TAG_structure_type).Name("s").Children([&] {
            dwarf.Label("m").Die(TAG_member).Name("m").Attr(AT_data_member_location, FORM_block1, {0x23, 0});
            dwarf.Die(TAG_member).Name("n").Attr(AT_data_member_location, FORM_block1, {0x23, 4}).Ref(AT_sibling, "m");
            dwarf.Die(TAG_member).Name("o").Attr(AT_data_member_location, FORM_block1, {0x23, 8});
        });
    });
    ASSERT_EQ(InfoOf<DbgUDTInfoMembers>(Id("s")).Members().size(), 2u);
    EXPECT_EQ(InfoOf<DbgUDTInfoMembers>(Id("s")).Members()[1].offset, 4u);
}
