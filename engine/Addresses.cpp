// Contexts, and conversion of addresses between absolute and section-relative. All sums have 32 bits.
#include "interfaces/DbgAddress.h"

#include "SectionRegistry.h"

namespace {

bool IsValid(u32 word)
{
    return word != kNone && word != kContents;
}

} // namespace

DbgSymContext::DbgSymContext(u32 symFileWord, u32 fileScopeWord, u32 funcScopeWord, u32 subScopeWord, u32 fifthWord,
                             u32 sixthWord, u32 loadTargetWord)
    : symFile(symFileWord)
    , fileScope(fileScopeWord)
    , funcScope(funcScopeWord)
    , subScope(subScopeWord)
    , word4(fifthWord)
    , word5(sixthWord)
    , loadTarget(loadTargetWord)
{
}

void DbgSymContext::Clear()
{
    *this = DbgSymContext();
}

bool DbgSymContext::ValidSymFileContext() const
{
    return IsValid(symFile);
}

bool DbgSymContext::ValidFuncContext() const
{
    return IsValid(funcScope);
}

void DbgAddress::SetAddress(u32 newValue, u32 sectionId, u8 kind, u16 newTag)
{
    value = newValue;
    section = sectionId;
    byte0 = kind;
    tag = newTag;
}

// Sections are where the file is linked: where a running target has moved them isn't known here, and the context, null
// or not, makes no difference.

bool DbgAddress::MakeAbsolute(const DbgContext* /*context*/)
{
    if (section == kNone) {
        return true;
    }
    const DbgSection* holder = engine::SectionRegistry::Get().Find(section);
    if (holder == nullptr) {
        return false;
    }
    value += holder->base;
    section = kNone;
    return true;
}

bool DbgAddress::MakeSectionOffset(const DbgContext* /*context*/)
{
    if (section != kNone) {
        return true;
    }
    const DbgSection* holder = engine::SectionRegistry::Get().FindContaining(value);
    if (holder == nullptr) {
        return false;
    }
    value -= holder->base;
    section = holder->id;
    return true;
}

bool DbgAddrRange::GetEndAddress(DbgAddress& address) const
{
    if (value == kNone) {
        return false;
    }
    address = *this;
    address.value += size;
    return true;
}
