// Tests the reads and writes of byte strings at an offset, and that a buffer with a cursor reads
// the same.
#include "interfaces/VFKDataString.h"
#include "interfaces/VFKDataBuf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

void Fill(VFKDataBuf& buffer, const std::string& contents)
{
    std::memcpy(buffer.bytes.Allocate(contents.size()), contents.data(), contents.size());
    buffer.Init();
}

} // namespace

TEST(VFKDataString, NumbersFollowTheByteOrderAndComeBack)
{
    VFKDataString big(false, false);
    EXPECT_EQ(big.Put32(big.Put16(big.Put8(0, 0x12), 0x3456), 0x789ABCDE), 7u);
    EXPECT_EQ(big.bytes, "\x12\x34\x56\x78\x9A\xBC\xDE");
    VFKDataString little(false, true);
    little.Put32(little.Put16(0, 0x3456), 0x789ABCDE);
    EXPECT_EQ(little.bytes, "\x56\x34\xDE\xBC\x9A\x78");

    u32 pos = 0;
    EXPECT_EQ(big.Get8(&pos), 0x12u);
    EXPECT_EQ(big.Get16(&pos), 0x3456u);
    EXPECT_EQ(big.Get32(&pos), 0x789ABCDEu);
    EXPECT_EQ(pos, 7u);
    EXPECT_FALSE(big.ValidOffset(pos));
}

TEST(VFKDataString, AWriteOverwritesGrowsAndFillsAGapWithZeros)
{
    VFKDataString data(false, true, "abc");
    EXPECT_EQ(data.Put8(1, 'X'), 2u);
    EXPECT_EQ(data.Put(5, "yz", 2), 7u);
    EXPECT_EQ(data.bytes, std::string("aXc\0\0yz", 7));
    EXPECT_EQ(data.Put(100, "", 0), 100u);
    EXPECT_EQ(data.Size(), 7u);
}

TEST(VFKDataString, ANumberCutByTheEndTakesWhatIsThereAndStopsThere)
{
    for (const bool little : {true, false}) {
        const VFKDataString data(false, little, "\x01\x02\x03");
        u32 pos = 1;
        EXPECT_EQ(data.Get32(&pos), little ? 0x0302u : 0x02030000u);
        EXPECT_EQ(pos, 3u);
        EXPECT_EQ(data.Get16(&pos), 0u);
        pos = 0xFFFFFFFE;
        EXPECT_EQ(data.Get8(&pos), 0u);
        EXPECT_EQ(pos, 3u);
    }
}

TEST(VFKDataString, LebNumbersKeepTheirLow32Bits)
{
    struct Case {
        std::string bytes;
        u32 value;
        i32 asSigned;
        bool complete;
    };
    const Case cases[] = {
        {"\x7F", 127, -1, true},
        {"\x80\x7F", 0x3F80, -128, true},
        {"\xFF\xFF\xFF\xFF\x0F", 0xFFFFFFFF, -1, true},
        {"\x80\x80\x80\x80\x78", 0x80000000, INT32_MIN, true},
        {std::string("\x81\x80\x80\x80\x80\x80\x80\x00", 8), 1, 1, true},
        {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F", 0xFFFFFFFF, -1, true},
        {"\xC0", 0x40, 0x40, false},
        {"", 0, 0, false},
    };
    for (const Case& c : cases) {
        const VFKDataString data(false, true, c.bytes);
        u32 pos = 0;
        bool complete = !c.complete;
        EXPECT_EQ(data.Get32_ULEB128(&pos, 4, &complete), c.value);
        EXPECT_EQ(complete, c.complete);
        EXPECT_EQ(pos, c.bytes.size());
        pos = 0;
        EXPECT_EQ(data.Get32_SLEB128(&pos, 4, nullptr), c.asSigned);
        EXPECT_EQ(pos, c.bytes.size());
    }
}

TEST(VFKDataString, ABufferReadsTheSame)
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
            switch (random() % 6) {
            case 0:
                ASSERT_EQ(buffer.Get8(), data.Get8(&pos));
                break;
            case 1:
                ASSERT_EQ(buffer.Get16(), data.Get16(&pos));
                break;
            case 2:
                ASSERT_EQ(buffer.Get32(), data.Get32(&pos));
                break;
            case 3:
                ASSERT_EQ(buffer.Get32_ULEB128(4), data.Get32_ULEB128(&pos, 4, nullptr));
                break;
            case 4:
                ASSERT_EQ(buffer.Get32_SLEB128(4), data.Get32_SLEB128(&pos, 4, nullptr));
                break;
            default:
                ASSERT_STREQ(buffer.GetCStr(), data.GetCStr(&pos));
                break;
            }
            ASSERT_EQ(buffer.Pos(), pos);
        }
    }
}

TEST(VFKDataBuf, StepsAndBlocksStopAtTheEnd)
{
    VFKDataBuf buffer(false, false);
    EXPECT_EQ(buffer.GetCStr(), nullptr);
    EXPECT_EQ(buffer.GetDataBlock(3), buffer.End());
    Fill(buffer, "\x01\x02\x03\x04\x05\x06\x07\x08\x09");
    EXPECT_EQ(buffer.Get64(), 0x0102030405060708u);
    buffer.SetPos(6);
    EXPECT_EQ(buffer.GetDataBlock(0xFFFFFFFF), buffer.Begin() + 6);
    EXPECT_TRUE(buffer.AtEnd());
    buffer.SetPos(4);
    buffer.Skip(0xFFFFFFFF);
    EXPECT_EQ(buffer.Pos(), 9u);
    buffer.SetPos(10);
    EXPECT_EQ(buffer.Pos(), 9u);
}
