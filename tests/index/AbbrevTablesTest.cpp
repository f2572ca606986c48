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

} // namespace
