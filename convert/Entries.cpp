// Builds the tree.
#include "convert/Entries.h"

#include <algorithm>

namespace convert {

namespace {

constexpr std::size_t kStorePiece = 64 * 1024;

} // namespace

EntryTree::EntryTree(u32 nodes)
    : m_entryOf(nodes, kNoEntry)
{
    constexpr std::size_t kUsualAttributes = 3;
    m_entries.reserve(nodes);
    m_attributes.reserve(kUsualAttributes * nodes);
}

u32 EntryTree::Add(u32 parent, u32 tag)
{
    const u32 index = Count();
    Entry entry;
    entry.parent = parent;
    entry.firstAttribute = static_cast<u32>(m_attributes.size());
    entry.tag = static_cast<u16>(tag);
    m_entries.push_back(entry);
    if (parent != kNoEntry) {
        Entry& above = m_entries[parent];
        if (above.firstChild == kNoEntry) {
            above.firstChild = index;
        } else {
            m_entries[above.lastChild].next = index;
        }
        above.lastChild = index;
    }
    return index;
}

u32 EntryTree::AddFor(u32 parent, u32 tag, u32 node)
{
    const u32 entry = Add(parent, tag);
    if (m_copied == nullptr && m_entryOf[node] == kNoEntry) {
        m_entryOf[node] = entry;
    }
    return entry;
}

void EntryTree::DropLastIfChildless(u32 entry)
{
    if (HasChildren(entry) || entry + 1 != Count()) {
        return;
    }
    Entry& above = m_entries[m_entries[entry].parent];
    m_attributes.resize(m_entries[entry].firstAttribute);
    if (above.firstChild == entry) {
        above.firstChild = above.lastChild = kNoEntry;
    } else {
        u32 before = above.firstChild;
        while (m_entries[before].next != entry) {
            before = m_entries[before].next;
        }
        m_entries[before].next = kNoEntry;
        above.lastChild = before;
    }
    m_entries.pop_back();
}

OutAttribute& EntryTree::Push(u32 name, ValueKind kind)
{
    OutAttribute attribute{};
    attribute.name = static_cast<u16>(name);
    attribute.kind = kind;
    m_attributes.push_back(attribute);
    ++m_entries.back().attributeCount;
    return m_attributes.back();
}

const u8* EntryTree::Keep(ByteView bytes)
{
    if (m_store.empty() || m_store.back().capacity() - m_store.back().size() < bytes.size) {
        m_store.emplace_back().reserve(std::max(kStorePiece, bytes.size));
    }
    std::vector<u8>& piece = m_store.back();
    const std::size_t at = piece.size();
    piece.insert(piece.end(), bytes.data, bytes.data + bytes.size);
    return piece.data() + at;
}

void EntryTree::Text(u32 name, std::string_view text)
{
    if (!text.empty()) {
        OutAttribute& attribute = Push(name, ValueKind::Text);
        attribute.text = text.data();
        attribute.length = static_cast<u32>(text.size());
    }
}

void EntryTree::OwnText(u32 name, std::string_view text)
{
    const ByteView bytes{reinterpret_cast<const u8*>(text.data()), text.size()};
    Text(name, {reinterpret_cast<const char*>(Keep(bytes)), text.size()});
}

void EntryTree::Block(u32 name, ByteView bytes)
{
    OutAttribute& attribute = Push(name, ValueKind::Block);
    attribute.bytes = Keep(bytes);
    attribute.length = static_cast<u32>(bytes.size);
}

void EntryTree::List(u32 name, ByteView bytes)
{
    OutAttribute& attribute = Push(name, ValueKind::List);
    attribute.bytes = Keep(bytes);
    attribute.length = static_cast<u32>(bytes.size);
}

void EntryTree::ToForeign(u32 name, EntryKey key)
{
    Push(name, ValueKind::Foreign).number = m_foreign.size();
    m_foreign.push_back(key);
}

void EntryTree::SetForeign(u32 entry, u32 name, EntryKey key)
{
    for (OutAttribute& attribute : AttributesOf(entry)) {
        if (attribute.name == name) {
            attribute.kind = ValueKind::Foreign;
            attribute.number = m_foreign.size();
            m_foreign.push_back(key);
        }
    }
}

void EntryTree::Set(u32 entry, u32 name, u64 value)
{
    for (OutAttribute& attribute : AttributesOf(entry)) {
        if (attribute.name == name) {
            attribute.number = value;
        }
    }
}

} // namespace convert
