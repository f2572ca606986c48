// Tables are known by their zero codes alone, and a code is an index.
#include "index/AbbrevDecl.h"
#include "tests/support/DwarfTest.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

class AbbrevTables : public DwarfTest {
protected:
    /// Reads a `.debug_abbrev` of the given bytes.
    Dwarf2File& Read(const ByteSection& abbrev)
    {
        Restart();
        dwarf.abbrev.Raw(abbrev);
        Dwarf2File& file = Open(dwarf);
        Probe::ReadAbbrevTables(file);
        return file;
    }

    std::vector<u32> Keys()
    {
        std::vector<u32> keys;
        for (const auto& [offset, list] : Probe::m_abbrListMap(File())) {
            EXPECT_NE(list, nullptr);
            keys.push_back(offset);
        }
        return keys;
    }

    const AbbrevDecl* Find(u32 table, u32 code) { return Probe::FindAbbrevDecl(File(), table, code); }

    ByteSection Bytes() { return ByteSection(GetParam()); }

    /// A declaration with one attribute pair.
    static ByteSection& Declare(ByteSection& abbrev, u32 code, u32 tag)
    {
        return abbrev.Uleb(code).Uleb(tag).U8(0).Uleb(AT_name).Uleb(FORM_string).U16(0);
    }
};
BOTH_BYTE_ORDERS(AbbrevTables);

TEST_P(AbbrevTables, ATableBeginsBehindEachZeroCode)
{
    Read(Bytes());
    EXPECT_EQ(Keys(), std::vector<u32>({0}));
    Read(Bytes().U8(0));
    EXPECT_EQ(Keys(), std::vector<u32>({0, 1}));
    EXPECT_EQ(Find(0, 1), nullptr);
    EXPECT_EQ(Find(1, 1), nullptr);

    ByteSection abbrev = Bytes();
    Declare(abbrev, 1, TAG_compile_unit);
    Declare(abbrev, 2, TAG_variable).U8(0);
    const u32 second = abbrev.Size();
    Declare(abbrev, 1, TAG_base_type).U8(0);
    Read(abbrev);
    EXPECT_EQ(Keys(), std::vector<u32>({0, second, abbrev.Size()}));
    EXPECT_EQ(Find(0, 1)->tag, TAG_compile_unit);
    EXPECT_EQ(Find(second, 1)->tag, TAG_base_type);
    EXPECT_EQ(Find(0, 2)->tag, TAG_variable);
    EXPECT_EQ(Find(second, 2), nullptr);
    EXPECT_EQ(Find(second + 1, 1), nullptr);
}

TEST_P(AbbrevTables, ACodeIsFoundByItsDistanceFromTheFirst)
{
    ByteSection abbrev = Bytes();
    // The codes aren't compared: the one behind 6 is found as 7, whatever it says.
    for (const u32 code : {5u, 6u, 100u}) {
        Declare(abbrev, code, TAG_member);
    }
    Read(abbrev);
    EXPECT_EQ(Find(0, 5)->code, 5u);
    EXPECT_EQ(Find(0, 7)->code, 100u);
    for (const u32 code : {0u, 4u, 8u, 100u, kNone}) {
        EXPECT_EQ(Find(0, code), nullptr) << code;
    }
}

TEST_P(AbbrevTables, PairsEndAtAZeroInEitherHalf)
{
    for (const auto& [attribute, form] : {std::pair{0u, 0u}, {u32{AT_name}, 0u}, {0u, u32{FORM_data1}}}) {
        ByteSection abbrev = Bytes();
        abbrev.Uleb(1).Uleb(TAG_member).U8(0).Uleb(AT_type).Uleb(FORM_ref4).Uleb(attribute).Uleb(form);
        Declare(abbrev, 2, TAG_variable);
        Read(abbrev);
        ASSERT_NE(Find(0, 2), nullptr) << attribute << ' ' << form;
        EXPECT_EQ(Find(0, 2)->tag, TAG_variable);
    }
}

TEST_P(AbbrevTables, NumbersWithoutEndStopAtTheSectionsEnd)
{
    Read(Bytes().Fill(4096, 0xFF));
    EXPECT_EQ(Keys(), std::vector<u32>({0}));
    Read(Bytes().Uleb(1, 2).Uleb(TAG_hi_user).U8(0x80).Fill(4096, 0x80));
    ASSERT_NE(Find(0, 1), nullptr);
    EXPECT_EQ(Find(0, 1)->tag, TAG_hi_user);
    EXPECT_EQ(Find(0, 1)->hasChildren, 0x80);
    EXPECT_EQ(Find(0, 1)->headerSize, 2 + 3 + 1);
}

TEST_P(AbbrevTables, ASectionCutAnywhereKeepsTheDeclarationsInFront)
{
    ByteSection whole = Bytes();
    std::vector<u32> childrenBytes;
    for (u32 code = 1; code <= 3; ++code) {
        childrenBytes.push_back(whole.Size() + 3);
        whole.Uleb(code, 2);
        whole.Uleb(TAG_variable).U8(1).Uleb(AT_lo_user).Uleb(FORM_data4, 3).U16(0);
    }
    whole.U8(0);
    for (u32 size = 1; size <= whole.Size(); ++size) {
        Read(ByteSection(whole).Truncate(size));
        const auto stored = std::count_if(childrenBytes.begin(), childrenBytes.end(),
                                          [size](u32 childrenByte) { return childrenByte < size; });
        EXPECT_EQ(Probe::m_abbrListMap(File()).at(0)->size(), static_cast<std::size_t>(stored)) << size;
        EXPECT_EQ(Find(0, static_cast<u32>(stored) + 1), nullptr) << size;
    }
}

TEST_P(AbbrevTables, TheFirstReadingIsAnnouncedInADump)
{
    dwarf.Unit();
    Dwarf2File& file = Open(dwarf);
    std::ostringstream out;
    Probe::m_dumpStream(file) = &out;
    Probe::ReadAbbrevTables(file);
    const std::string head = "DWARF 2.0 dump for " + Path() + "\nStart tick = 0x";
    EXPECT_EQ(out.str().substr(0, head.size()), head);
    EXPECT_EQ(out.str().size(), head.size() + 9);
    EXPECT_EQ(out.str().back(), '\n');
}

} // namespace
