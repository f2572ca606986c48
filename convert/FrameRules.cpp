// Combines the two frame sections.
#include "convert/FrameRules.h"

#include "convert/DebugSections.h"
#include "convert/FrameSection.h"

#include <gelf.h>

namespace convert {

namespace {

/// How many rules are kept before their memory is freed.
constexpr std::size_t kMaxKnown = 4096;

bool IsBigEndian(Dwarf* dwarf)
{
    const char* const ident = elf_getident(dwarf_getelf(dwarf), nullptr);
    return ident != nullptr && ident[EI_DATA] == ELFDATA2MSB;
}

} // namespace

FrameRules::FrameRules(Dwarf* dwarf)
    : m_dwarf(dwarf)
{
}

FrameRules::~FrameRules() = default;

const std::vector<CfaRule>& FrameRules::Over(AddressRange range)
{
    if (m_debugFrame == nullptr) {
        const bool bigEndian = IsBigEndian(m_dwarf);
        m_debugFrame = std::make_unique<FrameSection>(FindDebugSection(m_dwarf, ".debug_frame"), false, bigEndian);
        m_ehFrame = std::make_unique<FrameSection>(FindDebugSection(m_dwarf, ".eh_frame"), true, bigEndian);
    }
    if (m_known.size() >= kMaxKnown) {
        m_known.clear();
    }
    const auto [known, isNew] = m_known.try_emplace(u64{range.begin} << 32 | range.end);
    std::vector<CfaRule>& rules = known->second;
    if (!isNew) {
        return rules;
    }
    std::vector<CfaRule> found;
    m_debugFrame->Collect(range, found);
    u32 reached = range.begin;
    const auto fillTo = [&](u32 limit) {
        if (reached >= limit) {
            return;
        }
        std::vector<CfaRule> others;
        m_ehFrame->Collect({reached, limit}, others);
        for (const CfaRule& rule : others) {
            AppendRule(rules, reached, rule.begin, {});
            AppendRule(rules, rule.begin, rule.end, rule.expression);
            reached = rule.end;
        }
        AppendRule(rules, reached, limit, {});
    };
    for (const CfaRule& rule : found) {
        fillTo(rule.begin);
        AppendRule(rules, rule.begin, rule.end, rule.expression);
        reached = rule.end;
    }
    fillTo(range.end);
    return rules;
}

} // namespace convert
