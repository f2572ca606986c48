// Locations of all versions, converted to DWARF 2.0.
#include "convert/Locations.h"
#include "convert/LocationWriter.h"
#include "tests/convert/CraftedDwarf.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

using namespace convert;
using Kind = Location::Kind;

class Locations : public testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Bytes() const { return ByteSection(GetParam()); }

    /// Reads a location of this form.
    Location Read(u16 version, u32 form, const ByteSection& value, const AddressRanges& scope = {})
    {
        dwarf.emplace(GetParam());
        Prepare(*dwarf);
        frames.emplace(dwarf->Open(version, form, value.Bytes()));
        Dwarf_Attribute attribute = dwarf->Attribute();
        reader.emplace(dwarf_cu_getdwarf(attribute.cu), *frames, dwarf->IsBigEndian());
        return reader->Read(attribute, scope);
    }
    Location Expression(const ByteSection& expression, const AddressRanges& scope = {})
    {
        return Read(5, DW_FORM_exprloc, Bytes().Uleb(expression.Size()).Raw(expression), scope);
    }
    /// A list of version 4 or 5.
    Location List(u16 version, const ByteSection& list, const AddressRanges& scope = {})
    {
        (version == 5 ? loclists : loc).Raw(list);
        return Read(version, DW_FORM_sec_offset, Bytes().U32(version == 5 ? 16 : 0), scope);
    }

    u64 Count(Unsaid reason) const { return reader->Counts()[static_cast<std::size_t>(reason)]; }

    /// "begin-end:expression", each number in hexadecimal.
    static std::string Show(const std::vector<LocationPiece>& pieces)
    {
        std::string text;
        for (const LocationPiece& piece : pieces) {
            char part[32];
            std::snprintf(part, sizeof part, "%s%x-%x:", text.empty() ? "" : " ", piece.begin, piece.end);
            text += part;
            for (const u8 byte : piece.expression) {
                std::snprintf(part, sizeof part, "%02x", byte);
                text += part;
            }
        }
        return text;
    }
    static std::string Show(const Location& location)
    {
        EXPECT_EQ(location.kind, location.pieces.empty() ? Kind::None : Kind::List);
        return Show(location.pieces);
    }

    ByteSection loc = Bytes();
    ByteSection loclists = Bytes().U32(0x1000).U16(5).U8(4).U8(0).U32(1).U32(4); ///< a table of one offset
    u32 unitBase = 0x8000;
    std::optional<CraftedDwarf> dwarf;
    std::optional<FrameRules> frames;
    std::optional<LocationReader> reader;

private:
    void Prepare(CraftedDwarf& file) const
    {
        file.unitBase = unitBase;
        file.loc.Raw(loc);
        file.loclists.Raw(loclists);
        file.addr.U32(12).U16(5).U8(4).U8(0).U32(0x9000).U32(0xA000);
        const u32 common = file.frame.OpenLength();
        file.frame.U32(0xFFFFFFFF).U8(1).U8(0).Uleb(2).Sleb(-4).U8(14).Raw({DW_CFA_def_cfa, 13, 0});
        file.frame.CloseLength(common);
        const u32 entry = file.frame.OpenLength();
        file.frame.U32(0).U32(0x8100).U32(0x20).Raw({DW_CFA_advance_loc | 4, DW_CFA_def_cfa_offset, 8});
        file.frame.CloseLength(entry);
    }
};
INSTANTIATE_TEST_SUITE_P(, Locations, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(Locations, WhatDwarf2HasStaysAsItStands)
{
    const ByteSection all[] = {
        Bytes().U8(DW_OP_fbreg).Sleb(-20),
        Bytes().U8(DW_OP_addr).U32(0x1234).U8(DW_OP_const2s).U16(0xFFF0).U8(DW_OP_const8u).U64(5).U8(DW_OP_plus),
        Bytes().Raw({DW_OP_reg1, DW_OP_piece, 4, DW_OP_regx, 0x90, 0x02, DW_OP_piece, 4}),
        Bytes().Raw({DW_OP_bregx, 40, 0x7C, DW_OP_deref_size, 0x9F, DW_OP_const1u, 0x9F, DW_OP_pick, 0x9E}),
        Bytes().U8(DW_OP_skip).U16(0x7777), // a target outside is left to the reader
    };
    for (const ByteSection& expression : all) {
        const Location location = Expression(expression);
        EXPECT_EQ(location.kind, Kind::Whole);
        EXPECT_EQ(Text(location.expression), expression.Bytes());
        EXPECT_FALSE(reader->IsAddress());
    }
    EXPECT_EQ(Read(2, DW_FORM_data1, Bytes().U8(4)).kind, Kind::None) << "an offset of a member, say";
    EXPECT_EQ(Expression(Bytes()).kind, Kind::None);
}

TEST_P(Locations, NewerWordsForOldThingsAreReplaced)
{
    const ByteSection nine = Bytes().U8(DW_OP_addr).U32(0x9000);
    for (const u8 code : {DW_OP_addrx, DW_OP_GNU_addr_index}) {
        EXPECT_EQ(Text(Expression(Bytes().Raw({code, 0})).expression), nine.Bytes());
        EXPECT_TRUE(reader->IsAddress());
        EXPECT_EQ(reader->Address(), 0x9000u);
    }
    EXPECT_EQ(Text(Expression(Bytes().Raw({DW_OP_constx, 1, DW_OP_nop, DW_OP_breg0, 0, DW_OP_plus})).expression),
              Bytes().U8(DW_OP_const4u).U32(0xA000).Raw({DW_OP_breg0, 0, DW_OP_plus}).Bytes());
    EXPECT_EQ(Text(Expression(Bytes().Raw({DW_OP_reg0, DW_OP_GNU_uninit})).expression), Bytes().U8(DW_OP_reg0).Bytes());
    EXPECT_EQ(Text(Expression(Bytes().Raw({DW_OP_reg0, DW_OP_bit_piece, 0xC0, 0x02, 0})).expression),
              Bytes().Raw({DW_OP_reg0, DW_OP_piece, 40}).Bytes());
    EXPECT_EQ(Expression(Bytes().Raw({DW_OP_nop})).kind, Kind::None);
    EXPECT_EQ(Expression(Bytes().Raw({DW_OP_addrx, 2})).kind, Kind::None) << "the table has two";
    EXPECT_EQ(Count(Unsaid::Malformed), 1u);
}

TEST_P(Locations, BranchesReachWhatTheyReached)
{
    // back over an index that becomes an address, and on over a DW_OP_nop that goes
    const ByteSection before = Bytes()
                                   .Raw({DW_OP_addrx, 0, DW_OP_breg0, 0, DW_OP_bra})
                                   .U16(5)
                                   .Raw({DW_OP_nop, DW_OP_lit1, DW_OP_skip})
                                   .U16(0x10000 - 12)
                                   .U8(DW_OP_nop);
    const ByteSection after = Bytes()
                                  .U8(DW_OP_addr)
                                  .U32(0x9000)
                                  .Raw({DW_OP_breg0, 0, DW_OP_bra})
                                  .U16(4)
                                  .Raw({DW_OP_lit1, DW_OP_skip})
                                  .U16(0x10000 - 14);
    EXPECT_EQ(Text(Expression(before).expression), after.Bytes());
    EXPECT_EQ(Expression(Bytes().Raw({DW_OP_addrx, 0, DW_OP_skip}).U16(0x10000 - 4)).kind, Kind::None)
        << "into an operand";
    EXPECT_EQ(Count(Unsaid::Malformed), 1u);
}

TEST_P(Locations, WhatCantBeSaidIsCounted)
{
    const struct {
        ExpressionBytes expression;
        Unsaid reason;
    } all[] = {
        {{DW_OP_breg0, 1, DW_OP_stack_value}, Unsaid::ComputedValue},
        {{DW_OP_regval_type, 0, 0x20, DW_OP_convert, 0x30, DW_OP_stack_value}, Unsaid::ComputedValue},
        {{DW_OP_entry_value, 1, DW_OP_reg0, DW_OP_stack_value}, Unsaid::EntryValue},
        {{DW_OP_lit1, DW_OP_GNU_entry_value, 1, DW_OP_reg0, DW_OP_plus, DW_OP_stack_value}, Unsaid::EntryValue},
        {{DW_OP_implicit_pointer, 0, 0, 0, 1, 0}, Unsaid::ImplicitPointer},
        {{DW_OP_reg0, DW_OP_piece, 4, DW_OP_piece, 4}, Unsaid::Piece},
        {{DW_OP_reg0, DW_OP_piece, 4, DW_OP_lit0, DW_OP_stack_value, DW_OP_piece, 4}, Unsaid::Piece},
        {{DW_OP_reg0, DW_OP_bit_piece, 3, 0}, Unsaid::Piece},
        {{DW_OP_reg0, DW_OP_bit_piece, 8, 8}, Unsaid::Piece},
        {{DW_OP_lit1, DW_OP_form_tls_address}, Unsaid::ThreadLocal},
        {{DW_OP_lit1, DW_OP_GNU_push_tls_address}, Unsaid::ThreadLocal},
        {{DW_OP_call2, 0, 0}, Unsaid::Call},
        {{DW_OP_call_frame_cfa}, Unsaid::FrameUnknown},
        {{DW_OP_push_object_address}, Unsaid::Other},
        {{0xEC}, Unsaid::Other},
        {{0xF8, 1}, Unsaid::Other},
        {{DW_OP_const4u, 1, 2, 3}, Unsaid::Malformed},
        {{DW_OP_fbreg, 0x80}, Unsaid::Malformed},
        {{DW_OP_implicit_value, 9, 1}, Unsaid::Malformed},
    };
    for (const auto& each : all) {
        const std::string text = Text(each.expression);
        EXPECT_EQ(Expression(Bytes().Raw(text)).kind, Kind::None);
        EXPECT_EQ(Count(each.reason), 1u) << testing::PrintToString(each.expression);
    }
}

TEST_P(Locations, OneValueIsAConstant)
{
    Location location = Expression(Bytes().Raw({DW_OP_implicit_value, 3, 1, 2, 3}));
    EXPECT_EQ(location.kind, Kind::Constant);
    EXPECT_EQ(Text(location.expression), "\1\2\3");
    const std::pair<ByteSection, i64> all[] = {
        {Bytes().U8(DW_OP_lit31), 31},
        {Bytes().U8(DW_OP_const1s).U8(0xFF), -1},
        {Bytes().U8(DW_OP_const1u).U8(0xFF), 0xFF},
        {Bytes().U8(DW_OP_const2u).U16(0xFFFE), 0xFFFE},
        {Bytes().U8(DW_OP_const2s).U16(0xFFFE), -2},
        {Bytes().U8(DW_OP_const4u).U32(0x80000000), 0x80000000LL},
        {Bytes().U8(DW_OP_const4s).U32(0x80000000), -0x80000000LL},
        {Bytes().U8(DW_OP_consts).Sleb(-300), -300},
        {Bytes().Raw({DW_OP_addrx, 1}), 0xA000},
    };
    for (const auto& [expression, value] : all) {
        location = Expression(Bytes().Raw(expression).U8(DW_OP_stack_value));
        EXPECT_EQ(location.kind, Kind::Constant);
        EXPECT_EQ(location.value, value);
        EXPECT_TRUE(location.expression.empty());
    }
    // over a part of the scope there is no attribute for it
    EXPECT_EQ(Show(List(4, Bytes().U32(0).U32(4).U16(2).Raw({DW_OP_lit1, DW_OP_stack_value}).U32(0).U32(0))), "");
    EXPECT_EQ(Count(Unsaid::Constant), 1u);
}

TEST_P(Locations, TheFrameAddressIsWhatTheFrameSectionSays)
{
    const ByteSection plus4 = Bytes().Raw({DW_OP_call_frame_cfa, DW_OP_plus_uconst, 4});
    EXPECT_EQ(Show(Expression(plus4, {{0x8100, 0x8120}})), "8100-8108:7d002304 8108-8120:7d082304");
    EXPECT_EQ(Show(Expression(plus4, {{0x8100, 0x8104}, {0x8118, 0x8128}})), "8100-8104:7d002304 8118-8120:7d082304");
    EXPECT_EQ(Count(Unsaid::FrameUnknown), 1u);
    const Location whole = Expression(plus4, {{0x8108, 0x8110}, {0x8114, 0x8120}});
    EXPECT_EQ(whole.kind, Kind::Whole) << "one thing over the whole scope";
    EXPECT_EQ(Text(whole.expression), Bytes().Raw({DW_OP_breg13, 8, DW_OP_plus_uconst, 4}).Bytes());
    EXPECT_EQ(
        Show(List(4, Bytes().U32(0x104).U32(0x10C).U16(1).U8(DW_OP_call_frame_cfa).U32(0).U32(0), {{0x8100, 0x8120}})),
        "8104-8108:7d00 8108-810c:7d08");
}

TEST_P(Locations, OldListsAreRelativeToTheUnitOrToWhatTheySelect)
{
    const ByteSection list = Bytes()
                                 .U32(0x10)
                                 .U32(0x20)
                                 .U16(1)
                                 .U8(DW_OP_reg0)
                                 .U32(0x20)
                                 .U32(0x20) // empty
                                 .U16(1)
                                 .U8(DW_OP_reg1)
                                 .U32(0xFFFFFFFF)
                                 .U32(0x9000)
                                 .U32(4)
                                 .U32(8)
                                 .U16(1)
                                 .U8(DW_OP_reg2)
                                 .U32(0)
                                 .U32(0);
    EXPECT_EQ(Show(List(4, list)), "8010-8020:50 9004-9008:52");
    EXPECT_EQ(Show(Read(2, DW_FORM_data4, Bytes().U32(0))), "8010-8020:50 9004-9008:52");
    EXPECT_EQ(Show(Read(2, DW_FORM_data4, Bytes().U32(0x7777))), "");
    EXPECT_EQ(Count(Unsaid::Malformed), 1u);
}

TEST_P(Locations, AnOldListIsAbsoluteIfItLiesBetterInTheScopeThen)
{
    loc.U32(0x8010).U32(0x8020).U16(1).U8(DW_OP_reg0).U32(0).U32(0);
    const auto read = [&](const AddressRanges& scope) { return Show(Read(2, DW_FORM_data4, Bytes().U32(0), scope)); };
    EXPECT_EQ(read({{0x8000, 0x8100}}), "8010-8020:50");
    EXPECT_EQ(read({{0x8000, 0x8010}, {0x10010, 0x10020}}), "10010-10020:50");
    EXPECT_EQ(read({}), "10010-10020:50");
    EXPECT_EQ(read({{0x8020, 0x8100}}), "10010-10020:50") << "neither";
    unitBase = 0x10;
    EXPECT_EQ(read({{0x8000, 0x8028}}), "8010-8020:50") << "the other one would leave the function";
    EXPECT_EQ(read({{0x8000, 0x8030}}), "8020-8030:50") << "both lie in it";
    Dwarf_Attribute attribute = dwarf->Attribute();
    reader->Read(attribute, {{0x8000, 0x8028}});
    EXPECT_EQ(Show(reader->Read(attribute, {{0x8000, 0x8030}})), "8010-8020:50") << "as the unit's list before";
}

TEST_P(Locations, AllEntriesOfNewListsAreRead)
{
    const ByteSection list = Bytes()
                                 .Raw({DW_LLE_GNU_view_pair, 1, 2, DW_LLE_offset_pair, 0x10, 0x14, 1, DW_OP_reg0})
                                 .Raw({DW_LLE_startx_endx, 0, 1, 1, DW_OP_reg1})
                                 .Raw({DW_LLE_startx_length, 1, 4, 1, DW_OP_reg2})
                                 .Raw({DW_LLE_base_addressx, 1, DW_LLE_offset_pair, 8, 12, 1, DW_OP_reg3})
                                 .U8(DW_LLE_base_address)
                                 .U32(0xB000)
                                 .Raw({DW_LLE_offset_pair, 0, 4, 1, DW_OP_reg4, DW_LLE_start_end})
                                 .U32(0xC000)
                                 .U32(0xC004)
                                 .Raw({1, DW_OP_reg5, DW_LLE_start_length})
                                 .U32(0xD000)
                                 .Raw({4, 1, DW_OP_reg6, DW_LLE_offset_pair, 9, 9, 1, DW_OP_reg7, DW_LLE_end_of_list});
    const std::string all =
        "8010-8014:50 9000-a000:51 a000-a004:52 a008-a00c:53 b000-b004:54 c000-c004:55 d000-d004:56";
    EXPECT_EQ(Show(List(5, list)), all);
    EXPECT_EQ(Show(Read(5, DW_FORM_loclistx, Bytes().Uleb(0))), all);
    EXPECT_EQ(Show(Read(5, DW_FORM_loclistx, Bytes().Uleb(0x10000))), "") << "no such index";
    EXPECT_EQ(Count(Unsaid::Malformed), 1u);
}

TEST_P(Locations, ADefaultHoldsInTheRestOfTheScope)
{
    const ByteSection list =
        Bytes()
            .Raw({DW_LLE_default_location, 1, DW_OP_reg9, DW_LLE_offset_pair, 0x20, 0x30, 1, DW_OP_reg0})
            .Raw({DW_LLE_offset_pair, 0x10, 0x18, 2, DW_OP_lit0, DW_OP_stack_value, DW_LLE_end_of_list});
    EXPECT_EQ(Show(List(5, list, {{0x8000, 0x8014}, {0x8024, 0x8040}})), "8000-8010:59 8020-8030:50 8030-8040:59");
    EXPECT_EQ(Show(List(5, list)), "8020-8030:50");
}

TEST_P(Locations, PiecesAreSortedUnlessTheyOverlap)
{
    const auto read = [&](std::initializer_list<u8> entries) { // begin, end, register
        ByteSection list = Bytes();
        for (const u8* at = entries.begin(); at != entries.end(); at += 3) {
            list.Raw({DW_LLE_offset_pair, at[0], at[1], 1, at[2]});
        }
        loclists.Truncate(16);
        return Show(List(5, list.U8(DW_LLE_end_of_list)));
    };
    EXPECT_EQ(read({8, 12, 1, 0, 4, 2, 4, 8, 3}), "") << "DWARF 2.0 has none of these";
    EXPECT_EQ(read({8, 12, DW_OP_reg1, 0, 4, DW_OP_reg2, 4, 8, DW_OP_reg3}), "8000-8004:52 8004-8008:53 8008-800c:51");
    EXPECT_EQ(read({4, 12, DW_OP_reg1, 0, 8, DW_OP_reg2}), "8004-800c:51 8000-8008:52") << "the first one counts";
}

TEST_P(Locations, CutListsGiveWhatIsWhole)
{
    const std::string list = Bytes()
                                 .Raw({DW_LLE_offset_pair, 0, 4, 1, DW_OP_reg0, DW_LLE_start_length})
                                 .U32(0x9000)
                                 .Raw({4, 1, DW_OP_reg1, DW_LLE_end_of_list})
                                 .Bytes();
    for (u32 kept = 0; kept < list.size(); ++kept) {
        loclists.Truncate(16);
        const std::string expected = kept < 5 ? "" : kept < 13 ? "8000-8004:50" : "8000-8004:50 9000-9004:51";
        EXPECT_EQ(Show(List(5, Bytes().Raw(list.substr(0, kept)))), expected) << kept;
        EXPECT_EQ(Count(Unsaid::Malformed), 1u);
    }
}

TEST_P(Locations, ExpressionsHaveABound)
{
    const ByteSection longest = Bytes().Fill(0xFFFF, DW_OP_lit0);
    EXPECT_EQ(Expression(longest).expression.size(), 0xFFFFu);
    EXPECT_EQ(Expression(Bytes().Raw(longest).U8(DW_OP_lit0)).kind, Kind::None);
    EXPECT_EQ(Count(Unsaid::Other), 1u);
    EXPECT_EQ(Expression(Bytes().Raw({DW_OP_addrx, 0}).Fill(0xFFFC, DW_OP_lit0)).kind, Kind::None) << "it grows";
    EXPECT_EQ(Count(Unsaid::Other), 1u);
}

TEST_P(Locations, ABareRegisterIsAFrameBaseOfThatRegisterPlusZero)
{
    Location base{.kind = Kind::Whole, .expression = {DW_OP_reg11}, .pieces = {}};
    MakeFrameBase(base);
    EXPECT_EQ(Text(base.expression), Bytes().Raw({DW_OP_breg11, 0}).Bytes());
    base = {.kind = Kind::List, .expression = {}, .pieces = {{0, 4, {DW_OP_regx, 0xA0, 1}}, {4, 8, {DW_OP_breg7, 8}}}};
    MakeFrameBase(base);
    EXPECT_EQ(Show(base), "0-4:92a00100 4-8:7708");
    EXPECT_EQ(Show(Within(base, {2, 5})), "2-4:92a00100 4-5:7708");
    EXPECT_EQ(Show(Within(base, {8, 12})), "");
}

TEST_P(Locations, ListsAreWrittenOnce)
{
    const bool isBig = GetParam() == ByteOrder::Big;
    LocationWriter writer(isBig);
    const auto write = [&](const std::vector<LocationPiece>& pieces, u32 base) {
        return writer.Write(ListBytes(pieces, base, isBig).View());
    };
    const std::vector<LocationPiece> first = {{0x8000, 0x8004, {DW_OP_reg0}},
                                              {0x7FFC, 0x8000, {DW_OP_reg1}}, // below the base
                                              {0x8010, 0x8020, ExpressionBytes(0x10000, u8{0})}};
    const std::vector<LocationPiece> second = {{0x8000, 0x8004, {DW_OP_reg1}}};
    EXPECT_EQ(write(first, 0x8000), 0u);
    EXPECT_EQ(write(second, 0x8000), 19u);
    EXPECT_EQ(write({{0x9000, 0x9004, {DW_OP_reg0}}}, 0x9000), 0u);
    const u32 size = writer.Section().Size();
    const ByteView written = writer.Section().View();
    EXPECT_EQ(std::string(written.data, written.data + written.size),
              Bytes().U32(0).U32(4).U16(1).U8(DW_OP_reg0).U64(0).U32(0).U32(4).U16(1).U8(DW_OP_reg1).U64(0).Bytes());
    writer.BeginUnit();
    EXPECT_EQ(write(second, 0x8000), size) << "a unit has lists of its own";
}

} // namespace
