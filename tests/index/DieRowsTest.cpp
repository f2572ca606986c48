// What rows start from, and what is noted in them at the end of a DIE's attributes.
#include "index/AbbrevDecl.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "tests/support/DwarfTest.h"

namespace {

class DieRows : public DwarfTest {};
BOTH_BYTE_ORDERS(DieRows);

TEST_P(DieRows, ARowIsAddedOnceWithItsStartValues)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.Unit();
    Dwarf2File& file = Open(dwarf);
    for (const u32 offset : {0u, 11u, 0x7FFFFFFFu, kNone}) {
        EXPECT_EQ(Probe::FindDieInfo(file, offset), nullptr);
        DIEInfo* row = Probe::GetDieInfo(file, offset);
        EXPECT_EQ(row->infoOffset, offset);
        EXPECT_EQ(row->abbrIndex, 0u);
        EXPECT_EQ(row->parent, kNone);
        EXPECT_EQ(row->sibling, kNone);
        EXPECT_EQ(row->child, kNone);
        EXPECT_EQ(row->flags, 0u);
        row->sibling = 5;
        EXPECT_EQ(Probe::GetDieInfo(file, offset), row);
        EXPECT_EQ(Probe::FindDieInfo(file, offset), row);
        EXPECT_EQ(row->sibling, 5u);
    }
}

TEST_P(DieRows, AnEntryFollowsWhereTheByteIsNotNull)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.info.U8(1).U8(0).U8(0x80);
    Dwarf2File& file = Open(dwarf);
    const bool expected[] = {true, false, true, false};
    for (u32 offset = 0; offset < 4; ++offset) {
        Seek(Probe::m_debug_info(file), offset);
        EXPECT_EQ(Probe::HasNextEntry(file), expected[offset]) << offset;
    }
}

TEST_P(DieRows, TheEndOfTheAttributesIsTheFirstChildOrTheSibling)
{
    DwarfBuilder dwarf(GetParam());
    dwarf.info.Fill(32, 1);
    Dwarf2File& file = Open(dwarf);
    Seek(Probe::m_debug_info(file), 20);
    AbbrevDecl leaf{};
    AbbrevDecl parent{};
    parent.hasChildren = 0x40; // any value but 0 says so
    const auto finish = [&](const AbbrevDecl& decl, u32 sibling) {
        DIEInfo row;
        row.sibling = sibling;
        Probe::FinishDieAttributes(file, &decl, &row);
        return std::pair(row.child, row.sibling);
    };
    EXPECT_EQ(finish(leaf, kNone), std::pair(kNone, 20u));
    EXPECT_EQ(finish(leaf, 30), std::pair(kNone, 30u));
    EXPECT_EQ(finish(parent, kNone), std::pair(20u, kNone));
    EXPECT_EQ(finish(parent, 30), std::pair(20u, 30u));
}

} // namespace
