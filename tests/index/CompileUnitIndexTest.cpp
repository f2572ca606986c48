// The first pass over `.debug_info`: headers, rows and file scopes, and where it stops.
#include "index/CompileUnitInfo.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymSymFile.h"
#include "tests/support/DwarfTest.h"

#include <string>
#include <vector>

namespace {

class CompileUnitIndex : public DwarfTest {
protected:
    std::vector<u32> Headers()
    {
        std::vector<u32> offsets;
        for (const auto& [offset, unit] : Probe::m_cuHeaderMap(File())) {
            EXPECT_EQ(unit.offset, offset);
            offsets.push_back(offset);
        }
        return offsets;
    }

    std::vector<u32> Rows()
    {
        std::vector<u32> offsets;
        Probe::m_dieInfoMap(File()).ForEach([&](const DIEInfo& row) { offsets.push_back(row.infoOffset); });
        return offsets;
    }

    /// A unit of 0x24 bytes, unless its header lies.
    static DwarfBuilder& Unit(DwarfBuilder& dwarf, const char* name, const UnitHeader& header = {})
    {
        dwarf.Unit(header).Name(name);
        dwarf.info.PadTo(dwarf.UnitOffset() + 0x24);
        return dwarf.EndUnit();
    }

    using Offsets = std::vector<u32>;
};
BOTH_BYTE_ORDERS(CompileUnitIndex);

TEST_P(CompileUnitIndex, ANullEntryAtAUnitsHeadEndsTheScan)
{
    Unit(dwarf, "first.c");
    dwarf.Header().Entry(0);
    dwarf.EndUnit();
    Unit(dwarf, "third.c");
    Index(dwarf);
    EXPECT_EQ(Headers(), Offsets({0, 0x24}));
    EXPECT_EQ(Rows(), Offsets({11}));
    EXPECT_EQ(Store().FileScopeCount(), 1u);
}

TEST_P(CompileUnitIndex, BehindAnUnknownCodeTheNextHeaderIsReadAtOnce)
{
    Unit(dwarf, "first.c");
    const u32 table = 0;
    dwarf.Header({.abbrevOffset = table}).Entry(200); // a code of two bytes
    const u32 inside = dwarf.info.Size();
    EXPECT_EQ(inside, 0x24u + 11 + 2);
    const u32 length = dwarf.info.OpenLength();
    dwarf.info.U16(2).U32(table).U8(4).Uleb(1).Text("inside.c").CloseLength(length);
    Unit(dwarf, "last.c");
    Index(dwarf);
    EXPECT_EQ(Headers(), Offsets({0, 0x24, inside, dwarf.UnitOffset()}));
    EXPECT_EQ(Rows(), Offsets({11, inside + 11, dwarf.UnitOffset() + 11}));
    EXPECT_EQ(Store().FileScopeAt(1).GetPath(), "inside.c");

    // A table that isn't there is answered in the same way, down to the end of the section.
    DwarfBuilder noTable(GetParam());
    noTable.Header({.abbrevOffset = 0x1000}).Entry(1);
    noTable.info.Fill(64, 0x01);
    Index(noTable);
    EXPECT_EQ(Rows(), Offsets());
    EXPECT_EQ(Headers(), Offsets({0, 12, 24, 36, 48, 60}));
}

TEST_P(CompileUnitIndex, ALengthThatLeadsBackOrBeyondEndsTheScan)
{
    // Beyond the section; to its last byte before the wrap; wrapped to 0, to the unit itself, into its
    // own header, and to the unit before.
    const u32 second = 0x24;
    for (const u32 end : {0x1000u, kNone, 0u, second, second + 3, 5u}) {
        Restart();
        Unit(dwarf, "first.c");
        Unit(dwarf, "second.c", {.length = end - second - 4});
        Unit(dwarf, "third.c");
        Index(dwarf);
        EXPECT_EQ(Headers(), Offsets({0, second})) << end;
        EXPECT_EQ(Rows(), Offsets({11, second + 11})) << end;
        EXPECT_EQ(Probe::FindDieInfo(File(), second + 11).Sibling(), end + 11) << end;
        EXPECT_EQ(Store().FileScopeCount(), 2u) << end;
    }
}

TEST_P(CompileUnitIndex, AUnitsRangeTellsWhetherItsEndIsUnknownOrItHasNoCode)
{
    dwarf.Unit().Name("both.c").Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0x8010);
    dwarf.Unit().Name("start.c").Attr(AT_low_pc, FORM_addr, 0x8010);
    dwarf.Unit().Name("none.c");
    Index(dwarf);
    const auto hasNoSize = [&](std::size_t index) {
        return (Store().FileScopeAt(index).m_flags & DbgSymSrcFile::kNoSize) != 0;
    };
    EXPECT_FALSE(hasNoSize(0));
    EXPECT_TRUE(hasNoSize(1));
    EXPECT_FALSE(hasNoSize(2)) << "without an address";
}

} // namespace
