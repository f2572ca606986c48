// host/NameQuery.cpp: what `find` tells of a name.
#include "interfaces/Elf32.h"
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

namespace {

TEST(FindNames, TellsAgainWhatAnEarlierLookUpHasBuilt)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
        dwarf.Label("alias").Die(TAG_typedef).Name("alias").Ref(AT_type, "int");
        dwarf.Label("count").Die(TAG_variable).Name("count").Ref(AT_type, "alias");
        dwarf.Attr(AT_location, FORM_block1, {0x03, 0x20, 0, 0, 0}); // DW_OP_addr
    });
    dwarf.EndUnit();
    dwarf.PubSet(0, dwarf.info.Size(),
                 {{dwarf.Offset("alias"), "alias"}, {dwarf.Offset("int"), "int"}, {dwarf.Offset("count"), "count"}});
    ElfWriter elf(ByteOrder::Little);
    const u32 data = elf.Section(".data", std::string(4, '\0'), {.flags = kShfAlloc, .address = 0x20});
    elf.Symbol({.name = "count", .value = 0x20, .size = 4, .type = 1, .section = static_cast<u16>(data)});
    elf.Symbol({.name = "fixed", .value = 0x21, .section = 0xFFF1}); // SHN_ABS
    dwarf.AddTo(elf);                                                // sections at 0 that hold the address 0x20 as well
    const TempFile file = elf.Write();

    const Ran once = RunHost({"find", file.Path(), "alias", "int", "count", "fixed"});
    EXPECT_EQ(once.status, 0);
    const std::vector<std::string> lines = SplitLines(once.out);
    ASSERT_EQ(lines.size(), 12u) << once.out;
    EXPECT_EQ(lines[2].rfind("typedef alias", 0), 0u) << lines[2];
    EXPECT_EQ(lines[5].rfind("base int", 0), 0u) << lines[5]; // came with the one before
    EXPECT_EQ(lines[7], "  ELF symbol  0x00000020  size 4  section .data");
    EXPECT_EQ(lines[8].rfind("  variable  id ", 0), 0u) << lines[8];
    EXPECT_EQ(lines[10], "  ELF symbol  0x00000021  size 0");
    EXPECT_EQ(lines[11], "  not in .debug_pubnames");
    const Ran twice =
        RunHost({"find", file.Path(), "alias", "int", "count", "fixed", "alias", "int", "count", "fixed"});
    EXPECT_EQ(twice.out, once.out + once.out);
}

} // namespace
