// host/AddressLookup.cpp: which row of which unit an address belongs to.
#include "host/AddressLookup.h"

#include "frame/Dwarf2SymbolicPlugin.h"
#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class Lookup : public testing::TestWithParam<ByteOrder> {
protected:
    /// "path:line" of each address, "-" for none.
    std::string LinesAt(std::initializer_list<u32> addresses)
    {
        ElfWriter elf(GetParam());
        dwarf.AddTo(elf);
        const TempFile path = elf.Write();
        Dwarf2SymbolicPlugin plugin;
        Loader file(plugin, path.Path());
        EXPECT_TRUE(file.Add());
        file.LoadIndex();
        AddressLookup lookup(file);
        std::string lines;
        for (const u32 address : addresses) {
            DbgAddress asked;
            asked.value = address;
            const auto place = lookup.FindLine(asked);
            lines +=
                (lines.empty() ? "" : " ") + (place ? *place->path + ":" + std::to_string(place->entry->line) : "-");
        }
        return lines;
    }

    DwarfBuilder dwarf{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(, Lookup, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(Lookup, RowsThatAdvanceByNothingHaveNoCode)
{
    LineBuilder line(dwarf.line);
    line.SetAddress(0x8000).Row(1, 0).Row(1, 0).Row(1, 1); // lines 2 and 3 at 0x8000, 4 at 0x8002
    line.Row(1, 1).Row(1, 0).EndSequence();                // 5 and 6 at 0x8004, where the unit ends
    const u32 offset = line.Finish();
    dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, offset).Range(0x8000, 0x8004).EndUnit();
    dwarf.Unit().Name("b.c").Range(0x8004, 0x8010).EndUnit();
    EXPECT_EQ(LinesAt({0x8000, 0x8001, 0x8002, 0x8003, 0x8004, 0x8006}), "a.c:3 a.c:3 a.c:4 a.c:4 - -");
}

TEST_P(Lookup, ARowThatIsStretchedToItsUnitsEndGivesWay)
{
    LineBuilder inner(dwarf.line);
    inner.SetAddress(0x8040).Row(1, 0).Row(1, 2).EndSequence(); // the last row is stretched to the unit's end
    dwarf.Unit().Name("inner.c").Attr(AT_stmt_list, FORM_data4, inner.Finish()).Range(0x8040, 0x8080).EndUnit();
    LineBuilder outer(dwarf.line);
    outer.SetAddress(0x8050).AdvanceLine(19).Row(1, 0).Row(1, 2).EndSequence();
    outer.SetAddress(0x8000).Row(1, 0).Row(1, 2).EndSequence();
    dwarf.Unit().Name("outer.c").Attr(AT_stmt_list, FORM_data4, outer.Finish()).Range(0x8000, 0x8100).EndUnit();
    EXPECT_EQ(LinesAt({0x8041, 0x8050, 0x8060}), "inner.c:2 outer.c:21 inner.c:3");
}

TEST_P(Lookup, SequencesStandInAnyOrder)
{
    LineBuilder line(dwarf.line);
    line.SetAddress(0x8100).Row(1, 0).Row(1, 2).EndSequence();
    line.SetAddress(0x8000).AdvanceLine(7).Row(1, 0).Row(1, 2).EndSequence();
    dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, line.Finish()).EndUnit(); // states no range
    EXPECT_EQ(LinesAt({0x8100, 0x8000, 0x8200}), "a.c:2 a.c:9 -");
}

} // namespace
