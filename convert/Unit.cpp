// Reading of a unit in one pass over its bytes, and of the values in it.
#include "convert/Unit.h"

#include <algorithm>
#include <utility>

namespace convert {

namespace {

constexpr u32 kBlockBits = 6;
constexpr u32 kAddressOffsetForm = 0x2001; // DW_FORM_LLVM_addrx_offset is younger than the header

/// Where DW_FORM_data4 and data8 are offsets in versions 2 and 3.
bool MayBeOffset(u32 attribute)
{
    switch (attribute) {
    case DW_AT_location:
    case DW_AT_stmt_list:
    case DW_AT_string_length:
    case DW_AT_return_addr:
    case DW_AT_start_scope:
    case DW_AT_data_member_location:
    case DW_AT_frame_base:
    case DW_AT_macro_info:
    case DW_AT_segment:
    case DW_AT_static_link:
    case DW_AT_use_location:
    case DW_AT_vtable_elem_location:
    case DW_AT_ranges:
    case DW_AT_GNU_macros:
        return true;
    default:
        return false;
    }
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

/// One pass over the bytes of a unit.
class Unit::Reading {
public:
    explicit Reading(Unit& unit)
        : m_unit(unit)
        , m_data(unit.m_section.data)
    {
    }

    /// Reads the entries from `at` on. @param end offset in the section; nothing is read beyond it.
    void Read(u32 at, u32 end)
    {
        m_at = at;
        m_end = end;
        std::vector<u32> open; // the entries whose children are being read
        while (m_at < m_end) {
            if (m_data[m_at] == 0) {
                if (open.empty()) {
                    break; // padding after the unit's entry
                }
                m_unit.m_nodes[open.back()].end = m_unit.Count();
                open.pop_back();
                ++m_at;
                if (open.empty()) {
                    break;
                }
                continue;
            }
            const u32 node = m_unit.Count();
            const Abbreviation* const read = ReadEntry(open.empty() ? kNoNode : open.back());
            if (read == nullptr) {
                m_unit.m_damaged = true;
                break;
            }
            if (read->hasChildren) {
                open.push_back(node);
            } else if (open.empty()) {
                break;
            }
        }
        for (const u32 node : open) {
            m_unit.m_nodes[node].end = m_unit.Count();
            m_unit.m_damaged = true;
        }
    }

private:
    /// Null, and no node, if the entry can't be read whole.
    const Abbreviation* ReadEntry(u32 parent)
    {
        const u32 offset = m_at;
        const Abbreviation* const abbreviation = m_unit.m_abbreviations->Find(Uleb());
        if (abbreviation == nullptr || abbreviation->tag == 0) {
            return nullptr;
        }
        std::vector<Attribute>& attributes = m_unit.m_attributes;
        const u32 first = static_cast<u32>(attributes.size());
        const AttributeShape* const shapes = m_unit.m_abbreviations->AttributesOf(*abbreviation);
        attributes.resize(first + abbreviation->count);
        Attribute* out = attributes.data() + first;
        for (const AttributeShape* shape = shapes; shape != shapes + abbreviation->count; ++shape, ++out) {
            *out = {shape->name, shape->form, m_at};
            if (shape->layout <= Layout::MaxFixed) {
                Skip(static_cast<u32>(shape->layout));
            } else if (shape->layout == Layout::Implicit) {
                out->value = shape->implicit;
            } else {
                SkipVariable(shape->layout, *out);
            }
        }
        if (m_failed) {
            attributes.resize(first);
            return nullptr;
        }
        const u32 node = m_unit.Count();
        m_unit.m_nodes.push_back({parent, node + 1, first, abbreviation});
        m_unit.m_tags.push_back(abbreviation->tag);
        m_unit.m_offsets.push_back(offset);
        return abbreviation;
    }

    void SkipVariable(Layout layout, Attribute& attribute)
    {
        constexpr int kMaxIndirect = 4;
        for (int nested = 0; layout == Layout::Indirect && nested < kMaxIndirect; ++nested) {
            const u64 form = Uleb();
            layout = LayoutOf(form);
            attribute.form = static_cast<u16>(form);
            attribute.value = m_at;
        }
        if (layout <= Layout::MaxFixed) {
            return Skip(static_cast<u32>(layout));
        }
        switch (layout) {
        case Layout::Address:
            return Skip(m_unit.m_addressSize);
        case Layout::Offset:
            return Skip(m_unit.m_offsetSize);
        case Layout::SectionRef:
            return Skip(m_unit.m_version < 3 ? m_unit.m_addressSize : m_unit.m_offsetSize);
        case Layout::Text: {
            const void* const zero = m_at < m_end ? std::memchr(m_data + m_at, 0, m_end - m_at) : nullptr;
            m_failed = m_failed || zero == nullptr;
            m_at = zero == nullptr ? m_end : static_cast<u32>(static_cast<const u8*>(zero) - m_data) + 1;
            return;
        }
        case Layout::Block1:
            return SkipBlock(1);
        case Layout::Block2:
            return SkipBlock(2);
        case Layout::Block4:
            return SkipBlock(4);
        case Layout::BlockUleb:
            return Skip(Uleb());
        case Layout::Uleb:
            Uleb();
            return;
        case Layout::AddressOffset:
            Uleb();
            return Skip(4);
        default: // an unknown form, or an implicit constant although the entry states the form
            m_failed = true;
        }
    }

    void SkipBlock(u32 width)
    {
        const u32 length = m_at;
        Skip(width);
        if (!m_failed) {
            Skip(m_unit.FixedAt(length, width));
        }
    }

    void Skip(u64 count)
    {
        const u64 rest = m_end - m_at;
        m_failed = m_failed || count > rest;
        m_at += static_cast<u32>(count > rest ? rest : count);
    }

    u64 Uleb()
    {
        u64 value = 0;
        for (u32 shift = 0; m_at < m_end; shift += 7) {
            const u8 byte = m_data[m_at++];
            if (shift < 64) {
                value |= u64{byte & 0x7Fu} << shift;
            }
            if ((byte & 0x80) == 0) {
                return value;
            }
        }
        m_failed = true;
        return 0;
    }

    Unit& m_unit;
    const u8* m_data;
    u32 m_at = 0;
    u32 m_end = 0;
    bool m_failed = false;
};

Unit::Unit(const InputUnit& input, const UnitSections& sections, std::shared_ptr<const Abbreviations> abbreviations)
    : m_abbreviations(std::move(abbreviations))
    , m_sections(sections)
    , m_section(input.standsInTypes ? sections.types : sections.info)
    , m_cu(input.die.cu)
    , m_offset(input.offset)
    , m_version(input.version)
    , m_language(input.language)
    , m_type(input.type)
    , m_addressSize(input.addressSize)
    , m_offsetSize(input.offsetSize)
    , m_inTypes(input.standsInTypes)
    , m_hasNamespaces(Dwarf2Language(input.language) == DW_LANG_C_plus_plus)
{
    const u64 end = std::min<u64>(input.end, m_section.size);
    const u64 begin = std::min<u64>(input.entry, end);
    m_nodes.reserve(static_cast<std::size_t>((end - begin) / 8));
    m_tags.reserve(m_nodes.capacity());
    m_offsets.reserve(m_nodes.capacity());
    m_attributes.reserve(static_cast<std::size_t>((end - begin) / 3));
    Reading(*this).Read(static_cast<u32>(begin), static_cast<u32>(end));
    if (m_nodes.empty()) {
        m_nodes.push_back({kNoNode, 1, 0, nullptr});
        m_tags.push_back(DW_TAG_compile_unit);
        m_offsets.push_back(static_cast<u32>(begin));
        m_damaged = true;
    }
    IndexOffsets();
    LookUpValues();
}

/// Replaces what can be found without libdw.
void Unit::LookUpValues()
{
    for (Attribute& attribute : m_attributes) {
        switch (attribute.form) {
        case DW_FORM_string:
        case DW_FORM_strp:
        case DW_FORM_line_strp:
            if (attribute.name == DW_AT_name) {
                m_texts.push_back(TextAt(attribute));
                attribute = {attribute.name, kTextForm, static_cast<u32>(m_texts.size() - 1)};
            }
            break;
        case DW_FORM_ref1:
        case DW_FORM_ref2:
        case DW_FORM_ref4:
        case DW_FORM_ref8:
        case DW_FORM_ref_udata:
            if (attribute.name != DW_AT_sibling) {
                attribute = {attribute.name, kNodeForm, NodeAt(m_offset + LocalReference(attribute))};
            }
            break;
        default:
            break;
        }
    }
}

Dwarf_Die Unit::Die(u32 node) const
{
    return {const_cast<u8*>(m_section.data) + m_offsets[node], m_cu, nullptr, 0};
}

Dwarf_Attribute Unit::Public(const Attribute& attribute) const
{
    const ByteView from = attribute.form == DW_FORM_implicit_const ? m_sections.abbreviations : m_section;
    return {attribute.name, attribute.form, const_cast<u8*>(from.data) + attribute.value, m_cu};
}

std::optional<Dwarf_Attribute> Unit::Get(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    return found == nullptr ? std::nullopt : std::optional(Public(*found));
}

/// The bytes from a value on. Those of the value itself are known to be there.
ByteReader Unit::ReaderAt(const Attribute& attribute) const
{
    const ByteView from = attribute.form == DW_FORM_implicit_const ? m_sections.abbreviations : m_section;
    return {from.From(attribute.value), m_sections.bigEndian};
}

bool Unit::Flag(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    if (found == nullptr) {
        return false;
    }
    return found->form == DW_FORM_flag_present || (found->form == DW_FORM_flag && m_section.data[found->value] != 0);
}

std::string_view Unit::Text(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    return found == nullptr ? std::string_view() : TextAt(*found);
}

std::string_view Unit::TextAt(const Attribute& attribute) const
{
    switch (attribute.form) {
    case kTextForm:
        return m_texts[attribute.value];
    case DW_FORM_string:
        return reinterpret_cast<const char*>(m_section.data + attribute.value);
    case DW_FORM_strp:
    case DW_FORM_line_strp: {
        const ByteView texts = attribute.form == DW_FORM_strp ? m_sections.texts : m_sections.lineTexts;
        const ByteView rest = texts.From(FixedAt(attribute.value, m_offsetSize));
        const void* const zero = rest.size == 0 ? nullptr : std::memchr(rest.data, 0, rest.size);
        const char* const text = reinterpret_cast<const char*>(rest.data);
        return zero == nullptr
                   ? std::string_view()
                   : std::string_view(text, static_cast<std::size_t>(static_cast<const char*>(zero) - text));
    }
    default: {
        Dwarf_Attribute shown = Public(attribute);
        const char* const text = dwarf_formstring(&shown);
        return text == nullptr ? std::string_view() : std::string_view(text);
    }
    }
}

std::optional<u64> Unit::Number(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    return found == nullptr ? std::nullopt : NumberAt(*found);
}

std::optional<u64> Unit::NumberAt(const Attribute& attribute) const
{
    switch (attribute.form) {
    case DW_FORM_data1:
        return m_section.data[attribute.value];
    case DW_FORM_data2:
        return FixedAt(attribute.value, 2);
    case DW_FORM_addr:
        return std::nullopt;
    case DW_FORM_udata:
        return ReaderAt(attribute).Uleb();
    case DW_FORM_sdata:
    case DW_FORM_implicit_const:
        return static_cast<u64>(ReaderAt(attribute).Sleb());
    case DW_FORM_data4:
        if (!MayBeOffset(attribute.name)) {
            return FixedAt(attribute.value, 4);
        }
        break;
    case DW_FORM_data8:
        if (!MayBeOffset(attribute.name)) {
            return FixedAt(attribute.value, 8);
        }
        break;
    default:
        break;
    }
    Dwarf_Attribute shown = Public(attribute);
    Dwarf_Word value = 0;
    return dwarf_formudata(&shown, &value) == 0 ? std::optional<u64>(value) : std::nullopt;
}

std::optional<i64> Unit::Signed(u32 node, u32 attribute) const
{
    const std::optional<u64> value = Number(node, attribute);
    return value ? std::optional(static_cast<i64>(*value)) : std::nullopt;
}

std::optional<u32> Unit::Address(u32 node, u32 attribute) const
{
    const Attribute* const found = Find(node, attribute);
    if (found == nullptr) {
        return std::nullopt;
    }
    u64 added = 0;
    Dwarf_Attribute shown = Public(*found);
    switch (found->form) {
    case DW_FORM_addr:
        if (m_addressSize == 4) {
            return static_cast<u32>(FixedAt(found->value, 4));
        }
        break;
    case DW_FORM_addrx:
    case DW_FORM_addrx1:
    case DW_FORM_addrx2:
    case DW_FORM_addrx3:
    case DW_FORM_addrx4:
    case DW_FORM_GNU_addr_index:
        break;
    case kAddressOffsetForm: {
        ByteReader reader = ReaderAt(*found);
        reader.Uleb();
        added = reader.U32();
        shown.form = DW_FORM_addrx;
        break;
    }
    default:
        return std::nullopt;
    }
    Dwarf_Addr address = 0;
    return dwarf_formaddr(&shown, &address) == 0 ? std::optional(static_cast<u32>(address + added)) : std::nullopt;
}

/// The offset in the unit that a reference within it states.
u64 Unit::LocalReference(const Attribute& attribute) const
{
    switch (attribute.form) {
    case DW_FORM_ref1:
        return FixedAt(attribute.value, 1);
    case DW_FORM_ref2:
        return FixedAt(attribute.value, 2);
    case DW_FORM_ref4:
        return FixedAt(attribute.value, 4);
    case DW_FORM_ref8:
        return FixedAt(attribute.value, 8);
    default:
        return ReaderAt(attribute).Uleb();
    }
}

Reference Unit::Refer(u32 node, u32 attribute) const
{
    Reference reference;
    const Attribute* const found = Find(node, attribute);
    if (found == nullptr) {
        return reference;
    }
    switch (found->form) {
    case kNodeForm:
        reference.node = found->value;
        return reference;
    default: {
        Dwarf_Attribute shown = Public(*found);
        Dwarf_Die die;
        if (dwarf_formref_die(&shown, &die) != nullptr) {
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
    const u64 first = m_offsets.front();
    const u64 block = (offset - first) >> kBlockBits;
    if (offset < first || block >= m_blocks.size()) {
        return kNoNode;
    }
    u32 node = m_blocks[static_cast<std::size_t>(block)];
    while (node < Count() && m_offsets[node] < offset) {
        ++node;
    }
    return node < Count() && m_offsets[node] == offset ? node : kNoNode;
}

/// For each piece of the section, the first entry in it or after it.
void Unit::IndexOffsets()
{
    const u64 first = m_offsets.front();
    m_blocks.reserve(static_cast<std::size_t>((m_offsets.back() - first) >> kBlockBits) + 1);
    for (u32 node = 0; node < Count(); ++node) {
        const u64 block = (m_offsets[node] - first) >> kBlockBits;
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

Unit UnitReader::Read(const InputUnit& input)
{
    if (m_last == nullptr || m_lastOffset != input.abbreviations) {
        m_last = std::make_shared<Abbreviations>(m_sections.abbreviations, input.abbreviations, m_sections.bigEndian);
        m_lastOffset = input.abbreviations;
    }
    return Unit(input, m_sections, m_last);
}

} // namespace convert
