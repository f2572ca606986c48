// The entries of one unit of the output, before they have offsets.
#pragma once

#include "convert/Bytes.h"
#include "convert/Unit.h"
#include "interfaces/Types.h"

#include <span>
#include <string_view>
#include <vector>

namespace convert {

inline constexpr u32 kNoEntry = 0xFFFFFFFF;

/// How a value is expressed. The widths of numbers are chosen when it is written.
enum class ValueKind : u8 {
    Number,  ///< data1, data2, data4, or udata for larger ones
    Signed,  ///< sdata
    Flag,    ///< true
    Address, ///< addr
    Offset,  ///< data4: an offset in another section
    Text,    ///< borrowed; string or strp
    Block,   ///< in the tree's own store; block1 to block4
    List,    ///< likewise, the bytes of a location list; written as data4, its offset
    Entry,   ///< index in the same tree
    Node,    ///< a node of the input unit: the entry that was made from it
    Foreign, ///< an entry of another input unit; the value is the index of a key in the tree
};

struct OutAttribute {
    u16 name;
    ValueKind kind;
    u8 form;    ///< chosen when it is written
    u32 length; ///< of texts, blocks and lists
    union {
        u64 number;
        const char* text;
        const u8* bytes;
    };
};

/// A tree of entries. Attributes belong to the entry that was added last. Children are added in order; an entry with
/// children gets AT_sibling before all its other attributes.
class EntryTree {
public:
    struct Entry {
        u32 parent;
        u32 firstChild = kNoEntry;
        u32 lastChild = kNoEntry;
        u32 next = kNoEntry;
        u32 firstAttribute;
        u16 attributeCount = 0;
        u16 tag;
    };

    /// @param nodes how many nodes the input unit has.
    explicit EntryTree(u32 nodes);

    u32 Add(u32 parent, u32 tag);
    /// The same, for the entry that `node` of the input becomes: references to the node lead to it. The first entry of
    /// a node counts.
    u32 AddFor(u32 parent, u32 tag, u32 node);
    u32 EntryOf(u32 node) const { return m_entryOf[node]; }

    void Number(u32 name, u64 value) { Push(name, ValueKind::Number).number = value; }
    void Signed(u32 name, i64 value) { Push(name, ValueKind::Signed).number = static_cast<u64>(value); }
    void Flag(u32 name) { Push(name, ValueKind::Flag).number = 1; }
    void Address(u32 name, u32 value) { Push(name, ValueKind::Address).number = value; }
    void Offset(u32 name, u32 value) { Push(name, ValueKind::Offset).number = value; }
    /// @param text outlives the tree; an empty one adds nothing.
    void Text(u32 name, std::string_view text);
    /// Keeps a copy.
    void OwnText(u32 name, std::string_view text);
    /// Keeps a copy.
    void Block(u32 name, ByteView bytes);
    /// Likewise.
    void List(u32 name, ByteView bytes);
    void ToEntry(u32 name, u32 entry) { Push(name, ValueKind::Entry).number = entry; }
    void ToNode(u32 name, u32 node)
    {
        if (m_copied != nullptr) {
            ToForeign(name, m_copied->Key(node));
        } else {
            Push(name, ValueKind::Node).number = node;
        }
    }
    void ToForeign(u32 name, EntryKey key);

    /// From here on, nodes are those of another unit: added entries are copies, to which no node leads, and their
    /// references lead to that unit. Null: nodes are the input unit's again.
    void CopyFrom(const Unit* other) { m_copied = other; }

    u32 Count() const { return static_cast<u32>(m_entries.size()); }
    const Entry& At(u32 entry) const { return m_entries[entry]; }
    std::span<OutAttribute> AttributesOf(u32 entry)
    {
        const Entry& at = m_entries[entry];
        return std::span(m_attributes).subspan(at.firstAttribute, at.attributeCount);
    }
    EntryKey ForeignKey(u64 index) const { return m_foreign[static_cast<std::size_t>(index)]; }
    bool HasForeign() const { return !m_foreign.empty(); }
    bool HasChildren(u32 entry) const { return m_entries[entry].firstChild != kNoEntry; }
    /// Removes the entry that was added last if it has no children; it is the last child of its parent.
    void DropLastIfChildless(u32 entry);
    /// Changes the value of an attribute that is an address or an offset. The entry must have it.
    void Set(u32 entry, u32 name, u64 value);
    /// Makes an attribute lead to an entry of another unit instead. The entry must have it.
    void SetForeign(u32 entry, u32 name, EntryKey key);

private:
    OutAttribute& Push(u32 name, ValueKind kind);
    const u8* Keep(ByteView bytes);

    std::vector<Entry> m_entries;
    std::vector<OutAttribute> m_attributes;
    std::vector<u32> m_entryOf;
    std::vector<EntryKey> m_foreign;
    const Unit* m_copied = nullptr;
    std::vector<std::vector<u8>> m_store; ///< of texts and blocks, in pieces that don't move
};

} // namespace convert
