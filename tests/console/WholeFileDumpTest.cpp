// The dump of all of `.debug_info`: its layout, its progress, and that no file makes it print without
// proportion.
#include "tests/console/ConsoleTest.h"

#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <initializer_list>
#include <memory>

namespace {

class WholeFileDump : public ConsoleTest {
protected:
    std::string Text(std::initializer_list<u8> bytes)
    {
        const VFKDataString data(false, GetParam() == ByteOrder::Little, bytes.begin(), static_cast<u32>(bytes.size()));
        std::string text;
        DbgExpression(data, nullptr, nullptr).GetText(text, false);
        return text;
    }
    /// The dump without what the reading of the abbreviations prints in front.
    std::string DumpOnly()
    {
        Probe::ReadAbbrevTables(File());
        return Dump("dump");
    }
};
BOTH_BYTE_ORDERS(WholeFileDump);

TEST_P(WholeFileDump, UnitsEntriesAttributesAndLocations)
{
    DwarfBuilder dwarf(GetParam());
    const u32 list = dwarf.LocationList({{0, 4, {0x50}}, {4, 8, {0x91, 0x7c}}});
    dwarf.Unit().Name("a.c").Children([&] {
        dwarf.Die(TAG_subprogram).Attr(AT_frame_base, FORM_block1, {0x5b}).Children([&] {
            dwarf.Die(TAG_variable).Attr(AT_location, FORM_block1, {0x91, 0x7c});
            dwarf.Die(TAG_variable).Attr(AT_location, FORM_data4, list).Attr(AT_decl_line, FORM_data1, 3);
        });
    });
    dwarf.Unit().Attr(AT_type, FORM_ref4, 0x10);
    Open(dwarf);
    EXPECT_EQ(DumpOnly(), "\n\n0x00000000: CU(0x0000001b, 0x0002,  0x00000000,  0x04)"
                          "\n\n0x0000000b: TAG_compile_unit (1){"
                          "\n0x0000000c:  AT_name(\"a.c\")"
                          "\n\n0x00000010: \tTAG_subprogram (2){"
                          "\n0x00000011: \t AT_frame_base(5B )"
                          "\n\n0x00000013: \t\tTAG_variable (3)"
                          "\n0x00000014: \t\t AT_location(91 7C )"
                          "\n            \t\t\t" +
                              Text({0x91, 0x7c}) +
                              "\n\n0x00000017: \t\tTAG_variable (4)"
                              "\n0x00000018: \t\t AT_location(0x00000000)"
                              "\n            \t\t\t0x00000000-0x00000004: " +
                              Text({0x50}) + "\n            \t\t\t0x00000004-0x00000008: " + Text({0x91, 0x7c}) +
                              "\n0x0000001c: \t\t AT_decl_line(0x03)"
                              "\n0x0000001d: \t}"
                              "\n0x0000001e: }"
                              "\n\n0x0000001f: CU(0x0000000c, 0x0002,  0x0000001f,  0x04)"
                              "\n\n0x0000002a: TAG_compile_unit (1)"
                              "\n0x0000002b:  AT_type(0x00000010 (0x0000002f))");
}

TEST_P(WholeFileDump, ReadsTheAbbreviationsOnTheSpot)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    Open(dwarf);
    const std::string text = Dump("dump");
    EXPECT_EQ(WithoutPath(text).rfind("DWARF 2.0 dump for FILE\nStart tick = 0x", 0), 0u);
    EXPECT_EQ(text.substr(text.find("\n\n\n") + 1), DumpOnly());
}

TEST_P(WholeFileDump, UnknownCodesAreSilentAndTheUnitsEndCatchesUp)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit().Children([&] {
        dwarf.Entry(99).Entry(0x81);
        dwarf.info.Fill(3, 99);
    });
    dwarf.Unit();
    Open(dwarf);
    EXPECT_EQ(DumpOnly(), "\n\n0x00000000: CU(0x0000000f, 0x0002,  0x00000000,  0x04)"
                          "\n\n0x0000000b: TAG_compile_unit (1){"
                          "\n0x00000012: }"
                          "\n\n0x00000013: CU(0x00000008, 0x0002,  0x00000006,  0x04)"
                          "\n\n0x0000001e: TAG_compile_unit (1)");
}

TEST_P(WholeFileDump, UnitLengthsThatLie)
{
    for (const u32 length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFF0u}) { // each sum wraps
        DwarfBuilder dwarf(GetParam());
        UnitHeader header;
        header.length = length;
        dwarf.Unit(header);
        dwarf.Unit();
        Open(dwarf);
        const std::string text = DumpOnly();
        EXPECT_EQ(std::count(text.begin(), text.end(), ','), 3) << "one head: " << text;
    }
    DwarfBuilder dwarf(GetParam());
    UnitHeader header;
    header.length = 0x1000;
    dwarf.Unit(header).Children([&] { dwarf.Die(TAG_label); });
    Open(dwarf);
    EXPECT_EQ(DumpOnly(), "\n\n0x00000000: CU(0x00001000, 0x0002,  0x00000000,  0x04)"
                          "\n\n0x0000000b: TAG_compile_unit (1){"
                          "\n\n0x0000000c: \tTAG_label (2)"
                          "\n0x0000000d: }");
    EXPECT_EQ(Probe::m_dumpIndent(File()), 0);
}

TEST_P(WholeFileDump, AnOpenLevelStaysForTheNextDump)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Header().Declare(1, TAG_lexical_block, true, {}).Entry(1).Entry(1).EndUnit();
    Open(dwarf);
    EXPECT_NE(DumpOnly().find("c: \tTAG_"), std::string::npos);
    EXPECT_EQ(Probe::m_dumpIndent(File()), 2);
    EXPECT_NE(Dump("dump").find("c: \t\t\tTAG_"), std::string::npos);
}

TEST_P(WholeFileDump, ALocationGivenAsTextReachesToTheSectionsEnd)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.str.Text("P");
    dwarf.Unit().Attr(AT_location, FORM_strp, "Q").Attr(AT_location, FORM_string, "R");
    Open(dwarf);
    const std::string text = DumpOnly();
    EXPECT_NE(text.find(" AT_location(\"Q\")\n            \t" + Text({'Q', 0})), std::string::npos);
    EXPECT_NE(text.find(" AT_location(\"R\")\n            \t" + Text({'R', 0})), std::string::npos);
}

TEST_P(WholeFileDump, StaticBaseIsRewrittenInListsAlone)
{
    DwarfBuilder dwarf(GetParam());
    const u32 list = dwarf.LocationList({{0, 4, {0x79, 0x7c}}});
    dwarf.Unit().Attr(AT_location, FORM_data4, list).Attr(AT_location, FORM_block1, {0x79, 0x7c});
    Open(dwarf);
    g_prefs.enableSb = true;
    g_prefs.sbExpr = "%d";
    Probe::m_sectionId(File()) = 3;
    const std::string text = DumpOnly();
    EXPECT_NE(text.find("0x00000004: " + Text({0x11, 0x7c, 0x10, 3, 0x22})), std::string::npos) << text;
    EXPECT_NE(text.find("(79 7C )\n            \t" + Text({0x79, 0x7c})), std::string::npos) << text;
}

/// A user interface that notes what is shown, and cancels at the n-th look.
class RecordingInterface : public DbgUserInterface {
public:
    class Indicator : public ProgressIndicator {
    public:
        explicit Indicator(RecordingInterface& owner)
            : m_owner(owner)
        {
        }
        ~Indicator() override { ++m_owner.closed; }
        void SetPosition(u32 position) override { m_owner.positions.push_back(position); }
        bool WasCancelled() override { return m_owner.positions.size() >= m_owner.cancelAt; }

    private:
        RecordingInterface& m_owner;
    };

    explicit RecordingInterface(std::size_t cancelAtLook)
        : cancelAt(cancelAtLook)
    {
        DbgEngineInterface::SetUserInterface(this);
    }
    ~RecordingInterface() override { DbgEngineInterface::SetUserInterface(nullptr); }
    ProgressIndicator* OpenProgress(const char* title, const char* detail, u32 first, u32 last, u32, bool) override
    {
        opened = std::string(title) + "|" + detail + "|" + std::to_string(first) + "|" + std::to_string(last);
        return new Indicator(*this);
    }

    std::string opened;
    std::vector<u32> positions;
    std::size_t cancelAt;
    int closed = 0;
};

TEST_P(WholeFileDump, ProgressMovesAndCancelsBetweenUnits)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    dwarf.Unit();
    Open(dwarf);
    const std::string whole = DumpOnly();
    const std::string cancelled = "User canceled dump...\n";
    {
        RecordingInterface shown(3);
        EXPECT_EQ(DumpOnly(), whole);
        const std::string& path = Opened().Path();
        EXPECT_EQ(shown.opened, "Dumping DWARF2|" + path.substr(path.rfind('/') + 1) + "|0|24");
        EXPECT_EQ(shown.positions, (std::vector<u32>{12, 24}));
        EXPECT_EQ(shown.closed, 1);
    }
    {
        RecordingInterface first(1);
        EXPECT_EQ(DumpOnly(), whole.substr(0, whole.find("\n\n0x0000000c")) + cancelled);
    }
    RecordingInterface last(2);
    EXPECT_EQ(DumpOnly(), whole + cancelled);
    EXPECT_EQ(last.closed, 1);
}

TEST_P(WholeFileDump, AnEmptySectionShowsItsProgressOnly)
{
    RecordingInterface shown(1);
    Open(ElfWriter(GetParam()));
    EXPECT_EQ(DumpOnly(), "");
    EXPECT_EQ(shown.closed, 1);
}

/// Files that name the same bytes again and again, or lines without bytes: by a size n.
using MakeFile = void (*)(DwarfBuilder& dwarf, u32 n);

void OneLongText(DwarfBuilder& dwarf, u32 n)
{
    dwarf.str.Text(std::string(8 * n, 's'));
    dwarf.Header().Declare(1, TAG_label, false, {{AT_name, FORM_strp}, {AT_location, FORM_strp}});
    for (u32 i = 0; i < n; ++i) {
        dwarf.Entry(1).Value(FORM_strp, 0).Value(FORM_strp, 0);
    }
}

void OneLongList(DwarfBuilder& dwarf, u32 n)
{
    for (u32 i = 0; i < n; ++i) {
        dwarf.loc.U32(i + 1).U32(i + 2).U16(1).U8(0x50);
    }
    dwarf.Header().Declare(1, TAG_variable, false, {{AT_location, FORM_data4}});
    for (u32 i = 0; i < n; ++i) {
        dwarf.Entry(1).Value(FORM_data4, 0);
    }
}

void AttributesWithoutBytes(DwarfBuilder& dwarf, u32 n)
{
    dwarf.Unit().Children();
    for (u32 i = 0; i < n; ++i) {
        dwarf.Spec(AT_external, 0x19);
    }
    for (u32 i = 0; i < 4 * n; ++i) {
        dwarf.info.U8(1);
    }
}

void EntriesBehindTheirUnits(DwarfBuilder& dwarf, u32 n)
{
    // Each unit's entry reads all units behind it as one block, or as its own attributes.
    UnitHeader header;
    header.abbrevOffset = 0;
    for (u32 i = 0; i < n; ++i) {
        dwarf.Header(header);
        dwarf.info.U8(1).U32(0x00FFFFFF);
        dwarf.EndUnit();
    }
    dwarf.abbrev.Raw({1, 0x0a, 0, 0x02, 0x04, 0, 0, 0});
}

void LevelsThatNeverClose(DwarfBuilder& dwarf, u32 n)
{
    dwarf.Header().Declare(1, TAG_lexical_block, true, {});
    for (u32 i = 0; i < 8 * n; ++i) {
        dwarf.Entry(1);
    }
}

TEST_P(WholeFileDump, PrintsInProportionToTheFile)
{
    for (const MakeFile make :
         {OneLongText, OneLongList, AttributesWithoutBytes, EntriesBehindTheirUnits, LevelsThatNeverClose}) {
        std::size_t before = 0;
        for (const u32 n : {4000u, 8000u, 16000u}) {
            DwarfBuilder dwarf(GetParam());
            make(dwarf, n);
            ElfWriter elf(GetParam());
            dwarf.AddTo(elf);
            Open(elf);
            const std::size_t size = DumpOnly().size();
            // What each file is given at first, and 330 characters for a byte of it.
            EXPECT_LT(size, elf.Image().size() * 330 + 1500000) << n;
            EXPECT_LT(size, before == 0 ? size + 1 : before * 5 / 2) << n;
            before = size;
        }
    }
}

TEST_P(WholeFileDump, ADumpWithoutProportionSaysSo)
{
    DwarfBuilder dwarf(GetParam());
    OneLongText(dwarf, 16000);
    Open(dwarf);
    const std::string text = DumpOnly();
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2)), "\nDump ended: the file repeats too much of its text\n");
    Index(dwarf);
    EXPECT_LT(Dump("DIE 12").size(), text.size());
}

} // namespace
