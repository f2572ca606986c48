// One location expression of DWARF 2 to 5, turned into operators of DWARF 2.0.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace convert {

/// Why a range of addresses, or a whole variable, has no place that DWARF 2.0 can express.
enum class Unsaid : u8 {
    ComputedValue, ///< DW_OP_stack_value, typed arithmetic
    Constant,      ///< one value, as with DW_OP_implicit_value, in a part of the scope
    ImplicitPointer,
    EntryValue,
    Piece,        ///< one part of it is of the kinds above, or nowhere, or not whole bytes
    ThreadLocal,  ///< DW_OP_form_tls_address and the like
    Call,         ///< DW_OP_call2 and similar ones
    FrameUnknown, ///< DW_OP_call_frame_cfa where no frame information covers the address, or only one without a
                  ///< DWARF 2.0 form
    Malformed,    ///< operators that can't be decoded
    Other,        ///< any other operator beyond DWARF 2.0, or more than the bounds allow
};
inline constexpr std::size_t kUnsaidCount = 10;

/// No expression that is read or written is longer: a list of DWARF 2.0 has 16 bits for the length.
inline constexpr std::size_t kMaxExpression = 0xFFFF;

/// A unit's part of `.debug_addr`.
struct AddressPool {
    ByteView bytes; ///< from the unit's DW_AT_addr_base on
    u8 addressSize = 4;
    bool bigEndian = false;

    std::optional<u64> At(u64 index) const;
};

/// What the bytes of an expression depend on.
struct ExpressionFormat {
    bool bigEndian = false;
    u8 addressSize = 4;
    u8 referenceSize = 4; ///< of DW_OP_call_ref and DW_OP_implicit_pointer
    AddressPool addresses;
};

/// What an expression states.
struct ExpressionFacts {
    enum class Kind : u8 {
        Nowhere,    ///< it is empty
        Plain,      ///< already DWARF 2.0
        Rewrite,    ///< RewriteExpression turns it into DWARF 2.0
        FrameBound, ///< the same, once for each rule of the canonical frame address
        Constant,   ///< one value instead of a place: `bytes`, or `value` if these are empty
        Unsaid,     ///< `reason`
    };
    Kind kind = Kind::Nowhere;
    Unsaid reason = Unsaid::Other;
    i64 value = 0;
    ByteView bytes;
};

ExpressionFacts ScanExpression(ByteView expression, const ExpressionFormat& format);

/// Appends the expression, known to be Rewrite or FrameBound, to `out`.
/// @param cfa operators that give the canonical frame address; used only if the expression is FrameBound.
/// @return the reason if it can't be done; `out` then has a part of it.
std::optional<Unsaid> RewriteExpression(ByteView expression, const ExpressionFormat& format, ByteView cfa,
                                        ExpressionBytes& out);

} // namespace convert
