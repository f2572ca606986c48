// Computes the offsets first, for references and siblings, then writes the bytes.
#include "convert/InfoWriter.h"

#include "convert/Failure.h"

#include <algorithm>
#include <functional>

namespace convert {

namespace {

constexpr u32 kHeaderSize = 11;
constexpr u32 kAddressSize = 4;
constexpr u64 kMaxSection = 0xFFFFFFF0;
constexpr u32 kInlineText = 4; ///< texts no longer than an offset are written in the entry

u32 UlebSize(u64 value)
{
    u32 size = 1;
    while ((value >>= 7) != 0) {
        ++size;
    }
    return size;
}

u32 SlebSize(i64 value)
{
    u32 size = 1;
    while (value < -64 || value > 63) {
        value >>= 7;
        ++size;
    }
    return size;
}

u8 FormOf(const OutAttribute& attribute)
{
    switch (attribute.kind) {
    case ValueKind::Number:
        return attribute.number <= 0xFF         ? DW_FORM_data1
               : attribute.number <= 0xFFFF     ? DW_FORM_data2
               : attribute.number <= 0xFFFFFFFF ? DW_FORM_data4
                                                : DW_FORM_udata;
    case ValueKind::Signed:
        return DW_FORM_sdata;
    case ValueKind::Flag:
        return DW_FORM_flag;
    case ValueKind::Address:
        return DW_FORM_addr;
    case ValueKind::Offset:
    case ValueKind::List:
        return DW_FORM_data4;
    case ValueKind::Text:
        return attribute.length < kInlineText ? DW_FORM_string : DW_FORM_strp;
    case ValueKind::Block:
        return attribute.length <= 0xFF ? DW_FORM_block1 : attribute.length <= 0xFFFF ? DW_FORM_block2 : DW_FORM_block4;
    case ValueKind::Entry:
    case ValueKind::Node:
        return DW_FORM_ref4;
    case ValueKind::Foreign:
        return DW_FORM_ref_addr;
    }
    return 0;
}

/// @param attribute with its form.
u32 SizeOf(const OutAttribute& attribute)
{
    switch (attribute.form) {
    case DW_FORM_data1:
    case DW_FORM_flag:
        return 1;
    case DW_FORM_data2:
        return 2;
    case DW_FORM_udata:
        return UlebSize(attribute.number);
    case DW_FORM_sdata:
        return SlebSize(static_cast<i64>(attribute.number));
    case DW_FORM_string:
        return attribute.length + 1;
    case DW_FORM_block1:
        return 1 + attribute.length;
    case DW_FORM_block2:
        return 2 + attribute.length;
    case DW_FORM_block4:
        return 4 + attribute.length;
    default: // data4, strp, ref4, ref_addr, addr
        return 4;
    }
}

u32 Pair(u32 name, u32 form)
{
    return name << 8 | form;
}

} // namespace

InfoWriter::InfoWriter(bool bigEndian, ByteView stableTexts, LocationWriter& lists, std::size_t infoSize)
    : m_stableTexts(stableTexts)
    , m_info(bigEndian)
    , m_abbreviations(bigEndian)
    , m_texts(bigEndian)
    , m_lists(lists)
    , m_shapeBegins{0, 0}
{
    m_info.Reserve(infoSize);
    m_texts.Reserve(stableTexts.size);
    m_texts.U8(0);
}

/// Chooses the forms of an entry and its abbreviation. @return its size in bytes, without AT_sibling.
u32 InfoWriter::LayOutEntry(EntryTree& tree, u32 entry)
{
    const bool hasChildren = tree.HasChildren(entry);
    m_shape.assign(1, Pair(tree.At(entry).tag, hasChildren ? DW_CHILDREN_yes : DW_CHILDREN_no));
    if (hasChildren && entry != 0) {
        m_shape.push_back(Pair(DW_AT_sibling, DW_FORM_ref4));
    }
    u32 size = 0;
    for (OutAttribute& attribute : tree.AttributesOf(entry)) {
        attribute.form = FormOf(attribute);
        m_shape.push_back(Pair(attribute.name, attribute.form));
        size += SizeOf(attribute);
    }
    m_codeOf[entry] = AbbreviationOfShape();
    return size + UlebSize(m_codeOf[entry]);
}

/// Codes are consecutive across all units, in the order in which they are needed.
u32 InfoWriter::AbbreviationOfShape()
{
    u64 hash = m_shape.size();
    for (const u32 word : m_shape) {
        hash = (hash ^ word) * 0x9E3779B97F4A7C15;
        hash ^= hash >> 32;
    }
    const u32 known = m_codes.Find(hash, [&](u32 code) {
        return std::equal(m_shape.begin(), m_shape.end(), m_shapes.begin() + m_shapeBegins[code],
                          m_shapes.begin() + m_shapeBegins[code + 1]);
    });
    if (known != kNone) {
        return known;
    }
    const u32 code = static_cast<u32>(m_shapeBegins.size() - 1);
    m_codes.Add(hash, code);
    m_shapes.insert(m_shapes.end(), m_shape.begin(), m_shape.end());
    m_shapeBegins.push_back(static_cast<u32>(m_shapes.size()));
    m_abbreviations.Uleb(code);
    m_abbreviations.Uleb(m_shape[0] >> 8);
    m_abbreviations.U8(m_shape[0]);
    for (std::size_t i = 1; i < m_shape.size(); ++i) {
        m_abbreviations.Uleb(m_shape[i] >> 8);
        m_abbreviations.Uleb(m_shape[i] & 0xFF);
    }
    m_abbreviations.U16(0); // the pair (0, 0)
    return code;
}

/// Gives all entries their offsets. @return the offset after the last.
u32 InfoWriter::Layout(EntryTree& tree, u32 root, PlacedUnit& placed)
{
    u64 offset = u64{placed.offset} + kHeaderSize;
    u32 entry = root;
    while (true) {
        placed.offsets[entry] = static_cast<u32>(offset);
        offset += LayOutEntry(tree, entry);
        const EntryTree::Entry& at = tree.At(entry);
        if (at.firstChild != kNoEntry) {
            offset += entry == root ? 0 : 4; // AT_sibling
            entry = at.firstChild;
        } else {
            while (entry != root && tree.At(entry).next == kNoEntry) {
                entry = tree.At(entry).parent;
                ++offset; // the null entry
                m_behind[entry] = static_cast<u32>(offset);
            }
            if (entry == root) {
                break;
            }
            entry = tree.At(entry).next;
        }
        if (offset > kMaxSection) {
            throw Failure("The converted .debug_info would be larger than 4 GiB");
        }
    }
    return static_cast<u32>(offset);
}

PlacedUnit InfoWriter::Write(EntryTree& tree)
{
    m_lists.BeginUnit();
    PlacedUnit placed;
    placed.offset = m_info.Size();
    placed.offsets.assign(tree.Count(), 0);
    m_codeOf.assign(tree.Count(), 0);
    m_behind.assign(tree.Count(), 0);
    const u32 end = Layout(tree, 0, placed);
    placed.size = end - placed.offset;

    m_info.U32(placed.size - 4);
    m_info.U16(2);
    m_info.U32(0); // the one table of abbreviations
    m_info.U8(kAddressSize);
    u32 entry = 0;
    while (true) {
        WriteEntry(tree, entry, placed);
        if (tree.HasChildren(entry)) {
            entry = tree.At(entry).firstChild;
            continue;
        }
        while (entry != 0 && tree.At(entry).next == kNoEntry) {
            entry = tree.At(entry).parent;
            m_info.U8(0);
        }
        if (entry == 0) {
            return placed;
        }
        entry = tree.At(entry).next;
    }
}

void InfoWriter::WriteEntry(EntryTree& tree, u32 entry, const PlacedUnit& placed)
{
    m_info.Uleb(m_codeOf[entry]);
    if (tree.HasChildren(entry) && entry != 0) {
        m_info.U32(m_behind[entry] - placed.offset);
    }
    for (const OutAttribute& attribute : tree.AttributesOf(entry)) {
        WriteValue(tree, attribute, placed);
    }
}

void InfoWriter::WriteValue(const EntryTree& tree, const OutAttribute& attribute, const PlacedUnit& placed)
{
    switch (attribute.form) {
    case DW_FORM_udata:
        m_info.Uleb(attribute.number);
        return;
    case DW_FORM_sdata:
        m_info.Sleb(static_cast<i64>(attribute.number));
        return;
    case DW_FORM_string:
        m_info.Text({attribute.text, attribute.length});
        return;
    case DW_FORM_strp:
        m_info.U32(OffsetOfText({attribute.text, attribute.length}));
        return;
    case DW_FORM_block1:
        m_info.U8(attribute.length);
        m_info.Append({attribute.bytes, attribute.length});
        return;
    case DW_FORM_block2:
        m_info.U16(attribute.length);
        m_info.Append({attribute.bytes, attribute.length});
        return;
    case DW_FORM_block4:
        m_info.U32(attribute.length);
        m_info.Append({attribute.bytes, attribute.length});
        return;
    case DW_FORM_ref4: {
        const u32 entry = attribute.kind == ValueKind::Node ? tree.EntryOf(static_cast<u32>(attribute.number))
                                                            : static_cast<u32>(attribute.number);
        if (entry >= placed.offsets.size()) {
            throw Failure("A reference leads to an entry that says nothing");
        }
        m_info.U32(placed.offsets[entry] - placed.offset);
        return;
    }
    case DW_FORM_ref_addr:
        m_fixups.push_back({m_info.Size(), tree.ForeignKey(attribute.number)});
        m_info.U32(0);
        return;
    default:
        if (attribute.kind == ValueKind::List) {
            m_info.U32(m_lists.Write({attribute.bytes, attribute.length}));
        } else {
            m_info.Number(attribute.number, SizeOf(attribute));
        }
    }
}

/// True if the table has exactly this text at an offset.
bool InfoWriter::IsAt(u32 offset, std::string_view text) const
{
    const std::size_t rest = m_texts.Size() - offset;
    const char* const there = reinterpret_cast<const char*>(m_texts.View().data) + offset;
    return rest > text.size() && there[text.size()] == 0 && std::memcmp(there, text.data(), text.size()) == 0;
}

u32 InfoWriter::OffsetOfText(std::string_view text)
{
    const auto isText = [&](u32 offset) { return IsAt(offset, text); };
    const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(text.data());
    const bool isStable = place - reinterpret_cast<std::uintptr_t>(m_stableTexts.data) < m_stableTexts.size;
    u32 offset = kNone;
    if (isStable) {
        offset = m_textOf.Find(place, [](u32) { return true; });
        if (offset != kNone) {
            return offset;
        }
    }
    const u64 hash = std::hash<std::string_view>{}(text);
    offset = m_textOffsets.Find(hash, isText);
    if (offset == kNone) {
        if (u64{m_texts.Size()} + text.size() > kMaxSection) {
            throw Failure("The converted .debug_str would be larger than 4 GiB");
        }
        offset = m_texts.Size();
        m_texts.Text(text);
        m_textOffsets.Add(hash, offset);
    }
    if (isStable) {
        m_textOf.Add(place, offset);
    }
    return offset;
}

void InfoWriter::Finish()
{
    m_abbreviations.U8(0);
    if (m_fixups.empty()) {
        return;
    }
    std::sort(m_placed.begin(), m_placed.end());
    for (const Fixup& fixup : m_fixups) {
        const auto found = std::lower_bound(m_placed.begin(), m_placed.end(), std::pair(fixup.key, u32{0}));
        if (found == m_placed.end() || found->first != fixup.key) {
            throw Failure("A reference between units leads to an entry that says nothing");
        }
        m_info.PatchU32(fixup.position, found->second);
    }
}

} // namespace convert
