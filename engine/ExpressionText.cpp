// Disassembles expressions into one line. Dumps print hundreds of thousands of them, so the text is made without
// streams.
#include "interfaces/DbgExpression.h"

#include "ExpressionOperators.h"

#include <charconv>
#include <cstddef>

using namespace engine;

namespace {

/// Each byte of an expression is shown at most once, however lists are nested, so that the length of the text is in
/// proportion to the bytes.
class Disassembler {
public:
    Disassembler(const VFKDataString& data, bool withOffsets, std::string& text)
        : m_bytes{reinterpret_cast<const u8*>(data.bytes.data()), data.LittleEndian()}
        , m_withOffsets(withOffsets)
        , m_text(text)
    {
    }

    /// Shows the operators from `pos` to `end`, up to one that can't be read.
    void Sequence(u32 pos, u32 end, u32 depth)
    {
        for (const u32 begin = pos; pos < end;) {
            if (pos != begin) {
                m_text += "; ";
            }
            if (m_withOffsets) {
                Decimal(pos);
                m_text += ": ";
            }
            DecodedOperator op;
            const Decoding decoding = DecodeOperator(m_bytes, pos, end, op);
            if (decoding != Decoding::Done) {
                return Fault(op, decoding, pos);
            }
            const u32 start = pos;
            pos = op.end;
            if (op.code != OP_locationList) {
                Operator(op);
            } else if (!List(start, pos, end, depth)) {
                return;
            }
        }
    }

private:
    /// @param start offset of the operator.
    /// @param pos offset of the first entry; moves past the list.
    bool List(u32 start, u32& pos, u32 end, u32 depth)
    {
        if (depth == kMaxListDepth) {
            Place("<list nested too deep", start);
            return false;
        }
        ListEntry entry;
        ListStep step = ListStep::Entry;
        bool first = true;
        while ((step = ReadListEntry(m_bytes, pos, end, entry)) == ListStep::Entry) {
            m_text += first ? "[" : " [";
            first = false;
            Address(entry.begin);
            m_text += '-';
            Address(entry.end);
            m_text += ": ";
            Sequence(entry.exprBegin, entry.exprEnd, depth + 1);
            m_text += ']';
        }
        if (step == ListStep::Truncated) {
            Place(first ? "<list cut off" : " <list cut off", pos);
            return false;
        }
        if (first) {
            m_text += "[]";
        }
        return true;
    }

    void Operator(const DecodedOperator& op)
    {
        m_text += op.info->name;
        if (op.info->number) {
            Decimal(*op.info->number);
        }
        switch (op.info->operands) {
        case Operands::Unknown:
        case Operands::None:
        case Operands::Entries:
            return;
        case Operands::Address:
            m_text += ' ';
            return Address(static_cast<u32>(op.first));
        case Operands::U64:
            m_text += ' ';
            return Decimal(static_cast<u64>(op.first));
        case Operands::UlebSleb:
            m_text += ' ';
            Decimal(op.first);
            m_text += ' ';
            return Decimal(op.second);
        default:
            break;
        }
        if (op.code == OP_sectionBase) { // in the form that compiles
            m_text += '(';
            Decimal(op.first);
            m_text += ')';
            return;
        }
        m_text += ' ';
        Decimal(op.first);
    }

    void Fault(const DecodedOperator& op, Decoding decoding, u32 pos)
    {
        if (decoding == Decoding::Truncated) {
            m_text += '<';
            m_text += op.info->name;
            if (op.info->number) {
                Decimal(*op.info->number);
            }
            return Place(" cut off", pos);
        }
        m_text += "<unknown operator ";
        Hexadecimal(op.code, 2);
        Place("", pos);
    }

    void Place(const char* what, u32 pos)
    {
        m_text += what;
        m_text += " at ";
        Decimal(pos);
        m_text += '>';
    }

    template <typename Integer>
    void Decimal(Integer number)
    {
        char digits[24];
        const auto written = std::to_chars(digits, digits + sizeof(digits), number);
        m_text.append(digits, static_cast<std::size_t>(written.ptr - digits));
    }

    void Address(u32 address) { Hexadecimal(address, 8); }

    void Hexadecimal(u32 number, u32 digits)
    {
        char text[10] = {'0', 'x'};
        for (u32 index = digits; index > 0; --index, number >>= 4) {
            text[1 + index] = "0123456789abcdef"[number & 0xFu];
        }
        m_text.append(text, 2 + digits);
    }

    ExpressionBytes m_bytes;
    bool m_withOffsets;
    std::string& m_text;
};

} // namespace

void DbgExpression::GetText(std::string& text, bool withOffsets) const
{
    text.clear();
    Disassembler(m_data, withOffsets, text).Sequence(0, m_data.Size(), 0);
}
