// Names with their scopes and template arguments, types as text, and which definition a declaration means.
#include "convert/Names.h"

#include "convert/Definitions.h"
#include "tests/convert/CraftedDwarf.h"
#include "tests/convert/HandMadeUnit.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

using namespace convert;

namespace {

/// A unit of C++ in which entries are known by labels.
class NamesOf : public HandMadeUnit {
protected:
    enum Code : u32 {
        kUnit = 1,
        kNamespace,
        kUnnamedNamespace,
        kClass,
        kUnnamedClass,
        kBase,
        kPointer,
        kConst,
        kVolatile,
        kArray,
        kRange,
        kSubroutine,
        kParameter,
        kThis,
        kMore,
        kToMember,
        kTypeArgument,
        kValueArgument,
        kPack,
    };

    NamesOf()
    {
        language = DW_LANG_C_plus_plus_14;
        const std::pair<u32, u32> name{DW_AT_name, DW_FORM_string};
        const std::pair<u32, u32> type{DW_AT_type, DW_FORM_ref4};
        Abbreviate(kUnit, DW_TAG_compile_unit, true, {});
        Abbreviate(kNamespace, DW_TAG_namespace, true, {name});
        Abbreviate(kUnnamedNamespace, DW_TAG_namespace, true, {});
        Abbreviate(kClass, DW_TAG_structure_type, true, {name});
        Abbreviate(kUnnamedClass, DW_TAG_structure_type, true, {});
        Abbreviate(kBase, DW_TAG_base_type, false, {name});
        Abbreviate(kPointer, DW_TAG_pointer_type, false, {type});
        Abbreviate(kConst, DW_TAG_const_type, false, {type});
        Abbreviate(kVolatile, DW_TAG_volatile_type, false, {type});
        Abbreviate(kArray, DW_TAG_array_type, true, {type});
        Abbreviate(kRange, DW_TAG_subrange_type, false, {{DW_AT_upper_bound, DW_FORM_data1}});
        Abbreviate(kSubroutine, DW_TAG_subroutine_type, true, {type});
        Abbreviate(kParameter, DW_TAG_formal_parameter, false, {type});
        Abbreviate(kThis, DW_TAG_formal_parameter, false, {type, {DW_AT_artificial, DW_FORM_flag_present}});
        Abbreviate(kMore, DW_TAG_unspecified_parameters, false, {});
        Abbreviate(kToMember, DW_TAG_ptr_to_member_type, false, {type, {DW_AT_containing_type, DW_FORM_ref4}});
        Abbreviate(kTypeArgument, DW_TAG_template_type_parameter, false, {type});
        Abbreviate(kValueArgument, DW_TAG_template_value_parameter, false, {type, {DW_AT_const_value, DW_FORM_sdata}});
        Abbreviate(kPack, DW_TAG_GNU_template_parameter_pack, true, {});
        info.Uleb(kUnit);
    }

    /// Begins an entry whose label is `label`.
    ByteSection& Add(const std::string& label, Code code) { return info.Label(label).Uleb(code); }
    void Lead(const std::string& label, Code code, const std::string& target) { Add(label, code).Ref(target, 4); }
    void End() { info.U8(0); }

    u32 NodeOf(const Unit& unit, const std::string& label) const { return unit.NodeAt(info.Offset(label)); }
};
INSTANTIATE_TEST_SUITE_P(, NamesOf, testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& order) {
    return order.param == ByteOrder::Little ? "LittleEndian" : "BigEndian";
});

TEST_P(NamesOf, ScopesStandInFrontAndArgumentsBehind)
{
    Add("int", kBase).Text("int");
    Add("bool", kBase).Text("bool");
    Lead("const", kConst, "int");
    Lead("pointer", kPointer, "const");
    Add("ns", kNamespace).Text("ns");
    Add("box", kClass).Text("Box");
    Lead("t1", kTypeArgument, "int");
    Add("inner", kClass).Text("Inner");
    End();
    End();
    Add("holder", kClass).Text("Holder");
    Lead("t2", kTypeArgument, "box");
    End();
    Add("many", kClass).Text("Many");
    Add("v1", kValueArgument).Ref("bool", 4).Sleb(1);
    Add("v2", kValueArgument).Ref("int", 4).Sleb(-3);
    Add("pack", kPack);
    Lead("t3", kTypeArgument, "pointer");
    Lead("t4", kTypeArgument, "inner");
    End();
    End();
    Add("whole", kClass).Text("Whole<int>");
    Lead("t5", kTypeArgument, "int");
    End();
    Add("unnamed", kUnnamedNamespace);
    Add("hidden", kClass).Text("Hidden");
    End();
    Add("nameless", kUnnamedClass);
    Add("within", kClass).Text("Within");
    End();
    End();
    End();
    End();
    Lead("toLoop", kPointer, "loop");
    Add("loop", kClass).Text("Loop");
    Lead("t6", kTypeArgument, "toLoop");
    End();
    End();
    const Unit unit = Read();
    EXPECT_FALSE(unit.IsDamaged());
    Names names(unit);
    const std::pair<const char*, const char*> cases[] = {
        {"int", "int"},
        {"box", "ns::Box<int>"},
        {"inner", "ns::Box<int>::Inner"},
        {"holder", "ns::Holder<ns::Box<int> >"},
        {"many", "ns::Many<true, -3, int const*, ns::Box<int>::Inner>"},
        {"whole", "ns::Whole<int>"},
        {"hidden", "ns::(anonymous namespace)::Hidden"},
        {"within", "Within"},
        {"nameless", ""},
        {"loop", "Loop<{...}*>"},
    };
    for (const auto& [label, name] : cases) {
        EXPECT_EQ(names.Qualified(NodeOf(unit, label)), name) << label;
    }
    EXPECT_EQ(names.Own(NodeOf(unit, "holder")), "Holder<ns::Box<int> >");
}

TEST_P(NamesOf, TypesReadAsInTheSource)
{
    Add("int", kBase).Text("int");
    Add("class", kClass).Text("K");
    End();
    Lead("volatile", kVolatile, "class");
    Lead("both", kConst, "volatile");
    Lead("this", kPointer, "both");
    Lead("constInt", kConst, "int");
    Lead("toConst", kPointer, "constInt");
    Lead("constPointer", kConst, "toConst");
    Lead("array", kArray, "int");
    Add("r1", kRange).U8(2);
    Add("r2", kRange).U8(3);
    End();
    Lead("toArray", kPointer, "array");
    Lead("function", kSubroutine, "int");
    Lead("p1", kParameter, "toConst");
    Add("more", kMore);
    End();
    Lead("toFunction", kPointer, "function");
    Lead("method", kSubroutine, "int");
    Lead("p2", kThis, "this");
    Lead("p3", kParameter, "int");
    End();
    Lead("toMethod", kToMember, "method");
    info.Ref("class", 4);
    Lead("toData", kToMember, "int");
    info.Ref("class", 4);
    End();
    const Unit unit = Read();
    EXPECT_FALSE(unit.IsDamaged());
    Names names(unit);
    const std::pair<const char*, const char*> cases[] = {
        {"this", "const volatile K *"},
        {"toConst", "const int *"},
        {"constPointer", "const int * const"},
        {"array", "int[3][4]"},
        {"toArray", "int (*)[3][4]"},
        {"function", "int(const int *, ...)"},
        {"toFunction", "int (*)(const int *, ...)"},
        {"toMethod", "int (K::*)(int) const volatile"},
        {"toData", "int K::*"},
    };
    for (const auto& [label, text] : cases) {
        EXPECT_EQ(names.TypeText(Reference{NodeOf(unit, label), std::nullopt}), text) << label;
    }
    EXPECT_EQ(names.TypeText({}), "void");
}

/// Definitions of one kind and name in several units: which one counts, and when none does.
TEST(DefinitionsOf, NamesAreUniqueByKindAndSize)
{
    ByteSection abbrev(ByteOrder::Little);
    const auto abbreviate = [&](u32 code, u32 tag, bool hasChildren, std::initializer_list<u32> pairs) {
        abbrev.Uleb(code).Uleb(tag).U8(hasChildren ? 1 : 0);
        for (const u32 word : pairs) {
            abbrev.Uleb(word);
        }
        abbrev.U16(0);
    };
    abbreviate(1, DW_TAG_compile_unit, true, {});
    abbreviate(2, DW_TAG_structure_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    abbreviate(3, DW_TAG_union_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    abbreviate(4, DW_TAG_class_type, false, {DW_AT_name, DW_FORM_string, DW_AT_declaration, DW_FORM_flag_present});
    abbreviate(5, DW_TAG_namespace, true, {DW_AT_name, DW_FORM_string});
    abbreviate(6, DW_TAG_enumeration_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    abbrev.U8(0);
    ByteSection info(ByteOrder::Little);
    const auto unit = [&](const auto& fill) {
        const u32 length = info.OpenLength();
        info.U16(4).U32(0).U8(4).Uleb(1);
        fill();
        info.U8(0).CloseLength(length);
    };
    unit([&] {
        info.Uleb(4).Text("Same").Label("same").Uleb(2).Text("Same").U8(4).Uleb(2).Text("Differs").U8(4);
        info.Label("union").Uleb(3).Text("Both").U8(8).Uleb(4).Text("Declared");
        info.Uleb(5).Text("ns").Label("inner").Uleb(2).Text("Inner").U8(1).U8(0);
    });
    unit([&] {
        info.Uleb(2).Text("Same").U8(4).Uleb(2).Text("Differs").U8(8).Label("both").Uleb(2).Text("Both").U8(4);
        info.Label("enum").Uleb(6).Text("Inner").U8(1);
    });
    unit([&] { info.Uleb(2).Text("Differs").U8(4); }); // as in the first one again

    CraftedDwarf file(ByteOrder::Little);
    const Definitions definitions(
        ListUnits(file.OpenSections({{".debug_abbrev", abbrev.Bytes()}, {".debug_info", info.Bytes()}})));
    const auto find = [&](u32 tag, const char* name) -> std::optional<u32> {
        const std::optional<EntryKey> key = definitions.Find(tag, name);
        return key ? std::optional(key->offset) : std::nullopt;
    };
    EXPECT_EQ(find(DW_TAG_class_type, "Same"), info.Offset("same")) << "a structure may be declared as a class";
    EXPECT_EQ(find(DW_TAG_structure_type, "Differs"), std::nullopt);
    EXPECT_EQ(find(DW_TAG_structure_type, "Both"), info.Offset("both"));
    EXPECT_EQ(find(DW_TAG_union_type, "Both"), info.Offset("union"));
    EXPECT_EQ(find(DW_TAG_structure_type, "ns::Inner"), info.Offset("inner"));
    EXPECT_EQ(find(DW_TAG_structure_type, "Inner"), std::nullopt);
    EXPECT_EQ(find(DW_TAG_enumeration_type, "Inner"), info.Offset("enum"));
    EXPECT_EQ(find(DW_TAG_structure_type, "Declared"), std::nullopt);
}

} // namespace
