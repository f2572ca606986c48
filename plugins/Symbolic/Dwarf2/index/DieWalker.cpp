// Reads one DIE of any tag, and walks a level of DIEs with everything below it. The load selection in m_flags and the
// table of tags decide what is built; every other DIE gets a row and is stepped over.
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "symbols/MemberRecord.h"

#include <array>
#include <ostream>

/// When a tag is built, and by whom.
struct Dwarf2File::TagRule {
    u32 tag;
    u32 selection;                                 ///< bit of m_flags that must be set; 0: none
    bool unbuiltOnly;                              ///< a DIE that is built already is stepped over
    bool queued;                                   ///< goes to m_pendingDies while types aren't loaded
    void (Dwarf2File::*build)(const Entry& entry); ///< null for a builder of members
    void (Dwarf2File::*member)(const Entry& entry, MemberRecord* record);
};

const Dwarf2File::TagRule* Dwarf2File::FindTagRule(u32 tag)
{
    using F = Dwarf2File;
    static constexpr TagRule kRules[] = {
        {TAG_array_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_class_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_enumeration_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_pointer_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_reference_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_structure_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_subroutine_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_union_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_base_type, kLoadTypes, true, true, &F::BuildType, nullptr},
        {TAG_typedef, kLoadTypes, true, false, &F::BuildTypedef, nullptr},
        {TAG_subrange_type, kLoadTypes, true, false, &F::BuildLoneSubrange, nullptr},
        {TAG_const_type, kLoadTypeModifiers, true, false, &F::BuildTypeModifier, nullptr},
        {TAG_volatile_type, kLoadTypeModifiers, true, false, &F::BuildTypeModifier, nullptr},
        {TAG_formal_parameter, kLoadVariables, true, false, &F::BuildVariable, nullptr},
        {TAG_variable, kLoadVariables, true, false, &F::BuildVariable, nullptr},
        {TAG_lexical_block, kLoadBlocks, true, false, &F::BuildScope, nullptr},
        {TAG_inlined_subroutine, kLoadBlocks, true, false, &F::BuildScope, nullptr},
        {TAG_subprogram, kLoadFunctions, true, false, &F::BuildScope, nullptr},
        {TAG_compile_unit, 0, false, false, &F::BuildCompileUnitScope, nullptr},
        {TAG_member, kLoadTypes, false, false, nullptr, &F::BuildMember},
        {TAG_inheritance, kLoadTypes, false, false, nullptr, &F::BuildInheritance},
    };
    constexpr u32 kTags = TAG_volatile_type + 1;
    static constexpr auto kRuleOfTag = [] {
        std::array<i8, kTags> rules{};
        rules.fill(-1);
        i8 index = 0;
        for (const TagRule& rule : kRules) {
            rules[rule.tag] = index++;
        }
        return rules;
    }();
    return tag < kTags && kRuleOfTag[tag] >= 0 ? &kRules[kRuleOfTag[tag]] : nullptr;
}

bool Dwarf2File::BuildByTag(const Entry& entry, MemberRecord* member)
{
    const TagRule* rule = FindTagRule(entry.decl->tag);
    if (rule == nullptr) {
        return false;
    }
    const bool unbuilt = !entry.row.Has(DIEInfo::kDieBuilt);
    const bool selected = rule->selection == 0 || (m_flags & rule->selection) != 0;
    if (rule->queued && unbuilt && selected && m_loadDepth >= kMaxLoadDepth) {
        QueueDie(entry.row); // aggregates nested too deep for the stack
        return false;
    }
    if (selected && (unbuilt || !rule->unbuiltOnly)) {
        if (rule->build != nullptr) {
            (this->*rule->build)(entry);
            return true;
        }
        if (member != nullptr) {
            (this->*rule->member)(entry, member);
            return true;
        }
    }
    if (rule->queued && unbuilt && (m_flags & kLoadTypes) == 0) {
        QueueDie(entry.row);
    }
    return false;
}

void Dwarf2File::QueueDie(const DIEInfo& row)
{
    if (!row.Has(DIEInfo::kDieQueued)) {
        m_pendingDies.push_back(row.infoOffset);
        row.Set(DIEInfo::kDieQueued);
    }
}

u32 Dwarf2File::ReadDie(const CompileUnitInfo* unit, std::vector<u32>* parents, bool skipKnownChildren,
                        MemberRecord* member)
{
    if (EndIfSpent()) {
        return kNone;
    }
    const u32 offset = m_debug_info.Pos();
    const DIEInfo row = GetDieInfo(offset);
    ++m_entriesRead;
    const u32 code = ReadCode();
    if (code == 0) {
        return ReadNullEntry(unit, row, parents);
    }
    if (!parents->empty()) {
        SetParent(row, parents->back());
    }
    const AbbrevDecl* decl = FindAbbrevDecl(unit->abbrevOffset, code);
    if (decl == nullptr) {
        PrintBadAbbrev(code);
        return kNone;
    }
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    PrintDIEHead(offset, decl);
    const Entry entry{unit, row, decl};
    if (!BuildByTag(entry, member)) {
        PassBy(entry);
    }
    const bool descends = decl->hasChildren != 0 && !row.Has(DIEInfo::kDieChildrenRead);
    if (descends) {
        if ((!skipKnownChildren || row.Sibling() == kNone) && HasNextEntry()) {
            parents->push_back(row.infoOffset);
        }
    } else if (row.Sibling() == kNone) {
        row.SetSibling(m_debug_info.Pos());
    }
    return row.Sibling() == row.infoOffset ? m_debug_info.Pos() : row.Sibling();
}

void Dwarf2File::PassBy(const Entry& entry)
{
    const DIEInfo& row = entry.row;
    // A DIE that names itself as its sibling is read at every visit, and the walk goes on after its attributes.
    if (row.Sibling() != kNone && row.Sibling() != row.infoOffset) {
        Seek(m_debug_info, row.Sibling());
        return;
    }
    ReadEntry(entry, [](u32, AttrReader&) {});
}

u32 Dwarf2File::ReadNullEntry(const CompileUnitInfo* unit, const DIEInfo& row, std::vector<u32>* parents)
{
    row.SetSibling(kNone);
    row.SetChild(kNone);
    CloseLevel();
    if (m_dumpStream != nullptr) {
        PrintOffsetPrefix(row.infoOffset, false);
        PrintIndent(0);
        *m_dumpStream << '}';
    }
    if (parents->empty()) {
        return kNone;
    }
    if (HasNextEntry() && HasEntry(*unit)) {
        const DIEInfo parent = FindDieInfo(parents->back());
        if (parent && parent.Sibling() == kNone) {
            parent.SetSibling(m_debug_info.Pos());
        }
    }
    parents->pop_back();
    return kNone;
}

void Dwarf2File::PrintBadAbbrev(u32 code)
{
    if (m_dumpStream == nullptr) {
        return;
    }
    *m_dumpStream << '\n'
                  << hex8(m_debug_info.Pos()) << ": ERROR abbr_idx out of range: " << hex8(code) << " (" << dec(code)
                  << ')';
}

void Dwarf2File::WalkEntries(const CompileUnitInfo* unit, std::vector<u32>* parents, bool skipKnownChildren, u32 last,
                             u32* walked)
{
    if (unit == nullptr) {
        return;
    }
    // `parents` alone holds the nesting: one element for each level.
    const std::size_t firstLevel = parents->size();
    std::size_t level = firstLevel;
    u32 topEntry = kNone; // the entry of the first level that is being read
    while (HasEntry(*unit)) {
        // Offsets rise strictly within one walk, so nothing in the file can make it loop.
        const u32 entry = m_debug_info.Pos();
        if (last != kNone && entry <= last) {
            Seek(m_debug_info, kNone);
            return;
        }
        last = entry;
        if (level == firstLevel) {
            topEntry = entry;
        }
        const u32 next = ReadDie(unit, parents, skipKnownChildren, nullptr);
        if (parents->size() < level) {
            if (level == firstLevel) {
                return;
            }
            --level; // the enclosing level goes on after the null entry
        } else if (parents->size() > level) {
            ++level; // the new level begins at the cursor
            continue;
        } else {
            Seek(m_debug_info, next);
        }
        if (walked != nullptr && level == firstLevel) {
            PassWalkedEntries(*unit, *walked, parents->back(), topEntry);
        }
    }
}

void Dwarf2File::PassWalkedEntries(const CompileUnitInfo& unit, u32& walked, u32 unitDie, u32 entry)
{
    const u32 next = m_debug_info.Pos();
    if (next < walked) {
        Seek(m_debug_info, walked); // a load nested in this walk has read up to there
        return;
    }
    const DIEInfo row = FindDieInfo(entry);
    if (entry == walked && next > entry && row && row.Sibling() == next && row.Parent() == unitDie &&
        IsSettled(unit, row)) {
        walked = next;
    }
}

bool Dwarf2File::IsSettled(const CompileUnitInfo& unit, const DIEInfo& row)
{
    const AbbrevDecl* decl = FindAbbrevDecl(unit.abbrevOffset, CodeOf(row));
    const TagRule* rule = decl == nullptr ? nullptr : FindTagRule(decl->tag);
    if (rule == nullptr || rule->build == nullptr || rule->build == &Dwarf2File::BuildTypeModifier) {
        return true;
    }
    if (!rule->unbuiltOnly) {
        return false;
    }
    // The engine, called by this walk, may have changed its selection.
    return row.Has(DIEInfo::kDieBuilt) || (kUnitSelection & rule->selection) == 0;
}
