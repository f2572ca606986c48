// Assembles the inputs.
#include "benchmarks/Inputs.h"

#include "tests/support/DwarfBuilder.h"
#include "tests/support/LineBuilder.h"

#include <string>

namespace {

constexpr u32 kRowsPerFunction = 10;

void AddTypes(DwarfBuilder& dwarf, const std::string& unit)
{
    dwarf.Label(unit + "int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
    dwarf.Attr(AT_encoding, FORM_data1, 5);
    dwarf.Label(unit + "node").Die(TAG_structure_type).Name("node").Attr(AT_byte_size, FORM_data1, 16).Sibling();
    dwarf.Children([&] {
        for (u8 member = 0; member < 4; ++member) {
            dwarf.Die(TAG_member).Name("member").Ref(AT_type, unit + "int");
            dwarf.Attr(AT_data_member_location, FORM_block1, {0x23, static_cast<u8>(4 * member)});
        }
    });
    dwarf.Label(unit + "pointer").Die(TAG_pointer_type).Ref(AT_type, unit + "node");
    dwarf.Die(TAG_typedef).Name("node_t").Ref(AT_type, unit + "node");
}

void AddFunction(DwarfBuilder& dwarf, const std::string& unit, u32 address)
{
    const auto range = [&](u32 tag) -> DwarfBuilder& {
        return dwarf.Die(tag).Attr(AT_low_pc, FORM_addr, address).Attr(AT_high_pc, FORM_addr, address + 0x40);
    };
    const auto variable = [&](u32 tag, const char* name, const char* type) {
        dwarf.Die(tag).Attr(AT_name, FORM_string, name).Ref(AT_type, unit + type);
        dwarf.Attr(AT_location, FORM_block1, {0x91, 0x70});
    };
    range(TAG_subprogram).Name("function" + std::to_string(address)).Attr(AT_frame_base, FORM_block1, {0x5B}).Sibling();
    dwarf.Children([&] {
        variable(TAG_formal_parameter, "count", "int");
        variable(TAG_formal_parameter, "first", "pointer");
        range(TAG_lexical_block).Children([&] { variable(TAG_variable, "local", "pointer"); });
    });
}

TempFile Write(u32 units, u32 functionsPerUnit)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    u32 address = 0x8000;
    for (u32 i = 0; i < units; ++i) {
        const std::string unit = "u" + std::to_string(i);
        const u32 lineOffset = dwarf.line.Size();
        dwarf.Unit().Name(unit + ".c").Attr(AT_comp_dir, FORM_string, "/build").Attr(AT_low_pc, FORM_addr, address);
        dwarf.Attr(AT_high_pc, FORM_addr, address + 0x40 * functionsPerUnit);
        dwarf.Attr(AT_stmt_list, FORM_data4, lineOffset).Children([&] {
            AddTypes(dwarf, unit);
            for (u32 function = 0; function < functionsPerUnit; ++function, address += 0x40) {
                AddFunction(dwarf, unit, address);
            }
        });
        LineBuilder lines(dwarf.line);
        lines.Directory("/build/include").File(unit + ".c", 0).File("shared.h", 1).SetAddress(address);
        for (u32 row = 0; row < kRowsPerFunction * functionsPerUnit; ++row) {
            lines.SetFile(1 + row / 3 % 2).AdvanceLine(1).AdvancePc(4).Copy();
        }
        lines.EndSequence();
        lines.Finish();
    }
    ElfWriter elf(ByteOrder::Little);
    dwarf.AddTo(elf);
    return elf.Write();
}

} // namespace

Input::Input(u32 units, u32 functionsPerUnit)
    : file(Write(units, functionsPerUnit))
{
    Reopen();
}

void Input::Reopen()
{
    dwarf.reset();
    store = std::make_unique<DbgSymSymFile>(file.Path(), 1);
    dwarf = std::make_unique<Dwarf2File>(store.get());
}
