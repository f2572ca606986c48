// host/LocationText.cpp: prepared expressions in words.
#include "host/LocationText.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using Bytes = std::string;

constexpr u32 kBase = 0x8000;

Bytes Word(u32 value)
{
    Bytes bytes;
    for (u32 shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift);
    }
    return bytes;
}

Bytes Ops(std::initializer_list<int> values)
{
    return {values.begin(), values.end()};
}

Bytes Entry(u32 begin, u32 end, const Bytes& expression)
{
    const Bytes length = Ops({static_cast<int>(expression.size()), 0});
    return Word(begin) + Word(end) + length + expression;
}

Bytes List(const Bytes& entries)
{
    return '\xEC' + entries + Word(0) + Word(0);
}

/// "0x8000-0x8010 r0; ..." of a list, the words alone of what is always so.
std::string Shown(const Location& location)
{
    std::string text;
    for (const Location::Range& range : location.ranges) {
        char ends[32] = "";
        if (!location.always) {
            std::snprintf(ends, sizeof ends, "%x-%x ", range.begin, range.end);
        }
        text += (text.empty() ? "" : "; ") + std::string(ends) + range.words;
    }
    return text;
}

std::string Read(const Bytes& bytes)
{
    return Shown(LocationReader(kBase).Read(bytes, true));
}

TEST(LocationText, ExpressionsHaveWords)
{
    EXPECT_EQ(Read(Ops({0x54})), "r4") << "in the register";
    EXPECT_EQ(Read(Ops({0x74, 0})), "r4+0") << "where the register points";
    EXPECT_EQ(Read(Ops({0x7D, 8})), "sp+8");
    EXPECT_EQ(Read(Ops({0x5B, 0x11, 0x6C, 0x22})), "r11-20") << "a frame base that is a register";
    EXPECT_EQ(Read(Ops({0x91, 0x6C})), "fbreg-20") << "one that nothing is known of";
    EXPECT_EQ(Read('\x03' + Word(0x20001234)), "0x20001234");
    EXPECT_EQ(Read('\x03' + Word(0x20001234) + Ops({0x23, 4})), "0x20001238");
    EXPECT_EQ(Read(Ops({0x7D, 8, 0x06})), "*(sp+8)");
    EXPECT_EQ(Read(Ops({0x7D, 8, 0x94, 2, 0x23, 4})), "*(u16 *)(sp+8)+4");
    EXPECT_EQ(Read(Ops({0x74, 0, 0x32, 0x24, 0x7D, 8, 0x22})), "((r4 << 2) + sp)+8");
    EXPECT_EQ(Read(Ops({0x74, 1, 0x75, 2, 0x1C})), "(r4+1) - (r5+2)");
    EXPECT_EQ(Read(Ops({0x74, 0, 0x39, 0x1C})), "r4-9");
    EXPECT_EQ(Read(Ops({0x71, 3, 0x9F})), "value r1+3");
    EXPECT_EQ(Read(Ops({0x51, 0x93, 4, 0x93, 1, 0x7D, 4, 0x93, 2})), "4 bytes in r1, 1 byte nowhere, 2 bytes at sp+4");
    EXPECT_EQ(Read(Ops({0x90, 0x88, 0x02})), "d8");
    EXPECT_EQ(Read(Ops({0xF8, 1, 0x23, 64})), "base(1)+64");
    EXPECT_EQ(Read(""), "");
}

TEST(LocationText, WhatHasNoWordsIsDisassembled)
{
    EXPECT_EQ(Read(Ops({0x74, 0, 0x28, 0, 0, 0x50})), "DW_OP_breg4 0; DW_OP_bra 0; DW_OP_reg0");
    EXPECT_EQ(Read(Ops({0x22})), "DW_OP_plus") << "nothing to add";
    EXPECT_EQ(Read(Ops({0x7D})), "<DW_OP_breg13 cut off at 0>");
    Bytes doubled = Ops({0x74, 1});
    for (int i = 0; i < 100; ++i) {
        doubled += Ops({0x12, 0x1E}); // each square would be twice as long as its root
    }
    EXPECT_EQ(Read(doubled).substr(0, 24), "DW_OP_breg4 1; DW_OP_dup");
    EXPECT_EQ(Read('\xEC' + Word(1) + Word(2)), "<list cut off at 1>");
}

TEST(LocationText, ListsGoByAbsoluteRanges)
{
    EXPECT_EQ(Read(List(Entry(0, 4, Ops({0x50})) + Entry(4, 8, Ops({0x50})) + Entry(8, 8, Ops({0x51})) +
                        Entry(8, 12, Ops({0x74, 4})) + Entry(16, 20, ""))),
              "8000-8008 r0; 8008-800c r4+4; 8010-8014 nowhere");
}

TEST(LocationText, TheFrameBaseIsKeptApart)
{
    const Bytes base = List(Entry(0, 2, Ops({0x7D, 0})) + Entry(2, 8, Ops({0x7D, 16})));
    const Bytes variable = base + Ops({0x11, 0x6C, 0x22});
    LocationReader reader(kBase);
    EXPECT_TRUE(reader.FrameBase().ranges.empty());
    EXPECT_EQ(Shown(reader.Read(variable, true)), "fbreg-20");
    EXPECT_EQ(Shown(reader.Read(List(Entry(0, 4, Ops({0x51})) + Entry(4, 8, variable)), true)),
              "8000-8004 r1; 8004-8008 fbreg-20");
    EXPECT_EQ(Shown(reader.FrameBase()), "8000-8002 sp+0; 8002-8008 sp+16");
    // Another one has no name that is left.
    const Bytes other = List(Entry(0, 2, Ops({0x7B, 0}))) + Ops({0x11, 4, 0x22});
    EXPECT_EQ(Shown(reader.Read(other, true)), "[0x00000000-0x00000002: DW_OP_breg11 0]; DW_OP_consts 4; DW_OP_plus");

    EXPECT_EQ(reader.At(variable, true, 0x8001), "sp-20");
    EXPECT_EQ(reader.At(variable, true, 0x8004), "sp-4");
    EXPECT_EQ(reader.At(variable, true, 0x8008), std::nullopt);
    EXPECT_EQ(reader.At(List(Entry(4, 8, variable) + Entry(4, 8, Ops({0x51}))), true, 0x8004), "sp-4") << "the first";
    EXPECT_EQ(reader.At(List(Entry(4, 8, Ops({0x51}))), true, 0x8003), std::nullopt);
    EXPECT_EQ(reader.At(Ops({0x51}), true, 0x8003), "r1");
}

} // namespace
