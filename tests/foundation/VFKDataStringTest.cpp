// Reads and writes at an offset, and that a buffer with a cursor reads the same.
#include "interfaces/VFKDataString.h"

#include "interfaces/VFKDataBuf.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <tuple>

namespace {

void Fill(VFKDataBuf& buffer, const std::string& contents)
{
    std::memcpy(buffer.bytes.Allocate(contents.size()), contents.data(), contents.size());
    buffer.Init();
}

} // namespace

TEST(VFKDataString, LebNumbersKeepTheirLow32Bits)
{
    // The bytes, the value, the signed one, and whether the number is complete.
    const std::tuple<std::string, u32, i32, bool> cases[] = {
        {"\x7F", 127, -1, true},
        {"\x80\x7F", 0x3F80, -128, true},
        {"\xFF\xFF\xFF\xFF\x0F", 0xFFFFFFFF, -1, true},
        {"\x80\x80\x80\x80\x78", 0x80000000, INT32_MIN, true},
        {std::string("\x81\x80\x80\x80\x80\x80\x80\x00", 8), 1, 1, true},
        {"\xC0", 0x40, 0x40, false},
        {"", 0, 0, false}};
    for (const auto& [bytes, value, asSigned, isComplete] : cases) {
        const VFKDataString data(false, true, bytes);
        u32 pos = 0;
        bool complete = !isComplete;
        EXPECT_EQ(data.Get32_ULEB128(&pos, 4, &complete), value);
        EXPECT_EQ(complete, isComplete);
        EXPECT_EQ(pos, bytes.size());
        pos = 0;
        EXPECT_EQ(data.Get32_SLEB128(&pos, 4, nullptr), asSigned);
    }
}

TEST(VFKDataString, ABufferReadsTheSameAndBothStopAtTheEnd)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string contents(random() % 24, '\0');
        for (char& c : contents) {
            c = static_cast<char>(random() % 3 == 0 ? random() % 4 : random());
        }
        const bool little = round % 2 == 0;
        const VFKDataString data(false, little, contents);
        VFKDataBuf buffer(false, little);
        Fill(buffer, contents);
        u32 pos = 0;
        while (!buffer.AtEnd()) {
            const u64 kind = random() % 6;
            if (kind == 0) {
                ASSERT_EQ(buffer.Get8(), data.Get8(&pos));
            } else if (kind == 1) {
                ASSERT_EQ(buffer.Get16(), data.Get16(&pos));
            } else if (kind == 2) {
                ASSERT_EQ(buffer.Get32(), data.Get32(&pos));
            } else if (kind == 3) {
                ASSERT_EQ(buffer.Get32_ULEB128(4), data.Get32_ULEB128(&pos, 4, nullptr));
            } else if (kind == 4) {
                ASSERT_EQ(buffer.Get32_SLEB128(4), data.Get32_SLEB128(&pos, 4, nullptr));
            } else {
                ASSERT_STREQ(buffer.GetCStr(), data.GetCStr(&pos));
            }
            ASSERT_EQ(buffer.Pos(), pos);
            ASSERT_LE(pos, contents.size());
        }
    }
    VFKDataBuf buffer(false, false);
    EXPECT_EQ(buffer.GetCStr(), nullptr);
    Fill(buffer, "\x01\x02\x03\x04\x05\x06\x07\x08\x09");
    EXPECT_EQ(buffer.Get64(), 0x0102030405060708u);
    buffer.SetPos(6);
    EXPECT_EQ(buffer.GetDataBlock(0xFFFFFFFF), buffer.Begin() + 6);
    EXPECT_TRUE(buffer.AtEnd());
    buffer.SetPos(4);
    buffer.Skip(0xFFFFFFFF);
    EXPECT_EQ(buffer.Pos(), 9u);
}
