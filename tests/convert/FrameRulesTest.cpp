// The canonical frame address as the frame sections give it.
#include "convert/FrameRules.h"
#include "tests/convert/CraftedDwarf.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

using convert::AddressRange;
using convert::CfaRule;
using convert::FrameRules;

/// What is wrong with a CIE, or different.
struct Common {
    u8 version = 1;
    std::string augmentation = {};
    i64 dataFactor = -4;
};

class CanonicalFrameAddress : public testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Bytes() const { return ByteSection(GetParam()); }

    /// Writes a CIE that begins with r13+0, and returns its offset.
    u32 AddCommon(const Common& common = {})
    {
        ByteSection& out = dwarf.frame;
        const u32 at = out.OpenLength();
        out.U32(0xFFFFFFFF).U8(common.version).Text(common.augmentation);
        if (common.version == 4) {
            out.U8(4).U8(0);
        }
        out.Uleb(2).Sleb(common.dataFactor).Uleb(14).Raw({DW_CFA_def_cfa, 13, 0}).CloseLength(at);
        return at;
    }

    void AddEntry(u32 common, u32 begin, u32 size, const ByteSection& instructions)
    {
        const u32 at = dwarf.frame.OpenLength();
        dwarf.frame.U32(common).U32(begin).U32(size).Raw(instructions).CloseLength(at);
    }
    /// An entry whose address is `offset` from r13 from its third byte on.
    void AddEntry(u32 common, u32 begin, u32 size, u8 offset)
    {
        AddEntry(common, begin, size, Bytes().Raw({DW_CFA_advance_loc | 1, DW_CFA_def_cfa_offset, offset}));
    }

    /// "begin-end:expression", each number in hexadecimal.
    std::string Rules(AddressRange range)
    {
        if (!rules) {
            rules.emplace(dwarf.Open());
        }
        std::string text;
        for (const CfaRule& rule : rules->Over(range)) {
            char part[32];
            std::snprintf(part, sizeof part, "%s%x-%x:", text.empty() ? "" : " ", rule.begin, rule.end);
            text += part;
            for (const u8 byte : rule.expression) {
                std::snprintf(part, sizeof part, "%02x", byte);
                text += part;
            }
        }
        return text;
    }

    CraftedDwarf dwarf{GetParam()};
    std::optional<FrameRules> rules;
};
INSTANTIATE_TEST_SUITE_P(, CanonicalFrameAddress, testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(CanonicalFrameAddress, EachRowIsARuleAndEqualNeighboursAreOne)
{
    const u32 common = AddCommon();
    AddEntry(common, 0x100, 0x400,
             Bytes()
                 .Raw({DW_CFA_advance_loc | 1, DW_CFA_def_cfa_offset, 8, DW_CFA_offset | 14, 1})
                 .Raw({DW_CFA_advance_loc | 2, DW_CFA_remember_state, DW_CFA_same_value, 4})
                 .Raw({DW_CFA_advance_loc1, 4, DW_CFA_def_cfa_register, 7})
                 .Raw({DW_CFA_advance_loc2})
                 .U16(0x10)
                 .Raw({DW_CFA_restore_state, DW_CFA_advance_loc4})
                 .U32(0x20)
                 .Raw({DW_CFA_def_cfa, 40, 0x80, 0x01, DW_CFA_set_loc})
                 .U32(0x200)
                 .Raw({DW_CFA_def_cfa_sf, 11, 0x7E, DW_CFA_val_expression, 4, 2, 0x10, 1}));
    EXPECT_EQ(Rules({0x100, 0x500}),
              "100-102:7d00 102-10e:7d08 10e-12e:7708 12e-16e:7d08 16e-200:92288001 200-500:7b08");
    EXPECT_EQ(Rules({0x110, 0x130}), "110-12e:7708 12e-130:7d08") << "a part of it";
    EXPECT_EQ(Rules({0xF0, 0x101}), "f0-100: 100-101:7d00");
}

TEST_P(CanonicalFrameAddress, AllVersionsAreRead)
{
    u32 begin = 0x100;
    for (const u8 version : {u8{1}, u8{3}, u8{4}}) {
        AddEntry(AddCommon({.version = version}), begin, 0x10, 8);
        begin += 0x10;
    }
    AddEntry(AddCommon({.version = 3, .augmentation = "armcc+"}), 0x130, 0x10, 8);
    EXPECT_EQ(Rules({0x100, 0x140}), "100-102:7d00 102-110:7d08 110-112:7d00 112-120:7d08 120-122:7d00 122-130:7d08 "
                                     "130-132:7d00 132-140:7d08");
}

TEST_P(CanonicalFrameAddress, WhatIsNotUnderstoodIsUnknownFromThereOn)
{
    AddEntry(AddCommon({.augmentation = "armcc"}), 0x100, 0x10, 8);
    AddEntry(AddCommon({.version = 2}), 0x110, 0x10, 8);
    const u32 common = AddCommon();
    AddEntry(common, 0x120, 0x10, Bytes().Raw({DW_CFA_advance_loc | 1, 0x3B, DW_CFA_def_cfa_offset, 8}));
    AddEntry(common, 0x130, 0x10, Bytes().Raw({DW_CFA_advance_loc | 1, DW_CFA_restore_state}));
    AddEntry(common, 0x140, 0x10, Bytes().Raw({DW_CFA_advance_loc | 1, DW_CFA_def_cfa_offset, 0x88}));
    AddEntry(0x7777, 0x150, 0x10, 8);
    EXPECT_EQ(Rules({0x100, 0x160}), "100-120: 120-122:7d00 122-130: 130-132:7d00 132-140: 140-142:7d00 142-160:");
}

TEST_P(CanonicalFrameAddress, AnExpressionIsTakenIfDwarf2HasIt)
{
    const u32 common = AddCommon();
    AddEntry(common, 0x100, 0x10,
             Bytes().Raw({DW_CFA_def_cfa_expression, 3, DW_OP_breg13, 4, DW_OP_deref, DW_CFA_advance_loc | 2,
                          DW_CFA_def_cfa_offset, 4}));
    AddEntry(common, 0x110, 0x10, Bytes().Raw({DW_CFA_def_cfa_expression, 2, DW_OP_nop, DW_OP_breg1, 4}));
    AddEntry(common, 0x120, 0x10, Bytes().Raw({DW_CFA_def_cfa_expression, 2, DW_OP_lit0, DW_OP_call_frame_cfa}));
    EXPECT_EQ(Rules({0x100, 0x110}), "100-104:7d0406 104-110:") << "an offset needs a register";
    EXPECT_EQ(Rules({0x120, 0x130}), "120-130:");
}

TEST_P(CanonicalFrameAddress, OfEntriesAtOneAddressTheOneOfTheRangeCounts)
{
    const u32 common = AddCommon();
    AddEntry(common, 0, 0x200, 0x10); // dropped, and left at 0
    AddEntry(common, 0, 0x40, 0x14);  // is at 0
    AddEntry(common, 0, 0x44, 0x18);  // dropped
    AddEntry(common, 0x40, 0x20, 0x1C);
    AddEntry(common, 0xFFFFFFFF, 0x40, 0x20); // dropped by a linker that says so
    EXPECT_EQ(Rules({0, 0x40}), "0-2:7d00 2-40:7d14");
    EXPECT_EQ(Rules({0x40, 0x60}), "40-42:7d00 42-60:7d1c");
    EXPECT_EQ(Rules({0x48, 0x50}), "48-50:7d1c") << "the one that begins last";
    EXPECT_EQ(Rules({0, 0x20}), "0-20:") << "which one stands here?";
}

TEST_P(CanonicalFrameAddress, EntriesOfOneRangeMustAgree)
{
    const u32 common = AddCommon();
    const u32 again = AddCommon();
    const u32 other = AddCommon({.dataFactor = -8});
    AddEntry(common, 0x100, 0x10, 8);
    AddEntry(again, 0x100, 0x10, 8);
    AddEntry(common, 0x110, 0x10, 8);
    AddEntry(common, 0x110, 0x10, 12);
    AddEntry(common, 0x120, 0x10, 8);
    AddEntry(other, 0x120, 0x10, 8);
    EXPECT_EQ(Rules({0x100, 0x110}), "100-102:7d00 102-110:7d08");
    EXPECT_EQ(Rules({0x110, 0x120}), "110-120:");
    EXPECT_EQ(Rules({0x120, 0x130}), "120-130:");
}

TEST_P(CanonicalFrameAddress, EhFrameSpeaksWhereDebugFrameIsSilent)
{
    AddEntry(AddCommon(), 0x20100, 0x10, 8);
    ByteSection& out = dwarf.ehFrame;
    const u32 common = out.OpenLength();
    out.U32(0).U8(1).Text("zPLR").Uleb(1).Sleb(-4).U8(14).Uleb(7);
    out.U8(DW_EH_PE_indirect | DW_EH_PE_pcrel | DW_EH_PE_sdata4).U32(0x1234).U8(DW_EH_PE_omit);
    out.U8(DW_EH_PE_pcrel | DW_EH_PE_sdata4).Raw({DW_CFA_def_cfa, 13, 4}).CloseLength(common);
    const u32 entry = out.OpenLength();
    out.U32(out.Size() - common);
    out.U32(0x200F0 - CraftedDwarf::kEhFrameAddress - out.Size()).U32(0x30).Uleb(0).CloseLength(entry);
    out.U32(0);
    EXPECT_EQ(Rules({0x200F0, 0x20130}), "200f0-20100:7d04 20100-20102:7d00 20102-20110:7d08 20110-20120:7d04 "
                                         "20120-20130:");
}

TEST_P(CanonicalFrameAddress, CutSectionsAreReadAsFarAsTheyGo)
{
    AddEntry(AddCommon(), 0x100, 0x10, 8);
    const u32 size = dwarf.frame.Size();
    for (u32 kept = 0; kept < size; ++kept) {
        CraftedDwarf cut(GetParam());
        cut.frame.Raw(dwarf.frame.Bytes().substr(0, kept));
        FrameRules frames(cut.Open());
        const std::vector<CfaRule>& found = frames.Over({0x100, 0x110});
        ASSERT_EQ(found.size(), 1u) << kept;
        EXPECT_TRUE(found[0].expression.empty()) << kept;
    }
}

} // namespace
