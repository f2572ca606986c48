// Two units: one in C with functions, blocks, locals and all kinds of types, one in C++ with classes,
// bases and inlined code.
#include "fuzz/Example.h"

#include "tests/support/DwarfBuilder.h"
#include "tests/support/LineBuilder.h"

namespace {

void AddTypes(DwarfBuilder& dwarf)
{
    dwarf.Label("int")
        .Die(TAG_base_type)
        .Name("int")
        .Attr(AT_byte_size, FORM_data1, 4)
        .Attr(AT_encoding, FORM_data1, 5);
    dwarf.Label("char").Die(TAG_base_type).Attr(AT_name, FORM_strp, "unsigned char").Attr(AT_byte_size, FORM_udata, 1);
    dwarf.Label("const").Die(TAG_const_type).Ref(AT_type, "char");
    dwarf.Label("pointer").Die(TAG_pointer_type).Attr(AT_byte_size, FORM_data2, 4).Ref(AT_type, "const");
    dwarf.Label("volatile").Die(TAG_volatile_type).Ref(AT_type, "list");
    dwarf.Label("size").Die(TAG_typedef).Name("size_t").Ref(AT_type, "int");
    dwarf.Label("array").Die(TAG_array_type).Ref(AT_type, "size").Sibling().Children([&] {
        dwarf.Die(TAG_subrange_type).Ref(AT_type, "int").Attr(AT_upper_bound, FORM_data1, 9);
        dwarf.Die(TAG_subrange_type).Attr(AT_lower_bound, FORM_sdata, 1).Attr(AT_count, FORM_data2, 3);
    });
    dwarf.Label("list").Die(TAG_structure_type).Name("list").Attr(AT_byte_size, FORM_data1, 12).Sibling().Children([&] {
        dwarf.Die(TAG_member).Name("next").Ref(AT_type, "links").Attr(AT_data_member_location, FORM_block1, {0x23, 0});
        dwarf.Die(TAG_member).Name("flag").Ref(AT_type, "int").Attr(AT_bit_size, FORM_data1, 3);
        dwarf.Attr(AT_bit_offset, FORM_data1, 29).Attr(AT_data_member_location, FORM_block1, {0x23, 4});
        dwarf.Die(TAG_member).Name("state").Ref(AT_type, "state").Attr(AT_data_member_location, FORM_block1, {0x23, 8});
    });
    dwarf.Label("links").Die(TAG_pointer_type).Ref(AT_type, "list");
    dwarf.Label("state").Die(TAG_enumeration_type).Name("state").Attr(AT_byte_size, FORM_data1, 1).Children([&] {
        dwarf.Die(TAG_enumerator).Name("off").Attr(AT_const_value, FORM_data1, 0);
        dwarf.Die(TAG_enumerator).Name("on").Attr(AT_const_value, FORM_sdata, -1);
    });
    dwarf.Die(TAG_union_type).Name("word").Attr(AT_byte_size, FORM_data4, 4).Children([&] {
        dwarf.Die(TAG_member).Name("all").Ref(AT_type, "int");
    });
    dwarf.Label("call").Die(TAG_subroutine_type).Ref(AT_type, "int").Attr(AT_prototyped, FORM_flag, 1).Children([&] {
        dwarf.Die(TAG_formal_parameter).Ref(AT_type, "pointer");
    });
}

void AddFunctions(DwarfBuilder& dwarf, u32 list)
{
    dwarf.Label("main").Die(TAG_subprogram).Name("main").Attr(AT_external, FORM_flag, 1).Ref(AT_type, "int").Sibling();
    dwarf.Attr(AT_low_pc, FORM_addr, 0x8000)
        .Attr(AT_high_pc, FORM_addr, 0x8010)
        .Attr(AT_frame_base, FORM_block1, {0x7D, 8});
    dwarf.Children([&] {
        dwarf.Die(TAG_formal_parameter).Name("argc").Ref(AT_type, "int").Attr(AT_location, FORM_block1, {0x91, 0x7C});
        dwarf.Die(TAG_variable).Name("here").Ref(AT_type, "links").Attr(AT_location, FORM_data4, list);
        dwarf.Die(TAG_lexical_block)
            .Attr(AT_low_pc, FORM_addr, 0x8004)
            .Attr(AT_high_pc, FORM_addr, 0x800C)
            .Children([&] {
                dwarf.Die(TAG_variable).Name("i").Ref(AT_type, "size").Attr(AT_location, FORM_block1, {0x51});
                dwarf.Die(TAG_inlined_subroutine).Ref(AT_abstract_origin, "inlined");
                dwarf.Attr(AT_low_pc, FORM_addr, 0x8006).Attr(AT_high_pc, FORM_addr, 0x8008).Children([&] {
                    dwarf.Die(TAG_formal_parameter).Ref(AT_abstract_origin, "x").Attr(AT_location, FORM_block2, {0x50});
                });
            });
    });
    dwarf.Label("inlined").Die(TAG_subprogram).Name("twice").Attr(AT_inline, FORM_data1, 1).Children([&] {
        dwarf.Label("x").Die(TAG_formal_parameter).Name("x").Ref(AT_type, "int").Attr(AT_artificial, FORM_flag, 1);
    });
    dwarf.Label("next").Die(TAG_subprogram).Name("next").Attr(AT_low_pc, FORM_addr, 0x8010);
    dwarf.Attr(AT_high_pc, FORM_addr, 0x8020).Attr(AT_frame_base, FORM_data4, list).Children([&] {
        dwarf.Die(TAG_variable).Name("deep").Ref(AT_type, "array").Attr(AT_location, FORM_block, {0x91, 4, 0x06});
    });
    dwarf.Label("counter").Die(TAG_variable).Name("counter").Ref(AT_type, "volatile").Attr(AT_external, FORM_flag, 1);
    dwarf.Attr(AT_location, FORM_block1, {0x03, 0, 0x80, 0, 0});
    dwarf.Die(TAG_variable).Name("based").Ref(AT_type, "pointer").Attr(AT_location, FORM_block4, {0x79, 16});
}

void AddClasses(DwarfBuilder& dwarf)
{
    dwarf.Label("long").Die(TAG_base_type).Name("long int").Attr(AT_byte_size, FORM_data1, 4);
    dwarf.Label("base").Die(TAG_class_type).Name("Base").Attr(AT_byte_size, FORM_data1, 4).Children([&] {
        dwarf.Die(TAG_member).Name("m").Ref(AT_type, "long").Attr(AT_data_member_location, FORM_block1, {0x23, 0});
        dwarf.Label("run").Die(TAG_subprogram).Name("Run").Attr(AT_declaration, FORM_flag, 1);
        dwarf.Attr(AT_virtuality, FORM_data1, 1).Attr(AT_vtable_elem_location, FORM_block1, {0x10, 0});
    });
    dwarf.Label("class").Die(TAG_class_type).Name("Derived").Attr(AT_byte_size, FORM_data1, 8).Children([&] {
        dwarf.Die(TAG_inheritance).Ref(AT_type, "base").Attr(AT_data_member_location, FORM_block1, {0x23, 0});
        dwarf.Die(TAG_member)
            .Name("self")
            .Ref(AT_type, "reference")
            .Attr(AT_data_member_location, FORM_block1, {0x23, 4});
        dwarf.Die(TAG_member).Name("shared").Ref(AT_type, "long").Attr(AT_external, FORM_flag, 1);
    });
    dwarf.Label("reference").Die(TAG_reference_type).Ref(AT_type, "class");
    dwarf.Die(TAG_subprogram).Ref(AT_specification, "run").Attr(AT_low_pc, FORM_addr, 0x8020);
    dwarf.Attr(AT_high_pc, FORM_addr, 0x8024).Children([&] {
        dwarf.Die(TAG_formal_parameter)
            .Name("this")
            .Attr(AT_artificial, FORM_flag, 1)
            .Attr(AT_location, FORM_block1, {0x50});
        dwarf.Ref(AT_type, "reference").Die(TAG_label).Name("again").Attr(AT_low_pc, FORM_addr, 0x8022);
        dwarf.Die(TAG_variable)
            .Name("far")
            .Attr(AT_type, FORM_ref_addr, 0x20)
            .Attr(AT_location, FORM_indirect, FORM_data4);
        dwarf.Value(FORM_data4, 0);
    });
    dwarf.Die(0x4106).Attr(0x2101, FORM_data8, 1).Attr(AT_type, FORM_ref_udata, 0x10).Attr(AT_type, FORM_ref1, 0x10);
    dwarf.Attr(AT_type, FORM_ref2, 0x10).Attr(AT_type, FORM_ref8, 0x10);
}

u32 AddLines(DwarfBuilder& dwarf)
{
    LineBuilder line(dwarf.line);
    line.Directory("include").File("a.c").File("list.h", 1);
    line.SetAddress(0x8000).AdvanceLine(9).Copy().Row(1, 2).SetColumn(3).NegateStatement().SetFile(2).AdvancePc(2);
    line.SetBasicBlock().Row(-2, 1).ConstAddPc().FixedAdvancePc(2).DefineFile("late.h").EndSequence();
    return line.Finish();
}

void AddMacros(DwarfBuilder& dwarf)
{
    dwarf.macinfo.U8(3).Uleb(0).Uleb(1).U8(1).Uleb(1).Text("ONE 1").U8(2).Uleb(300).Text("ONE");
    dwarf.macinfo.U8(4).U8(0xFF).Uleb(7).Text("vendor").U8(0);
}

} // namespace

std::vector<SectionBytes> ExampleSections::List() const
{
    return {{".debug_info", info}, {".debug_abbrev", abbrev},     {".debug_str", str},        {".debug_line", line},
            {".debug_loc", loc},   {".debug_pubnames", pubnames}, {".debug_macinfo", macinfo}};
}

ExampleSections MakeExample(ByteOrder order)
{
    DwarfBuilder dwarf(order);
    const u32 list = dwarf.LocationList({{0, 4, {0x7D, 0}}, {4, 16, {0x91, 4}}});
    dwarf.Unit().Name("a.c").Attr(AT_comp_dir, FORM_string, "/source").Attr(AT_stmt_list, FORM_data4, AddLines(dwarf));
    dwarf.Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8020).Attr(AT_language, FORM_data1, 1);
    dwarf.Children([&] {
        AddTypes(dwarf);
        AddFunctions(dwarf, list);
    });
    dwarf.EndUnit();
    const u32 second = dwarf.info.Size();
    dwarf.PubSet(
        0, second,
        {{dwarf.Offset("main"), "main"}, {dwarf.Offset("next"), "next"}, {dwarf.Offset("counter"), "counter"}});
    dwarf.Unit().Name("b.cpp").Attr(AT_stmt_list, FORM_data4, AddLines(dwarf)).Attr(AT_low_pc, FORM_addr, 0x8020);
    dwarf.Children([&] { AddClasses(dwarf); });
    dwarf.EndUnit();
    dwarf.PubSet(second, dwarf.info.Size() - second, {{dwarf.Offset("class") - second, "Derived"}});
    AddMacros(dwarf);
    return {dwarf.info.Bytes(), dwarf.abbrev.Bytes(),   dwarf.str.Bytes(),    dwarf.line.Bytes(),
            dwarf.loc.Bytes(),  dwarf.pubnames.Bytes(), dwarf.macinfo.Bytes()};
}
