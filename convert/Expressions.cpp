// Decodes operators by a table of their operands. libdw's dwarf_getlocation does that too, but keeps every expression
// in a tree and gives records whose bytes would have to be put together again; nearly all expressions are copied as
// they are.
#include "convert/Expressions.h"

#include <algorithm>
#include <array>
#include <dwarf.h>

namespace convert {

namespace {

enum class Operand : u8 {
    Unknown, ///< an operator that can't even be skipped
    None,
    One,
    Two,
    Four,
    Eight,
    Address,
    Leb,
    LebLeb,
    LebBlock,
    OneLeb,       ///< DW_OP_deref_type
    LebByteBlock, ///< DW_OP_const_type
    Reference,
    ReferenceLeb, ///< DW_OP_implicit_pointer
};

/// How an operator is converted.
enum class Fate : u8 {
    Keep,
    Drop,
    Branch,
    Piece,
    BitPiece,
    Index,         ///< an index of `.debug_addr`: DW_OP_addr is written
    ConstantIndex, ///< the same for a number
    FrameAddress,
    Value, ///< DW_OP_implicit_value
    Leave, ///< the whole expression can't be expressed
};

struct Operator {
    Operand operand = Operand::Unknown;
    Fate fate = Fate::Leave;
    Unsaid reason = Unsaid::Other;
};

using OperatorTable = std::array<Operator, 256>;

constexpr void Fill(OperatorTable& table, u32 first, u32 last, Operator entry)
{
    for (u32 code = first; code <= last; ++code) {
        table[code] = entry;
    }
}

constexpr void FillDwarf2(OperatorTable& table)
{
    constexpr Operator kPlain{Operand::None, Fate::Keep};
    constexpr Operator kLeb{Operand::Leb, Fate::Keep};
    table[DW_OP_addr] = {Operand::Address, Fate::Keep};
    table[DW_OP_deref] = kPlain;
    Fill(table, DW_OP_const1u, DW_OP_const1s, {Operand::One, Fate::Keep});
    Fill(table, DW_OP_const2u, DW_OP_const2s, {Operand::Two, Fate::Keep});
    Fill(table, DW_OP_const4u, DW_OP_const4s, {Operand::Four, Fate::Keep});
    Fill(table, DW_OP_const8u, DW_OP_const8s, {Operand::Eight, Fate::Keep});
    Fill(table, DW_OP_constu, DW_OP_consts, kLeb);
    Fill(table, DW_OP_dup, DW_OP_over, kPlain);
    table[DW_OP_pick] = {Operand::One, Fate::Keep};
    Fill(table, DW_OP_swap, DW_OP_plus, kPlain);
    table[DW_OP_plus_uconst] = kLeb;
    Fill(table, DW_OP_shl, DW_OP_xor, kPlain);
    table[DW_OP_bra] = {Operand::Two, Fate::Branch};
    Fill(table, DW_OP_eq, DW_OP_ne, kPlain);
    table[DW_OP_skip] = {Operand::Two, Fate::Branch};
    Fill(table, DW_OP_lit0, DW_OP_reg31, kPlain);
    Fill(table, DW_OP_breg0, DW_OP_fbreg, kLeb); // and DW_OP_regx
    table[DW_OP_bregx] = {Operand::LebLeb, Fate::Keep};
    table[DW_OP_piece] = {Operand::Leb, Fate::Piece};
    Fill(table, DW_OP_deref_size, DW_OP_xderef_size, {Operand::One, Fate::Keep});
    table[DW_OP_nop] = {Operand::None, Fate::Drop};
}

constexpr void FillLater(OperatorTable& table)
{
    table[DW_OP_push_object_address] = {Operand::None, Fate::Leave, Unsaid::Other};
    table[DW_OP_call2] = {Operand::Two, Fate::Leave, Unsaid::Call};
    table[DW_OP_call4] = {Operand::Four, Fate::Leave, Unsaid::Call};
    table[DW_OP_call_ref] = {Operand::Reference, Fate::Leave, Unsaid::Call};
    table[DW_OP_form_tls_address] = {Operand::None, Fate::Leave, Unsaid::ThreadLocal};
    table[DW_OP_call_frame_cfa] = {Operand::None, Fate::FrameAddress};
    table[DW_OP_bit_piece] = {Operand::LebLeb, Fate::BitPiece};
    table[DW_OP_implicit_value] = {Operand::LebBlock, Fate::Value, Unsaid::Constant};
    table[DW_OP_stack_value] = {Operand::None, Fate::Leave, Unsaid::ComputedValue};
    table[DW_OP_implicit_pointer] = {Operand::ReferenceLeb, Fate::Leave, Unsaid::ImplicitPointer};
    table[DW_OP_addrx] = {Operand::Leb, Fate::Index};
    table[DW_OP_constx] = {Operand::Leb, Fate::ConstantIndex};
    table[DW_OP_entry_value] = {Operand::LebBlock, Fate::Leave, Unsaid::EntryValue};
    table[DW_OP_const_type] = {Operand::LebByteBlock, Fate::Leave, Unsaid::ComputedValue};
    table[DW_OP_regval_type] = {Operand::LebLeb, Fate::Leave, Unsaid::ComputedValue};
    Fill(table, DW_OP_deref_type, DW_OP_xderef_type, {Operand::OneLeb, Fate::Leave, Unsaid::ComputedValue});
    Fill(table, DW_OP_convert, DW_OP_reinterpret, {Operand::Leb, Fate::Leave, Unsaid::ComputedValue});
    table[DW_OP_GNU_push_tls_address] = {Operand::None, Fate::Leave, Unsaid::ThreadLocal};
    table[DW_OP_GNU_uninit] = {Operand::None, Fate::Drop};
    table[DW_OP_GNU_implicit_pointer] = table[DW_OP_implicit_pointer];
    table[DW_OP_GNU_entry_value] = table[DW_OP_entry_value];
    table[DW_OP_GNU_const_type] = table[DW_OP_const_type];
    table[DW_OP_GNU_regval_type] = table[DW_OP_regval_type];
    table[DW_OP_GNU_deref_type] = table[DW_OP_deref_type];
    table[DW_OP_GNU_convert] = table[DW_OP_convert];
    table[DW_OP_GNU_reinterpret] = table[DW_OP_reinterpret];
    table[DW_OP_GNU_parameter_ref] = {Operand::Four, Fate::Leave, Unsaid::EntryValue};
    table[DW_OP_GNU_addr_index] = table[DW_OP_addrx];
    table[DW_OP_GNU_const_index] = table[DW_OP_constx];
    table[DW_OP_GNU_variable_value] = {Operand::Reference, Fate::Leave, Unsaid::Other};
}

constexpr OperatorTable MakeTable()
{
    OperatorTable table{};
    FillDwarf2(table);
    FillLater(table);
    return table;
}

constexpr OperatorTable kOperators = MakeTable();

/// Skips an operator's operand. False if its length can't be known; a truncated one makes the reader fail.
bool StepOver(ByteReader& reader, Operand operand, const ExpressionFormat& format)
{
    switch (operand) {
    case Operand::Unknown:
        return false;
    case Operand::None:
        break;
    case Operand::One:
        reader.Skip(1);
        break;
    case Operand::Two:
        reader.Skip(2);
        break;
    case Operand::Four:
        reader.Skip(4);
        break;
    case Operand::Eight:
        reader.Skip(8);
        break;
    case Operand::Address:
        reader.Skip(format.addressSize);
        break;
    case Operand::LebLeb:
        reader.Uleb();
        reader.Uleb();
        break;
    case Operand::Leb:
        reader.Uleb();
        break;
    case Operand::LebBlock:
        reader.Skip(reader.Uleb());
        break;
    case Operand::OneLeb:
        reader.Skip(1);
        reader.Uleb();
        break;
    case Operand::LebByteBlock:
        reader.Uleb();
        reader.Skip(reader.U8());
        break;
    case Operand::Reference:
        reader.Skip(format.referenceSize);
        break;
    case Operand::ReferenceLeb:
        reader.Skip(format.referenceSize);
        reader.Uleb();
        break;
    }
    return true;
}

/// The number that a constant operator pushes, after its code has been read; addresses count too.
std::optional<i64> ConstantOf(ByteReader& reader, u8 code, const ExpressionFormat& format)
{
    if (code >= DW_OP_lit0 && code <= DW_OP_lit31) {
        return code - DW_OP_lit0;
    }
    switch (code) {
    case DW_OP_const1u:
        return reader.U8();
    case DW_OP_const1s:
        return static_cast<i8>(reader.U8());
    case DW_OP_const2u:
        return reader.U16();
    case DW_OP_const2s:
        return static_cast<i16>(reader.U16());
    case DW_OP_const4u:
        return reader.U32();
    case DW_OP_const4s:
        return static_cast<i32>(reader.U32());
    case DW_OP_const8u:
    case DW_OP_const8s:
        return static_cast<i64>(reader.U64());
    case DW_OP_constu:
        return static_cast<i64>(reader.Uleb());
    case DW_OP_consts:
        return reader.Sleb();
    case DW_OP_addr:
        return static_cast<i64>(reader.Number(format.addressSize));
    case DW_OP_addrx:
    case DW_OP_GNU_addr_index:
    case DW_OP_constx:
    case DW_OP_GNU_const_index: {
        const std::optional<u64> value = format.addresses.At(reader.Uleb());
        return value ? std::optional(static_cast<i64>(*value)) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

/// The value of an expression of one constant operator and DW_OP_stack_value.
std::optional<i64> StackConstant(ByteView expression, const ExpressionFormat& format)
{
    ByteReader reader(expression, format.bigEndian);
    const u8 code = reader.U8();
    const std::optional<i64> value = ConstantOf(reader, code, format);
    const bool isValue = value && reader.U8() == DW_OP_stack_value && reader.AtEnd() && !reader.Failed();
    return isValue ? value : std::nullopt;
}

/// One pass over the operators, which finds out what has to be done.
class Scanner {
public:
    Scanner(ByteView expression, const ExpressionFormat& format)
        : m_expression(expression)
        , m_format(format)
        , m_reader(expression, format.bigEndian)
    {
    }

    ExpressionFacts Run()
    {
        if (m_expression.size > kMaxExpression) {
            return Left(Unsaid::Other);
        }
        while (!m_reader.AtEnd()) {
            if (!Take(kOperators[m_reader.U8()])) {
                return Left(Unsaid::Other);
            }
            if (m_reader.Failed()) {
                return Left(Unsaid::Malformed);
            }
        }
        return m_reason ? Unsayable() : Sayable();
    }

private:
    static ExpressionFacts Left(Unsaid reason)
    {
        ExpressionFacts facts;
        facts.kind = ExpressionFacts::Kind::Unsaid;
        facts.reason = reason;
        return facts;
    }

    /// The first reason counts, except that DW_OP_stack_value gives way to reasons that say more.
    void Leave(Unsaid reason)
    {
        if (!m_reason || *m_reason == Unsaid::ComputedValue) {
            m_reason = reason;
        }
    }

    void EndPart()
    {
        m_hasPieces = true;
        if (m_partIsEmpty) {
            Leave(Unsaid::Piece);
        }
        m_partIsEmpty = true;
    }

    void TakeBits()
    {
        const u64 size = m_reader.Uleb();
        const u64 offset = m_reader.Uleb();
        if (size % 8 != 0 || offset != 0) {
            Leave(Unsaid::Piece);
        }
    }

    bool Take(const Operator& kind)
    {
        switch (kind.fate) {
        case Fate::Drop:
            m_mustRewrite = true;
            break;
        case Fate::Piece:
            EndPart();
            break;
        case Fate::BitPiece:
            m_mustRewrite = true;
            EndPart();
            TakeBits();
            ++m_count;
            return true;
        case Fate::Value:
            m_value = m_reader.Block(m_reader.Uleb());
            Leave(kind.reason);
            m_partIsEmpty = false;
            ++m_count;
            return true;
        case Fate::Leave:
            Leave(kind.reason);
            break;
        case Fate::Branch:
            break;
        case Fate::FrameAddress:
            m_isFrameBound = true;
            break;
        case Fate::Index:
        case Fate::ConstantIndex:
            m_mustRewrite = true;
            break;
        case Fate::Keep:
            m_mustRewrite |= kind.operand == Operand::Address && m_format.addressSize != 4;
            break;
        }
        if (kind.fate != Fate::Drop) {
            ++m_count;
            m_partIsEmpty &= kind.fate == Fate::Piece;
        }
        return StepOver(m_reader, kind.operand, m_format);
    }

    ExpressionFacts Unsayable() const
    {
        if (m_hasPieces) {
            return Left(Unsaid::Piece);
        }
        ExpressionFacts facts = Left(*m_reason);
        if (m_count == 1 && *m_reason == Unsaid::Constant) {
            facts.kind = ExpressionFacts::Kind::Constant;
            facts.bytes = m_value;
        } else if (m_count == 2 && *m_reason == Unsaid::ComputedValue) {
            if (const std::optional<i64> value = StackConstant(m_expression, m_format)) {
                facts.kind = ExpressionFacts::Kind::Constant;
                facts.value = *value;
            }
        }
        return facts;
    }

    ExpressionFacts Sayable() const
    {
        using Kind = ExpressionFacts::Kind;
        ExpressionFacts facts;
        facts.kind = m_count == 0     ? Kind::Nowhere
                     : m_isFrameBound ? Kind::FrameBound
                     : m_mustRewrite  ? Kind::Rewrite
                                      : Kind::Plain;
        return facts;
    }

    ByteView m_expression;
    const ExpressionFormat& m_format;
    ByteReader m_reader;
    std::optional<Unsaid> m_reason;
    ByteView m_value;
    u32 m_count = 0; ///< operators that do something
    bool m_hasPieces = false;
    bool m_partIsEmpty = true; ///< a DW_OP_piece that comes next has nothing before it
    bool m_isFrameBound = false;
    bool m_mustRewrite = false;
};

/// Rewrites an expression operator by operator, then adjusts the targets of its branches.
class Rewriter {
public:
    Rewriter(ByteView expression, const ExpressionFormat& format, ByteView cfa, ExpressionBytes& out)
        : m_expression(expression)
        , m_format(format)
        , m_cfa(cfa)
        , m_reader(expression, format.bigEndian)
        , m_out(out)
        , m_start(out.size())
    {
    }

    std::optional<Unsaid> Run()
    {
        while (!m_reader.AtEnd()) {
            m_places.push_back({m_reader.Offset(), Size()});
            if (!WriteOperator() || m_reader.Failed()) {
                return Unsaid::Malformed;
            }
            if (Size() > kMaxExpression) {
                return Unsaid::Other;
            }
        }
        m_places.push_back({m_reader.Offset(), Size()});
        return MoveBranches();
    }

private:
    struct Place {
        std::size_t before;
        std::size_t after;
    };

    std::size_t Size() const { return m_out.size() - m_start; }

    void Append(ByteView bytes) { m_out.insert(m_out.end(), bytes.data, bytes.data + bytes.size); }

    void AppendNumber(u8 code, u64 value, u32 width)
    {
        m_out.push_back(code);
        for (u32 i = 0; i < width; ++i) {
            m_out.push_back(static_cast<u8>(value >> 8 * (m_format.bigEndian ? width - 1 - i : i)));
        }
    }

    bool AppendAddress(u8 code, std::optional<u64> value)
    {
        if (!value || *value > 0xFFFFFFFF) {
            return false;
        }
        AppendNumber(code, *value, 4);
        return true;
    }

    void AppendPiece(u64 size)
    {
        ByteWriter number(m_format.bigEndian);
        number.Uleb(size);
        m_out.push_back(DW_OP_piece);
        Append(number.View());
    }

    bool WriteOperator()
    {
        const std::size_t from = m_reader.Offset();
        const u8 code = m_reader.U8();
        const Operator& kind = kOperators[code];
        switch (kind.fate) {
        case Fate::Index:
            return AppendAddress(DW_OP_addr, m_format.addresses.At(m_reader.Uleb()));
        case Fate::ConstantIndex:
            return AppendAddress(DW_OP_const4u, m_format.addresses.At(m_reader.Uleb()));
        case Fate::FrameAddress:
            Append(m_cfa);
            return true;
        case Fate::BitPiece:
            AppendPiece(m_reader.Uleb() / 8);
            m_reader.Uleb();
            return true;
        case Fate::Keep:
            if (kind.operand == Operand::Address) {
                return AppendAddress(code, m_reader.Number(m_format.addressSize));
            }
            break;
        default:
            break;
        }
        if (!StepOver(m_reader, kind.operand, m_format)) {
            return false;
        }
        if (kind.fate != Fate::Drop) {
            Append(m_expression.From(from, m_reader.Offset() - from));
        }
        if (kind.fate == Fate::Branch) {
            m_branches.push_back({m_reader.Offset(), Size()});
        }
        return true;
    }

    std::optional<Unsaid> MoveBranches()
    {
        for (const Place& branch : m_branches) { // each is the place where the operator ends
            ByteReader operand(m_expression, m_format.bigEndian);
            operand.Seek(branch.before - 2);
            const i64 target = static_cast<i64>(branch.before) + static_cast<i16>(operand.U16());
            const auto place =
                std::lower_bound(m_places.begin(), m_places.end(), target,
                                 [](const Place& at, i64 wanted) { return static_cast<i64>(at.before) < wanted; });
            if (place == m_places.end() || static_cast<i64>(place->before) != target) {
                return Unsaid::Malformed;
            }
            const i64 distance = static_cast<i64>(place->after) - static_cast<i64>(branch.after);
            if (distance != static_cast<i16>(distance)) {
                return Unsaid::Other;
            }
            u8* const at = m_out.data() + m_start + branch.after - 2;
            at[m_format.bigEndian ? 1 : 0] = static_cast<u8>(distance);
            at[m_format.bigEndian ? 0 : 1] = static_cast<u8>(distance >> 8);
        }
        return std::nullopt;
    }

    ByteView m_expression;
    const ExpressionFormat& m_format;
    ByteView m_cfa;
    ByteReader m_reader;
    ExpressionBytes& m_out;
    std::size_t m_start;
    std::vector<Place> m_places; ///< of the operators, and of the end
    std::vector<Place> m_branches;
};

} // namespace

std::optional<u64> AddressPool::At(u64 index) const
{
    if (addressSize == 0 || addressSize > 8 || index >= bytes.size / addressSize) {
        return std::nullopt;
    }
    ByteReader reader(bytes.From(index * addressSize), bigEndian);
    return reader.Number(addressSize);
}

ExpressionFacts ScanExpression(ByteView expression, const ExpressionFormat& format)
{
    return Scanner(expression, format).Run();
}

std::optional<Unsaid> RewriteExpression(ByteView expression, const ExpressionFormat& format, ByteView cfa,
                                        ExpressionBytes& out)
{
    return Rewriter(expression, format, cfa, out).Run();
}

} // namespace convert
