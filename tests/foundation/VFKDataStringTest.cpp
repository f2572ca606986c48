// Numbers read at an offset.
#include "interfaces/VFKDataString.h"

#include <gtest/gtest.h>
#include <tuple>

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
