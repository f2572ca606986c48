// A frame section: `.debug_frame` of DWARF 2 to 5, or `.eh_frame`.
#pragma once

#include "convert/AddressRange.h"
#include "convert/Bytes.h"
#include "convert/DebugSections.h"
#include "convert/FrameRules.h"
#include "interfaces/Types.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace convert {

/// libdw's dwarf_cfi_addrframe would serve, but it keeps the entries in a tree in which overlapping entries are one, so
/// that the remains of dropped functions hide real ones; and it runs an entry from its start for each address.
class FrameSection {
public:
    FrameSection(const DebugSection& section, bool isEhFrame, bool bigEndian);

    /// Appends the rules for those parts of a range that the section covers, ascending.
    void Collect(AddressRange range, std::vector<CfaRule>& out) const;

private:
    /// What entries have in common (a CIE).
    struct Common {
        bool isKnown = false; ///< its instructions have their standard meaning
        bool hasAugmentationData = false;
        u8 pointerEncoding = 0;
        u8 addressSize = 4;
        u8 segmentSize = 0;
        u64 codeFactor = 1;
        i64 dataFactor = 1;
        u32 instructions = 0; ///< offset in the section
        u32 end = 0;
    };
    /// One entry (an FDE).
    struct Entry {
        u32 begin = 0;
        u32 end = 0;
        u32 common = 0;
        u32 instructions = 0;
        u32 instructionsEnd = 0;
        bool isDoubtful = false; ///< another one with the same range says otherwise
    };
    /// The entry that counts where none fits the requested range.
    struct Span {
        u32 begin;
        u32 end;
        u32 entry; ///< kNone: entries contradict each other
    };
    class Run;

    void ReadAll();
    void ReadEntry(u64 at, u64 end, u64 commonAt);
    u32 CommonAt(u64 at);
    Common ReadCommon(u64 at) const;
    void ReadAugmentation(ByteReader& reader, std::string_view augmentation, Common& common) const;
    std::optional<u64> ReadPointer(ByteReader& reader, const Common& common, bool isSize) const;
    bool SaysTheSame(const Entry& left, const Entry& right) const;
    void DropDoubles();
    void MakeSpans();

    ByteView m_bytes;
    u32 m_address;
    bool m_isEhFrame;
    bool m_bigEndian;
    std::vector<Common> m_commons;
    std::unordered_map<u64, u32> m_commonAt; ///< by offset
    std::vector<Entry> m_entries;            ///< by begin, then end
    std::vector<Span> m_spans;               ///< ascending, disjoint
};

/// Appends a rule; one that starts where an equal one ends extends that one. Does nothing for an empty range.
void AppendRule(std::vector<CfaRule>& rules, u32 begin, u32 end, const ExpressionBytes& expression);

} // namespace convert
