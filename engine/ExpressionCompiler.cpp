// A recursive-descent parser of expressions, which writes operators as it reads.
#include "ExpressionCompiler.h"

#include "ExpressionOperators.h"
#include "interfaces/Types.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace engine {
namespace {

/// How deep parentheses may nest.
constexpr u32 kMaxDepth = 64;

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kSectionBase = "sectid_base";

class Compiler {
public:
    explicit Compiler(std::string_view text)
        : m_rest(text)
    {
    }

    std::string Compile()
    {
        const bool whole = Sum(0) && Peek() == '\0' && m_rest.empty();
        return whole ? std::move(m_bytes) : std::string();
    }

private:
    // Each reads one part of the grammar; false if it isn't there.

    bool Sum(u32 depth)
    {
        return Chain('+', OP_plus, '-', OP_minus,
                     [this, depth] { return Chain('*', OP_mul, '/', OP_div, [this, depth] { return Unary(depth); }); });
    }

    /// Operands with one of two operators between them, from left to right.
    template <typename Operand>
    bool Chain(char first, u8 firstCode, char second, u8 secondCode, Operand operand)
    {
        if (!operand()) {
            return false;
        }
        while (Peek() == first || Peek() == second) {
            const u8 code = Peek() == first ? firstCode : secondCode;
            m_rest.remove_prefix(1);
            if (!operand()) {
                return false;
            }
            Put(code);
        }
        return true;
    }

    bool Unary(u32 depth)
    {
        std::size_t minuses = 0;
        while (Take('-')) {
            ++minuses;
        }
        if (!Primary(depth)) {
            return false;
        }
        m_bytes.append(minuses, static_cast<char>(OP_neg));
        return true;
    }

    bool Primary(u32 depth)
    {
        u32 number = 0;
        if (Take('(')) {
            return depth < kMaxDepth && Sum(depth + 1) && Take(')');
        }
        if (m_rest.starts_with(kSectionBase)) {
            m_rest.remove_prefix(kSectionBase.size());
            return Take('(') && Integer(number) && Take(')') && Put(OP_sectionBase, number);
        }
        return Integer(number) && Put(OP_constu, number);
    }

    /// Decimal, octal after a 0, or hexadecimal after 0x, as in C's strtoul.
    bool Integer(u32& number)
    {
        int base = 10;
        if (Peek() == '0' && m_rest.size() > 1) {
            const bool hexadecimal = m_rest[1] == 'x' || m_rest[1] == 'X';
            base = hexadecimal ? 16 : 8;
            m_rest.remove_prefix(hexadecimal ? 2 : 0);
        }
        const auto [behind, error] = std::from_chars(m_rest.data(), m_rest.data() + m_rest.size(), number, base);
        if (error != std::errc()) {
            return false;
        }
        m_rest.remove_prefix(static_cast<std::size_t>(behind - m_rest.data()));
        return true;
    }

    /// The next character that isn't a blank; 0 at the end.
    char Peek()
    {
        const std::size_t blanks = m_rest.find_first_not_of(kBlanks);
        m_rest.remove_prefix(blanks == std::string_view::npos ? m_rest.size() : blanks);
        return m_rest.empty() ? '\0' : m_rest.front();
    }

    bool Take(char character)
    {
        if (Peek() != character) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    void Put(u8 code) { m_bytes.push_back(static_cast<char>(code)); }

    /// An operator with a ULEB128 operand. Always true.
    bool Put(u8 code, u32 operand)
    {
        Put(code);
        for (; operand >= 0x80; operand >>= 7) {
            Put(static_cast<u8>(operand | 0x80u));
        }
        Put(static_cast<u8>(operand));
        return true;
    }

    std::string_view m_rest;
    std::string m_bytes;
};

} // namespace

std::string CompileExpression(std::string_view text)
{
    return Compiler(text).Compile();
}

} // namespace engine
