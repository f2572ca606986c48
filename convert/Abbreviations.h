// Tables of `.debug_abbrev`: how the entries of a unit are laid out.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <array>
#include <unordered_map>
#include <vector>

namespace convert {

/// How the bytes of a value are counted. Up to kMaxFixed the number is the size itself.
enum class Layout : u8 {
    Nothing = 0,
    MaxFixed = 16,
    Address,    ///< of the unit's address size
    Offset,     ///< 4 or 8 bytes, by the format of the unit
    SectionRef, ///< DW_FORM_ref_addr: an address in version 2, an offset since then
    Text,       ///< up to its zero
    Block1,     ///< a length byte, then that many bytes
    Block2,
    Block4,
    BlockUleb,
    Uleb,          ///< LEB128, of either sign
    AddressOffset, ///< DW_FORM_LLVM_addrx_offset: LEB128 and four bytes
    Implicit,      ///< the abbreviation contains the value
    Indirect,      ///< the value begins with its form
    Unknown,
    Count,
};

/// The layout of a form of versions 2 to 5, or of one of the known producers.
Layout LayoutOf(u64 form);

/// One attribute of an abbreviation.
struct AttributeShape {
    u16 name; ///< 0xFFFF if the code is no attribute's
    u16 form; ///< likewise
    Layout layout;
    u32 implicit; ///< of Layout::Implicit: the offset of its value in the section
};

struct Abbreviation {
    u32 first; ///< of its attributes
    u16 count;
    u16 tag;
    bool hasChildren;
    std::array<u64, 3> names; ///< a bit for each attribute that it has, by code

    /// False if it certainly doesn't have the attribute.
    bool MayHave(u32 attribute) const
    {
        return attribute >= 64 * names.size() || (names[attribute / 64] >> attribute % 64 & 1) != 0;
    }
};

/// One table. Whatever follows a damaged place is missing.
class Abbreviations {
public:
    /// Reads the table at an offset of the section, whose bytes outlive this.
    Abbreviations(ByteView section, u64 offset, bool bigEndian);

    /// Null if the table has no such code. Of equal codes the first counts.
    const Abbreviation* Find(u64 code) const
    {
        if (code - 1 < m_inOrder) {
            return &m_abbreviations[static_cast<std::size_t>(code - 1)];
        }
        const auto found = m_others.find(code);
        return found == m_others.end() ? nullptr : &m_abbreviations[found->second];
    }

    const AttributeShape* AttributesOf(const Abbreviation& abbreviation) const
    {
        return m_attributes.data() + abbreviation.first;
    }
    /// The bytes of the section from the value of an implicit constant on.
    ByteView Section() const { return m_section; }

private:
    bool ReadAttributes(ByteReader& reader, Abbreviation& abbreviation);

    ByteView m_section;
    std::vector<Abbreviation> m_abbreviations;
    std::vector<AttributeShape> m_attributes;
    u64 m_inOrder = 0;                     ///< how many have the codes 1, 2, ...
    std::unordered_map<u64, u32> m_others; ///< index of the rest
};

} // namespace convert
