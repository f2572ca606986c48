// The first pass over `.debug_info`: headers, rows and file scopes, and where it stops.
#include "index/CompileUnitInfo.h"
#include "index/DIEInfo.h"
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

TEST_P(CompileUnitIndex, EachUnitGetsAHeaderARowAndAFileScope)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Name("first.c").Children();
    dwarf.info.PadTo(0x23);
    dwarf.EndUnit();
    dwarf.Unit({.version = 7}).Name("second.c");
    dwarf.info.PadTo(0x58);
    Dwarf2File& file = Index(dwarf);

    EXPECT_EQ(Headers(), Offsets({0, 0x24}));
    const CompileUnitInfo& second = Probe::m_cuHeaderMap(file).at(0x24);
    EXPECT_EQ(second.unitLength, 0x30u);
    EXPECT_EQ(second.version, 7);
    EXPECT_EQ(second.addressSize, 4);
    EXPECT_NE(Probe::FindAbbrevDecl(file, second.abbrevOffset, 1), nullptr);

    EXPECT_EQ(Rows(), Offsets({11, 0x2F}));
    EXPECT_EQ(Row(11).sibling, 0x2Fu);
    EXPECT_EQ(Row(11).child, 11 + 1 + sizeof("first.c"));
    EXPECT_EQ(Row(0x2F).sibling, 0x63u) << "11 bytes behind the section's end";
    EXPECT_EQ(Row(0x2F).child, kNone);
    EXPECT_EQ(Row(0x2F).parent, kNone);
    EXPECT_EQ(Row(0x2F).abbrIndex, 1u);
    EXPECT_EQ(Row(0x2F).flags, DIEInfo::kDieBuilt);

    ASSERT_EQ(Store().FileScopeCount(), 2u);
    EXPECT_EQ(Store().FileScopeAt(0).GetId(), 11u);
    EXPECT_EQ(Store().FileScopeAt(1).GetPath(), "second.c");

    file.BuildCompileUnitIndex();
    EXPECT_EQ(Headers().size(), 2u);
    EXPECT_EQ(Rows().size(), 2u);
    EXPECT_EQ(Store().FileScopeCount(), 2u);
}

TEST_P(CompileUnitIndex, AnEmptyFileIsIndexedOnce)
{
    DwarfBuilder dwarf(GetParam());
    Dwarf2File& file = Index(dwarf);
    EXPECT_EQ(Headers(), Offsets());
    EXPECT_EQ(Probe::m_flags(file), Probe::kDump | Probe::kIndexBuilt | Probe::kRelocationDone);
}

TEST_P(CompileUnitIndex, ANullEntryAtAUnitsHeadEndsTheScan)
{
    DwarfBuilder dwarf(GetParam());
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
    DwarfBuilder dwarf(GetParam());
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

TEST_P(CompileUnitIndex, AHeaderCutOffOrEndingWithTheSectionIsNotKept)
{
    DwarfBuilder dwarf(GetParam());
    Unit(dwarf, "first.c");
    Unit(dwarf, "second.c");
    const std::string whole = dwarf.info.Bytes();
    for (u32 size = 0; size <= whole.size(); ++size) {
        DwarfBuilder cut(GetParam());
        cut.abbrev.Raw(dwarf.abbrev);
        cut.info.Raw(whole).Truncate(size);
        Index(cut);
        const std::size_t headers = size > 0x24 + 11 ? 2 : size > 11 ? 1 : 0;
        EXPECT_EQ(Headers().size(), headers) << size;
        EXPECT_EQ(Rows().size(), headers) << size;
    }
}

TEST_P(CompileUnitIndex, ALengthThatLeadsBackOrBeyondEndsTheScan)
{
    // Beyond the section; to its last byte before the wrap; wrapped to 0, to the unit itself, into
    // its own header, and to the unit in front.
    const u32 second = 0x24;
    for (const u32 end : {0x1000u, kNone, 0u, second, second + 3, 5u}) {
        DwarfBuilder dwarf(GetParam());
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

TEST_P(CompileUnitIndex, ALengthThatEndsInsideTheHeaderLeadsThere)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit({.length = 0}).Name("a.c");
    dwarf.info.Fill(32);
    Index(dwarf);
    ASSERT_GE(Headers().size(), 2u);
    EXPECT_EQ(Headers()[1], 4u);
}

TEST_P(CompileUnitIndex, AUnitOfAnotherAddressSizeHasNoAddress)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit({.addressSize = 2}).Spec(AT_low_pc, FORM_addr).Value(FORM_data2, 0x8000).Name("small.c");
    Index(dwarf);
    ASSERT_EQ(Store().FileScopeCount(), 1u);
    EXPECT_EQ(Store().FileScopeAt(0).GetPath(), "small.c");
    EXPECT_EQ(Store().FileRangeAt(0).range.value, kNone);
}

/// The unit's DIE as a file scope.
class CompileUnitScope : public DwarfTest {
protected:
    DwarfBuilder m_dwarf{GetParam()};

    void ExpectScope(const std::string& path, u32 value, u32 size, bool noSize)
    {
        Index(m_dwarf);
        ASSERT_EQ(Store().FileScopeCount(), 1u);
        const FileRange& range = Store().FileRangeAt(0);
        EXPECT_EQ(Store().FileScopeAt(0).GetPath(), path);
        EXPECT_EQ(range.range.value, value);
        EXPECT_EQ(range.range.section, kNone);
        EXPECT_EQ(range.range.size, size);
        EXPECT_EQ((Store().FileScopeAt(0).m_flags & DbgSymSrcFile::kNoSize) != 0, noSize);
    }
};
BOTH_BYTE_ORDERS(CompileUnitScope);

TEST_P(CompileUnitScope, ARelativeNameIsJoinedToTheDirectory)
{
    m_dwarf.Unit().Name("src/a.c").Attr(AT_comp_dir, FORM_strp, "/build/x").Attr(AT_stmt_list, FORM_data4, 0x40);
    ExpectScope("/build/x/src/a.c", kNone, 0, false);
    EXPECT_EQ(Store().FileRangeAt(0).lineOffset, 0x40u);
}

TEST_P(CompileUnitScope, AnEmptyOrMissingDirectoryLeavesTheName)
{
    m_dwarf.Unit().Attr(AT_comp_dir, FORM_string, "").Name("a.c");
    ExpectScope("a.c", kNone, 0, false);
    EXPECT_EQ(Store().FileRangeAt(0).lineOffset, kNone);
}

TEST_P(CompileUnitScope, AddressesMakeARange)
{
    m_dwarf.Unit().Attr(AT_high_pc, FORM_addr, 0x8180).Attr(AT_low_pc, FORM_addr, 0x8000).Name("a.c");
    ExpectScope("a.c", 0x8000, 0x180, false);
}

TEST_P(CompileUnitScope, AStartWithoutAnEndIsFlagged)
{
    m_dwarf.Unit().Name("a.c").Attr(AT_low_pc, FORM_addr, 0x8000).Attr(AT_high_pc, FORM_addr, 0);
    ExpectScope("a.c", 0x8000, 0, true);
}

TEST_P(CompileUnitScope, NoStartMeansNoFlag)
{
    m_dwarf.Unit().Name("a.c").Attr(AT_high_pc, FORM_addr, 0x10);
    ExpectScope("a.c", kNone, 0x11, false); // the end minus a start of -1
}

TEST_P(CompileUnitScope, ReadingGoesOnBehindAFormOfZero)
{
    m_dwarf.Unit().Spec(AT_language, 0).Name("a.c");
    ExpectScope("a.c", kNone, 0, false);
}

TEST_P(CompileUnitScope, AUnitWithoutANameIsNotInTheStore)
{
    for (const bool empty : {true, false}) {
        DwarfBuilder dwarf(GetParam());
        dwarf.Unit().Attr(AT_comp_dir, FORM_string, "/build");
        if (empty) {
            dwarf.Name("");
        }
        Index(dwarf);
        EXPECT_EQ(Store().FileScopeCount(), 0u);
        EXPECT_NE(Probe::FindDieInfo(File(), 11), nullptr);
    }
}

TEST_P(CompileUnitScope, ARelativeFilesUnitsCountFromTheirSection)
{
    m_dwarf.Unit().Name("a.c").Attr(AT_low_pc, FORM_addr, 0x100).Attr(AT_high_pc, FORM_addr, 0x180);
    Dwarf2File& file = Open(m_dwarf);
    const u32 id = DbgSymSymFile::GetNewSectionID();
    const DbgSection section("code", kSectionPiCode, id, kNone, 0x1000, 0x100);
    Store().GetSectionList().AddSection(&section);
    Probe::m_flags(file) |= Probe::kSectionRelative | Probe::kRelocationDone;
    Probe::m_sectionId(file) = id;
    file.BuildCompileUnitIndex();
    ASSERT_EQ(Store().FileScopeCount(), 1u);
    const DbgAddrRange& range = Store().FileRangeAt(0).range;
    EXPECT_EQ(range.value, 0u);
    EXPECT_EQ(range.section, id);
    EXPECT_EQ(range.size, 0x80u);
    EXPECT_EQ(Store().FileScopeAt(0).m_flags, 0u);
}

/// A store that takes no file scope.
class RefusingStore : public DbgSymSymFile {
public:
    using DbgSymSymFile::DbgSymSymFile;
    DbgSymSrcFile* AddFileScope(u32, const std::string&, const DbgAddrRange&, u32, u32, bool) override
    {
        return nullptr;
    }
};

TEST_P(CompileUnitScope, AStoreThatRefusesIsTakenQuietly)
{
    m_dwarf.Unit().Name("a.c").Attr(AT_low_pc, FORM_addr, 0x8000);
    Index<RefusingStore>(m_dwarf);
    EXPECT_NE(Probe::FindDieInfo(File(), 11), nullptr);
}

} // namespace
