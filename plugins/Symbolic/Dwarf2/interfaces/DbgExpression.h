// The engine's expression evaluator: DWARF 2.0 stack operators (2.4 and 7.7.1), the location-list
// operator 0xEC and the section-base operator 0xF8.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKDataString.h"

#include <string>
#include <vector>

class DbgContext;
struct DbgAddress;

/// Evaluates on a bounded stack with a bounded number of steps. Bytes that aren't an expression
/// fail; they never harm.
class DbgExpression {
public:
    /// An expression of the given bytes; the context and the address may be null.
    DbgExpression(const VFKDataString& bytes, const DbgContext* context, const DbgAddress* address);

    /// Compiles text: integers (to DW_OP_constu), + - * /, parentheses and `sectid_base(N)` (to
    /// 0xF8 with N as ULEB128: the base address of section N). Text that doesn't compile gives no
    /// bytes.
    DbgExpression(const char* text, const DbgContext* context, const DbgAddress* address);

    const VFKDataString& GetDataString() const { return m_data; }

    /// Disassembles into one line; a list is shown entry by entry. Text of a malformed expression
    /// says where it stops making sense.
    /// @param withOffsets puts each operator's offset before it.
    void GetText(std::string& text, bool withOffsets) const;

    void Push(u32 value);
    /// False, with `value` untouched, if the stack is empty.
    bool Pop(u32& value);

    /// Runs the expression on the present stack. One without bytes succeeds and leaves the stack.
    /// On failure the stack stays as it was.
    /// @param context the target; null takes the one of the constructor. Without either, an operator
    ///        that needs a register or memory, and a list without a program counter, fail.
    /// @param address the program counter for a list if the context can't tell it; null takes the
    ///        one of the constructor.
    /// @param start offset of the first operator.
    /// @param stop offset at which evaluation ends; kNone for the end of the bytes.
    /// @return 0 on success, else another number.
    u32 Evaluate(const DbgContext* context, const DbgAddress* address, u32 start, u32 stop);

private:
    VFKDataString m_data;
    const DbgContext* m_context;
    const DbgAddress* m_address;
    std::vector<u32> m_stack;
};
