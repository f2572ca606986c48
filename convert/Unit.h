// One unit of the input, read into a tree that can be asked quickly.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <optional>
#include <string_view>
#include <vector>

namespace convert {

inline constexpr u32 kNoNode = 0xFFFFFFFF;

/// Names an entry of the whole input: its offset in the section, and which section that is.
struct EntryKey {
    u32 offset = kNoNode;
    bool inTypes = false; ///< `.debug_types` of version 4 instead of `.debug_info`

    explicit operator bool() const { return offset != kNoNode; }
    bool operator==(const EntryKey&) const = default;
    auto operator<=>(const EntryKey&) const = default;
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

/// The entries of one unit in the order of the section. A node is named by its index; the unit's own entry is node 0.
/// Everything borrowed (texts, blocks) lies in the sections, which libdw keeps.
class Unit {
public:
    /// @param die the unit's own entry, @param end offset in its section of the next unit.
    /// What follows an entry that can't be read is left out; IsDamaged() tells.
    Unit(Dwarf_Die die, u64 end, bool bigEndian);

    u32 Count() const { return static_cast<u32>(m_nodes.size()); }
    u32 Version() const { return m_version; }
    u32 Language() const { return m_language; }
    bool IsDamaged() const { return m_damaged; }
    /// A language whose scopes have names: C++ and what is like it.
    bool HasNamespaces() const;
    bool IsType() const { return m_type == DW_UT_type || m_type == DW_UT_split_type; }
    Dwarf_CU* Cu() const { return m_cu; }
    Dwarf_Die Die(u32 node) const;
    EntryKey Key(u32 node) const { return {m_nodes[node].offset, m_inTypes}; }

    u32 Tag(u32 node) const { return m_nodes[node].tag; }
    /// kNoNode for the unit's own entry.
    u32 Parent(u32 node) const { return m_nodes[node].parent; }
    /// Index behind the last entry below this one: the next sibling if there is one.
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
    /// Empty if it isn't there.
    std::string_view Text(u32 node, u32 attribute) const;
    /// Constants, addresses and flags; nothing for blocks and references.
    std::optional<u64> Number(u32 node, u32 attribute) const;
    /// The same with the sign of forms that have one (sdata, implicit_const).
    std::optional<i64> Signed(u32 node, u32 attribute) const;
    std::optional<u32> Address(u32 node, u32 attribute) const;
    Reference Refer(u32 node, u32 attribute) const;
    /// The node at an offset in the unit's section.
    u32 NodeAt(u64 offset) const;

    /// The entry that AT_specification leads to, else the one that AT_abstract_origin does; within this unit.
    u32 DeclarationOf(u32 node) const;

private:
    struct Node {
        u32 offset;
        u32 parent;
        u32 end;
        u32 firstAttribute;
        u16 tag;
        u16 attributeCount;
    };
    struct Attribute {
        u32 name;
        u32 form;
        u8* value;
    };

    const Attribute* Find(u32 node, u32 attribute) const;
    Dwarf_Attribute Public(const Attribute& attribute) const;
    void Read(u8* begin, const u8* end);
    void IndexOffsets();
    u8* ReadEntry(u8* at, const u8* end, u32 parent, bool& hasChildren);
    static int TakeAttribute(Dwarf_Attribute* attribute, void* unit);
    u8* ValueEnd(Attribute& attribute, const u8* end) const;

    std::vector<Node> m_nodes;
    std::vector<Attribute> m_attributes;
    std::vector<u32> m_blocks; ///< nodes, by pieces of the section
    Dwarf_CU* m_cu = nullptr;
    u8* m_section = nullptr; ///< where offset 0 of the section lies
    u64 m_offset = 0;        ///< of the unit in its section
    u32 m_version = 0;
    u32 m_language = 0;
    u8 m_type = 0;
    u8 m_addressSize = 4;
    u8 m_offsetSize = 4;
    bool m_bigEndian = false;
    bool m_inTypes = false;
    bool m_damaged = false;
};

} // namespace convert
