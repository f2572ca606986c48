// Finds out what the engine needs to know of the type that an AT_type names, and loads it in the middle of the running
// walk if it isn't there yet.
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

const TypeStep* Dwarf2File::LookupType(u32 offset)
{
    if (const TypeStep* known = m_knownTypes.Find(offset)) {
        return known;
    }
    TypeStep step;
    if (const u32* size = m_baseTypeSizes.Find(offset)) {
        step.word = *size;
    } else if (const auto type = m_symFile->GetUserDefinedType(offset)) {
        step.word = type->GetByteSize();
    } else if (const TypeStep* modifier = m_typeModifiers.Find(offset)) {
        step = *modifier;
    } else {
        return nullptr;
    }
    return m_knownTypes.Note(offset, step);
}

void Dwarf2File::AddBaseTypeSize(u32 offset, u32 byteSize)
{
    m_baseTypeSizes[offset] = byteSize;
    m_knownTypes.Forget(offset);
}

void Dwarf2File::AddTypeModifier(u32 offset, TypeStep step)
{
    TypeStep& known = m_typeModifiers[offset];
    if (known.qualifier != kQualifierConst || step.qualifier == kQualifierConst) {
        known = step;
        m_knownTypes.Forget(offset);
    }
}

void Dwarf2File::AddToStore(const boost::shared_ptr<DbgUserDefinedVarType>& type)
{
    m_symFile->AddUserDefinedType(type);
    m_knownTypes.Forget(type->GetId());
}

void Dwarf2File::ResolveType(u32 offset, TypeRef* ref)
{
    // A chain of const and volatile ends at its first repetition, with what has been gathered.
    ChainGuard seen;
    while (true) {
        const TypeStep* step = LookupType(offset);
        const bool isType = step != nullptr && step->qualifier == 0;
        if (!isType && !seen.Add(offset)) {
            return;
        }
        ref->udtId = offset;
        ref->byteSize = isType ? step->word : 0;
        ref->baseType = kBaseUserDefined;
        if (isType) {
            return;
        }
        if (step != nullptr) {
            ref->qualifiers |= step->qualifier;
            ref->udtId = step->word;
        }
        if (ref->udtId == kNone || step == nullptr) {
            LoadMissingType(offset, ref);
            return;
        }
        if (!m_budget.Spend(1, Budget::kLink)) {
            return;
        }
        offset = step->word;
    }
}

void Dwarf2File::LoadMissingType(u32 offset, TypeRef* ref)
{
    if ((m_flags & (kResolveTypes | kLoadTypes)) == 0 || m_typesBeingLoaded.contains(offset)) {
        return;
    }
    if (m_loadDepth >= kMaxLoadDepth) {
        m_pendingDies.push_back(offset); // too deep for the stack: the reference has only its id
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
