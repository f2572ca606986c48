// A fixture for tests of one unit that is made of bytes, in either byte order, without a file around it.
#pragma once

#include "convert/Unit.h"
#include "tests/support/ByteSection.h"

#include <dwarf.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

inline convert::ByteView View(const std::string& bytes)
{
    return {reinterpret_cast<const u8*>(bytes.data()), bytes.size()};
}

/// Fill `abbrev` and `info`, the entries alone, then Read().
class HandMadeUnit : public testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Bytes() const { return ByteSection(GetParam()); }
    bool IsBigEndian() const { return GetParam() == ByteOrder::Big; }

    /// Adds an abbreviation. @param attributes pairs of name and form.
    void Abbreviate(u32 code, u32 tag, bool hasChildren, const std::vector<std::pair<u32, u32>>& attributes)
    {
        abbrev.Uleb(code).Uleb(tag).U8(hasChildren ? 1 : 0);
        for (const auto& [name, form] : attributes) {
            abbrev.Uleb(name).Uleb(form);
        }
        abbrev.U16(0);
    }

    /// The unit in `info`. @param end of the unit, if it isn't that of the section.
    convert::Unit Read(u16 version = 4, u8 offsetSize = 4, u64 end = ~u64{0})
    {
        m_abbrev = abbrev.Bytes() + '\0';
        m_info = info.Bytes();
        sections.info = View(m_info);
        sections.abbreviations = View(m_abbrev);
        sections.bigEndian = IsBigEndian();
        convert::InputUnit input{};
        input.version = version;
        input.type = DW_UT_compile;
        input.addressSize = 4;
        input.offsetSize = offsetSize;
        input.language = language;
        input.end = end;
        return convert::UnitReader(sections).Read(input);
    }

    ByteSection abbrev = Bytes();
    ByteSection info = Bytes();
    convert::UnitSections sections;
    u32 language = 0;

private:
    std::string m_abbrev;
    std::string m_info;
};
