// Which sections the engine gets, of which type, and when a file's addresses are relative to one.
#include "tests/support/DwarfTest.h"

#include <string>
#include <tuple>

namespace {

constexpr u32 kCode = kShfAlloc | kShfExecInstr;
constexpr u32 kDataFlags = kShfAlloc | kShfWrite;

class SectionTable : public DwarfTest {
protected:
    SectionTable() { g_prefs.relocateLibs = true; }

    ByteSection Bytes(u32 size = 16) { return ByteSection(GetParam()).Fill(size, 0x11); }

    /// Opens the file and runs the relocation step.
    Dwarf2File& Relocate(const ElfWriter& elf)
    {
        Dwarf2File& file = Open(elf);
        Probe::CheckRelocation(file);
        return file;
    }

    void ExpectAbsolute()
    {
        EXPECT_EQ(Probe::m_sectionId(File()), kNone);
        EXPECT_EQ(Probe::m_flags(File()), Probe::kRelocationDone);
        EXPECT_EQ(Probe::GetRelocationSection(File()), nullptr);
        EXPECT_EQ(Store().GetSectionList().Count(), 0u);
    }

    void ExpectRelativeTo(const std::string& name, u32 size)
    {
        EXPECT_EQ(Probe::m_flags(File()), Probe::kRelocationDone | Probe::kSectionRelative);
        const DbgSection* section = Probe::GetRelocationSection(File());
        ASSERT_NE(section, nullptr);
        EXPECT_EQ(section->id, Probe::m_sectionId(File()));
        EXPECT_EQ(std::tuple(section->name, section->type, section->parent, section->size, section->base),
                  std::tuple(name, 2u, kNone, size, 0u));
        Probe::CheckRelocation(File());
        EXPECT_EQ(Store().GetSectionList().Count(), 1u) << "the step runs once";
    }
};
BOTH_BYTE_ORDERS(SectionTable);

TEST_P(SectionTable, TheTypeTellsCodeFromDataAndItsSegment)
{
    for (const u16 machine : {kMachineArm, u16{8}}) {
        for (const u32 flags : {kPfX, kPfX | kPfArmPi}) {
            ElfWriter elf(GetParam(), machine);
            const u32 code = elf.Section(".text", Bytes(), {.flags = kCode});
            const u32 data = elf.Section(".data", Bytes(), {.flags = kDataFlags, .address = 0x100});
            elf.Section(".debug_line", Bytes());
            elf.Segment(code, flags);
            elf.Segment(data, flags);
            Dwarf2File& file = Open(elf);
            const auto type = [&](const char* name) {
                return Probe::GetSectionType(file, file.Elf().GetSectionHeader(name), nullptr, nullptr);
            };
            const u32 independent = machine == kMachineArm && (flags & kPfArmPi) != 0 ? 2 : 0;
            EXPECT_EQ(type(".text"), independent);
            EXPECT_EQ(type(".data"), 16 + independent);
            EXPECT_EQ(type(".debug_line"), 16u) << "in no segment";
            EXPECT_EQ(type(".nowhere"), kNone);
        }
    }
}

TEST_P(SectionTable, OtherFilesAreAbsolute)
{
    for (const bool arm : {true, false}) {
        g_prefs.relocateLibs = !arm;
        ElfWriter elf(GetParam(), arm ? kMachineArm : u16{8});
        elf.Segment(elf.Section(".text", Bytes(), {.flags = kCode}), kPfArmPi | kPfX);
        Relocate(elf);
        ExpectAbsolute();
    }
    ElfWriter elsewhere(GetParam());
    const u32 code = elsewhere.Section(".text", Bytes(), {.flags = kCode, .address = 0x1000});
    elsewhere.Segment({.memorySize = 16, .flags = kPfArmPi}); // would do, but isn't asked
    elsewhere.Segment(code, kPfArmPi | kPfX);
    Relocate(elsewhere);
    ExpectAbsolute();

    ElfWriter empty(GetParam());
    empty.Segment(empty.Section(".text", Bytes(16), {.flags = kCode, .size = 0}), kPfArmPi | kPfX);
    empty.Edit([](ElfRecords& records) { records.segments[0].p_memsz = 16; });
    Relocate(empty);
    ExpectAbsolute();
}

TEST_P(SectionTable, WithoutSectionHeadersASegmentServes)
{
    ElfWriter elf(GetParam());
    elf.OmitSectionHeaders();
    elf.Segment({.memorySize = 64, .flags = kPfX});
    elf.Segment({.memorySize = 0, .flags = kPfArmPi | kPfX});
    elf.Segment({.physicalAddress = 0x1000, .memorySize = 64, .flags = kPfArmPi | kPfX});
    elf.Segment({.type = 7, .address = 0x500, .memorySize = 0x123, .flags = kPfArmPi}); // needn't be executable
    elf.Segment({.memorySize = 64, .flags = kPfArmPi | kPfX});
    Relocate(elf);
    ExpectRelativeTo("PH[3]", 0x123);

    ElfWriter none(GetParam());
    none.OmitSectionHeaders();
    none.Segment({.memorySize = 64, .flags = kPfX});
    Relocate(none);
    ExpectAbsolute();
}

TEST_P(SectionTable, ALibraryLinkedAtZeroIsRelativeToItsCode)
{
    dwarf.Unit().Name("lib.c").Range(0x40, 0x60);
    ElfWriter elf(GetParam());
    const u32 data = elf.Section(".first", Bytes(), {.flags = kDataFlags});
    const u32 code = elf.Section(".text", Bytes(0x80), {.flags = kCode});
    elf.Segment(data, kPfArmPi); // not executable: isn't taken
    elf.Segment(code, kPfArmPi | kPfX);
    dwarf.AddTo(elf);
    Dwarf2File& file = Open(elf);
    file.BuildCompileUnitIndex();
    const DbgAddrRange& range = Store().FileRangeAt(0).range;
    EXPECT_EQ(std::tuple(range.value, range.section, range.size), std::tuple(0x40u, Probe::m_sectionId(file), 0x20u));
    Relocate(elf);
    ExpectRelativeTo(".text", 0x80);
}

} // namespace
