// Sections, their lists, and the registry through which address conversions find them.
#include "interfaces/DbgSection.h"

#include "SectionRegistry.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace engine {

SectionRegistry& SectionRegistry::Get()
{
    // Never destroyed: a list may live as long as the process.
    static SectionRegistry& registry = *new SectionRegistry;
    return registry;
}

void SectionRegistry::MakeRoom()
{
    if (m_entries.size() == m_entries.capacity()) {
        m_entries.reserve(2 * m_entries.size() + 16);
    }
}

void SectionRegistry::Add(const DbgSectionList* owner, const DbgSection* section)
{
    m_entries.push_back({owner, section});
    m_idsChanged = true;
    m_changed = true;
}

void SectionRegistry::Remove(const DbgSectionList* owner)
{
    if (std::erase_if(m_entries, [owner](const Entry& entry) { return entry.owner == owner; }) == 0) {
        return;
    }
    m_byId.clear();
    m_idsChanged = true;
    m_changed = true;
}

const DbgSection* SectionRegistry::Find(u32 id)
{
    if (m_idsChanged) {
        m_byId.clear();
        for (const Entry& entry : m_entries) {
            m_byId[entry.section->id] = entry.section;
        }
        m_idsChanged = false;
    }
    const auto found = m_byId.find(id);
    return found == m_byId.end() ? nullptr : found->second;
}

const DbgSection* SectionRegistry::FindContaining(u32 address)
{
    if (m_changed) {
        std::vector<AddressRun> ranges;
        for (std::size_t index = 0; index < m_entries.size(); ++index) {
            const DbgSection& section = *m_entries[index].section;
            if (section.size != 0) {
                const u64 last = std::min<u64>(u64{section.base} + section.size - 1, 0xFFFFFFFFu);
                ranges.push_back({section.base, last, static_cast<u32>(index)});
            }
        }
        m_byAddress.Build(std::move(ranges));
        m_changed = false;
    }
    const u32 index = m_byAddress.Find(address);
    return index == kNone ? nullptr : m_entries[index].section;
}

} // namespace engine

namespace {

/// A longer name is cut: in a string section without a closing zero, each of 65,535 headers can name all of it.
constexpr std::size_t kLongestName = 4096;

} // namespace

DbgSection::DbgSection(const char* sectionName, u32 sectionType, u32 sectionId, u32 parentId, u32 byteSize,
                       u32 baseAddress)
    : name(sectionName == nullptr ? "" : sectionName, sectionName == nullptr ? 0 : strnlen(sectionName, kLongestName))
    , type(sectionType)
    , id(sectionId)
    , parent(parentId)
    , size(byteSize)
    , base(baseAddress)
{
}

DbgSectionList::~DbgSectionList()
{
    engine::SectionRegistry::Get().Remove(this);
}

void DbgSectionList::AddSection(const DbgSection* section)
{
    if (section == nullptr) {
        return;
    }
    // What may run out of memory comes first, so that the section is in all indexes or in none.
    engine::SectionRegistry::Get().MakeRoom();
    const DbgSection& added = m_sections.emplace_back(*section);
    try {
        m_byId.emplace(added.id, &added);
    } catch (...) {
        m_sections.pop_back();
        throw;
    }
    engine::SectionRegistry::Get().Add(this, &added);
}

const DbgSection* DbgSectionList::FindSection(u32 id) const
{
    const auto found = m_byId.find(id);
    return found == m_byId.end() ? nullptr : found->second;
}
