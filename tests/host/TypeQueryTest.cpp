// host/TypeQuery.cpp: which types lose bytes, where, and in what order they are told.
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <functional>
#include <gtest/gtest.h>

namespace {

TEST(TypeQuery, HolesComeByWhatTheyLoseUnlessAskedOtherwise)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    const auto type = [&](const char* name, u32 size, const std::function<void()>& members) {
        dwarf.Die(TAG_structure_type).Name(name).Attr(AT_byte_size, FORM_data1, size).Children(members);
    };
    const auto member = [&](const char* name, const char* of, u8 offset) {
        dwarf.Die(TAG_member).Name(name).Ref(AT_type, of).Attr(AT_data_member_location, FORM_block1, {0x23, offset});
    };
    dwarf.Unit().Name("a.c").Children([&] {
        for (const auto& [name, size] : {std::pair("char", 1), std::pair("int", 4)}) {
            dwarf.Label(name).Die(TAG_base_type).Name(name).Attr(AT_byte_size, FORM_data1, size);
            dwarf.Attr(AT_encoding, FORM_data1, size == 1 ? 8 : 5);
        }
        type("wide", 16, [&] {
            member("a", "char", 0);
            member("b", "char", 1);
            member("c", "int", 4);
            member("d", "int", 8);
            member("e", "int", 12);
        });
        type("bits", 8, [&] {
            member("low", "int", 0);
            dwarf.Attr(AT_bit_size, FORM_data1, 3).Attr(AT_bit_offset, FORM_data1, 29);
            member("n", "int", 4);
        });
    });
    dwarf.EndUnit();
    ElfWriter elf(ByteOrder::Little);
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    const std::string head = "    lost    size  type         where\n";
    const std::string bits = "       3       8  struct bits  3 at 1\n";
    const std::string wide = "       2      16  struct wide  2 at 2\n";
    const std::string total = "total  2 types, 5 bytes\n";
    EXPECT_EQ(RunHost({"types", file.Path(), "--holes"}).out, head + bits + wide + total);
    EXPECT_EQ(RunHost({"types", file.Path(), "--holes", "--sort", "size"}).out, head + wide + bits + total);
}

} // namespace
