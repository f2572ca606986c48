// Evaluation, compilation and text of expressions.
#include "interfaces/DbgExpression.h"

#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSection.h"
#include "tests/support/ByteSection.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Value = std::optional<u32>;

class Expression : public testing::TestWithParam<ByteOrder> {
protected:
    static ByteSection Bytes(std::initializer_list<u8> bytes = {}) { return ByteSection(GetParam()).Raw(bytes); }
    static DbgExpression Of(const ByteSection& bytes)
    {
        return {VFKDataString(false, GetParam() == ByteOrder::Little, bytes.Bytes()), nullptr, nullptr};
    }
    /// The value on the stack afterwards; none if the evaluation fails, which leaves the stack.
    static Value Run(DbgExpression expression, const std::vector<u32>& pushed = {})
    {
        for (const u32 value : pushed) {
            expression.Push(value);
        }
        u32 result = 0;
        const bool done = expression.Evaluate(nullptr, nullptr, 0, kNone) == 0;
        const bool popped = expression.Pop(result);
        if (!done) {
            EXPECT_EQ(popped, !pushed.empty());
            EXPECT_EQ(result, pushed.empty() ? 0 : pushed.back());
        }
        return done && popped ? Value(result) : std::nullopt;
    }
    static std::string Text(const ByteSection& bytes)
    {
        std::string text = "not cleared";
        Of(bytes).GetText(text, false);
        return text;
    }
};
INSTANTIATE_TEST_SUITE_P(, Expression, testing::Values(ByteOrder::Little, ByteOrder::Big));

} // namespace

TEST_P(Expression, OperatorsWorkOnWordsOfTheTarget)
{
    constexpr Value kFails = std::nullopt;
    // An operator of one byte, the second on the stack, the top, and what comes out; all hexadecimal.
    for (const char* text : {"13 5 6 5",
                             "14 5 6 5",
                             "16 5 6 5",
                             "12 5 6 6",
                             "1a c a 8",
                             "21 c a e",
                             "27 c a 6",
                             "1b fffffff9 2 fffffffd",
                             "1b 80000000 ffffffff 80000000",
                             "1b 1 0 none",
                             "1d 11 5 2",
                             "1d 1 0 none",
                             "1c 3 5 fffffffe",
                             "1e 10000 10001 10000",
                             "24 1 1f 80000000",
                             "24 1 20 0",
                             "25 80000000 ffffffff 0",
                             "26 80000000 4 f8000000",
                             "26 80000000 63 ffffffff",
                             "29 5 5 1",
                             "2a ffffffff 0 0",
                             "2b 1 ffffffff 1",
                             "2c 5 5 1",
                             "2d ffffffff 0 1",
                             "2e 5 5 0",
                             "19 0 fffffffc 4",
                             "1f 0 1 ffffffff",
                             "20 0 1 fffffffe",
                             "4f 0 0 1f"}) {
        std::istringstream in(text);
        u32 code = 0;
        u32 second = 0;
        u32 top = 0;
        u32 value = 0;
        in >> std::hex >> code >> second >> top >> value;
        const ByteSection bytes = Bytes({static_cast<u8>(code)});
        EXPECT_EQ(Run(Of(bytes), {second, top}), in ? Value(value) : kFails) << text;
    }
    const bool little = GetParam() == ByteOrder::Little;
    const std::pair<ByteSection, Value> cases[] = {
        {Bytes({0x03}).U32(0x12345678), 0x12345678},
        {Bytes({0x09, 0xFF}), kNone},
        {Bytes({0x0A}).U16(0x8001), 0x8001},
        {Bytes({0x0B}).U16(0x8001), 0xFFFF8001},
        {Bytes({0x0E}).U32(little ? 0xCAFE : 7).U32(little ? 7 : 0xCAFE), 0xCAFE},
        {Bytes({0x10, 0xE5, 0x8E, 0x26, 0x11, 0x7C, 0x22}), 624481},
        {Bytes({0x35, 0x36, 0x15, 1, 0x23, 0x08}), 13},
        {Bytes({0x35, 0x15, 1}), kFails},
        {Bytes({0x35, 0x36, 0x37, 0x17}), 6},
        // Branches: a loop that counts down, and ways out of the bytes.
        {Bytes({0x33, 0x31, 0x1C, 0x12, 0x28}).U16(0xFFFA), 0},
        {Bytes({0x31, 0x2F}).U16(0), 1},
        {Bytes({0x31, 0x2F}).U16(1), kFails},
        {Bytes({0x31, 0x2F}).U16(0xFFFB), kFails},
        {Bytes({0x2F}).U16(0xFFFD), kFails}, // to itself
        // A long operand within a loop counts as long as it is.
        {Bytes({0x10}).Fill(30'000, 0x80).Raw({0, 0x13, 0x2F}).U16(0x8ACA), kFails},
        {Bytes().Fill(256, 0x31), 1},
        {Bytes().Fill(257, 0x31), kFails},
        {Bytes().Fill(1'000'000, 0x96).U8(0x31), 1}};
    for (const auto& [bytes, value] : cases) {
        EXPECT_EQ(Run(Of(bytes)), value) << Text(bytes).substr(0, 100);
    }
    const std::pair<ByteSection, const char*> texts[] = {
        {Bytes({0x91, 0x78, 0x06}), "DW_OP_fbreg -8; DW_OP_deref"},
        {Bytes({0x31, 0x03, 1, 2}), "DW_OP_lit1; <DW_OP_addr cut off at 1>"},
        {Bytes({0xEC}).U32(1).U32(2).U16(1).U8(0).U32(3),
         "[0x00000001-0x00000002: <unknown operator 0x00 at 11>] <list cut off at 12>"}};
    for (const auto& [bytes, text] : texts) { // each needs a target
        EXPECT_EQ(Run(Of(bytes)), kFails) << text;
        EXPECT_EQ(Text(bytes), text);
    }
    // An entry of a list holds from its begin up to its end.
    DbgExpression list =
        Of(Bytes({0xEC}).U32(0x10).U32(0x20).U16(1).U8(0x35).U32(0x20).U32(0x30).U16(1).U8(0x36).U64(0));
    for (const auto& [counter, value] : {std::pair(0x0Fu, 0u), {0x10u, 5u}, {0x1Fu, 5u}, {0x20u, 6u}, {0x30u, 0u}}) {
        DbgAddress at;
        at.value = counter;
        u32 got = 0;
        EXPECT_EQ(list.Evaluate(nullptr, &at, 0, kNone) == 0, value != 0) << counter;
        EXPECT_EQ(list.Pop(got), value != 0);
        EXPECT_EQ(got, value);
    }
    EXPECT_EQ(Text(Bytes({0x0E}).U64(~u64{0})), "DW_OP_const8u 18446744073709551615");
}

TEST_P(Expression, ListsNestEightDeep)
{
    const auto nest = [](u32 times) {
        ByteSection nested = Bytes({0x31});
        for (u32 depth = 0; depth < times; ++depth) {
            nested = Bytes({0xEC}).U32(0).U32(kNone).U16(nested.Size()).Raw(nested).U64(0);
        }
        return nested;
    };
    DbgAddress anywhere;
    anywhere.value = 0x8000;
    EXPECT_EQ(Of(nest(8)).Evaluate(nullptr, &anywhere, 0, kNone), 0u);
    EXPECT_NE(Of(nest(9)).Evaluate(nullptr, &anywhere, 0, kNone), 0u);
    EXPECT_EQ(Text(nest(8)).find("nested too deep"), std::string::npos);
    EXPECT_NE(Text(nest(9)).find("nested too deep"), std::string::npos);
    EXPECT_NE(Text(nest(1000)).find("nested too deep"), std::string::npos);
}
