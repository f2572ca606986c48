// The on-demand loads: a unit's top level, a function's subtree, one DIE, and the queue of DIEs that
// wait until the running walk is over.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/EntrySteps.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgAddress.h"

#include <algorithm>
#include <utility>

/// Counts what one request of the engine reads, loads that nest in it included.
class Dwarf2File::RequestScope {
public:
    explicit RequestScope(Dwarf2File& file)
        : m_file(file)
    {
        if (m_file.m_requestDepth++ == 0) {
            m_file.m_budget.Renew();
            m_file.m_entriesRead = 0;
        }
    }
    ~RequestScope() { --m_file.m_requestDepth; }
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

private:
    Dwarf2File& m_file;
};

/// Restores the load selection, and no other bit.
class Dwarf2File::SavedSelection {
public:
    explicit SavedSelection(u32& flags)
        : m_flags(flags)
        , m_selection(flags & kLoadSelection)
    {
    }
    ~SavedSelection() { m_flags = (m_flags & ~kLoadSelection) | m_selection; }
    SavedSelection(const SavedSelection&) = delete;
    SavedSelection& operator=(const SavedSelection&) = delete;

private:
    u32& m_flags;
    u32 m_selection;
};

u32 Dwarf2File::LoadDieAtCursor(const CompileUnitInfo* unit, std::vector<u32>* parents, bool alone)
{
    if (unit == nullptr || !HasEntry(*unit)) {
        return kNone;
    }
    const u32 entry = m_debug_info.Pos();
    const u32 next = ReadDie(unit, parents, false, nullptr);
    if (!alone && !parents->empty()) {
        WalkEntries(unit, parents, false, entry);
    }
    return next;
}

bool Dwarf2File::LoadDieAtOffset(u32 offset)
{
    const DIEInfo row = FindDieInfo(offset);
    if (row && row.Has(DIEInfo::kDieBuilt)) {
        return false;
    }
    Seek(m_debug_info, offset);
    const CompileUnitInfo* unit = FindCompileUnit(offset);
    std::vector<u32> parents;
    // A DIE that a walk has met becomes its own parent, and the walk goes on through the entries after it to the end of
    // their level.
    if (row) {
        parents.push_back(row.infoOffset);
    }
    LoadDieAtCursor(unit, &parents, row && unit != nullptr && RequestIsSpent(*unit));
    return true;
}

bool Dwarf2File::RequestIsSpent(const CompileUnitInfo& unit) const
{
    // Going on after a DIE reads the rest of its level each time something refers to it, and a type without a builder
    // (a pointer to member, say) is loaded for each reference. Once a request has read as many entries as both limits
    // say, such a load reads the DIE alone.
    constexpr u64 kAlways = u64{32} << 20;
    constexpr u64 kReadings = 16;
    return m_entriesRead >= kAlways && m_entriesRead >= kReadings * std::min(unit.unitLength, m_debug_info.Size());
}

void Dwarf2File::LoadPendingDies()
{
    if (m_loadDepth >= kMaxLoadDepth) {
        return; // no deeper nesting: the enclosing load empties the queue
    }
    const RequestScope request(*this);
    while (!m_pendingDies.empty()) {
        std::vector<u32> offsets;
        offsets.swap(m_pendingDies);
        std::sort(offsets.begin(), offsets.end());
        offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
        for (const u32 offset : offsets) {
            if (const DIEInfo row = FindDieInfo(offset)) {
                row.Clear(DIEInfo::kDieQueued);
            }
        }
        // An offset of 0, which would come first, ends the pass.
        u32 last = 0;
        for (const u32 offset : offsets) {
            if (offset <= last) {
                break;
            }
            LoadDieAtOffset(offset);
            last = offset;
        }
    }
}

void Dwarf2File::LoadCompileUnitSymbols(u32 cuDieOffset)
{
    const RequestScope request(*this);
    const SavedSelection selection(m_flags);
    m_pendingDies.reserve(64);
    CompileUnitInfo* unit = FindCompileUnit(cuDieOffset);
    const DIEInfo row = FindDieInfo(cuDieOffset);
    if (unit != nullptr && row) {
        m_flags = (m_flags & ~kLoadBlocks) | kUnitSelection;
        std::vector<u32> parents{cuDieOffset};
        const bool whole = unit->FirstDie() == cuDieOffset;
        if (whole && unit->walked == 0) {
            unit->walked = row.Child();
        }
        Seek(m_debug_info, whole ? unit->walked : row.Child());
        WalkEntries(unit, &parents, true, kNone, whole ? &unit->walked : nullptr);
    }
    LoadPendingDies();
}

void Dwarf2File::LoadFunctionScopes(const DbgSymContext* ctx)
{
    if (ctx == nullptr) {
        return;
    }
    const RequestScope request(*this);
    const SavedSelection selection(m_flags);
    const u32 offset = ctx->funcScope;
    if (const DIEInfo row = FindDieInfo(offset)) {
        m_flags = (m_flags & ~kLoadFunctions) | kLoadBlocks | kLoadVariables | kLoadTypeModifiers | kResolveTypes |
                  kLoadTypes;
        std::vector<u32> parents{offset};
        Seek(m_debug_info, row.Child());
        WalkEntries(FindCompileUnit(row.infoOffset), &parents, false);
    }
    LoadPendingDies();
}

DIEInfo Dwarf2File::LoadParentOf(const DIEInfo& row)
{
    const CompileUnitInfo* unit = FindCompileUnit(row.infoOffset);
    if (unit == nullptr || m_loadDepth >= kMaxLoadDepth) {
        return {};
    }
    Nest([&] { LoadCompileUnitSymbols(unit->FirstDie()); });
    return FindDieInfo(row.Parent());
}
