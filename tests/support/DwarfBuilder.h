// The tests' assembler of DWARF 2.0 sections.
//
//     DwarfBuilder dwarf(order);
//     dwarf.Unit().Name("main.c").Attr(AT_low_pc, FORM_addr, 0x8000).Children([&] {
//         dwarf.Label("int").Die(TAG_base_type).Name("int").Attr(AT_byte_size, FORM_data1, 4);
//         dwarf.Die(TAG_variable).Name("counter").Ref(AT_type, "int").Attr(AT_location, FORM_block1, {0x91, 0x08});
//     });
//
// A DIE gets an abbreviation of its own, written while its attributes are added, so nothing has to be
// declared before. The sections are public: malformed data is written into them raw, or patched.
#pragma once

#include "index/DwarfCodes.h"
#include "interfaces/Types.h"
#include "tests/support/ByteSection.h"

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

class ElfWriter;

/// A number or one of the DWARF codes.
template <typename Type>
concept NumberOrCode = std::integral<Type> || std::is_enum_v<Type>;

/// What a unit's header says.
struct UnitHeader {
    u16 version = 2;
    u8 addressSize = 4;
    u32 firstCode = 1;                    ///< abbreviation code of the unit's first DIE
    std::optional<u32> length = {};       ///< else as long as the unit is
    std::optional<u32> abbrevOffset = {}; ///< else a new table, after the existing ones
};

/// One entry of a location list.
struct LocationEntry {
    u32 begin;
    u32 end;
    std::initializer_list<u8> expression;
};

class DwarfBuilder {
public:
    explicit DwarfBuilder(ByteOrder order);
    DwarfBuilder(const DwarfBuilder&) = delete;
    DwarfBuilder& operator=(const DwarfBuilder&) = delete;

    ByteSection info;
    ByteSection abbrev;
    ByteSection str;
    ByteSection line;
    ByteSection loc;
    ByteSection pubnames;
    ByteSection macinfo;

    ByteOrder Order() const { return info.Order(); }

    /// Opens a unit with its TAG_compile_unit DIE. The unit before is closed.
    DwarfBuilder& Unit(const UnitHeader& header = {}) { return Header(header).Die(TAG_compile_unit); }
    /// Opens a unit with only a header.
    DwarfBuilder& Header(const UnitHeader& header = {});
    /// Closes the open levels with null entries, and the unit with its length. Without a unit it does
    /// nothing.
    DwarfBuilder& EndUnit();
    /// Fills `.debug_info` up to an offset with a unit that has no name, so it shows nowhere in the
    /// store. Takes at least 12 bytes.
    DwarfBuilder& PadTo(u32 offset) { return Unit(), info.PadTo(offset), EndUnit(); }
    /// Offset of the header of the unit opened last.
    u32 UnitOffset() const { return m_unit; }

    DwarfBuilder& Die(u32 tag);
    /// Opens the level below the last DIE, which is thereby declared to have children.
    DwarfBuilder& Children();
    /// Ends the level with a null entry.
    DwarfBuilder& End();
    /// The level below the last DIE, written by `body` and ended.
    template <typename Body>
    requires std::invocable<Body> DwarfBuilder& Children(Body&& body)
    {
        Children();
        body();
        return End();
    }
    /// Names the DIE that comes next.
    DwarfBuilder& Label(const std::string& name) { return info.Label(name), *this; }
    /// Offset of a labelled DIE.
    u32 Offset(const std::string& name) const { return info.Offset(name); }

    /// Numbers take any form but text and blocks; FORM_strp takes an offset of `.debug_str`.
    template <NumberOrCode Number>
    DwarfBuilder& Attr(u32 attribute, u32 form, Number value)
    {
        return Spec(attribute, form).Value(form, value);
    }
    /// Text takes FORM_string, or FORM_strp with a new text at the end of `.debug_str`.
    DwarfBuilder& Attr(u32 attribute, u32 form, std::string_view text);
    DwarfBuilder& Attr(u32 attribute, u32 form, const char* text)
    {
        return Attr(attribute, form, std::string_view(text));
    }
    DwarfBuilder& Attr(u32 attribute, u32 form, std::initializer_list<u8> block)
    {
        return Attr(attribute, form, ByteSection(Order()).Raw(block));
    }
    DwarfBuilder& Attr(u32 attribute, u32 form, const ByteSection& block);
    DwarfBuilder& Name(std::string_view text) { return Attr(AT_name, FORM_string, text); }
    DwarfBuilder& Range(u32 low, u32 high) { return Attr(AT_low_pc, FORM_addr, low).Attr(AT_high_pc, FORM_addr, high); }
    /// A FORM_ref4 to a labelled DIE of the same unit, which may come later.
    DwarfBuilder& Ref(u32 attribute, const std::string& label);
    /// AT_sibling: the offset after the null entry that ends the DIE's children, or the next entry.
    DwarfBuilder& Sibling();

    /// The halves of an attribute: its pair in `.debug_abbrev` and a number in `.debug_info`.
    DwarfBuilder& Spec(u32 attribute, u32 form) { return abbrev.Uleb(attribute).Uleb(form), *this; }
    DwarfBuilder& Value(u32 form, NumberOrCode auto value) { return Number(form, static_cast<u64>(value)); }

    /// A declaration with an explicit code in the unit's table, for Entry. Ends the last DIE, and later
    /// codes continue from there.
    DwarfBuilder& Declare(u32 code, u32 tag, bool children, std::initializer_list<std::pair<u32, u32>> specs);
    /// A DIE that is nothing but a code: its values follow with Value, or raw.
    DwarfBuilder& Entry(u32 code);

    /// A set of `.debug_pubnames`. An entry's offset counts from the unit's header.
    DwarfBuilder& PubSet(u32 unitOffset, u32 unitLength, std::initializer_list<std::pair<u32, const char*>> names);
    /// A list of `.debug_loc`, with its end entry. Returns its offset.
    u32 LocationList(std::initializer_list<LocationEntry> entries);

    /// Adds the sections that aren't empty to an ELF file. Closes the unit.
    void AddTo(ElfWriter& elf);

private:
    DwarfBuilder& Number(u32 form, u64 value);
    void CloseDeclaration();

    u32 m_unit = 0;
    u32 m_die = 0;
    u32 m_nextCode = 1;
    bool m_unitOpen = false;
    bool m_ownTable = false;           ///< the unit's table is being written
    bool m_declarationOpen = false;    ///< the last DIE's declaration lacks its closing pair
    u32 m_childrenByte = 0;            ///< of that declaration, in `.debug_abbrev`
    std::optional<u32> m_unitLength;   ///< what the header states; else the true length
    std::string m_siblingLabel;        ///< that the last DIE's AT_sibling refers to; empty: it has none
    std::vector<std::string> m_levels; ///< the same of the DIEs around
};
