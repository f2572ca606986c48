// Evaluation, compilation and text of expressions, in both byte orders where that counts.
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Bytes(std::initializer_list<int> bytes)
{
    std::string text;
    for (const int byte : bytes) {
        text += static_cast<char>(byte);
    }
    return text;
}

std::string Number(u32 value, u32 size, bool littleEndian)
{
    std::string text;
    for (u32 index = 0; index < size; ++index) {
        text += static_cast<char>(value >> 8 * (littleEndian ? index : size - 1 - index));
    }
    return text;
}

std::string Entry(u32 begin, u32 end, const std::string& expression, bool littleEndian)
{
    return Number(begin, 4, littleEndian) + Number(end, 4, littleEndian) +
           Number(static_cast<u32>(expression.size()), 2, littleEndian) + expression;
}

const std::string kListEnd(8, '\0');

std::string List(std::string entries)
{
    entries.insert(entries.begin(), '\xEC');
    return entries;
}

/// A target whose registers hold 0x1000 times their number, and whose bytes are their address's low ones.
class Target : public DbgContext {
public:
    bool ReadRegister(u32 number, u32& value) const override
    {
        value = number * 0x1000;
        return number < 16;
    }
    bool ReadMemory(u32 address, u32 size, u32& value) const override
    {
        value = address & (size == 4 ? ~u32{0} : (1u << 8 * size) - 1);
        return address != 0xBAD;
    }
    bool GetProgramCounter(u32& value) const override
    {
        value = counter.value_or(value);
        return counter.has_value();
    }
    bool GetFrameBase(u32& value) const override
    {
        value = 0x7000;
        return true;
    }
    std::optional<u32> counter = 0x8004;
};

/// The value on the stack afterwards; none if the evaluation fails or leaves nothing.
std::optional<u32> Value(const std::string& bytes, const DbgContext* context = nullptr, bool littleEndian = true,
                         std::initializer_list<u32> pushed = {})
{
    DbgExpression expression(VFKDataString(false, littleEndian, bytes), nullptr, nullptr);
    for (const u32 value : pushed) {
        expression.Push(value);
    }
    u32 result = 0;
    const bool done = expression.Evaluate(context, nullptr, 0, kNone) == 0 && expression.Pop(result);
    return done ? std::optional(result) : std::nullopt;
}

std::string Text(const std::string& bytes, bool withOffsets = false, bool littleEndian = true)
{
    std::string text = "not cleared";
    DbgExpression(VFKDataString(false, littleEndian, bytes), nullptr, nullptr).GetText(text, withOffsets);
    return text;
}

std::optional<u32> Compiled(const char* text)
{
    DbgExpression expression(text, nullptr, nullptr);
    u32 result = 0;
    const bool done = expression.Evaluate(nullptr, nullptr, 0, kNone) == 0 && expression.Pop(result);
    return done ? std::optional(result) : std::nullopt;
}

bool Compiles(const std::string& text)
{
    return !DbgExpression(text.c_str(), nullptr, nullptr).GetDataString().bytes.empty();
}

class Expression : public testing::TestWithParam<bool> {
protected:
    bool littleEndian = GetParam();
    Target target;
};

INSTANTIATE_TEST_SUITE_P(ByteOrders, Expression, testing::Bool());

} // namespace

TEST_P(Expression, ConstantsAreExtendedAndCutToAWord)
{
    const auto value = [&](int code, const std::string& operand) {
        return Value(Bytes({code}) + operand, nullptr, littleEndian);
    };
    EXPECT_EQ(value(0x03, Number(0x12345678, 4, littleEndian)), 0x12345678u);
    EXPECT_EQ(value(0x08, "\xFF"), 0xFFu);
    EXPECT_EQ(value(0x09, "\xFF"), 0xFFFFFFFFu);
    EXPECT_EQ(value(0x0A, Number(0x8001, 2, littleEndian)), 0x8001u);
    EXPECT_EQ(value(0x0B, Number(0x8001, 2, littleEndian)), 0xFFFF8001u);
    EXPECT_EQ(value(0x0C, Number(0x80000001, 4, littleEndian)), 0x80000001u);
    EXPECT_EQ(value(0x0D, Number(0x80000001, 4, littleEndian)), 0x80000001u);
    const std::string low = Number(0xCAFE, 4, littleEndian);
    const std::string high = Number(7, 4, littleEndian);
    EXPECT_EQ(value(0x0E, littleEndian ? low + high : high + low), 0xCAFEu);
    EXPECT_EQ(value(0x0F, littleEndian ? low + high : high + low), 0xCAFEu);
    EXPECT_EQ(value(0x10, "\xE5\x8E\x26"), 624485u);
    EXPECT_EQ(value(0x10, "\xFF\xFF\xFF\xFF\x7F"), 0xFFFFFFFFu);
    EXPECT_EQ(value(0x11, "\x7C"), 0xFFFFFFFCu);
    EXPECT_EQ(value(0x11, "\xFF\xFF\xFF\xFF\x7F"), 0xFFFFFFFFu);
    EXPECT_EQ(value(0x30, ""), 0u);
    EXPECT_EQ(value(0x4F, ""), 31u);
}

TEST_P(Expression, ListsAreFollowedByFurtherOperators)
{
    const std::string list = List(Entry(0x8010, 0x8020, Bytes({0x31}), littleEndian) +
                                  Entry(0x8000, 0x8010, Bytes({0x7B, 0x08}), littleEndian) +
                                  Entry(0x8000, 0x8010, Bytes({0x33}), littleEndian));
    const std::string plus = Bytes({0x11, 0x78, 0x22});
    const std::string whole = list + kListEnd + plus;
    EXPECT_EQ(Value(whole, &target, littleEndian), 0xB000u);
    EXPECT_EQ(Value(list, &target, littleEndian), 0xB008u) << "no closing pair: the list ends with the bytes";
    target.counter = 0x8010;
    EXPECT_EQ(Value(whole, &target, littleEndian), 0xFFFFFFF9u);
    target.counter = 0x8020;
    EXPECT_EQ(Value(whole, &target, littleEndian), std::nullopt);
    target.counter.reset();
    EXPECT_EQ(Value(whole, &target, littleEndian), std::nullopt);
    EXPECT_EQ(Value(whole, nullptr, littleEndian), std::nullopt);
    EXPECT_EQ(Value(List(kListEnd), &target, littleEndian), std::nullopt);

    DbgExpression expression(VFKDataString(false, littleEndian, whole), &target, nullptr);
    DbgAddress address;
    address.value = 0x8011;
    EXPECT_EQ(expression.Evaluate(nullptr, &address, 0, kNone), 0u);

    EXPECT_EQ(Text(whole, false, littleEndian),
              "[0x00008010-0x00008020: DW_OP_lit1] [0x00008000-0x00008010: DW_OP_breg11 8] "
              "[0x00008000-0x00008010: DW_OP_lit3]; DW_OP_consts -8; DW_OP_plus");
}

TEST_P(Expression, BranchesStayInsideTheirBytes)
{
    // lit3; loop: lit1 minus dup bra(loop)
    const auto branch = [&](i32 distance) { return Number(static_cast<u32>(distance), 2, littleEndian); };
    EXPECT_EQ(Value(Bytes({0x33, 0x31, 0x1C, 0x12, 0x28}) + branch(-6), nullptr, littleEndian), 0u);
    EXPECT_EQ(Value(Bytes({0x31, 0x2F}) + branch(1) + Bytes({0x32, 0x34}), nullptr, littleEndian), 4u);
    EXPECT_EQ(Value(Bytes({0x31, 0x2F}) + branch(0), nullptr, littleEndian), 1u);
    EXPECT_EQ(Value(Bytes({0x31, 0x2F}) + branch(1), nullptr, littleEndian), std::nullopt);
    EXPECT_EQ(Value(Bytes({0x31, 0x2F}) + branch(-5), nullptr, littleEndian), std::nullopt);
    // Out of an entry into its own head, whose bytes could pass for operators.
    target.counter = 0x50000000;
    const std::string inner = Bytes({0x28}) + branch(-13) + std::string(0x3030 - 3, '\x96');
    const std::string list = List(Entry(0x30303030, 0x96969696, inner, littleEndian));
    EXPECT_EQ(Value(list, &target, littleEndian, {7, 0}), 7u);
    EXPECT_EQ(Value(list, &target, littleEndian, {7, 1}), std::nullopt);
}

TEST(ExpressionEvaluation, StackOperators)
{
    EXPECT_EQ(Value(Bytes({0x12, 0x22}), nullptr, true, {5}), 10u);
    EXPECT_EQ(Value(Bytes({0x13}), nullptr, true, {5, 6}), 5u);
    EXPECT_EQ(Value(Bytes({0x14}), nullptr, true, {5, 6}), 5u);
    EXPECT_EQ(Value(Bytes({0x15, 2}), nullptr, true, {5, 6, 7}), 5u);
    EXPECT_EQ(Value(Bytes({0x15, 3}), nullptr, true, {5, 6, 7}), std::nullopt);
    EXPECT_EQ(Value(Bytes({0x16}), nullptr, true, {5, 6}), 5u);
    // rot: the top becomes the third, the second the top.
    EXPECT_EQ(Value(Bytes({0x17}), nullptr, true, {5, 6, 7}), 6u);
    EXPECT_EQ(Value(Bytes({0x17, 0x13}), nullptr, true, {5, 6, 7}), 5u);
    EXPECT_EQ(Value(Bytes({0x17, 0x13, 0x13}), nullptr, true, {5, 6, 7}), 7u);
    EXPECT_EQ(Value(Bytes({0x96, 0x93, 4}), nullptr, true, {9}), 9u);
}

TEST(ExpressionEvaluation, ArithmeticIsThatOfTheTargetsWords)
{
    const auto binary = [](int code, u32 second, u32 top) {
        return Value(Bytes({code}), nullptr, true, {second, top});
    };
    constexpr u32 kMinimum = 0x80000000;
    const auto negative = [](i32 number) { return static_cast<u32>(number); };
    EXPECT_EQ(binary(0x1A, 12, 10), 8u);
    EXPECT_EQ(binary(0x21, 12, 10), 14u);
    EXPECT_EQ(binary(0x27, 12, 10), 6u);
    EXPECT_EQ(binary(0x1B, negative(-7), 2), negative(-3));
    EXPECT_EQ(binary(0x1B, kMinimum, negative(-1)), kMinimum);
    EXPECT_EQ(binary(0x1B, 1, 0), std::nullopt);
    EXPECT_EQ(binary(0x1D, 17, 5), 2u);
    EXPECT_EQ(binary(0x1D, 1, 0), std::nullopt);
    EXPECT_EQ(binary(0x1C, 3, 5), negative(-2));
    EXPECT_EQ(binary(0x1E, 0x10000, 0x10001), 0x10000u);
    EXPECT_EQ(binary(0x22, 0xFFFFFFFF, 2), 1u);
    EXPECT_EQ(binary(0x24, 1, 31), kMinimum);
    EXPECT_EQ(binary(0x24, 1, 32), 0u);
    EXPECT_EQ(binary(0x25, kMinimum, 31), 1u);
    EXPECT_EQ(binary(0x25, kMinimum, 0xFFFFFFFF), 0u);
    EXPECT_EQ(binary(0x26, kMinimum, 4), 0xF8000000u);
    EXPECT_EQ(binary(0x26, kMinimum, 99), 0xFFFFFFFFu);
    EXPECT_EQ(binary(0x29, 5, 5), 1u);
    EXPECT_EQ(binary(0x2A, negative(-1), 0), 0u);
    EXPECT_EQ(binary(0x2B, 1, negative(-1)), 1u);
    EXPECT_EQ(binary(0x2C, 5, 5), 1u);
    EXPECT_EQ(binary(0x2D, negative(-1), 0), 1u);
    EXPECT_EQ(binary(0x2E, 5, 5), 0u);
    EXPECT_EQ(Value(Bytes({0x19}), nullptr, true, {negative(-4)}), 4u);
    EXPECT_EQ(Value(Bytes({0x19}), nullptr, true, {kMinimum}), kMinimum);
    EXPECT_EQ(Value(Bytes({0x1F}), nullptr, true, {1}), 0xFFFFFFFFu);
    EXPECT_EQ(Value(Bytes({0x20}), nullptr, true, {1}), 0xFFFFFFFEu);
    EXPECT_EQ(Value(Bytes({0x23, 0x08}), nullptr, true, {0}), 8u);
}

TEST(ExpressionEvaluation, RegistersAndMemoryNeedATarget)
{
    const Target target;
    const std::pair<std::string, u32> cases[] = {
        {Bytes({0x53}), 0x3000},                   // reg3
        {Bytes({0x90, 4}), 0x4000},                // regx 4
        {Bytes({0x7B, 0x78}), 0xAFF8},             // breg11 -8
        {Bytes({0x92, 5, 4}), 0x5004},             // bregx 5 4
        {Bytes({0x91, 0x7F}), 0x6FFF},             // fbreg -1
        {Bytes({0x0A, 0x34, 0x12, 0x06}), 0x1234}, // const2u deref
        {Bytes({0x0A, 0x34, 0x12, 0x94, 1}), 0x34},
        {Bytes({0x30, 0x0A, 0x34, 0x12, 0x18}), 0x1234}, // xderef
        {Bytes({0x30, 0x0A, 0x34, 0x12, 0x95, 1}), 0x34},
    };
    for (const auto& [bytes, value] : cases) {
        EXPECT_EQ(Value(bytes, &target), value) << Text(bytes);
        EXPECT_EQ(Value(bytes), std::nullopt) << Text(bytes);
    }
    EXPECT_EQ(Value(Bytes({0x60}), &target), std::nullopt) << "a register that the target doesn't know";
    EXPECT_EQ(Value(Bytes({0x0A, 0xAD, 0x0B, 0x06}), &target), std::nullopt);
    EXPECT_EQ(Value(Bytes({0x31, 0x94, 3}), &target), std::nullopt);
    EXPECT_EQ(Value(Bytes({0x18}), &target, true, {1}), std::nullopt);
}

TEST(ExpressionEvaluation, FailureLeavesTheStackAsItWas)
{
    DbgExpression expression(VFKDataString(false, true, Bytes({0x13, 0x31, 0x32, 0x30, 0x1B})), nullptr, nullptr);
    expression.Push(42);
    EXPECT_NE(expression.Evaluate(nullptr, nullptr, 0, kNone), 0u);
    u32 value = 0;
    EXPECT_TRUE(expression.Pop(value));
    EXPECT_EQ(value, 42u);
    EXPECT_FALSE(expression.Pop(value));
    EXPECT_EQ(value, 42u);
}

TEST(ExpressionEvaluation, StartAndStopBoundIt)
{
    DbgExpression expression(VFKDataString(false, true, Bytes({0x31, 0x32, 0x08, 0x33})), nullptr, nullptr);
    u32 value = 0;
    EXPECT_EQ(expression.Evaluate(nullptr, nullptr, 1, 2), 0u);
    EXPECT_TRUE(expression.Pop(value));
    EXPECT_EQ(value, 2u);
    EXPECT_FALSE(expression.Pop(value));
    EXPECT_NE(expression.Evaluate(nullptr, nullptr, 2, 3), 0u) << "the stop cuts an operand off";
    EXPECT_EQ(expression.Evaluate(nullptr, nullptr, 4, kNone), 0u);
    EXPECT_NE(expression.Evaluate(nullptr, nullptr, 5, kNone), 0u);
    EXPECT_FALSE(expression.Pop(value));
    EXPECT_EQ(Value("", nullptr, true, {7}), 7u);
}

TEST(ExpressionEvaluation, WorkAndDepthAreBounded)
{
    EXPECT_EQ(Value(Bytes({0x2F, 0xFD, 0xFF})), std::nullopt) << "skip to itself";
    EXPECT_EQ(Value(std::string(256, '\x31')), 1u);
    EXPECT_EQ(Value(std::string(257, '\x31')), std::nullopt);
    EXPECT_EQ(Value(std::string(1'000'000, '\x96') + "\x31"), 1u) << "long, but without a loop";
    // A long operand within a loop counts as long as it is: constu 0, drop, skip back.
    const std::string loop = Bytes({0x10}) + std::string(30'000, '\x80') + Bytes({0, 0x13, 0x2F, 0xCA, 0x8A});
    const auto start = std::chrono::steady_clock::now();
    for (u32 round = 0; round < 100; ++round) {
        EXPECT_EQ(Value(loop), std::nullopt);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

    const Target target;
    std::string nested = Bytes({0x31});
    for (u32 depth = 0; depth < 8; ++depth) {
        nested = List(Entry(0, kNone, nested, true) + kListEnd);
    }
    EXPECT_EQ(Value(nested, &target), 1u);
    EXPECT_EQ(Value(List(Entry(0, kNone, nested, true)), &target), std::nullopt);
    EXPECT_NE(Text(List(Entry(0, kNone, nested, true))).find("nested too deep"), std::string::npos);
}

TEST(ExpressionEvaluation, AnyBytesEndWithoutHarmAndInLinearText)
{
    std::mt19937 random(3);
    Target target;
    target.counter = 0x01010101;
    for (u32 round = 0; round < 20'000; ++round) {
        std::string bytes(random() % 40, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(round % 2 == 0 ? random() : random() % 8 == 0 ? 0xEC : random() % 4);
        }
        Value(bytes, &target, round % 4 < 2, {1, 2, 3});
        ASSERT_LE(Text(bytes, true).size(), 64 + bytes.size() * 32);
    }
}

TEST(ExpressionText, IsOneReadableLine)
{
    EXPECT_EQ(Text(""), "");
    EXPECT_EQ(Text(Bytes({0x7B, 0x78, 0x23, 4})), "DW_OP_breg11 -8; DW_OP_plus_uconst 4");
    EXPECT_EQ(Text(Bytes({0x91, 0x78, 0x06}), true), "0: DW_OP_fbreg -8; 2: DW_OP_deref");
    EXPECT_EQ(Text(Bytes({0x03, 0x78, 0x56, 0x34, 0x12})), "DW_OP_addr 0x12345678");
    EXPECT_EQ(Text(Bytes({0x6F, 0x93, 4, 0x92, 5, 0x7C, 0xF8, 7, 0x2F, 0xFD, 0xFF})),
              "DW_OP_reg31; DW_OP_piece 4; DW_OP_bregx 5 -4; sectid_base(7); DW_OP_skip -3");
    EXPECT_EQ(Text(Bytes({0x0E, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})),
              "DW_OP_const8u 18446744073709551615");
    EXPECT_EQ(Text(List(kListEnd)), "[]");
    EXPECT_EQ(Text(List(Entry(1, 2, "", true))), "[0x00000001-0x00000002: ]");
}

TEST(ExpressionText, SaysWhereItStopsMakingSense)
{
    EXPECT_EQ(Text(Bytes({0x31, 0x03, 1, 2})), "DW_OP_lit1; <DW_OP_addr cut off at 1>");
    EXPECT_EQ(Text(Bytes({0x70, 0x80})), "<DW_OP_breg0 cut off at 0>");
    EXPECT_EQ(Text(Bytes({0x31, 0xFE, 0x31})), "DW_OP_lit1; <unknown operator 0xfe at 1>");
    EXPECT_EQ(Text(List(Entry(1, 2, Bytes({0x00}), true) + Number(3, 4, true))),
              "[0x00000001-0x00000002: <unknown operator 0x00 at 11>] <list cut off at 12>");
}

TEST(ExpressionCompilation, IntegersOperatorsAndParentheses)
{
    EXPECT_EQ(DbgExpression("300", nullptr, nullptr).GetDataString().bytes, Bytes({0x10, 0xAC, 0x02}));
    EXPECT_EQ(Compiled(" 2 + 3 * 4 "), 14u);
    EXPECT_EQ(Compiled("(2+3)*4"), 20u);
    EXPECT_EQ(Compiled("10 - 4 - 3"), 3u);
    EXPECT_EQ(Compiled("100/10/5"), 2u);
    EXPECT_EQ(Compiled("-3 + 5"), 2u);
    EXPECT_EQ(Compiled("2 - -(-1)"), 1u);
    EXPECT_EQ(Compiled("0x1F"), 31u);
    EXPECT_EQ(Compiled("0Xffffffff"), 0xFFFFFFFFu);
    EXPECT_EQ(Compiled("017"), 15u);
    EXPECT_EQ(Compiled("0"), 0u);
    EXPECT_EQ(Compiled("1/0"), std::nullopt);
}

TEST(ExpressionCompilation, TheBaseOfASection)
{
    DbgSectionList list;
    const DbgSection section(".text", kSectionPiCode, 950, kNone, 0x100, 0x4000);
    list.AddSection(&section);
    EXPECT_EQ(DbgExpression("sectid_base(300)", nullptr, nullptr).GetDataString().bytes, Bytes({0xF8, 0xAC, 0x02}));
    EXPECT_EQ(Compiled("sectid_base(950) + 0x10"), 0x4010u);
    EXPECT_EQ(Compiled("sectid_base ( 0x3B6 )"), 0x4000u);
    EXPECT_EQ(Compiled("sectid_base(951)"), std::nullopt) << "there is no such section";
}

TEST(ExpressionCompilation, OtherTextGivesNoBytes)
{
    for (const char* text : {"",
                             " ",
                             "1 2",
                             "1 +",
                             "+1",
                             "(1",
                             "1)",
                             "()",
                             "08",
                             "0x",
                             "0xG",
                             "12ab",
                             "4294967296",
                             "0x100000000",
                             "99999999999999999999999",
                             "r9",
                             "sectid_base",
                             "sectid_base()",
                             "sectid_base(-1)",
                             "sectid_base(1",
                             "sectid_bases(1)",
                             "1 % 2",
                             "-",
                             "1 * / 2"}) {
        EXPECT_FALSE(Compiles(text)) << text;
    }
    EXPECT_EQ(DbgExpression(static_cast<const char*>(nullptr), nullptr, nullptr).GetDataString().Size(), 0u);
    EXPECT_TRUE(Compiles(std::string(64, '(') + "1" + std::string(64, ')')));
    EXPECT_FALSE(Compiles(std::string(1'000'000, '(')));
    EXPECT_TRUE(Compiles(std::string(1'000'000, '-') + "1"));
}
