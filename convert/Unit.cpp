// Reading of a unit: one pass over its bytes, entry by entry, with libdw's abbreviations and attributes.
#include "convert/Unit.h"

#include <algorithm>

namespace convert {

namespace {

constexpr u32 kBlockBits = 6;

/// The section of an entry isn't told by libdw, but its units are: type units of version 4 stand in `.debug_types`.
bool StandsInTypes(Dwarf_CU* cu)
{
    Dwarf_Half version = 0;
    u8 type = 0;
    return dwarf_cu_info(cu, &version, &type, nullptr, nullptr, nullptr, nullptr, nullptr) == 0 && version < 5 &&
           type == DW_UT_type;
}

} // namespace

u32 Dwarf2Language(u32 language)
{
    constexpr u32 kCPlusPlus17 = 0x2A; // these are younger than the header
    constexpr u32 kCPlusPlus20 = 0x2B;
    switch (language) {
    case DW_LANG_C_plus_plus:
    case DW_LANG_C_plus_plus_03:
    case DW_LANG_C_plus_plus_11:
    case DW_LANG_C_plus_plus_14:
    case kCPlusPlus17:
    case kCPlusPlus20:
    case DW_LANG_ObjC_plus_plus:
    case DW_LANG_D:
    case DW_LANG_Rust:
    case DW_LANG_Swift:
        return DW_LANG_C_plus_plus;
    case DW_LANG_C89:
    case DW_LANG_Ada83:
    case DW_LANG_Cobol74:
    case DW_LANG_Cobol85:
    case DW_LANG_Fortran77:
    case DW_LANG_Fortran90:
    case DW_LANG_Pascal83:
    case DW_LANG_Modula2:
        return language;
    case DW_LANG_Ada95:
        return DW_LANG_Ada83;
    case DW_LANG_Fortran95:
    case DW_LANG_Fortran03:
    case DW_LANG_Fortran08:
        return DW_LANG_Fortran90;
    default:
        return language >= DW_LANG_lo_user ? language : u32{DW_LANG_C};
    }
}

EntryKey KeyOf(Dwarf_Die* die)
{
    return {static_cast<u32>(dwarf_dieoffset(die)), StandsInTypes(die->cu)};
}

Unit::Unit(Dwarf_Die die, u64 end, bool bigEndian)
    : m_cu(die.cu)
    , m_bigEndian(bigEndian)
{
    Dwarf_Half version = 0;
    dwarf_cu_info(m_cu, &version, &m_type, nullptr, nullptr, nullptr, &m_addressSize, &m_offsetSize);
    m_version = version;
    m_inTypes = StandsInTypes(m_cu);
    u8* const begin = static_cast<u8*>(die.addr);
    const u64 offset = dwarf_dieoffset(&die);
    m_section = begin - offset;
    m_offset = offset - dwarf_cuoffset(&die);
    const u64 size = end > offset ? end - offset : 0;
    m_nodes.reserve(static_cast<std::size_t>(size / 8));
    m_attributes.reserve(static_cast<std::size_t>(size / 3));
    Read(begin, begin + size);
    if (m_nodes.empty()) {
        m_nodes.push_back({static_cast<u32>(offset), kNoNode, 1, 0, DW_TAG_compile_unit, 0});
        m_damaged = true;
    }
    IndexOffsets();
    m_language = static_cast<u32>(Number(0, DW_AT_language).value_or(0));
}

bool Unit::HasNamespaces() const
{
    return Dwarf2Language(m_language) == DW_LANG_C_plus_plus;
}

Dwarf_Die Unit::Die(u32 node) const
{
    return {m_section + m_nodes[node].offset, m_cu, nullptr, 0};
}

int Unit::TakeAttribute(Dwarf_Attribute* attribute, void* unit)
{
    static_cast<Unit*>(unit)->m_attributes.push_back({attribute->code, attribute->form, attribute->valp});
    return DWARF_CB_OK;
}

void Unit::Read(u8* begin, const u8* end)
{
    std::vector<u32> open; // the entries whose children are being read
    for (u8* at = begin; at < end && !m_damaged;) {
        if (*at == 0) {
            if (open.empty()) {
                break; // padding behind the unit's entry
            }
            m_nodes[open.back()].end = Count();
            open.pop_back();
            ++at;
            if (open.empty()) {
                break;
            }
            continue;
        }
        const u32 node = Count();
        bool hasChildren = false;
        at = ReadEntry(at, end, open.empty() ? kNoNode : open.back(), hasChildren);
        if (hasChildren) {
            open.push_back(node);
        } else if (open.empty()) {
            break;
        }
    }
    for (const u32 node : open) {
        m_nodes[node].end = Count();
        m_damaged = true;
    }
}

/// @return where the next entry begins.
u8* Unit::ReadEntry(u8* at, const u8* end, u32 parent, bool& hasChildren)
{
    Dwarf_Die die{at, m_cu, nullptr, 0};
    const int tag = dwarf_tag(&die);
    const std::size_t first = m_attributes.size();
    if (tag == DW_TAG_invalid || dwarf_getattrs(&die, TakeAttribute, this, 0) != 1) {
        m_attributes.resize(first);
        m_damaged = true;
        return at;
    }
    const u32 index = Count();
    m_nodes.push_back({static_cast<u32>(at - m_section), parent, index + 1, static_cast<u32>(first),
                       static_cast<u16>(tag), static_cast<u16>(m_attributes.size() - first)});
    hasChildren = dwarf_haschildren(&die) > 0;
    u8* next = at;
    for (bool more = true; more && next < end; ++next) { // the abbreviation code
        more = (*next & 0x80) != 0;
    }
    for (std::size_t i = first; i < m_attributes.size(); ++i) {
        u8* const behind = ValueEnd(m_attributes[i], end);
        next = std::max(next, behind); // a value of DW_FORM_implicit_const lies elsewhere
    }
    if (next > end) {
        m_damaged = true;
    }
    return next;
}

/// Where the bytes of a value end; null if they aren't in the unit. Gives a value of DW_FORM_indirect its real form.
u8* Unit::ValueEnd(Attribute& attribute, const u8* end) const
{
    if (attribute.form == DW_FORM_implicit_const || attribute.value > end) {
        return nullptr;
    }
    ByteReader reader({attribute.value, static_cast<std::size_t>(end - attribute.value)}, m_bigEndian);
    for (int nested = 0; attribute.form == DW_FORM_indirect && nested < 4; ++nested) {
        attribute.form = static_cast<u32>(reader.Uleb());
        attribute.value += reader.Offset();
        reader = ByteReader({attribute.value, static_cast<std::size_t>(end - attribute.value)}, m_bigEndian);
    }
    switch (attribute.form) {
    case DW_FORM_flag_present:
    case DW_FORM_implicit_const:
        break;
    case DW_FORM_data1:
    case DW_FORM_ref1:
    case DW_FORM_flag:
    case DW_FORM_strx1:
    case DW_FORM_addrx1:
        reader.Skip(1);
        break;
    case DW_FORM_data2:
    case DW_FORM_ref2:
    case DW_FORM_strx2:
    case DW_FORM_addrx2:
        reader.Skip(2);
        break;
    case DW_FORM_strx3:
    case DW_FORM_addrx3:
        reader.Skip(3);
        break;
    case DW_FORM_data4:
    case DW_FORM_ref4:
    case DW_FORM_strx4:
    case DW_FORM_addrx4:
    case DW_FORM_ref_sup4:
        reader.Skip(4);
        break;
    case DW_FORM_data8:
    case DW_FORM_ref8:
    case DW_FORM_ref_sig8:
    case DW_FORM_ref_sup8:
        reader.Skip(8);
        break;
    case DW_FORM_data16:
        reader.Skip(16);
        break;
    case DW_FORM_addr:
        reader.Skip(m_addressSize);
        break;
    case DW_FORM_ref_addr:
        reader.Skip(m_version < 3 ? m_addressSize : m_offsetSize);
        break;
    case DW_FORM_strp:
    case DW_FORM_line_strp:
    case DW_FORM_sec_offset:
    case DW_FORM_strp_sup:
    case DW_FORM_GNU_strp_alt:
    case DW_FORM_GNU_ref_alt:
        reader.Skip(m_offsetSize);
        break;
    case DW_FORM_string:
        reader.Text();
        break;
    case DW_FORM_block1:
        reader.Skip(reader.U8());
        break;
    case DW_FORM_block2:
        reader.Skip(reader.U16());
        break;
    case DW_FORM_block4:
        reader.Skip(reader.U32());
        break;
    case DW_FORM_block:
    case DW_FORM_exprloc:
        reader.Skip(reader.Uleb());
        break;
    default: // the rest are single LEB128 numbers; libdw has refused what it doesn't know
        reader.Uleb();
        break;
    }
    return attribute.value + reader.Offset();
}

const Unit::Attribute* Unit::Find(u32 node, u32 attribute) const
{
    const Node& entry = m_nodes[node];
    const Attribute* const first = m_attributes.data() + entry.firstAttribute;
    for (const Attribute* at = first; at != first + entry.attributeCount; ++at) {
        if (at->name == attribute) {
            return at;
        }
    }
    return nullptr;
}

Dwarf_Attribute Unit::Public(const Attribute& attribute) const
{
    return {attribute.name, attribute.form, attribute.value, m_cu};
}

std::optional<Dwarf_Attribute> Unit::Get(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    return found == nullptr ? std::nullopt : std::optional(Public(*found));
}

bool Unit::Flag(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    if (found == nullptr) {
        return false;
    }
    return found->form == DW_FORM_flag_present || (found->form == DW_FORM_flag && *found->value != 0);
}

std::string_view Unit::Text(u32 node, u32 attribute) const
{
    std::optional<Dwarf_Attribute> found = Get(node, attribute);
    const char* const text = found ? dwarf_formstring(&*found) : nullptr;
    return text == nullptr ? std::string_view() : std::string_view(text);
}

std::optional<u64> Unit::Number(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    if (found == nullptr) {
        return std::nullopt;
    }
    if (found->form == DW_FORM_data1) { // by far the most frequent
        return *found->value;
    }
    Dwarf_Attribute shown = Public(*found);
    Dwarf_Word value = 0;
    return dwarf_formudata(&shown, &value) == 0 ? std::optional<u64>(value) : std::nullopt;
}

std::optional<i64> Unit::Signed(u32 node, u32 attribute) const
{
    std::optional<Dwarf_Attribute> found = Get(node, attribute);
    if (!found) {
        return std::nullopt;
    }
    if (found->form == DW_FORM_sdata || found->form == DW_FORM_implicit_const) {
        Dwarf_Sword value = 0;
        return dwarf_formsdata(&*found, &value) == 0 ? std::optional<i64>(value) : std::nullopt;
    }
    const std::optional<u64> value = Number(node, attribute);
    return value ? std::optional(static_cast<i64>(*value)) : std::nullopt;
}

std::optional<u32> Unit::Address(u32 node, u32 attribute) const
{
    std::optional<Dwarf_Attribute> found = Get(node, attribute);
    Dwarf_Addr address = 0;
    if (!found || dwarf_formaddr(&*found, &address) != 0) {
        return std::nullopt;
    }
    return static_cast<u32>(address);
}

Reference Unit::Refer(u32 node, u32 attribute) const
{
    std::optional<Dwarf_Attribute> found = Get(node, attribute);
    Reference reference;
    if (!found) {
        return reference;
    }
    switch (found->form) {
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref8:
    case DW_FORM_ref_udata: {
        constexpr u32 kLongestNumber = 10;
        ByteReader reader({found->valp, kLongestNumber}, m_bigEndian);
        const u64 offset = found->form == DW_FORM_ref1   ? reader.U8()
                           : found->form == DW_FORM_ref2 ? reader.U16()
                           : found->form == DW_FORM_ref4 ? reader.U32()
                           : found->form == DW_FORM_ref8 ? reader.U64()
                                                         : reader.Uleb();
        reference.node = NodeAt(m_offset + offset);
        return reference;
    }
    default: {
        Dwarf_Die die;
        if (dwarf_formref_die(&*found, &die) != nullptr) {
            if (die.cu == m_cu) {
                reference.node = NodeAt(dwarf_dieoffset(&die));
            } else {
                reference.foreign = die;
            }
        }
        return reference;
    }
    }
}

u32 Unit::NodeAt(u64 offset) const
{
    const u64 first = m_nodes.front().offset;
    const u64 block = (offset - first) >> kBlockBits;
    if (offset < first || block >= m_blocks.size()) {
        return kNoNode;
    }
    u32 node = m_blocks[static_cast<std::size_t>(block)];
    while (node < Count() && m_nodes[node].offset < offset) {
        ++node;
    }
    return node < Count() && m_nodes[node].offset == offset ? node : kNoNode;
}

/// For each piece of the section the first entry in or behind it.
void Unit::IndexOffsets()
{
    const u64 first = m_nodes.front().offset;
    for (u32 node = 0; node < Count(); ++node) {
        const u64 block = (m_nodes[node].offset - first) >> kBlockBits;
        while (m_blocks.size() <= block) {
            m_blocks.push_back(node);
        }
    }
}

u32 Unit::DeclarationOf(u32 node) const
{
    for (const u32 attribute : {DW_AT_specification, DW_AT_abstract_origin}) {
        if (const Reference reference = Refer(node, attribute); reference.IsLocal()) {
            return reference.node == node ? kNoNode : reference.node;
        }
    }
    return kNoNode;
}

} // namespace convert
