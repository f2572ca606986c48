// Reading of abbreviations.
#include "convert/Abbreviations.h"

#include <dwarf.h>

namespace convert {

namespace {

constexpr u16 kNoCode = 0xFFFF;
constexpr u64 kAddressOffsetForm = 0x2001; // DW_FORM_LLVM_addrx_offset is younger than the header

u16 Code(u64 value)
{
    return value < kNoCode ? static_cast<u16>(value) : kNoCode;
}

Layout Fixed(u32 size)
{
    return static_cast<Layout>(size);
}

} // namespace

Layout LayoutOf(u64 form)
{
    switch (form) {
    case DW_FORM_flag_present:
        return Layout::Nothing;
    case DW_FORM_data1:
    case DW_FORM_ref1:
    case DW_FORM_flag:
    case DW_FORM_strx1:
    case DW_FORM_addrx1:
        return Fixed(1);
    case DW_FORM_data2:
    case DW_FORM_ref2:
    case DW_FORM_strx2:
    case DW_FORM_addrx2:
        return Fixed(2);
    case DW_FORM_strx3:
    case DW_FORM_addrx3:
        return Fixed(3);
    case DW_FORM_data4:
    case DW_FORM_ref4:
    case DW_FORM_strx4:
    case DW_FORM_addrx4:
    case DW_FORM_ref_sup4:
        return Fixed(4);
    case DW_FORM_data8:
    case DW_FORM_ref8:
    case DW_FORM_ref_sig8:
    case DW_FORM_ref_sup8:
        return Fixed(8);
    case DW_FORM_data16:
        return Fixed(16);
    case DW_FORM_addr:
        return Layout::Address;
    case DW_FORM_ref_addr:
        return Layout::SectionRef;
    case DW_FORM_strp:
    case DW_FORM_line_strp:
    case DW_FORM_sec_offset:
    case DW_FORM_strp_sup:
    case DW_FORM_GNU_strp_alt:
    case DW_FORM_GNU_ref_alt:
        return Layout::Offset;
    case DW_FORM_string:
        return Layout::Text;
    case DW_FORM_block1:
        return Layout::Block1;
    case DW_FORM_block2:
        return Layout::Block2;
    case DW_FORM_block4:
        return Layout::Block4;
    case DW_FORM_block:
    case DW_FORM_exprloc:
        return Layout::BlockUleb;
    case DW_FORM_sdata:
    case DW_FORM_udata:
    case DW_FORM_ref_udata:
    case DW_FORM_strx:
    case DW_FORM_addrx:
    case DW_FORM_loclistx:
    case DW_FORM_rnglistx:
    case DW_FORM_GNU_addr_index:
    case DW_FORM_GNU_str_index:
        return Layout::Uleb;
    case kAddressOffsetForm:
        return Layout::AddressOffset;
    case DW_FORM_implicit_const:
        return Layout::Implicit;
    case DW_FORM_indirect:
        return Layout::Indirect;
    default:
        return Layout::Unknown;
    }
}

Abbreviations::Abbreviations(ByteView section, u64 offset, bool bigEndian)
    : m_section(section)
{
    ByteReader reader(section, bigEndian);
    reader.Seek(offset);
    for (u64 code = reader.Uleb(); code != 0 && !reader.Failed(); code = reader.Uleb()) {
        Abbreviation abbreviation{};
        abbreviation.first = static_cast<u32>(m_attributes.size());
        abbreviation.tag = Code(reader.Uleb());
        abbreviation.hasChildren = reader.U8() == DW_CHILDREN_yes;
        if (!ReadAttributes(reader, abbreviation)) {
            return;
        }
        const u32 index = static_cast<u32>(m_abbreviations.size());
        if (code == m_inOrder + 1 && index == m_inOrder) {
            ++m_inOrder;
        } else if (code <= m_inOrder || !m_others.emplace(code, index).second) {
            continue; // the first with that code counts
        }
        m_abbreviations.push_back(abbreviation);
    }
}

/// @return false if the bytes end before the attributes do, or there are more than any producer has.
bool Abbreviations::ReadAttributes(ByteReader& reader, Abbreviation& abbreviation)
{
    constexpr u32 kMaxAttributes = 0xFFFF;
    for (u32 count = 0; count < kMaxAttributes; ++count) {
        const u64 name = reader.Uleb();
        const u64 form = reader.Uleb();
        if (reader.Failed()) {
            return false;
        }
        if (name == 0 && form == 0) {
            abbreviation.count = static_cast<u16>(count);
            return true;
        }
        const u32 implicit = static_cast<u32>(reader.Offset());
        if (form == DW_FORM_implicit_const) {
            reader.Sleb();
        }
        if (name < 64 * abbreviation.names.size()) {
            abbreviation.names[name / 64] |= u64{1} << name % 64;
        }
        m_attributes.push_back({Code(name), Code(form), LayoutOf(form), implicit});
    }
    return false;
}

} // namespace convert
