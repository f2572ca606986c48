// Evaluates expressions on a stack of 32-bit words, with bounds on its depth and on the work.
#include "interfaces/DbgExpression.h"

#include "ExpressionCompiler.h"
#include "ExpressionOperators.h"
#include "SectionRegistry.h"
#include "interfaces/DbgAddress.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

using namespace engine;

namespace {

/// What Evaluate returns. Callers only rely on 0 for success.
enum Outcome : u32 {
    kSuccess = 0,
    kMalformed = 1, ///< unknown operator, operands cut off, a branch out of the bytes
    kBadStack = 2,  ///< too few values, or too many
    kNoTarget = 3,  ///< there is no target, it can't tell, or there is no such section
    kBadNumber = 4, ///< division by zero
    kTooLong = 5,   ///< more work than an expression can need
    kNotInList = 6, ///< no entry of a list holds for the program counter
};

constexpr u32 kMaxStack = 256;

/// How many bytes of operators may run besides the expression's own length: what backward branches may cost.
constexpr u64 kMaxRepeated = 10'000;

class Evaluation {
public:
    Evaluation(const VFKDataString& data, const DbgContext* context, const DbgAddress* address)
        : m_bytes{reinterpret_cast<const u8*>(data.bytes.data()), data.LittleEndian()}
        , m_work(kMaxRepeated + data.bytes.size())
        , m_context(context)
        , m_address(address)
    {
    }

    /// Runs from `start` to `end`, which are inside the bytes, on a copy of `stack`, and copies that back on success
    /// only.
    Outcome Run(std::vector<u32>& stack, u32 start, u32 end);

private:
    /// A range of bytes that is running: the expression, and within it the entries of lists.
    struct Frame {
        u32 begin;
        u32 pos;
        u32 end;
    };

    void Step();
    void Execute(const DecodedOperator& op);
    void ExecuteNumbered(const DecodedOperator& op);
    void EnterList();
    void Jump(i64 distance);
    void Work(u64 amount);

    void Push(u32 value);
    u32 Pop();
    void Pick(u32 index);
    void Rotate();
    void Binary(u8 code);

    void PushRegister(u32 number, u32 offset);
    void PushFrameBase(u32 offset);
    void PushSectionBase(u32 id);
    void Dereference(u32 size);
    bool ProgramCounter(u32& value) const;

    void Fail(Outcome outcome) { m_outcome = m_outcome == kSuccess ? outcome : m_outcome; }

    ExpressionBytes m_bytes;
    u64 m_work; ///< bytes that may still run
    const DbgContext* m_context;
    const DbgAddress* m_address;
    Outcome m_outcome = kSuccess;
    std::array<Frame, 1 + kMaxListDepth> m_frames;
    u32 m_frame = 0;
    std::array<u32, kMaxStack> m_stack;
    u32 m_depth = 0;
};

Outcome Evaluation::Run(std::vector<u32>& stack, u32 start, u32 end)
{
    if (stack.size() > kMaxStack) {
        return kBadStack;
    }
    std::copy(stack.begin(), stack.end(), m_stack.begin());
    m_depth = static_cast<u32>(stack.size());
    m_frames[0] = {0, start, end};
    while (m_outcome == kSuccess) {
        if (m_frames[m_frame].pos < m_frames[m_frame].end) {
            Step();
        } else if (m_frame > 0) {
            --m_frame;
        } else {
            stack.assign(m_stack.begin(), m_stack.begin() + m_depth);
            break;
        }
    }
    return m_outcome;
}

void Evaluation::Step()
{
    Frame& frame = m_frames[m_frame];
    DecodedOperator op;
    if (DecodeOperator(m_bytes, frame.pos, frame.end, op) != Decoding::Done) {
        return Fail(kMalformed);
    }
    Work(op.end - frame.pos);
    frame.pos = op.end;
    if (op.info->number) {
        ExecuteNumbered(op);
    } else {
        Execute(op);
    }
}

void Evaluation::ExecuteNumbered(const DecodedOperator& op)
{
    const u32 number = *op.info->number;
    if (op.code < OP_reg0) {
        Push(number);
    } else {
        PushRegister(number, static_cast<u32>(op.first));
    }
}

void Evaluation::Execute(const DecodedOperator& op)
{
    const auto operand = static_cast<u32>(op.first);
    switch (op.code) {
    case OP_addr:
    case OP_const1u:
    case OP_const1s:
    case OP_const2u:
    case OP_const2s:
    case OP_const4u:
    case OP_const4s:
    case OP_const8u:
    case OP_const8s:
    case OP_constu:
    case OP_consts:
        return Push(operand);
    case OP_sectionBase:
        return PushSectionBase(operand);
    case OP_regx:
        return PushRegister(operand, 0);
    case OP_bregx:
        return PushRegister(operand, static_cast<u32>(op.second));
    case OP_fbreg:
        return PushFrameBase(operand);
    case OP_xderef:
    case OP_xderef_size: {
        // The target has one address space: its number, below the address on the stack, makes no difference.
        const u32 at = Pop();
        Pop();
        Push(at);
        return Dereference(op.code == OP_xderef ? 4 : operand);
    }
    case OP_deref:
        return Dereference(4);
    case OP_deref_size:
        return Dereference(operand);
    case OP_dup:
        return Pick(0);
    case OP_over:
        return Pick(1);
    case OP_pick:
        return Pick(operand);
    case OP_drop:
        Pop();
        return;
    case OP_swap: {
        const u32 top = Pop();
        const u32 second = Pop();
        Push(top);
        return Push(second);
    }
    case OP_rot:
        return Rotate();
    case OP_abs: {
        const u32 top = Pop();
        return Push(static_cast<i32>(top) < 0 ? 0 - top : top);
    }
    case OP_neg:
        return Push(0 - Pop());
    case OP_not:
        return Push(~Pop());
    case OP_plus_uconst:
        return Push(Pop() + operand);
    case OP_skip:
        return Jump(op.first);
    case OP_bra:
        return Pop() != 0 ? Jump(op.first) : void();
    case OP_locationList:
        return EnterList();
    case OP_piece:
        // The stack holds one value: of a thing in pieces it is the last piece.
    case OP_nop:
        return;
    default:
        return Binary(op.code);
    }
}

void Evaluation::Binary(u8 code)
{
    const u32 top = Pop();
    const u32 second = Pop();
    const auto signedTop = static_cast<i32>(top);
    const auto signedSecond = static_cast<i32>(second);
    switch (code) {
    case OP_and:
        return Push(second & top);
    case OP_or:
        return Push(second | top);
    case OP_xor:
        return Push(second ^ top);
    case OP_plus:
        return Push(second + top);
    case OP_minus:
        return Push(second - top);
    case OP_mul:
        return Push(second * top);
    case OP_div:
        // A signed division; the one quotient that doesn't fit wraps.
        return top == 0 ? Fail(kBadNumber) : Push(static_cast<u32>(i64{signedSecond} / signedTop));
    case OP_mod:
        return top == 0 ? Fail(kBadNumber) : Push(second % top);
    case OP_shl:
        return Push(top < 32 ? second << top : 0);
    case OP_shr:
        return Push(top < 32 ? second >> top : 0);
    case OP_shra:
        return Push(static_cast<u32>(signedSecond >> std::min(top, 31u)));
    case OP_eq:
        return Push(second == top);
    case OP_ne:
        return Push(second != top);
    case OP_ge:
        return Push(signedSecond >= signedTop);
    case OP_gt:
        return Push(signedSecond > signedTop);
    case OP_le:
        return Push(signedSecond <= signedTop);
    case OP_lt:
        return Push(signedSecond < signedTop);
    default:
        return Fail(kMalformed);
    }
}

void Evaluation::EnterList()
{
    u32 counter = 0;
    if (!ProgramCounter(counter)) {
        return Fail(kNoTarget);
    }
    Frame& frame = m_frames[m_frame];
    bool found = false;
    Frame inner{};
    ListEntry entry;
    ListStep step = ListStep::Entry;
    while ((step = ReadListEntry(m_bytes, frame.pos, frame.end, entry)) == ListStep::Entry) {
        Work(1);
        if (!found && entry.begin <= counter && counter < entry.end) {
            found = true;
            inner = {entry.exprBegin, entry.exprBegin, entry.exprEnd};
        }
    }
    if (step == ListStep::Truncated) {
        Fail(kMalformed);
    } else if (!found) {
        Fail(kNotInList);
    } else if (m_frame == kMaxListDepth) {
        Fail(kTooLong);
    } else {
        m_frames[++m_frame] = inner;
    }
}

void Evaluation::Jump(i64 distance)
{
    Frame& frame = m_frames[m_frame];
    const i64 target = i64{frame.pos} + distance;
    if (target < frame.begin || target > frame.end) {
        return Fail(kMalformed);
    }
    frame.pos = static_cast<u32>(target);
}

void Evaluation::Work(u64 amount)
{
    if (amount > m_work) {
        return Fail(kTooLong);
    }
    m_work -= amount;
}

void Evaluation::Push(u32 value)
{
    if (m_depth == kMaxStack) {
        return Fail(kBadStack);
    }
    m_stack[m_depth++] = value;
}

u32 Evaluation::Pop()
{
    if (m_depth == 0) {
        Fail(kBadStack);
        return 0;
    }
    return m_stack[--m_depth];
}

void Evaluation::Pick(u32 index)
{
    if (index >= m_depth) {
        return Fail(kBadStack);
    }
    Push(m_stack[m_depth - 1 - index]);
}

void Evaluation::Rotate()
{
    const u32 top = Pop();
    const u32 second = Pop();
    const u32 third = Pop();
    Push(top);
    Push(third);
    Push(second);
}

void Evaluation::PushRegister(u32 number, u32 offset)
{
    u32 value = 0;
    if (m_context == nullptr || !m_context->ReadRegister(number, value)) {
        return Fail(kNoTarget);
    }
    Push(value + offset);
}

void Evaluation::PushFrameBase(u32 offset)
{
    u32 value = 0;
    if (m_context == nullptr || !m_context->GetFrameBase(value)) {
        return Fail(kNoTarget);
    }
    Push(value + offset);
}

void Evaluation::PushSectionBase(u32 id)
{
    const DbgSection* section = SectionRegistry::Get().Find(id);
    if (section == nullptr) {
        return Fail(kNoTarget);
    }
    Push(section->base);
}

void Evaluation::Dereference(u32 size)
{
    if (size != 1 && size != 2 && size != 4) {
        return Fail(kMalformed);
    }
    const u32 at = Pop();
    u32 value = 0;
    if (m_outcome != kSuccess) {
        return;
    }
    if (m_context == nullptr || !m_context->ReadMemory(at, size, value)) {
        return Fail(kNoTarget);
    }
    Push(value);
}

/// The target's program counter, else the address that the caller gave.
bool Evaluation::ProgramCounter(u32& value) const
{
    if (m_context != nullptr && m_context->GetProgramCounter(value)) {
        return true;
    }
    if (m_address == nullptr || m_address->value == kNone) {
        return false;
    }
    DbgAddress counter = *m_address;
    if (!counter.MakeAbsolute(m_context)) {
        return false;
    }
    value = counter.value;
    return true;
}

} // namespace

DbgExpression::DbgExpression(const VFKDataString& bytes, const DbgContext* context, const DbgAddress* address)
    : m_data(bytes)
    , m_context(context)
    , m_address(address)
{
}

// The compiler writes nothing that depends on the byte order.
DbgExpression::DbgExpression(const char* text, const DbgContext* context, const DbgAddress* address)
    : m_data(false, true)
    , m_context(context)
    , m_address(address)
{
    if (text != nullptr) {
        m_data.bytes = CompileExpression(text);
    }
}

void DbgExpression::Push(u32 value)
{
    m_stack.push_back(value);
}

bool DbgExpression::Pop(u32& value)
{
    if (m_stack.empty()) {
        return false;
    }
    value = m_stack.back();
    m_stack.pop_back();
    return true;
}

u32 DbgExpression::Evaluate(const DbgContext* context, const DbgAddress* address, u32 start, u32 stop)
{
    const u32 end = std::min(stop, m_data.Size());
    if (start >= end) {
        // Nothing to run, unless the start is outside.
        return start > m_data.Size() ? kMalformed : kSuccess;
    }
    Evaluation evaluation(m_data, context != nullptr ? context : m_context, address != nullptr ? address : m_address);
    return evaluation.Run(m_stack, start, end);
}
