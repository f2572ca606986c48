// Writes `.debug_info`, `.debug_abbrev` and `.debug_str` of DWARF 2.0.
#pragma once

#include "convert/Bytes.h"
#include "convert/Entries.h"
#include "convert/FlatTable.h"
#include "convert/LocationWriter.h"
#include "interfaces/Types.h"

#include <string_view>
#include <vector>

namespace convert {

/// Where a unit and its entries have been written.
struct PlacedUnit {
    u32 offset = 0;           ///< of the unit's header
    u32 size = 0;             ///< whole, with the header
    std::vector<u32> offsets; ///< by entry of the tree, in the section
};

/// Units follow one another; they share one table of abbreviations and one of texts. References to other units are
/// filled in at the end.
class InfoWriter {
public:
    /// @param stableTexts memory whose texts stay valid as long as this lives, so that their addresses tell them apart.
    /// @param lists receives location lists and outlives this. @param infoSize the expected size of `.debug_info`.
    InfoWriter(bool bigEndian, ByteView stableTexts, LocationWriter& lists, std::size_t infoSize);

    /// Writes a tree whose entry 0 is the unit's own. References to nodes without an entry throw Failure, as does a
    /// section beyond 4 GiB.
    PlacedUnit Write(EntryTree& tree);
    /// Records where the entry of an input unit has been written.
    void Place(EntryKey key, u32 offset) { m_placed.emplace_back(key, offset); }
    /// Fills in the references between units and ends the tables. Throws Failure if one leads to nothing.
    void Finish();

    const ByteWriter& Info() const { return m_info; }
    const ByteWriter& Abbreviations() const { return m_abbreviations; }
    const ByteWriter& Texts() const { return m_texts; }

private:
    struct Fixup {
        u32 position;
        EntryKey key;
    };

    u32 Layout(EntryTree& tree, u32 root, PlacedUnit& placed);
    u32 LayOutEntry(EntryTree& tree, u32 entry);
    u32 AbbreviationOfShape();
    void WriteEntry(EntryTree& tree, u32 entry, const PlacedUnit& placed);
    void WriteValue(const EntryTree& tree, const OutAttribute& attribute, const PlacedUnit& placed);
    u32 OffsetOfText(std::string_view text);
    bool IsAt(u32 offset, std::string_view text) const;

    ByteView m_stableTexts;
    ByteWriter m_info;
    ByteWriter m_abbreviations;
    ByteWriter m_texts;
    LocationWriter& m_lists;
    std::vector<u32> m_shape;       ///< of an entry: tag and children, then names and forms of its attributes
    std::vector<u32> m_shapes;      ///< the shapes of all abbreviations
    std::vector<u32> m_shapeBegins; ///< in m_shapes, by code; with the end of the last
    FlatTable m_codes;              ///< of abbreviations, by hash
    std::vector<u32> m_codeOf;      ///< by entry of the tree that is being written
    std::vector<u32> m_behind;      ///< likewise: the offset after its children
    FlatTable m_textOffsets;        ///< by hash
    FlatTable m_textOf;             ///< by address of a stable text in memory
    std::vector<Fixup> m_fixups;
    std::vector<std::pair<EntryKey, u32>> m_placed;
};

} // namespace convert
