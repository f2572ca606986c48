// The codes of DWARF 2.0 as enums. Tags, attributes and forms (7.5.4) and line number opcodes (7.21) come from one
// table; encodings of base types (7.8) and macro entries (7.22) are here. Location operators are in
// symbols/LocationOps.h.
#pragma once

#include "interfaces/Types.h"

#include <array>

enum DwarfTag : u32 {
#define TAG(name, code) TAG_##name = code,
#include "index/DwarfCodes.def"
};

enum DwarfAttribute : u32 {
#define AT(name, code) AT_##name = code,
#include "index/DwarfCodes.def"
};

enum DwarfForm : u32 {
#define FORM(name, code, layout) FORM_##name = code,
#include "index/DwarfCodes.def"
};

/// How `.debug_info` holds the value of a form.
enum class FormLayout : u8 {
    Nothing, ///< the code is not a form: no bytes
    Address, ///< as many bytes as an address of the unit
    One,
    Two,
    Four,
    Eight,
    Signed, ///< SLEB128
    Unsigned,
    Block1, ///< a length of 1, 2 or 4 bytes or in ULEB128, then the block
    Block2,
    Block4,
    BlockLeb,
    Text,
    TextOffset, ///< offset of a text in `.debug_str`
    Indirect,   ///< the real form in ULEB128, then its value
};

inline constexpr auto kFormLayouts = [] {
    std::array<FormLayout, FORM_indirect + 1> layouts{};
#define FORM(name, code, layout) layouts[code] = FormLayout::layout;
#include "index/DwarfCodes.def"
    return layouts;
}();

constexpr FormLayout LayoutOf(u32 form)
{
    return form < kFormLayouts.size() ? kFormLayouts[form] : FormLayout::Nothing;
}

/// Bytes of a value if all values of the form have as many, else 0.
constexpr u8 WidthOf(FormLayout layout)
{
    switch (layout) {
    case FormLayout::One:
        return 1;
    case FormLayout::Two:
        return 2;
    case FormLayout::Four:
        return 4;
    case FormLayout::Eight:
        return 8;
    default:
        return 0;
    }
}

/// References are printed as stored and then, except in the first unit, with their absolute value.
constexpr bool IsReference(u32 form)
{
    return form - FORM_ref1 <= FORM_ref4 - FORM_ref1 || form == FORM_ref_udata;
}
static_assert(FORM_ref1 + 1 == FORM_ref2 && FORM_ref2 + 1 == FORM_ref4);

/// Standard opcodes of a line number programme. DWARF 2.0 has 9.
enum DwarfLineOpcode : u8 {
#define LNS(name, code) LNS_##name = code,
#include "index/DwarfCodes.def"
};

enum DwarfExtendedLineOpcode : u8 {
    LNE_end_sequence = 1,
    LNE_set_address = 2,
    LNE_define_file = 3,
};

enum DwarfEncoding : u32 {
    ATE_address = 1,
    ATE_boolean = 2,
    ATE_complex_float = 3,
    ATE_float = 4,
    ATE_signed = 5,
    ATE_signed_char = 6,
    ATE_unsigned = 7,
    ATE_unsigned_char = 8,
};

enum DwarfMacinfo : u8 {
    MACINFO_define = 1,
    MACINFO_undef = 2,
    MACINFO_start_file = 3,
    MACINFO_end_file = 4,
    MACINFO_vendor_ext = 255,
};
