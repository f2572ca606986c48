// Fields of the dumps against what the standard manipulators would write and leave behind.
#include "console/Format.h"

#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

namespace {

template <typename Field>
std::string Text(Field field)
{
    std::ostringstream stream;
    stream << field;
    return stream.str();
}

TEST(Format, HexFieldsFillWithZerosAndCutNothing)
{
    EXPECT_EQ(Text(hex8(0)), "0x00000000");
    EXPECT_EQ(Text(hex8(0x12ab)), "0x000012ab");
    EXPECT_EQ(Text(hex8(0xffffffff)), "0xffffffff");
    EXPECT_EQ(Text(hex4(0xab)), "0x00ab");
    EXPECT_EQ(Text(hex4(0x12345)), "0x12345");
    EXPECT_EQ(Text(hex2(0)), "0x00");
    EXPECT_EQ(Text(hex2(0xfffb)), "0xfffb");
}

TEST(Format, DecimalHasItsSignAndWidensItsColumns)
{
    EXPECT_EQ(Text(dec(0u)), "0");
    EXPECT_EQ(Text(dec(0xffffffffu)), "4294967295");
    EXPECT_EQ(Text(dec(std::numeric_limits<i32>::min())), "-2147483648");
    EXPECT_EQ(Text(dec(12u, 5)), "   12");
    EXPECT_EQ(Text(dec(-7, 4)), "  -7");
    EXPECT_EQ(Text(dec(1234567u, 6)), "1234567");
}

TEST(Format, FieldsLeaveTheStreamAsManipulatorsDo)
{
    std::ostringstream stream;
    stream << hex4(1) << ' ' << 255 << ' ' << std::setw(3) << 10;
    stream << dec(1u) << ' ' << 255 << ' ' << std::setw(3) << 10;
    EXPECT_EQ(stream.str(), "0x0001 ff 00a1 255 010");
}

TEST(Format, APendingWidthPadsTheFirstItemOnly)
{
    std::ostringstream stream;
    stream << std::setw(4) << hex2(0xa) << std::setw(4) << dec(5u) << LineEnd;
    EXPECT_EQ(stream.str(), "  0x0a0005\n");

    std::ostringstream text;
    text << std::left << std::setw(4);
    PutText(PutText(text, "ab"), "c");
    EXPECT_EQ(text.str(), "ab  c");
}

TEST(Format, BlocksOfAnyLengthAreUpperCase)
{
    std::string bytes;
    std::string expected;
    for (u32 i = 0; i < 600; ++i) {
        bytes += static_cast<char>(i);
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", i & 0xFFu);
        expected += digits;
    }
    std::ostringstream stream;
    PrintBlockBytes(stream, reinterpret_cast<const u8*>(bytes.data()), bytes.size());
    EXPECT_EQ(stream.str(), expected);
}

/// A buffer that takes a few characters and then no more, as a full disk does.
class FullBuffer : public std::stringbuf {
protected:
    std::streamsize xsputn(const char*, std::streamsize count) override { return count - 1; }
    int_type overflow(int_type) override { return traits_type::eof(); }
};

TEST(Format, AFailedWriteIsSeenInTheStream)
{
    FullBuffer full;
    std::ostream text(&full);
    EXPECT_TRUE(PutText(text, "abc").bad());
    std::ostream line(&full);
    EXPECT_TRUE((line << LineEnd).bad());
}

} // namespace
