// From the value of an AT_type to what the engine needs to know of the type, loading it in the
// middle of the running walk if it isn't there yet.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeRef.h"

#include <algorithm>
#include <utility>

namespace {

/// What a link of a long chain of const and volatile costs of the reading that a file may cause, where nothing
/// can be kept of it.
constexpr u32 kLinkCost = 16;

/// Marks a type as being loaded for the length of a scope.
class BeingLoaded {
public:
    BeingLoaded(std::unordered_set<u32>& marks, u32 offset)
        : m_marks(marks)
        , m_offset(offset)
    {
        m_marks.insert(offset);
    }
    ~BeingLoaded() { m_marks.erase(m_offset); }
    BeingLoaded(const BeingLoaded&) = delete;
    BeingLoaded& operator=(const BeingLoaded&) = delete;

private:
    std::unordered_set<u32>& m_marks;
    u32 m_offset;
};

} // namespace

bool Dwarf2File::LookupTypeRef(u32 offset, TypeRef* ref)
{
    const std::pair<u32, u32>* found = m_typeRefMap.Find(offset);
    if (found == nullptr) {
        return false;
    }
    ref->udtId = offset;
    ref->byteSize = found->second;
    ref->baseType = kBaseUserDefined;
    return true;
}

bool Dwarf2File::LookupStoredType(u32 offset, TypeRef* ref)
{
    ref->udtId = offset;
    ref->baseType = kBaseUserDefined;
    const auto type = m_symFile->GetUserDefinedType(offset);
    ref->byteSize = type ? type->GetByteSize() : 0;
    return static_cast<bool>(type);
}

ModifierEnd Dwarf2File::FindModifier(u32 offset) const
{
    if (const u32* next = m_constTypeMap.Find(offset)) {
        return {*next, kQualifierConst};
    }
    if (const u32* next = m_volatileTypeMap.Find(offset)) {
        return {*next, kQualifierVolatile};
    }
    return {};
}

void Dwarf2File::ResolveType(u32 offset, TypeRef* ref)
{
    // A chain of const and volatile ends at its first repetition, with what was gathered.
    constexpr u32 kShort = 16;
    ChainGuard seen;
    ModifierLinks links; // behind the first few
    for (bool ended = LookupTypeRef(offset, ref); !ended;) {
        if (!seen.Add(offset)) {
            if (!links.empty()) {
                KeepClosedChain(offset, links);
            }
            return;
        }
        if (LookupStoredType(offset, ref)) {
            break;
        }
        const ModifierEnd* known = m_modifierEnds.Find(offset);
        const ModifierEnd step = known != nullptr ? *known : FindModifier(offset);
        if (step.qualifiers != 0) {
            ref->qualifiers |= step.qualifiers;
            ref->udtId = step.offset;
        }
        if (step.offset == kNone) {
            m_reading.Spend(kLinkCost * links.size()); // all of it is walked again by who comes next
            LoadMissingType(offset, ref);
            return;
        }
        if (known != nullptr && step.offset == offset) {
            break; // once around
        }
        if (seen.Count() > kShort) {
            links.emplace_back(offset, step.qualifiers);
        }
        offset = step.offset;
        ended = LookupTypeRef(offset, ref);
    }
    KeepModifierEnd(links.begin(), links.end(), offset);
}

void Dwarf2File::KeepModifierEnd(ModifierLinks::const_iterator first, ModifierLinks::const_iterator last, u32 end)
{
    u16 qualifiers = 0;
    while (last != first) {
        --last;
        qualifiers |= last->second;
        m_modifierEnds[last->first] = {end, qualifiers};
    }
}

void Dwarf2File::KeepClosedChain(u32 entry, const ModifierLinks& links)
{
    // Whoever comes to one of the chain goes once around, back to where he came in.
    ModifierEnd around = FindModifier(entry);
    while (around.offset != entry) {
        const ModifierEnd step = FindModifier(around.offset);
        around = {step.offset, static_cast<u16>(around.qualifiers | step.qualifiers)};
    }
    try {
        for (u32 link = entry;;) {
            m_modifierEnds[link] = {link, around.qualifiers};
            link = FindModifier(link).offset;
            if (link == entry) {
                break;
            }
        }
    } catch (...) {
        m_modifierEnds.Clear(); // half of it would end at the wrong place
        throw;
    }
    const auto isEntry = [entry](const auto& link) { return link.first == entry; };
    const auto closed = std::find_if(links.begin(), links.end(), isEntry);
    if (closed != links.end()) {
        KeepModifierEnd(links.begin(), closed, entry);
    }
}

void Dwarf2File::ForgetModifierEnds(u32 offset)
{
    if (m_constTypeMap.Find(offset) != nullptr || m_volatileTypeMap.Find(offset) != nullptr) {
        m_modifierEnds.Clear();
    }
}

void Dwarf2File::LoadMissingType(u32 offset, TypeRef* ref)
{
    if ((m_flags & (kResolveTypes | kLoadTypes)) == 0 || m_typesBeingLoaded.contains(offset)) {
        return;
    }
    if (m_loadDepth >= kMaxLoadDepth) {
        m_pendingDies.push_back(offset); // too deep for the stack: the reference stands by its id
        return;
    }
    const SavedCursor info(m_debug_info);
    const SavedCursor abbrev(m_debug_abbrev);
    const BeingLoaded mark(m_typesBeingLoaded, offset);
    Nest([&] {
        if (LoadDieAtOffset(offset)) {
            ResolveType(offset, ref);
        }
    });
}
