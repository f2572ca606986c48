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

/// Where the writing has put a unit and its entries.
struct PlacedUnit {
    u32 offset = 0;           ///< of the unit's header
    u32 size = 0;             ///< whole, with the header
    std::vector<u32> offsets; ///< by entry of the tree, in the section
};

/// Units go one behind the other; they share one table of abbreviations and one of texts. References to other units are
/// filled in at the end.
class InfoWriter {
public:
    /// @param stableTexts where texts stay as long as this lives, so that their place tells them apart.
    /// @param lists where location lists go. It outlives this. @param infoSize about what `.debug_info` will take.
    InfoWriter(bool bigEndian, ByteView stableTexts, LocationWriter& lists, std::size_t infoSize);

    /// Writes a tree whose entry 0 is the unit's own. References to nodes without an entry throw Failure, as does a
    /// section beyond 4 GiB.
    PlacedUnit Write(EntryTree& tree);
    /// Makes known where the entry of an input unit has gone.
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
    std::vector<u32> m_shapes;      ///< those of all abbreviations
    std::vector<u32> m_shapeBegins; ///< in m_shapes, by code; with the end of the last
    FlatTable m_codes;              ///< of abbreviations, by hash
    std::vector<u32> m_codeOf;      ///< by entry of the tree that is being written
    std::vector<u32> m_behind;      ///< likewise: where what follows its children begins
    FlatTable m_textOffsets;        ///< by hash
    FlatTable m_textOf;             ///< by place of a stable text in memory
    std::vector<Fixup> m_fixups;
    std::vector<std::pair<EntryKey, u32>> m_placed;
};

} // namespace convert
