// host/TypeText.cpp: names and layouts of types.
#include "host/TypeText.h"

#include "host/MemberPath.h"
#include "tests/host/TypeStore.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class TypeTextTest : public TypeStore {
protected:
    /// "0-4 member, 4-8 hole, ..." in bytes.
    std::string Rows(u32 id, bool wholeArrays = false)
    {
        constexpr const char* kKinds[] = {"member", "hole", "padding", "virtual", "rest", "unknown"};
        std::string text;
        for (const LayoutRow& row : TypeLayouts(store, false, wholeArrays).Of(*store.GetUserDefinedType(id))) {
            text += (text.empty() ? "" : ", ") + std::to_string(row.begin / 8) + '-' + std::to_string(row.end / 8) +
                    ' ' + kKinds[row.kind];
        }
        return text;
    }
    static DbgTypeDescription With(DbgTypeDescription type, u16 qualifiers)
    {
        type.qualifiers = qualifiers;
        return type;
    }
    std::string Layout(u32 id, bool bigEndian = false)
    {
        std::string text;
        TypeText(store, bigEndian).WriteLayout(*store.GetUserDefinedType(id), [&](auto line) { text += line; });
        return text;
    }
    std::string Name(DbgTypeDescription type) { return TypeText(store, false).NameOf(type); }
};

TEST_F(TypeTextTest, QualifiersStandWhereTheyBind)
{
    constexpr u16 kBoth = kQualifierConst | kQualifierVolatile;
    EXPECT_EQ(Name(With(kInt, kQualifierConst)), "const int");
    EXPECT_EQ(Name(With(kInt, kBoth)), "const volatile int");
    const DbgTypeDescription pointer = Pointer(1, With(kInt, kQualifierConst));
    EXPECT_EQ(Name(pointer), "const int *");
    EXPECT_EQ(Name(With(pointer, kQualifierVolatile)), "const int * volatile");
    EXPECT_EQ(Name(Pointer(2, With(pointer, kQualifierConst))), "const int * const *");
    EXPECT_EQ(Name(Pointer(3, pointer)), "const int **");
    const DbgTypeDescription array = Array(4, kInt, 0, 3);
    EXPECT_EQ(Name(array), "int [4]");
    EXPECT_EQ(Name(With(array, kBoth)), "const volatile int [4]");
    EXPECT_EQ(Name(Array(5, pointer, 2, 3)), "const int * [2]");
    EXPECT_EQ(Name(With(Typedef(6, "word", kInt), kQualifierConst)), "const word");
    EXPECT_EQ(Name({kBaseUserDefined, 0, 0x77}), "type 0x00000077");
    EXPECT_EQ(Name({static_cast<DbgVariableBaseType>(0x99), 0, kNone}), "?");
}

TEST_F(TypeTextTest, DeclaratorsBindAsInC)
{
    const DbgTypeDescription function = Function(1);
    EXPECT_EQ(Name(function), "function");
    const DbgTypeDescription callback = Pointer(2, function);
    EXPECT_EQ(Name(callback), "(*)()");
    EXPECT_EQ(Name(With(callback, kQualifierConst)), "(* const)()");
    EXPECT_EQ(Name(Pointer(3, callback)), "(**)()");
    EXPECT_EQ(Name(Array(4, callback, 0, 2)), "(* [3])()");
    const DbgTypeDescription row = Array(5, kInt, 0, 3);
    EXPECT_EQ(Name(Pointer(6, row)), "int (*)[4]");
    EXPECT_EQ(Name(Array(7, row, 0, 2)), "int [3][4]");
    EXPECT_EQ(Name(Typedef(8, nullptr, With(Pointer(9, kInt), kQualifierConst))), "int * const");
}

TEST_F(TypeTextTest, AChainOfReferencesEnds)
{
    const DbgTypeDescription self = Pointer(1, {kBaseUserDefined, 0, 1});
    const std::string name = Name(self);
    EXPECT_EQ(name.substr(0, 5), "... *");
    EXPECT_LT(name.size(), 100u);
}

TEST_F(TypeTextTest, AStructShowsItsBitsHolesAndPadding)
{
    auto* members = new DbgUDTInfoMembers;
    const DbgTypeDescription inner = Add(0x20, nullptr, 4, new DbgUDTInfoEnum32(&store));
    members->AddMember(&store, "last", 4, kInt.baseType, 0, 8, kNone, 0, 0);
    members->AddMember(&store, "low", 4, kInt.baseType, 0, 0, kNone, 3, 29);
    members->AddMember(&store, "high", 4, kInt.baseType, 0, 0, kNone, 5, 22);
    members->AddMember(&store, nullptr, 0, kBaseUserDefined, 0, 12, inner.udtId, 0, 0);
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(0x10, "s", 20);
    type->SetTypeInfo(members, kUdtStruct);
    store.AddUserDefinedType(type);
    EXPECT_EQ(Layout(0x10), "struct s  size 20  id 0x00000010\n"
                            "  offset    size  bits    type                        name\n"
                            "       0       4  0-2     int                         low : 3\n"
                            "       0       0  2 bits  <hole>\n"
                            "       0       4  5-9     int                         high : 5\n"
                            "       1       0  54 bits <hole>\n"
                            "       8       4          int                         last\n"
                            "      12       4          enum 0x00000020             (anonymous)\n"
                            "      16       4          <padding>\n");
    // From the most significant bit on.
    EXPECT_NE(Layout(0x10, true)
                  .find("       0       0  22 bits <hole>\n"
                        "       0       4  5-9     int "),
              std::string::npos);
}

TEST_F(TypeTextTest, NamelessPartsStandInPlace)
{
    const DbgTypeDescription part = Struct(1, nullptr, 8, {{"low", kChar, 1, 0}, {"high", kInt, 4, 4}});
    Struct(2, "s", 16, {{"first", kInt, 4, 0}, {nullptr, part, 8, 4}, {"last", part, 4, 12}});
    EXPECT_EQ(Layout(2), "struct s  size 16  id 0x00000002\n"
                         "  offset    size  bits    type                        name\n"
                         "       0       4          int                         first\n"
                         "       4       8          struct                      (anonymous)\n"
                         "       4       1            unsigned char             low\n"
                         "       5       3            <hole>\n"
                         "       8       4            int                       high\n"
                         "      12       4          struct                      last\n"
                         "      12       1            unsigned char             low\n"
                         "      13       3            <hole>\n"
                         "      16       4            int                       high\n");
    // One that has itself as a part ends.
    Struct(3, nullptr, 8, {{"self", {kBaseUserDefined, 0, 3}, 8, 0}, {"again", {kBaseUserDefined, 0, 3}, 8, 0}});
    EXPECT_LT(Layout(3).size(), 200'000u);
}

TEST_F(TypeTextTest, GapsThatNoAlignmentExplainsAreNoHoles)
{
    const DbgTypeDescription table = Pointer(1, Pointer(2, Function(3)));
    const DbgTypeDescription base = Struct(4, "Base", 20, {{"_vptr.Base", table, 4, 0}, {"b", kInt, 2, 4}});
    EXPECT_EQ(Rows(4), "0-4 member, 4-6 member, 6-20 virtual");
    Struct(5, "Plain", 8, {{"_vptr.Plain", table, 4, 0}, {"c", kChar, 1, 4}});
    EXPECT_EQ(Rows(5), "0-4 member, 4-5 member, 5-8 padding");
    Struct(12, "Other", 20, {{"__vptr", table, 4, 0}, {"b", kInt, 4, 4}});
    EXPECT_EQ(Rows(12), "0-4 member, 4-8 member, 8-20 virtual") << "as other compilers name it";
    // In a derived class the virtual bases of its base are elsewhere.
    Struct(6, "Derived", 28, {{nullptr, base, 20, 0}, {"d", kChar, 1, 6}, {"e", kInt, 4, 8}});
    EXPECT_EQ(Rows(6), "0-6 member, 6-7 member, 7-8 hole, 8-12 member, 12-28 virtual");

    const DbgTypeDescription row = Array(7, kChar, 0, 4);
    Struct(8, "Table", 24, {{"bytes", row, 5, 0}, {"next", kInt, 4, 16}});
    EXPECT_EQ(Rows(8), "0-5 member, 5-15 rest, 15-16 hole, 16-20 member, 20-24 padding");
    EXPECT_EQ(Rows(8, true), "0-5 member, 5-16 hole, 16-20 member, 20-24 padding");
    Struct(9, "Short", 8, {{"bytes", Array(10, kChar, 0, 0), 1, 0}, {"next", kInt, 4, 4}});
    EXPECT_EQ(Rows(9), "0-1 member, 1-4 hole, 4-8 member") << "alignment takes as many";

    const DbgTypeDescription missing{kBaseUserDefined, 0, 99};
    Struct(11, "Pointers", 16, {{"one", missing, 0, 0}, {"n", kInt, 4, 4}, {"other", missing, 0, 8}});
    EXPECT_EQ(Rows(11), "0-0 member, 0-4 unknown, 4-8 member, 8-8 member, 8-16 unknown");
}

TEST_F(TypeTextTest, AMemberIsFoundWhereOthersOverlapIt)
{
    const auto at = [this](DbgTypeDescription type, u32 offset, u32 size = 0, bool wholeArrays = false) {
        const MemberPath found = FindMember(TypeLayouts(store, false, wholeArrays), type, size, offset);
        return found.path + '+' + std::to_string(found.rest);
    };
    const DbgTypeDescription table = Pointer(1, Pointer(2, Function(3)));
    const DbgTypeDescription base = Struct(4, "Base", 20, {{"_vptr.Base", table, 4, 0}, {"b", kInt, 4, 4}});
    const DbgTypeDescription derived =
        Struct(5, "Derived", 40, {{"a", kInt, 4, 0}, {nullptr, base, 20, 4}, {"d", kInt, 4, 16}});
    EXPECT_EQ(at(derived, 9), ".b+1");
    EXPECT_EQ(at(derived, 13), "+13") << "counts from the variable, not from its base";
    EXPECT_EQ(at(derived, 17), ".d+1") << "where the base by itself has its virtual bases";

    const DbgTypeDescription row = Array(6, kInt, 0, 1);
    const DbgTypeDescription tables = Struct(7, "Tables", 32, {{"t", row, 8, 0}, {"next", kInt, 4, 24}});
    EXPECT_EQ(at(tables, 5), ".t+5") << "another dimension may be there";
    EXPECT_EQ(at(tables, 21), ".t+21");
    EXPECT_EQ(at(tables, 5, 32, true), ".t[1]+1");
    EXPECT_EQ(at(row, 5, 24), "+5") << "a variable larger than its type";
    EXPECT_EQ(at(row, 5, 8), "[1]+1");

    const DbgTypeDescription either = Struct(8, "Either", 4, {{"c", kChar, 1, 0}, {"i", kInt, 4, 0}});
    EXPECT_EQ(at(either, 0), ".c+0");
    EXPECT_EQ(at(either, 2), ".i+2");
}

TEST_F(TypeTextTest, HeadsSayWhatATypeIs)
{
    EXPECT_EQ((Typedef(1, "int", kInt), Layout(1)), "base int  size 4  id 0x00000001\n");
    EXPECT_EQ((Typedef(2, "word", {kBaseUserDefined, kQualifierConst, 1}), Layout(2)),
              "typedef word = const int  size 4  id 0x00000002\n");
    auto* values = new DbgUDTInfoEnum32(&store);
    values->AddEnumValue(-1, "NONE");
    values->AddEnumValue(7, "SEVEN");
    Add(3, nullptr, 1, values);
    EXPECT_EQ(Layout(3), "enum (no name)  size 1  id 0x00000003\n"
                         "           -1  NONE\n"
                         "            7  SEVEN\n");
    EXPECT_TRUE(IsListed(*store.GetUserDefinedType(3)));
    Pointer(4, kChar);
    EXPECT_FALSE(IsListed(*store.GetUserDefinedType(4)));
    EXPECT_EQ(Layout(4), "unsigned char *  size 4  id 0x00000004\n");
    // Equal but for the id.
    auto* same = new DbgUDTInfoEnum32(&store);
    same->AddEnumValue(-1, "NONE");
    same->AddEnumValue(7, "SEVEN");
    Add(5, nullptr, 1, same);
    const TypeText text(store, false);
    EXPECT_EQ(text.LayoutHash(*store.GetUserDefinedType(3)), text.LayoutHash(*store.GetUserDefinedType(5)));
    EXPECT_NE(text.LayoutHash(*store.GetUserDefinedType(3)), text.LayoutHash(*store.GetUserDefinedType(1)));
}

} // namespace
