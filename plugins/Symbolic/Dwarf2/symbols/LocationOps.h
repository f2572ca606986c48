// The operators of location expressions (DWARF 2.0, 7.7.1) that are rewritten or have operands to step over.
#pragma once

#include "interfaces/Types.h"

enum LocationOp : u8 {
    OP_addr = 0x03,
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
    OP_pick = 0x15,
    OP_plus = 0x22,
    OP_plus_uconst = 0x23,
    OP_bra = 0x28,
    OP_skip = 0x2F,
    OP_breg0 = 0x70,
    OP_breg9 = 0x79,
    OP_breg31 = 0x8F,
    OP_regx = 0x90,
    OP_fbreg = 0x91,
    OP_bregx = 0x92,
    OP_piece = 0x93,
    OP_deref_size = 0x94,
    OP_xderef_size = 0x95,
    OP_locationList = 0xEC, ///< the engine's own: a location list follows
    OP_sectionBase = 0xF8,  ///< the engine's own: the base address of a section
};

/// What follows an operator.
enum class Operands : u8 { None, Address, One, Two, Four, Eight, Leb, TwoLeb };

/// Operands of any byte taken for an operator; the bytes of a list are not looked at.
constexpr Operands OperandsOf(u8 op)
{
    if (op >= OP_breg0 && op <= OP_breg31) {
        return Operands::Leb;
    }
    switch (op) {
    case OP_addr:
        return Operands::Address;
    case OP_const1u:
    case OP_const1s:
    case OP_pick:
    case OP_deref_size:
    case OP_xderef_size:
        return Operands::One;
    case OP_const2u:
    case OP_const2s:
    case OP_bra:
    case OP_skip:
        return Operands::Two;
    case OP_const4u:
    case OP_const4s:
        return Operands::Four;
    case OP_const8u:
    case OP_const8s:
        return Operands::Eight;
    case OP_constu:
    case OP_consts:
    case OP_plus_uconst:
    case OP_regx:
    case OP_fbreg:
    case OP_piece:
    case OP_sectionBase:
        return Operands::Leb;
    case OP_bregx:
        return Operands::TwoLeb;
    default:
        return Operands::None;
    }
}
