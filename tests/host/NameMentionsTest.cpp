// host/NameMentions.cpp: which units are worth loading for a name.
#include "host/NameMentions.h"

#include "frame/Dwarf2SymbolicPlugin.h"
#include "host/Loader.h"
#include "interfaces/VFKElfFile.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class Mentions : public testing::TestWithParam<ByteOrder> {
protected:
    /// A unit with a variable of that name.
    static void Unit(DwarfBuilder& dwarf, const std::string& name, u32 form)
    {
        dwarf.Unit().Name("unit.c").Children([&] { dwarf.Die(TAG_variable).Attr(AT_name, form, name); }).EndUnit();
    }
    /// Numbers of the units that mention the word: "0 2".
    std::string Of(DwarfBuilder& dwarf, std::string_view word)
    {
        ElfWriter elf(GetParam());
        dwarf.AddTo(elf);
        const TempFile path = elf.Write();
        Dwarf2SymbolicPlugin plugin;
        Loader file(plugin, path.Path());
        EXPECT_TRUE(file.Add());
        file.LoadIndex();
        std::string found;
        for (const u32 id : UnitsMentioning(file.Store(), VFKElfFile(path.Path()), word)) {
            for (std::size_t unit = 0; unit < file.UnitCount(); ++unit) {
                if (file.Store().FileScopeAt(unit).GetId() == id) {
                    found += (found.empty() ? "" : " ") + std::to_string(unit);
                }
            }
        }
        return found;
    }
};
INSTANTIATE_TEST_SUITE_P(, Mentions, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(Mentions, AreFoundInEntriesAndInStrings)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.str.Text(std::string(12345, 'x')); // small offsets occur anywhere by chance
    Unit(dwarf, "counter", FORM_string);
    Unit(dwarf, "first::Ring<int>", FORM_strp);
    Unit(dwarf, "counter", FORM_strp);
    Unit(dwarf, "counters", FORM_string);
    EXPECT_EQ(Of(dwarf, "counter"), "0 2") << "whole words only";
    EXPECT_EQ(Of(dwarf, "Ring"), "1") << "behind a scope, and in front of arguments";
    EXPECT_EQ(Of(dwarf, "absent"), "");
}

TEST_P(Mentions, AStringMayBeginInsideOfAnother)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.str.Text("a::tail");
    dwarf.Unit().Name("unit.c").Children([&] { dwarf.Die(TAG_variable).Attr(AT_name, FORM_strp, 3); }).EndUnit();
    Unit(dwarf, "tail", FORM_string);
    EXPECT_EQ(Of(dwarf, "tail"), "0 1");
}

TEST_P(Mentions, AreFoundWhereThePiecesOfASectionMeet)
{
    constexpr u32 kPiece = u32{1} << 20;
    for (const u32 shift : {0u, 1u, 3u, 6u}) {
        DwarfBuilder dwarf(GetParam());
        dwarf.str.Text(std::string(kPiece - 4 - shift, 'x'));
        Unit(dwarf, std::string(kPiece - 40 - shift, 'y'), FORM_string);
        Unit(dwarf, "middle", FORM_string);
        Unit(dwarf, "behind", FORM_strp);
        EXPECT_EQ(Of(dwarf, "middle"), "1") << shift;
        EXPECT_EQ(Of(dwarf, "behind"), "2") << shift;
    }
}

} // namespace
