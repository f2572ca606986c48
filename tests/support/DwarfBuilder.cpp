// Units, DIEs and the small sections beside them.
#include "tests/support/DwarfBuilder.h"

#include "tests/support/ElfWriter.h"

#include <stdexcept>
#include <utility>

DwarfBuilder::DwarfBuilder(ByteOrder order)
    : info(order)
    , abbrev(order)
    , str(order)
    , line(order)
    , loc(order)
    , pubnames(order)
    , macinfo(order)
{
}

DwarfBuilder& DwarfBuilder::Header(const UnitHeader& header)
{
    EndUnit();
    m_unitOpen = true;
    m_ownTable = !header.abbrevOffset;
    m_nextCode = header.firstCode;
    m_unitLength = header.length;
    m_unit = info.OpenLength();
    info.U16(header.version).U32(header.abbrevOffset.value_or(abbrev.Size())).U8(header.addressSize);
    return *this;
}

DwarfBuilder& DwarfBuilder::EndUnit()
{
    if (!m_unitOpen) {
        return *this;
    }
    while (!m_levels.empty()) {
        End();
    }
    CloseDeclaration();
    if (m_ownTable) {
        abbrev.U8(0);
    }
    info.CloseLength(m_unit);
    if (m_unitLength) {
        info.Patch(m_unit, *m_unitLength, 4);
    }
    m_unitOpen = false;
    return *this;
}

DwarfBuilder& DwarfBuilder::Die(u32 tag)
{
    CloseDeclaration();
    m_die = info.Size();
    info.Uleb(m_nextCode);
    abbrev.Uleb(m_nextCode++).Uleb(tag);
    m_childrenByte = abbrev.Size();
    abbrev.U8(0);
    m_declarationOpen = true;
    return *this;
}

DwarfBuilder& DwarfBuilder::Children()
{
    if (m_declarationOpen) {
        abbrev.Patch(m_childrenByte, 1, 1);
    }
    m_levels.push_back(std::exchange(m_siblingLabel, {}));
    return *this;
}

DwarfBuilder& DwarfBuilder::End()
{
    CloseDeclaration();
    info.U8(0);
    const std::string sibling = m_levels.back();
    m_levels.pop_back();
    return sibling.empty() ? *this : Label(sibling);
}

DwarfBuilder& DwarfBuilder::Attr(u32 attribute, u32 form, std::string_view text)
{
    Spec(attribute, form);
    if (form == FORM_strp) {
        info.U32(str.Size());
        str.Text(text);
    } else {
        info.Text(text);
    }
    return *this;
}

DwarfBuilder& DwarfBuilder::Attr(u32 attribute, u32 form, const ByteSection& block)
{
    Spec(attribute, form).Value(form, block.Size());
    info.Raw(block);
    return *this;
}

DwarfBuilder& DwarfBuilder::Ref(u32 attribute, const std::string& label)
{
    Spec(attribute, FORM_ref4);
    info.Ref(label, 4, m_unit);
    return *this;
}

DwarfBuilder& DwarfBuilder::Sibling()
{
    m_siblingLabel = "sibling of " + std::to_string(m_die);
    return Ref(AT_sibling, m_siblingLabel);
}

DwarfBuilder& DwarfBuilder::Number(u32 form, u64 value)
{
    const auto isOneOf = [form](auto... forms) { return ((form == forms) || ...); };
    if (isOneOf(FORM_data1, FORM_flag, FORM_ref1, FORM_block1)) {
        info.U8(value);
    } else if (isOneOf(FORM_data2, FORM_ref2, FORM_block2)) {
        info.U16(value);
    } else if (isOneOf(FORM_addr, FORM_data4, FORM_ref4, FORM_ref_addr, FORM_strp, FORM_block4)) {
        info.U32(value);
    } else if (isOneOf(FORM_data8, FORM_ref8)) {
        info.U64(value);
    } else if (form == FORM_sdata) {
        info.Sleb(static_cast<i64>(value));
    } else if (isOneOf(FORM_udata, FORM_ref_udata, FORM_block, FORM_indirect)) { // indirect: the real form is the value
        info.Uleb(value);
    } else {
        throw std::invalid_argument("no number has the form " + std::to_string(form));
    }
    return *this;
}

DwarfBuilder& DwarfBuilder::Declare(u32 code, u32 tag, bool children, std::initializer_list<std::pair<u32, u32>> specs)
{
    CloseDeclaration();
    m_nextCode = code + 1;
    abbrev.Uleb(code).Uleb(tag).U8(children ? 1 : 0);
    for (const auto& [attribute, form] : specs) {
        Spec(attribute, form);
    }
    abbrev.U16(0);
    return *this;
}

DwarfBuilder& DwarfBuilder::Entry(u32 code)
{
    CloseDeclaration();
    m_die = info.Size();
    info.Uleb(code);
    return *this;
}

DwarfBuilder& DwarfBuilder::PubSet(u32 unitOffset, u32 unitLength,
                                   std::initializer_list<std::pair<u32, const char*>> names)
{
    const u32 set = pubnames.OpenLength();
    pubnames.U16(2).U32(unitOffset).U32(unitLength);
    for (const auto& [offset, name] : names) {
        pubnames.U32(offset).Text(name);
    }
    pubnames.U32(0).CloseLength(set);
    return *this;
}

u32 DwarfBuilder::LocationList(std::initializer_list<LocationEntry> entries)
{
    const u32 list = loc.Size();
    for (const LocationEntry& entry : entries) {
        loc.U32(entry.begin).U32(entry.end).U16(entry.expression.size()).Raw(entry.expression);
    }
    loc.U64(0);
    return list;
}

void DwarfBuilder::AddTo(ElfWriter& elf)
{
    EndUnit();
    const std::pair<const char*, const ByteSection*> sections[] = {
        {".debug_info", &info}, {".debug_abbrev", &abbrev},     {".debug_line", &line},      {".debug_loc", &loc},
        {".debug_str", &str},   {".debug_pubnames", &pubnames}, {".debug_macinfo", &macinfo}};
    for (const auto& [name, section] : sections) {
        if (!section->Empty()) {
            elf.Section(name, *section);
        }
    }
}

void DwarfBuilder::CloseDeclaration()
{
    if (m_declarationOpen) {
        abbrev.U16(0);
        m_declarationOpen = false;
    }
    if (!m_siblingLabel.empty()) {
        Label(std::exchange(m_siblingLabel, {}));
    }
}
