// A DIE that has been visited, and what is kept of it.
#pragma once

#include "index/OffsetMap.h"
#include "interfaces/Types.h"

/// The row of a DIE. There is one for each entry of `.debug_info` that was read, so it has only two words.
struct DieRow {
    u32 parent = kNone; ///< enclosing DIE
    u32 word = 0;       ///< flags, and the distances to sibling and children
};
static_assert(sizeof(DieRow) == 8);

/// Where sibling and children are, if the row of the DIE has no room for it.
struct FarPlaces {
    u32 sibling = kNone;
    u32 child = kNone;
};

/// A DIE and its row, to which it points. One without a row stands for no DIE, and has only `operator bool`.
class DIEInfo {
public:
    DIEInfo() = default;
    /// @param far keeps the places that are too far away for the row; null drops them.
    DIEInfo(u32 offset, DieRow& row, OffsetMap<FarPlaces>* far)
        : infoOffset(offset)
        , m_row(&row)
        , m_far(far)
    {
    }
    explicit operator bool() const { return m_row != nullptr; }

    u32 infoOffset = kNone; ///< of the DIE in `.debug_info`

    /// Built, or being built.
    static constexpr u32 kDieBuilt = 0x1;
    /// The builder has read the children itself; no walk descends.
    static constexpr u32 kDieChildrenRead = 0x2;
    /// A walk has put the DIE into the queue.
    static constexpr u32 kDieQueued = 0x4;
    /// m_scopes has, or once had, the scopes around its children.
    static constexpr u32 kScopesKnown = 0x8;

    bool Has(u32 flag) const { return (m_row->word & flag) != 0; }
    void Set(u32 flag) const { m_row->word |= flag; }
    void Clear(u32 flag) const { m_row->word &= ~flag; }

    /// Overwrites the row.
    void Replace(const DieRow& row) const { *m_row = row; }

    /// The enclosing DIE, or kNone.
    u32 Parent() const { return m_row->parent; }
    void SetParent(u32 parent) const { m_row->parent = parent; }

    /// Where the next entry of this level starts, or kNone.
    u32 Sibling() const
    {
        const u32 distance = m_row->word >> kSiblingShift;
        if (distance == kFarSibling) [[unlikely]] {
            return Far().sibling;
        }
        return distance == 0 ? kNone : infoOffset + distance;
    }

    void SetSibling(u32 sibling) const
    {
        const bool near = sibling == kNone || (sibling > infoOffset && sibling - infoOffset < kFarSibling);
        const u32 distance = near ? sibling == kNone ? 0 : sibling - infoOffset : kFarSibling;
        m_row->word = (m_row->word & (kFlagMask | kFarChild << kChildShift)) | distance << kSiblingShift;
        if (!near && m_far != nullptr) {
            (*m_far)[infoOffset].sibling = sibling;
        }
    }

    /// Where the children start, after the attributes; kNone if there are none.
    u32 Child() const
    {
        const u32 distance = m_row->word >> kChildShift & kFarChild;
        if (distance == kFarChild) [[unlikely]] {
            return Far().child;
        }
        return distance == 0 ? kNone : infoOffset + distance;
    }

    void SetChild(u32 child) const
    {
        const u32 distance = child == kNone ? 0 : child - infoOffset < kFarChild ? child - infoOffset : kFarChild;
        m_row->word = (m_row->word & ~(kFarChild << kChildShift)) | distance << kChildShift;
        if (distance == kFarChild && m_far != nullptr) {
            (*m_far)[infoOffset].child = child;
        }
    }

    /// Distances from here on don't fit into a row.
    static constexpr u32 kFarChild = 0x1FF;
    static constexpr u32 kFarSibling = 0x7FFFF;

private:
    static constexpr u32 kFlagMask = 0xF;
    static constexpr u32 kChildShift = 4;
    static constexpr u32 kSiblingShift = 13;

    FarPlaces Far() const
    {
        const FarPlaces* found = m_far == nullptr ? nullptr : m_far->Find(infoOffset);
        return found == nullptr ? FarPlaces{} : *found;
    }

    DieRow* m_row = nullptr;
    OffsetMap<FarPlaces>* m_far = nullptr;
};
