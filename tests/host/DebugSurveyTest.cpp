// host/DebugSurvey.cpp and host/LineOpcodes.cpp: which files are converted by themselves, and which get a hint.
#include "host/DebugSurvey.h"

#include "host/LineOpcodes.h"
#include "index/DwarfCodes.h"
#include "interfaces/VFKElfFile.h"
#include "tests/host/HostTesting.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <gtest/gtest.h>

namespace {

constexpr u32 kShfCompressed = 0x800;

class DebugSurveyTest : public ::testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Section() const { return ByteSection(GetParam()); }

    /// A unit of nothing but its header.
    static ByteSection& Unit(ByteSection& section, u16 version, u32 length = 20)
    {
        return section.U32(length).U16(version).Fill(length - 2);
    }
    static ByteSection& LongUnit(ByteSection& section, u16 version, u64 length = 20)
    {
        return section.U32(0xFFFFFFFF).U64(length).U16(version).Fill(18);
    }

    DebugSurvey Survey(const ByteSection& info, const std::string& name = ".debug_info", u32 flags = 0) const
    {
        ElfWriter elf(GetParam());
        elf.Section(name, info, {.flags = flags});
        return SurveyDebugInfo(elf.Write().Path());
    }

    bool Hint(const ByteSection& abbrev) const
    {
        ElfWriter elf(GetParam());
        elf.Section(".debug_abbrev", abbrev);
        return HasEntriesPassedOver(elf.Write().Path());
    }

    std::unordered_set<u32> Misread(const ByteSection& line) const
    {
        ElfWriter elf(GetParam());
        elf.Section(".debug_line", line);
        const TempFile file = elf.Write();
        return MisreadLineProgrammes(VFKElfFile(file.Path()));
    }

    static ByteSection& Declare(ByteSection& abbrev, u32 tag, bool children, bool sibling)
    {
        abbrev.Uleb(1).Uleb(tag).U8(children ? 1 : 0).Uleb(AT_name).Uleb(FORM_string);
        if (sibling) {
            abbrev.Uleb(AT_sibling).Uleb(FORM_ref4);
        }
        return abbrev.U8(0).U8(0);
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(ByteOrders, DebugSurveyTest, ::testing::Values(ByteOrder::Little, ByteOrder::Big),
                         [](const auto& order) { return order.param == ByteOrder::Little ? "Little" : "Big"; });

TEST_P(DebugSurveyTest, CountsTheUnitsByVersion)
{
    ByteSection info = Section();
    Unit(info, 2);
    LongUnit(info, 5);
    Unit(info, 3, 5000); // further than one read goes
    Unit(info, 4);
    Unit(info, 5);
    const DebugSurvey survey = Survey(info);
    EXPECT_TRUE(survey.isElf32);
    EXPECT_EQ(survey.units, 5u);
    EXPECT_EQ(survey.WhyNewer(), "3 of 5 units are DWARF 4 and 5");
    EXPECT_EQ(Survey(info, ".debug_types").WhyNewer(), "3 of 5 units are DWARF 4 and 5");
    EXPECT_FALSE(Survey(info, ".debug_str").IsNewer());

    ByteSection old = Section();
    Unit(Unit(old, 2), 3);
    EXPECT_FALSE(Survey(old).IsNewer());
    ByteSection one = Section();
    EXPECT_EQ(Survey(Unit(one, 5)).WhyNewer(), "1 of 1 unit is DWARF 5");
    ByteSection odd = Section();
    EXPECT_EQ(Survey(Unit(Unit(Unit(Unit(odd, 0xFFFF), 7), 6), 4)).WhyNewer(), "4 of 4 units are DWARF 4 and later");
}

TEST_P(DebugSurveyTest, SeesCompressedSections)
{
    EXPECT_EQ(Survey(Section().Fill(100), ".zdebug_info").WhyNewer(), "The debug sections are compressed");
    EXPECT_EQ(Survey(Section().Fill(100, 0x55), ".debug_str", kShfCompressed).WhyNewer(),
              "The debug sections are compressed");
    EXPECT_FALSE(Survey(Section().Fill(100), ".data", kShfCompressed).IsNewer());
}

TEST_P(DebugSurveyTest, EndsWhereASectionLies)
{
    ByteSection info = Section();
    Unit(Unit(info, 5).Fill(400), 4); // padding is no unit
    EXPECT_EQ(Survey(info).WhyNewer(), "2 of 2 units are DWARF 4 and 5");
    for (const u64 length : {u64{0xFFFFFFF0}, u64{0xFFFFFFFE}}) {
        ByteSection wide = Section();
        wide.U32(length).U16(5).Fill(100);
        EXPECT_EQ(Survey(wide).units, 1u);
    }
    for (const u64 length : {~u64{0}, ~u64{0} - 11, u64{1} << 63}) {
        ByteSection wide = Section();
        EXPECT_EQ(Survey(LongUnit(wide, 5, length)).units, 1u);
    }
    for (u32 size = 0; size < 14; ++size) {
        ByteSection cut = Section();
        LongUnit(cut, 5).Truncate(size);
        EXPECT_FALSE(Survey(cut).IsNewer()) << size;
    }
    ElfWriter elf(GetParam());
    elf.Section(".debug_info", Unit(info, 5), {.size = 0xFFFFFFFF});
    EXPECT_GE(SurveyDebugInfo(elf.Write().Path()).units, 3u);
    EXPECT_FALSE(SurveyDebugInfo(TempFile("no ELF file").Path()).isElf32);
}

TEST_P(DebugSurveyTest, HintsAtEntriesThatTypesLeadTo)
{
    for (const u32 tag : {0x1Fu, 0x39u, 0x3Bu}) { // a pointer to member, a namespace, an unspecified type
        ByteSection abbrev = Section();
        Declare(Declare(abbrev, TAG_compile_unit, true, false), tag, false, false);
        EXPECT_TRUE(Hint(abbrev)) << tag;
    }
    ByteSection noSiblings = Section();
    Declare(Declare(noSiblings, TAG_compile_unit, true, false), TAG_structure_type, true, false);
    EXPECT_FALSE(Hint(noSiblings)) << "one last entry";
    ByteSection table = noSiblings;
    EXPECT_TRUE(Hint(Declare(table, TAG_subprogram, true, false)));
    ByteSection other = noSiblings;
    EXPECT_FALSE(Hint(Declare(other.U8(0), TAG_subprogram, true, false))) << "of another unit";

    ByteSection nested = Section();
    Declare(Declare(nested, TAG_subprogram, true, false), TAG_lexical_block, true, false);
    EXPECT_FALSE(Hint(nested)) << "each the last of its level";
    ByteSection siblings = Section();
    Declare(Declare(siblings, TAG_structure_type, true, true), TAG_subprogram, true, false);
    EXPECT_FALSE(Hint(Declare(siblings, TAG_array_type, true, false)));
    for (u32 size = 0; size < noSiblings.Size(); ++size) {
        ByteSection cut = noSiblings;
        EXPECT_FALSE(Hint(cut.Truncate(size)));
    }
    EXPECT_FALSE(Hint(Section().Fill(300, 0xFF))) << "a number without an end";
}

TEST(DebugSurvey, OfTheSamples)
{
    EXPECT_FALSE(SurveyDebugInfo(Sample("station.axf")).IsNewer());
    EXPECT_TRUE(HasEntriesPassedOver(Sample("station.axf"))) << "it has pointers to member";
    EXPECT_TRUE(HasEntriesPassedOver(Sample("clang.axf"))) << "it has no AT_sibling";
    EXPECT_FALSE(HasEntriesPassedOver(Sample("symbols.axf")));
}

TEST_P(DebugSurveyTest, ProgrammesAreMisreadThatUseOpcodesOfDwarf3)
{
    LineHeader later;
    later.opcodeBase = 13;
    later.operandCounts = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1};
    ByteSection line = Section();
    const auto add = [&](const LineHeader& header, bool prologueEnd) {
        LineBuilder builder(line, header);
        builder.File("a.c").SetAddress(0x8000).AdvanceLine(9).FixedAdvancePc(0x0A0B).AdvancePc(11).Copy();
        if (prologueEnd) {
            line.U8(10);
        }
        builder.EndSequence();
        builder.Finish();
        return builder.Offset();
    };
    add({}, true); // a special one
    add(later, false);
    EXPECT_TRUE(Misread(line).empty());
    const u32 used = add(later, true);
    LineHeader newer;
    newer.version = 4;
    const u32 unknown = add(newer, false);
    EXPECT_EQ(Misread(line), (std::unordered_set<u32>{used, unknown}));
    for (u32 size = 0; size < line.Size(); size += 7) {
        ByteSection cut = line;
        EXPECT_LE(Misread(cut.Truncate(size)).size(), 2u);
    }
    EXPECT_LE(Misread(Section().Fill(100, 0xFF)).size(), 1u);
}
