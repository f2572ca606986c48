// The first pass over `.debug_info`: headers, rows and file scopes, and where it stops.
#include "index/CompileUnitInfo.h"
#include "index/DIEInfo.h"
#include "interfaces/DbgSymSymFile.h"
#include "tests/support/DwarfTest.h"

#include <functional>
#include <string>
#include <tuple>
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

    const DIEInfo& Row(u32 offset)
    {
        DIEInfo* row = Probe::FindDieInfo(File(), offset);
        EXPECT_NE(row, nullptr) << offset;
        static const DIEInfo kNoRow;
        return row == nullptr ? kNoRow : *row;
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

TEST_P(CompileUnitIndex, EachUnitGetsAHeaderARowAndAFileScopeOnce)
{
    dwarf.Unit().Name("first.c").Children();
    dwarf.info.PadTo(0x23);
    dwarf.EndUnit();
    dwarf.Unit({.version = 7}).Name("second.c");
    dwarf.info.PadTo(0x58);
    Dwarf2File& file = Index(dwarf);
    file.BuildCompileUnitIndex();
    EXPECT_EQ(Headers(), Offsets({0, 0x24}));
    const CompileUnitInfo& second = Probe::m_cuHeaderMap(file).at(0x24);
    EXPECT_EQ(std::tuple(second.unitLength, second.version, second.addressSize), std::tuple(0x30u, 7, 4));
    EXPECT_EQ(Rows(), Offsets({11, 0x2F}));
    EXPECT_EQ(Row(11).sibling, 0x2Fu);
    EXPECT_EQ(Row(11).child, 11 + 1 + sizeof("first.c"));
    const DIEInfo& row = Row(0x2F);
    EXPECT_EQ(row.sibling, 0x63u) << "11 bytes behind the section's end";
    EXPECT_EQ(std::tuple(row.child, row.parent, row.abbrIndex, row.flags),
              std::tuple(kNone, kNone, 1u, DIEInfo::kDieBuilt));
    ASSERT_EQ(Store().FileScopeCount(), 2u);
    EXPECT_EQ(Store().FileScopeAt(0).GetId(), 11u);
    EXPECT_EQ(Store().FileScopeAt(1).GetPath(), "second.c");
}

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
    // Beyond the section; to its last byte before the wrap; wrapped to 0, to the unit itself, into
    // its own header, and to the unit in front.
    const u32 second = 0x24;
    for (const u32 end : {0x1000u, kNone, 0u, second, second + 3, 5u}) {
        Restart();
        Unit(dwarf, "first.c");
        Unit(dwarf, "second.c", {.length = end - second - 4});
        Unit(dwarf, "third.c");
        Index(dwarf);
        EXPECT_EQ(Headers(), Offsets({0, second})) << end;
        EXPECT_EQ(Rows(), Offsets({11, second + 11})) << end;
        EXPECT_EQ(Row(second + 11).sibling, end + 11) << end;
        EXPECT_EQ(Store().FileScopeCount(), 2u) << end;
    }
}

/// The unit's DIE as a file scope.
class CompileUnitScope : public DwarfTest {};
BOTH_BYTE_ORDERS(CompileUnitScope);

TEST_P(CompileUnitScope, TakesItsPathAndRangeFromTheAttributes)
{
    struct Case {
        std::function<void(DwarfBuilder&)> attributes;
        const char* path;
        u32 value;
        u32 size;
        bool noSize = false;
        u32 lineOffset = kNone;
    };
    const Case cases[] = {
        {[](auto& unit) { unit.Name("src/a.c").Attr(AT_comp_dir, FORM_strp, "/b").Attr(AT_stmt_list, FORM_data4, 64); },
         "/b/src/a.c", kNone, 0, false, 64},
        {[](auto& unit) { unit.Attr(AT_comp_dir, FORM_string, "").Name("a.c"); }, "a.c", kNone, 0},
        {[](auto& unit) { unit.Attr(AT_high_pc, FORM_addr, 0x8180).Attr(AT_low_pc, FORM_addr, 0x8000).Name("a.c"); },
         "a.c", 0x8000, 0x180},
        {[](auto& unit) { unit.Name("a.c").Range(0x8000, 0); }, "a.c", 0x8000, 0, true},
        // The end minus a start of -1.
        {[](auto& unit) { unit.Name("a.c").Attr(AT_high_pc, FORM_addr, 0x10); }, "a.c", kNone, 0x11},
        // Reading goes on behind a form of 0.
        {[](auto& unit) { unit.Spec(AT_language, 0).Name("a.c"); }, "a.c", kNone, 0}};
    for (const Case& test : cases) {
        SCOPED_TRACE(&test - cases);
        Restart();
        test.attributes(dwarf.Unit());
        Index(dwarf);
        ASSERT_EQ(Store().FileScopeCount(), 1u);
        const FileRange& range = Store().FileRangeAt(0);
        EXPECT_EQ(Store().FileScopeAt(0).GetPath(), test.path);
        EXPECT_EQ(range.range.value, test.value);
        EXPECT_EQ(range.range.section, kNone);
        EXPECT_EQ(range.range.size, test.size);
        EXPECT_EQ(range.lineOffset, test.lineOffset);
        EXPECT_EQ((Store().FileScopeAt(0).m_flags & DbgSymSrcFile::kNoSize) != 0, test.noSize);
    }
    Restart();
    dwarf.Unit({.addressSize = 2}).Spec(AT_low_pc, FORM_addr).Value(FORM_data2, 0x8000).Name("small.c");
    Index(dwarf);
    EXPECT_EQ(Store().FileScopeAt(0).GetPath(), "small.c");
    EXPECT_EQ(Store().FileRangeAt(0).range.value, kNone) << "no address of another size";
}

} // namespace
