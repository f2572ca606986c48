// The operators of expressions with their operands, and how they are read.
#pragma once

#include "interfaces/Types.h"

#include <optional>
#include <string_view>

namespace engine {

/// The operators that the code names; the others are rows of the table alone (DWARF 2.0, 7.7.1).
enum ExpressionOperator : u8 {
    OP_addr = 0x03,
    OP_deref = 0x06,
    OP_const1u = 0x08,
    OP_const1s = 0x09,
    OP_const2u = 0x0A,
    OP_const2s = 0x0B,
    OP_const4u = 0x0C,
    OP_const4s = 0x0D,
    OP_const8u = 0x0E,
    OP_const8s = 0x0F,
    OP_constu = 0x10,
    OP_consts = 0x11,
    OP_dup = 0x12,
    OP_drop = 0x13,
    OP_over = 0x14,
    OP_pick = 0x15,
    OP_swap = 0x16,
    OP_rot = 0x17,
    OP_xderef = 0x18,
    OP_abs = 0x19,
    OP_and = 0x1A,
    OP_div = 0x1B,
    OP_minus = 0x1C,
    OP_mod = 0x1D,
    OP_mul = 0x1E,
    OP_neg = 0x1F,
    OP_not = 0x20,
    OP_or = 0x21,
    OP_plus = 0x22,
    OP_plus_uconst = 0x23,
    OP_shl = 0x24,
    OP_shr = 0x25,
    OP_shra = 0x26,
    OP_xor = 0x27,
    OP_bra = 0x28,
    OP_eq = 0x29,
    OP_ge = 0x2A,
    OP_gt = 0x2B,
    OP_le = 0x2C,
    OP_lt = 0x2D,
    OP_ne = 0x2E,
    OP_skip = 0x2F,
    OP_lit0 = 0x30,
    OP_reg0 = 0x50,
    OP_breg0 = 0x70,
    OP_regx = 0x90,
    OP_fbreg = 0x91,
    OP_bregx = 0x92,
    OP_piece = 0x93,
    OP_deref_size = 0x94,
    OP_xderef_size = 0x95,
    OP_nop = 0x96,
    OP_locationList = 0xEC, ///< the engine's own: a location list, see ReadListEntry
    OP_sectionBase = 0xF8,  ///< the engine's own: pushes the base address of a section
};

/// What follows the byte of an operator.
enum class Operands : u8 {
    Unknown, ///< there is no such operator
    None,
    Address, ///< 4 bytes
    U8,
    S8,
    U16,
    S16,
    U32,
    S32,
    U64,
    S64,
    Uleb,
    Sleb,
    UlebSleb,
    Entries, ///< those of a list
};

struct OperatorInfo {
    std::string_view name;
    Operands operands = Operands::Unknown;
    std::optional<u8> number = {}; ///< 0 to 31, for one of a series of 32 operators: the end of its name
};

const OperatorInfo& FindOperator(u8 code);

/// An expression's bytes with the byte order of its numbers. Borrowed.
struct ExpressionBytes {
    const u8* data;
    bool littleEndian;

    u64 Number(u32 pos, u32 size) const;
};

struct DecodedOperator {
    u8 code = 0;
    const OperatorInfo* info = nullptr;
    i64 first = 0;  ///< zero- or sign-extended; a LEB128 number has 32 bits
    i64 second = 0; ///< of OP_bregx
    u32 end = 0;    ///< offset after the operands; for a list, before its entries
};

enum class Decoding { Done, UnknownOperator, Truncated };

/// Reads the operator at `pos`, which is below `end`, and its operands up to `end`. Fills `code` in any case.
Decoding DecodeOperator(const ExpressionBytes& bytes, u32 pos, u32 end, DecodedOperator& decoded);

/// An entry of a list: `begin` and `end` (4 bytes each), the program counters for which it holds, then the length of
/// its expression (2 bytes) and the expression.
struct ListEntry {
    u32 begin = 0;
    u32 end = 0;
    u32 exprBegin = 0; ///< offsets of its expression
    u32 exprEnd = 0;
};

enum class ListStep { Entry, End, Truncated };

/// Reads a list's entry at `pos` and moves `pos` past it, or past the pair of zeros that closes the list. A list
/// without these ends with the bytes.
ListStep ReadListEntry(const ExpressionBytes& bytes, u32& pos, u32 end, ListEntry& entry);

/// A list contains lists when an entry takes its frame base from one. Deeper nesting than this makes no sense.
inline constexpr u32 kMaxListDepth = 8;

} // namespace engine
