// One unit of the input, read into a tree that can be asked quickly.
#pragma once

#include "convert/Abbreviations.h"
#include "convert/Bytes.h"
#include "convert/InputUnits.h"
#include "interfaces/Types.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace convert {

inline constexpr u32 kNoNode = 0xFFFFFFFF;

/// Identifies an entry of the whole input: its offset in the section, and which section that is.
struct EntryKey {
    u32 offset = kNoNode;
    bool inTypes = false; ///< `.debug_types` of version 4 instead of `.debug_info`

    explicit operator bool() const { return offset != kNoNode; }
    bool operator==(const EntryKey&) const = default;
    auto operator<=>(const EntryKey&) const = default; // NOLINT(modernize-use-nullptr): taken for a null pointer
};

/// The language code of DWARF 2.0 for one of any version: the language itself in an older edition, or the one that it
/// is most like. Codes of vendors (assembler) stay.
u32 Dwarf2Language(u32 language);

/// The key of an entry that libdw knows.
EntryKey KeyOf(Dwarf_Die* die);

/// What a reference leads to: an entry of the same unit, one of another unit, or nothing.
struct Reference {
    u32 node = kNoNode;
    std::optional<Dwarf_Die> foreign;

    bool IsLocal() const { return node != kNoNode; }
    explicit operator bool() const { return IsLocal() || foreign.has_value(); }
};

/// The sections that all units of an input read, uncompressed. They outlive the units.
struct UnitSections {
    ByteView info;
    ByteView types; ///< `.debug_types`
    ByteView abbreviations;
    ByteView texts;     ///< `.debug_str`
    ByteView lineTexts; ///< `.debug_line_str`
    bool bigEndian = false;
};

/// The entries of one unit in the order of the section. A node is named by its index; the unit's own entry is node 0.
/// Everything borrowed (texts, blocks) is in the sections, which libdw keeps.
///
/// What producers write often is decoded here; libdw decodes what is rare, and what leads to other units.
class Unit {
public:
    /// What follows an entry that can't be read is left out; IsDamaged() tells. libdw isn't called here, so that a
    /// separate thread can read units.
    /// @param abbreviations the unit's table.
    Unit(const InputUnit& input, const UnitSections& sections, std::shared_ptr<const Abbreviations> abbreviations);

    u32 Count() const { return static_cast<u32>(m_nodes.size()); }
    u32 Version() const { return m_version; }
    u32 Language() const { return m_language; }
    bool IsDamaged() const { return m_damaged; }
    /// A language whose scopes have names: C++ and what is like it.
    bool HasNamespaces() const { return m_hasNamespaces; }
    bool IsType() const { return m_type == DW_UT_type || m_type == DW_UT_split_type; }
    Dwarf_CU* Cu() const { return m_cu; }
    Dwarf_Die Die(u32 node) const;
    EntryKey Key(u32 node) const { return {m_offsets[node], m_inTypes}; }

    u32 Tag(u32 node) const { return m_tags[node]; }
    /// kNoNode for the unit's own entry.
    u32 Parent(u32 node) const { return m_nodes[node].parent; }
    /// Index after the last entry below this one: the next sibling if there is one.
    u32 End(u32 node) const { return m_nodes[node].end; }

    /// Calls visit(child) for each child of a node.
    template <typename Visit>
    void ForEachChild(u32 node, Visit visit) const
    {
        for (u32 child = node + 1; child < End(node); child = End(child)) {
            visit(child);
        }
    }

    bool Has(u32 node, u32 attribute) const { return Find(node, attribute) != nullptr; }
    /// The attribute as libdw takes it.
    std::optional<Dwarf_Attribute> Get(u32 node, u32 attribute) const;
    bool Flag(u32 node, u32 attribute) const;
    /// Empty if the attribute is missing.
    std::string_view Text(u32 node, u32 attribute) const;
    /// Constants and offsets in other sections; nothing for addresses, blocks and references.
    std::optional<u64> Number(u32 node, u32 attribute) const;
    /// The same, signed for forms that have a sign (sdata, implicit_const).
    std::optional<i64> Signed(u32 node, u32 attribute) const;
    std::optional<u32> Address(u32 node, u32 attribute) const;
    Reference Refer(u32 node, u32 attribute) const;
    /// The node at an offset in the unit's section.
    u32 NodeAt(u64 offset) const;

    /// The entry that AT_specification leads to, else the one that AT_abstract_origin does; within this unit.
    u32 DeclarationOf(u32 node) const;

private:
    struct Node {
        u32 parent;
        u32 end;
        u32 firstAttribute;
        const Abbreviation* abbreviation; ///< null for the only node of a unit whose own entry can't be read
    };
    struct Attribute {
        u16 name;
        u16 form;
        u32 value; ///< offset in the section, in `.debug_abbrev` for an implicit constant, or as the form says
    };
    /// Values that are needed often are looked up once, while the unit is read, and get forms of their own.
    static constexpr u16 kTextForm = 0xFFFE; ///< AT_name: the value is an index in m_texts
    static constexpr u16 kNodeForm = 0xFFFD; ///< a reference within the unit: the value is the node, or kNoNode
    class Reading;

    /// Null if the node doesn't have it.
    const Attribute* Find(u32 node, u32 attribute) const
    {
        const Node& entry = m_nodes[node];
        if (entry.abbreviation == nullptr || !entry.abbreviation->MayHave(attribute)) {
            return nullptr;
        }
        const Attribute* const end = m_attributes.data() + entry.firstAttribute + entry.abbreviation->count;
        for (const Attribute* at = m_attributes.data() + entry.firstAttribute; at != end; ++at) {
            if (at->name == attribute) {
                return at;
            }
        }
        return nullptr;
    }
    Dwarf_Attribute Public(const Attribute& attribute) const;
    ByteReader ReaderAt(const Attribute& attribute) const;
    /// @param width 1, 2, 4 or 8 bytes, which are there.
    u64 FixedAt(u32 offset, u32 width) const
    {
        return LoadNumber(m_section.data + offset, width, m_sections.bigEndian);
    }
    std::string_view TextAt(const Attribute& attribute) const;
    std::optional<u64> NumberAt(const Attribute& attribute) const;
    u64 LocalReference(const Attribute& attribute) const;
    void IndexOffsets();
    void LookUpValues();

    std::vector<Node> m_nodes;
    std::vector<u16> m_tags;    ///< by node
    std::vector<u32> m_offsets; ///< likewise, in the section; ascending
    std::vector<Attribute> m_attributes;
    std::vector<u32> m_blocks; ///< nodes, by pieces of the section
    std::vector<std::string_view> m_texts;
    std::shared_ptr<const Abbreviations> m_abbreviations;
    const UnitSections& m_sections;
    ByteView m_section; ///< which contains the unit
    Dwarf_CU* m_cu;
    u64 m_offset; ///< of the unit in its section
    u32 m_version;
    u32 m_language;
    u8 m_type;
    u8 m_addressSize;
    u8 m_offsetSize;
    bool m_inTypes;
    bool m_hasNamespaces;
    bool m_damaged = false;
};

/// Reads units, one after the other. Units that follow each other often share a table of abbreviations.
class UnitReader {
public:
    /// @param sections outlives this and the units.
    explicit UnitReader(const UnitSections& sections)
        : m_sections(sections)
    {
    }

    Unit Read(const InputUnit& input);

private:
    const UnitSections& m_sections;
    std::shared_ptr<const Abbreviations> m_last;
    u64 m_lastOffset = 0;
};

} // namespace convert
