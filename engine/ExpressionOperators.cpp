// The table of operators, and the decoding of operators and list entries. All reads are bounded.
#include "ExpressionOperators.h"

#include <array>

namespace engine {
namespace {

struct Row {
    u8 code;
    std::string_view name;
    Operands operands;
};

constexpr Row kRows[] = {
    {OP_addr, "DW_OP_addr", Operands::Address},
    {OP_deref, "DW_OP_deref", Operands::None},
    {OP_const1u, "DW_OP_const1u", Operands::U8},
    {OP_const1s, "DW_OP_const1s", Operands::S8},
    {OP_const2u, "DW_OP_const2u", Operands::U16},
    {OP_const2s, "DW_OP_const2s", Operands::S16},
    {OP_const4u, "DW_OP_const4u", Operands::U32},
    {OP_const4s, "DW_OP_const4s", Operands::S32},
    {OP_const8u, "DW_OP_const8u", Operands::U64},
    {OP_const8s, "DW_OP_const8s", Operands::S64},
    {OP_constu, "DW_OP_constu", Operands::Uleb},
    {OP_consts, "DW_OP_consts", Operands::Sleb},
    {OP_dup, "DW_OP_dup", Operands::None},
    {OP_drop, "DW_OP_drop", Operands::None},
    {OP_over, "DW_OP_over", Operands::None},
    {OP_pick, "DW_OP_pick", Operands::U8},
    {OP_swap, "DW_OP_swap", Operands::None},
    {OP_rot, "DW_OP_rot", Operands::None},
    {OP_xderef, "DW_OP_xderef", Operands::None},
    {OP_abs, "DW_OP_abs", Operands::None},
    {OP_and, "DW_OP_and", Operands::None},
    {OP_div, "DW_OP_div", Operands::None},
    {OP_minus, "DW_OP_minus", Operands::None},
    {OP_mod, "DW_OP_mod", Operands::None},
    {OP_mul, "DW_OP_mul", Operands::None},
    {OP_neg, "DW_OP_neg", Operands::None},
    {OP_not, "DW_OP_not", Operands::None},
    {OP_or, "DW_OP_or", Operands::None},
    {OP_plus, "DW_OP_plus", Operands::None},
    {OP_plus_uconst, "DW_OP_plus_uconst", Operands::Uleb},
    {OP_shl, "DW_OP_shl", Operands::None},
    {OP_shr, "DW_OP_shr", Operands::None},
    {OP_shra, "DW_OP_shra", Operands::None},
    {OP_xor, "DW_OP_xor", Operands::None},
    {OP_bra, "DW_OP_bra", Operands::S16},
    {OP_eq, "DW_OP_eq", Operands::None},
    {OP_ge, "DW_OP_ge", Operands::None},
    {OP_gt, "DW_OP_gt", Operands::None},
    {OP_le, "DW_OP_le", Operands::None},
    {OP_lt, "DW_OP_lt", Operands::None},
    {OP_ne, "DW_OP_ne", Operands::None},
    {OP_skip, "DW_OP_skip", Operands::S16},
    {OP_regx, "DW_OP_regx", Operands::Uleb},
    {OP_fbreg, "DW_OP_fbreg", Operands::Sleb},
    {OP_bregx, "DW_OP_bregx", Operands::UlebSleb},
    {OP_piece, "DW_OP_piece", Operands::Uleb},
    {OP_deref_size, "DW_OP_deref_size", Operands::U8},
    {OP_xderef_size, "DW_OP_xderef_size", Operands::U8},
    {OP_nop, "DW_OP_nop", Operands::None},
    {OP_locationList, "list", Operands::Entries},
    {OP_sectionBase, "sectid_base", Operands::Uleb},
};

constexpr std::array<OperatorInfo, 256> MakeOperators()
{
    std::array<OperatorInfo, 256> operators{};
    for (const Row& row : kRows) {
        operators[row.code] = {row.name, row.operands, {}};
    }
    for (u8 number = 0; number < 32; ++number) {
        operators[static_cast<u8>(OP_lit0 + number)] = {"DW_OP_lit", Operands::None, number};
        operators[static_cast<u8>(OP_reg0 + number)] = {"DW_OP_reg", Operands::None, number};
        operators[static_cast<u8>(OP_breg0 + number)] = {"DW_OP_breg", Operands::Sleb, number};
    }
    return operators;
}

constexpr std::array<OperatorInfo, 256> kOperators = MakeOperators();

/// Reads operands one after another; once one doesn't fit, `fits` stays false.
class OperandReader {
public:
    OperandReader(const ExpressionBytes& bytes, u32 pos, u32 end)
        : m_bytes(bytes)
        , m_pos(pos)
        , m_end(end)
    {
    }

    template <typename Integer>
    i64 Fixed()
    {
        if (m_end - m_pos < sizeof(Integer)) {
            fits = false;
            return 0;
        }
        const u64 number = m_bytes.Number(m_pos, sizeof(Integer));
        m_pos += static_cast<u32>(sizeof(Integer));
        return static_cast<i64>(static_cast<Integer>(number));
    }

    i64 Uleb() { return Leb(false); }
    i64 Sleb() { return static_cast<i32>(Leb(true)); }
    u32 Pos() const { return m_pos; }

    bool fits = true;

private:
    /// All bytes up to one with a clear top bit (7.6); the low 32 bits count.
    u32 Leb(bool extend)
    {
        u32 value = 0;
        u32 shift = 0;
        while (m_pos < m_end) {
            const u8 byte = m_bytes.data[m_pos++];
            if (shift < 32) {
                value |= static_cast<u32>(byte & 0x7Fu) << shift;
                shift += 7;
            }
            if (byte < 0x80) {
                const bool negative = extend && (byte & 0x40u) != 0 && shift < 32;
                return negative ? value | ~u32{0} << shift : value;
            }
        }
        fits = false;
        return 0;
    }

    const ExpressionBytes& m_bytes;
    u32 m_pos;
    u32 m_end;
};

i64 ReadFirst(OperandReader& reader, Operands operands)
{
    switch (operands) {
    case Operands::U8:
        return reader.Fixed<u8>();
    case Operands::S8:
        return reader.Fixed<i8>();
    case Operands::U16:
        return reader.Fixed<u16>();
    case Operands::S16:
        return reader.Fixed<i16>();
    case Operands::Address:
    case Operands::U32:
        return reader.Fixed<u32>();
    case Operands::S32:
        return reader.Fixed<i32>();
    case Operands::U64:
    case Operands::S64:
        return reader.Fixed<i64>();
    case Operands::Uleb:
    case Operands::UlebSleb:
        return reader.Uleb();
    case Operands::Sleb:
        return reader.Sleb();
    case Operands::Unknown:
    case Operands::None:
    case Operands::Entries:
        break;
    }
    return 0;
}

} // namespace

const OperatorInfo& FindOperator(u8 code)
{
    return kOperators[code];
}

u64 ExpressionBytes::Number(u32 pos, u32 size) const
{
    u64 number = 0;
    for (u32 index = 0; index < size; ++index) {
        number = number << 8 | data[littleEndian ? pos + size - 1 - index : pos + index];
    }
    return number;
}

Decoding DecodeOperator(const ExpressionBytes& bytes, u32 pos, u32 end, DecodedOperator& decoded)
{
    decoded.code = bytes.data[pos];
    decoded.info = &kOperators[decoded.code];
    if (decoded.info->operands == Operands::Unknown) {
        return Decoding::UnknownOperator;
    }
    OperandReader reader(bytes, pos + 1, end);
    decoded.first = ReadFirst(reader, decoded.info->operands);
    decoded.second = decoded.info->operands == Operands::UlebSleb ? reader.Sleb() : 0;
    decoded.end = reader.Pos();
    return reader.fits ? Decoding::Done : Decoding::Truncated;
}

ListStep ReadListEntry(const ExpressionBytes& bytes, u32& pos, u32 end, ListEntry& entry)
{
    if (pos == end) {
        return ListStep::End;
    }
    if (end - pos < 8) {
        return ListStep::Truncated;
    }
    entry.begin = static_cast<u32>(bytes.Number(pos, 4));
    entry.end = static_cast<u32>(bytes.Number(pos + 4, 4));
    if (entry.begin == 0 && entry.end == 0) {
        pos += 8;
        return ListStep::End;
    }
    if (end - pos < 10) {
        return ListStep::Truncated;
    }
    const auto length = static_cast<u32>(bytes.Number(pos + 8, 2));
    if (end - pos - 10 < length) {
        return ListStep::Truncated;
    }
    entry.exprBegin = pos + 10;
    entry.exprEnd = entry.exprBegin + length;
    pos = entry.exprEnd;
    return ListStep::Entry;
}

} // namespace engine
