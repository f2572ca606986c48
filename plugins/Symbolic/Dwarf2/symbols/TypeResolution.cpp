// From the value of an AT_type to what the engine needs to know of the type, loading it in the
// middle of the running walk if it isn't there yet.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeRef.h"

#include <utility>

namespace {

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

u32 Dwarf2File::LookupTypeModifier(u32 offset, TypeRef* ref) const
{
    const u32* target = m_constTypeMap.Find(offset);
    u16 qualifier = kQualifierConst;
    if (target == nullptr) {
        target = m_volatileTypeMap.Find(offset);
        qualifier = kQualifierVolatile;
    }
    if (target == nullptr) {
        return kNone;
    }
    ref->qualifiers |= qualifier;
    ref->udtId = *target;
    return *target;
}

void Dwarf2File::ResolveType(u32 offset, TypeRef* ref)
{
    // A chain of const and volatile ends at its first repetition, with what was gathered.
    ChainGuard seen;
    while (!LookupTypeRef(offset, ref)) {
        if (!seen.Add(offset) || LookupStoredType(offset, ref)) {
            return;
        }
        const u32 next = LookupTypeModifier(offset, ref);
        if (next == kNone) {
            LoadMissingType(offset, ref);
            return;
        }
        if (!m_budget.Spend(1, Budget::kLink)) {
            return;
        }
        offset = next;
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
