// The walk for definitions.
#include "convert/Definitions.h"

#include "convert/Names.h"

#include <functional>
#include <string>

namespace convert {

namespace {

constexpr u32 kMaxDepth = 64; ///< of scopes in scopes

u64 HashOf(u32 tag, std::string_view name)
{
    const u64 kind = tag == DW_TAG_union_type ? 1 : tag == DW_TAG_enumeration_type ? 2 : 0;
    return std::hash<std::string_view>{}(name)*3 + kind;
}

bool HasFlag(Dwarf_Die& die, unsigned name)
{
    Dwarf_Attribute attribute;
    bool value = false;
    return dwarf_attr(&die, name, &attribute) != nullptr && dwarf_formflag(&attribute, &value) == 0 && value;
}

} // namespace

Definitions::Definitions(const std::vector<InputUnit>& units)
{
    for (const InputUnit& unit : units) {
        Walk(unit.die, {}, 0);
    }
}

void Definitions::Walk(Dwarf_Die scope, const std::string& prefix, u32 depth)
{
    Dwarf_Die child;
    if (depth > kMaxDepth || dwarf_child(&scope, &child) != 0) {
        return;
    }
    do {
        const u32 tag = static_cast<u32>(dwarf_tag(&child));
        if (!IsNamingScope(tag) && tag != DW_TAG_enumeration_type) {
            continue;
        }
        Dwarf_Attribute found;
        const bool isNested = dwarf_attr(&child, DW_AT_specification, &found) != nullptr;
        const char* const own = dwarf_formstring(dwarf_attr(&child, DW_AT_name, &found));
        const std::string_view name = ScopeName(tag, own == nullptr ? "" : own);
        const std::string qualified = isNested ? QualifiedName(child) : prefix + std::string(name);
        if (tag != DW_TAG_namespace && !qualified.empty() && (isNested || !name.empty())) {
            Take(child, qualified);
        }
        if (tag != DW_TAG_enumeration_type) {
            Walk(child, name.empty() && !isNested ? prefix : qualified + "::", depth + 1);
        }
    } while (NextSibling(child));
}

void Definitions::Take(Dwarf_Die die, std::string_view qualifiedName)
{
    if (HasFlag(die, DW_AT_declaration)) {
        return;
    }
    Dwarf_Attribute attribute;
    Dwarf_Word size = 0;
    dwarf_formudata(dwarf_attr(&die, DW_AT_byte_size, &attribute), &size);
    const u32 tag = static_cast<u32>(dwarf_tag(&die));
    const auto [at, added] = m_definitions.try_emplace(HashOf(tag, qualifiedName));
    if (added) {
        at->second = {KeyOf(&die), size, false};
    } else {
        at->second.ambiguous = at->second.ambiguous || at->second.size != size;
    }
}

std::optional<EntryKey> Definitions::Find(u32 tag, std::string_view qualifiedName) const
{
    const auto found = m_definitions.find(HashOf(tag, qualifiedName));
    if (found == m_definitions.end() || found->second.ambiguous) {
        return std::nullopt;
    }
    return found->second.key;
}

} // namespace convert
