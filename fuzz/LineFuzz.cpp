// Two line number programmes behind one another, each with a unit that refers to it: loaded, dumped and
// asked for the line of an address.
#include "fuzz/Pieces.h"
#include "tests/support/DwarfBuilder.h"

const std::size_t kPieceCount = 2;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Input input = SplitInput(data, size, kPieceCount);
    const auto second = static_cast<u32>(input.pieces[0].size());
    DwarfBuilder dwarf(input.settings.Order());
    dwarf.Unit().Name("a.c").Attr(AT_comp_dir, FORM_string, "/source").Attr(AT_stmt_list, FORM_data4, 0);
    dwarf.Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8020);
    dwarf.Unit().Name("C:\\b.c").Attr(AT_stmt_list, FORM_data4, second).EndUnit();
    const std::string line = input.pieces[0] + input.pieces[1];
    const std::string info = dwarf.info.Bytes();
    const std::string abbrev = dwarf.abbrev.Bytes();
    Session session(
        WrapSections(input.settings, {{".debug_line", line}, {".debug_info", info}, {".debug_abbrev", abbrev}}),
        input.settings);
    session.Export();
    session.LookUp();
    session.Console("line 0");
    session.Console("line " + std::to_string(second));
    session.Console("line " + std::to_string(second / 2));
    return 0;
}
