// Location lists and expressions: as the plug-in prepares them for a frame base, a parameter, variables
// and members, and as the engine evaluates, disassembles and compiles them.
#include "fuzz/Pieces.h"
#include "tests/support/DwarfBuilder.h"

namespace {

ByteSection Block(const Input& input, std::size_t piece)
{
    ByteSection block(input.settings.Order());
    return block.Raw(input.pieces[piece]);
}

} // namespace

const std::size_t kPieceCount = 5;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Input input = SplitInput(data, size, kPieceCount);
    const auto& loc = input.pieces[0];
    DwarfBuilder dwarf(input.settings.Order());
    dwarf.Unit().Name("a.c").Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8020);
    dwarf.Children([&] {
        dwarf.Die(TAG_subprogram).Name("main").Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8010);
        if (input.settings.Own()) {
            dwarf.Attr(AT_frame_base, FORM_data4, loc.size() / 2);
        } else {
            dwarf.Attr(AT_frame_base, FORM_block4, Block(input, 1));
        }
        dwarf.Children([&] {
            dwarf.Die(TAG_formal_parameter).Name("p").Attr(AT_location, FORM_data4, 0);
            dwarf.Die(TAG_variable).Name("v").Attr(AT_location, FORM_block4, Block(input, 2));
            dwarf.Die(TAG_variable).Name("w").Attr(AT_location, FORM_data4, loc.size() / 2);
        });
        dwarf.Die(TAG_variable).Name("global").Ref(AT_type, "s").Attr(AT_location, FORM_block4, Block(input, 2));
        dwarf.Label("s").Die(TAG_structure_type).Name("s").Attr(AT_byte_size, FORM_data1, 16).Children([&] {
            dwarf.Die(TAG_member).Name("m").Attr(AT_data_member_location, FORM_block4, Block(input, 3));
            dwarf.Die(TAG_member).Name("n").Attr(AT_data_member_location, FORM_data4, 0);
        });
    });
    dwarf.EndUnit();
    const std::string info = dwarf.info.Bytes();
    const std::string abbrev = dwarf.abbrev.Bytes();
    const std::string& text = input.pieces[4];
    Session session(
        WrapSections(input.settings, {{".debug_loc", loc}, {".debug_info", info}, {".debug_abbrev", abbrev}}),
        input.settings, text);
    session.Export();
    session.Describe();
    for (const char* line : {"loclist", "loclist 0", "loclist 5", "dump"}) {
        session.Console(line);
    }
    DriveExpression(input.pieces[2], input.settings.Order() == ByteOrder::Little);
    DriveExpression('\xEC' + loc, input.settings.Order() == ByteOrder::Little);
    CompileExpression(text);
    return 0;
}
