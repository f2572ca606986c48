// Debug information of one unit and one variable, made in memory and opened with libdw.
#pragma once

#include "convert/Bytes.h"
#include "tests/convert/ElfImage.h"
#include "tests/support/ByteSection.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// The sections are public: fill them, then ask for Open() and Attribute().
class CraftedDwarf {
public:
    explicit CraftedDwarf(ByteOrder order)
        : loc(order)
        , loclists(order)
        , addr(order)
        , frame(order)
        , ehFrame(order)
        , m_order(order)
    {
        elf_version(EV_CURRENT);
    }
    CraftedDwarf(const CraftedDwarf&) = delete;
    CraftedDwarf& operator=(const CraftedDwarf&) = delete;
    ~CraftedDwarf()
    {
        dwarf_end(m_dwarf);
        elf_end(m_elf);
    }

    static constexpr u32 kEhFrameAddress = 0x20000;

    bool IsBigEndian() const { return m_order == ByteOrder::Big; }
    ByteSection Bytes() const { return ByteSection(m_order); }

    /// @param form of the variable's location, @param value its bytes.
    Dwarf* Open(u16 version = 2, u32 form = DW_FORM_block1, const std::string& value = std::string(1, '\0'))
    {
        return OpenSections({{".debug_abbrev", Abbreviations(version, form).Bytes()},
                             {".debug_info", Info(version, value).Bytes()},
                             {".debug_loc", loc.Bytes()},
                             {".debug_loclists", loclists.Bytes()},
                             {".debug_addr", addr.Bytes()},
                             {".debug_frame", frame.Bytes()},
                             {".eh_frame", ehFrame.Bytes(), kEhFrameAddress}});
    }

    /// The same with sections of the test's own.
    Dwarf* OpenSections(const std::vector<ImageSection>& sections)
    {
        m_image = ElfImage(m_order, sections);
        m_elf = elf_memory(m_image.data(), m_image.size());
        m_dwarf = m_elf == nullptr ? nullptr : dwarf_begin_elf(m_elf, DWARF_C_READ, nullptr);
        if (m_dwarf == nullptr) {
            throw std::runtime_error(dwarf_errmsg(-1));
        }
        return m_dwarf;
    }

    /// The location of the variable, once the file is open.
    Dwarf_Attribute Attribute()
    {
        Dwarf_CU* unit = nullptr;
        Dwarf_Die die;
        Dwarf_Die variable;
        Dwarf_Attribute attribute;
        if (dwarf_get_units(m_dwarf, nullptr, &unit, nullptr, nullptr, &die, nullptr) != 0 ||
            dwarf_child(&die, &variable) != 0 || dwarf_attr(&variable, DW_AT_location, &attribute) == nullptr) {
            throw std::runtime_error(dwarf_errmsg(-1));
        }
        return attribute;
    }

    ByteSection loc;
    ByteSection loclists;
    ByteSection addr;
    ByteSection frame;
    ByteSection ehFrame;
    u32 unitBase = 0x8000;

private:
    ByteSection Abbreviations(u16 version, u32 form) const
    {
        ByteSection abbrev(m_order);
        abbrev.Uleb(1).Uleb(DW_TAG_compile_unit).U8(1).Uleb(DW_AT_low_pc).Uleb(DW_FORM_addr);
        if (version >= 5) {
            abbrev.Uleb(DW_AT_addr_base).Uleb(DW_FORM_sec_offset);
            abbrev.Uleb(DW_AT_loclists_base).Uleb(DW_FORM_sec_offset);
        }
        abbrev.U16(0).Uleb(2).Uleb(DW_TAG_variable).U8(0).Uleb(DW_AT_location).Uleb(form).U16(0);
        return abbrev.U8(0);
    }

    ByteSection Info(u16 version, const std::string& value) const
    {
        ByteSection info(m_order);
        const u32 length = info.OpenLength();
        info.U16(version);
        if (version >= 5) {
            info.U8(DW_UT_compile).U8(4).U32(0);
        } else {
            info.U32(0).U8(4);
        }
        info.Uleb(1).U32(unitBase);
        if (version >= 5) {
            info.U32(8).U32(12); // after the headers of the sections
        }
        return info.Uleb(2).Raw(value).U8(0).CloseLength(length);
    }

    ByteOrder m_order;
    std::string m_image;
    Elf* m_elf = nullptr;
    Dwarf* m_dwarf = nullptr;
};

/// Bytes as a test compares them with those of a ByteSection.
template <typename Range>
std::string Text(const Range& bytes)
{
    return {bytes.begin(), bytes.end()};
}
