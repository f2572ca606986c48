// Where the bytes of a program go: each byte of its sections belongs to one item, each item to one unit or to none.
#pragma once

#include "host/ProgramImage.h"
#include "host/SymbolUnits.h"
#include "interfaces/Types.h"

#include <string_view>
#include <vector>

class Loader;

/// What an item is: named bytes, or why they have no name as far as can be told.
enum class SizeKind : u8 {
    Function,
    Variable,
    Data,       ///< of a label that is neither
    Padding,    ///< few bytes ahead of an aligned address
    Literals,   ///< data inside code
    Strings,    ///< of a section of texts
    Unwinding,  ///< of a section of tables for exceptions
    Unexplained ///< bytes that nothing names
};

constexpr bool IsGap(SizeKind kind)
{
    return kind > SizeKind::Data;
}

struct SizeItem {
    std::string_view name; ///< empty for a gap
    u32 section;           ///< index in SizeTree::Sections()
    u32 unit;              ///< index in SizeTree::Units(); kNone: none
    u32 address;           ///< of the first byte that it has to itself
    u32 size;
    SizeKind kind;
};

/// The items of one section, laid end to end, are the section, so sums by unit, folder or kind always add up
/// to it. Where symbols overlap, a byte belongs to the one that begins first; of aliases to one, a global one if there
/// is. A symbol without size goes as far as the next symbol.
class SizeTree {
public:
    explicit SizeTree(Loader& file);

    const std::vector<ProgramSection>& Sections() const { return m_image.Sections(); }
    /// Paths of the units.
    const std::vector<std::string_view>& Units() const { return m_units.Paths(); }
    /// Section by section, in ascending order of address.
    const std::vector<SizeItem>& Items() const { return m_items; }

private:
    void FindOwnAddresses();
    void FillSection(u32 section, const std::vector<u32>& symbols);
    void AddSymbol(const Extent& extent);
    void AddGap(u32 section, u64 begin, u64 end);
    void AddThings(u32 section, u64 begin, u64 end);
    void AddNameless(u32 section, u64 begin, u64 end);
    void AddPiece(u32 section, u64 begin, u64 end, u32 unit);
    SizeKind KindOfGap(u32 section, u64 begin, u64 end) const;
    void GivePaddingToUnits();
    u64 AddressOf(u32 section) const;

    ProgramImage m_image;
    SymbolUnits m_units;
    std::vector<Extent> m_own; ///< addresses of each section that no section ahead of it has
    std::vector<SizeItem> m_items;
};
