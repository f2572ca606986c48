// Functions, blocks and inlined functions as the engine's scopes; the name and type behind a
// reference to a declaration; and the place of a DIE in the engine's tree of scopes.
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKFile.h"

#include <utility>
#include <vector>

namespace {

constexpr std::size_t kLongPath = 256; ///< the reading of longer ones is charged

} // namespace

/// What a scope's attributes say. References are absolute; 0 stands for none.
struct Dwarf2File::ScopeAttributes {
    const char* name = nullptr;
    DbgAddrRange range;
    u32 highPc = 0;
    bool hasLow = false;
    bool hasHigh = false;
    u32 origin = 0;
    u32 specification = 0;
};

u32 Dwarf2File::BuildScope(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump)
{
    die->flags |= DIEInfo::kDieBuilt;
    ScopeAttributes scope;
    ReadScopeAttributes(unit, die, decl, dump, scope);
    u32 resolved = die->infoOffset;
    if (scope.origin != 0) {
        resolved = ReadDeclInfo(scope.origin, &scope.name, nullptr, nullptr);
    }
    if (scope.specification != 0) {
        resolved = ReadDeclInfo(scope.specification, &scope.name, nullptr, nullptr);
    }
    // Without both addresses there is no code: a declaration, or an abstract instance.
    if (!scope.hasHigh || !scope.hasLow) {
        return m_debug_info.Pos();
    }
    if (scope.highPc != 0) {
        scope.range.size = SizeFromHighPc(scope.range, scope.highPc);
    }
    DbgSymContext context;
    FillContextFromDie(die, &context);
    if (decl->tag == TAG_lexical_block || decl->tag == TAG_inlined_subroutine) {
        if (decl->hasChildren != 0 && HasNextEntry()) {
            m_symFile->AddSubScope(context, die->infoOffset, scope.range, scope.name);
        }
    } else {
        std::string buffer;
        const char* name = FunctionName(context, scope.name, resolved, buffer);
        m_symFile->AddFuncScope(context, die->infoOffset, context.fileScope, name, scope.range);
    }
    return m_debug_info.Pos();
}

void Dwarf2File::ReadScopeAttributes(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump,
                                     ScopeAttributes& scope)
{
    ReadEntry(unit, die, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                scope.name = got->Text();
            }
            break;
        case AT_low_pc:
            if (const AttrValue* got = read()) {
                SetLinkAddress(scope.range, got->value);
                scope.hasLow = true;
            }
            break;
        case AT_high_pc:
            if (const AttrValue* got = read()) {
                scope.highPc = got->value;
                scope.hasHigh = true;
            }
            break;
        case AT_abstract_origin:
            read.To(scope.origin);
            break;
        case AT_frame_base:
            // Filed at once: it stays known even if no scope is made.
            if (const AttrValue* got = read()) {
                FileFrameBase(die->infoOffset, *got);
            }
            break;
        case AT_specification:
            read.To(scope.specification);
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::FileFrameBase(u32 dieOffset, const AttrValue& frameBase)
{
    if (frameBase.data != nullptr) {
        m_frameBaseBlockMap[dieOffset] = BlockBytes(frameBase);
    } else {
        m_frameBaseLocListMap[dieOffset] = frameBase.value;
    }
}

const char* Dwarf2File::FunctionName(const DbgSymContext& context, const char* name, u32 resolved, std::string& buffer)
{
    if (name == nullptr) {
        const DbgSymSrcFile* srcFile = m_symFile->FindFileScope(context.fileScope, nullptr);
        if (srcFile == nullptr) {
            return "no_name";
        }
        // A long path costs as much for each function without a name. Its tail holds the name, or the tail of that.
        const std::string& path = srcFile->GetPath();
        const bool whole = path.size() <= kLongPath || m_budget.Spend(path.size(), Budget::kByteCopied);
        VFKFile::GetFilename(whole ? path : path.substr(path.size() - kLongPath), buffer, true, false);
        return buffer.c_str();
    }
    DIEInfo* row = FindDieInfo(resolved);
    if (row == nullptr) {
        return name; // a reference into no unit has no row to start from
    }
    const DIEInfo* parent = FindDieInfo(row->parent);
    if (parent == nullptr) {
        parent = LoadParentOf(row);
    }
    const char* className = parent == nullptr ? nullptr : ClassName(*parent);
    if (className == nullptr) {
        return name;
    }
    std::string cut;
    buffer = CopyableText(className, cut);
    buffer += "::";
    buffer += CopyableText(name, cut);
    return buffer.c_str();
}

const char* Dwarf2File::ClassName(const DIEInfo& row)
{
    const CompileUnitInfo* unit = FindCompileUnit(row.infoOffset);
    const AbbrevDecl* decl = unit == nullptr ? nullptr : FindAbbrevDecl(unit->abbrevOffset, row.abbrIndex);
    if (decl == nullptr || (decl->tag != TAG_class_type && decl->tag != TAG_structure_type)) {
        return nullptr;
    }
    const char* name = nullptr;
    ReadDeclInfo(row.infoOffset, &name, nullptr, nullptr);
    return name;
}

u32 Dwarf2File::ReadDeclInfo(u32 offset, const char** nameOut, u32* typeOut, bool* artificialOut)
{
    // A chain of AT_specification ends at its first repetition; what a later DIE says replaces what an earlier
    // one said.
    u32 end = offset;
    ChainGuard seen;
    for (u32 link = offset; link != 0 && seen.Add(link) && m_budget.Spend(1, Budget::kLink);) {
        end = link;
        link = ReadDecl(link, nameOut, typeOut, artificialOut);
    }
    return end;
}

u32 Dwarf2File::ReadDecl(u32 offset, const char** nameOut, u32* typeOut, bool* artificialOut)
{
    const CompileUnitInfo* unit = FindCompileUnit(offset);
    if (unit == nullptr) {
        return 0;
    }
    const SavedCursor info(m_debug_info);
    const SavedCursor abbrev(m_debug_abbrev);
    Seek(m_debug_info, offset);
    DIEInfo* row = GetDieInfo(m_debug_info.Pos());
    row->abbrIndex = ReadCode();
    const AbbrevDecl* decl = row->abbrIndex == 0 ? nullptr : FindAbbrevDecl(unit->abbrevOffset, row->abbrIndex);
    if (decl == nullptr) {
        return 0;
    }
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    u32 next = 0;
    ForEachAttribute(unit, DumpFlag(), [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_sibling:
            if (const AttrValue* got = read()) {
                SetSibling(row, got->value);
            }
            break;
        case AT_name:
            if (const AttrValue* got = read()) {
                *nameOut = got->Text();
            }
            break;
        case AT_artificial:
            if (const AttrValue* got = artificialOut == nullptr ? nullptr : read()) {
                *artificialOut = got->value != 0;
            }
            break;
        case AT_specification:
            read.To(next);
            break;
        case AT_type:
            if (typeOut != nullptr) {
                read.To(*typeOut);
            }
            break;
        default:
            break;
        }
    });
    FinishDieAttributes(decl, row);
    return next;
}

void Dwarf2File::FillContextFromDie(const DIEInfo* die, DbgSymContext* context)
{
    context->Clear();
    context->symFile = m_symFile->GetId();
    const ScopeWords scopes = ScopesOf(die->parent); // the DIE's own tag doesn't count
    context->subScope = scopes.block;
    context->funcScope = scopes.function;
    context->fileScope = scopes.file;
}

ScopeWords Dwarf2File::ScopesOf(u32 parent)
{
    // A walk reads rising offsets, so a parent lies below its child, or is the DIE itself: the climb ends.
    ScopeWords scopes;
    std::vector<const DIEInfo*> climbed;
    for (u32 offset = parent, last = kNone; offset < last; last = std::exchange(offset, climbed.back()->parent)) {
        if (const ScopeWords* known = m_scopes.Find(offset)) {
            scopes = *known;
            break;
        }
        const DIEInfo* row = FindDieInfo(offset);
        if (row == nullptr || !m_budget.Spend(1, Budget::kLink)) {
            break;
        }
        climbed.push_back(row);
    }
    for (; !climbed.empty(); climbed.pop_back()) {
        EnterScope(*climbed.back(), scopes);
        m_scopes[climbed.back()->infoOffset] = scopes;
    }
    return scopes;
}

void Dwarf2File::EnterScope(const DIEInfo& row, ScopeWords& scopes)
{
    const CompileUnitInfo* unit = FindCompileUnit(row.infoOffset);
    const AbbrevDecl* decl = unit == nullptr ? nullptr : FindAbbrevDecl(unit->abbrevOffset, row.abbrIndex);
    const u32 tag = decl == nullptr ? u32{TAG_invalid} : decl->tag;
    if (tag == TAG_lexical_block) {
        scopes.block = row.infoOffset;
    } else if (tag == TAG_subprogram && scopes.function == kNone) {
        scopes.function = row.infoOffset;
    } else if (tag == TAG_compile_unit) {
        scopes = {kNone, kNone, row.infoOffset};
    }
}

void Dwarf2File::SetParent(DIEInfo* row, u32 parent)
{
    if (row->parent == parent) {
        return;
    }
    if (m_scopes.Find(row->infoOffset) != nullptr) {
        m_scopes.Clear(); // what is known of the places below it
    }
    ForgetWalk(*row); // walking the unit anew would put the parent back
    row->parent = parent;
}

void Dwarf2File::SetSibling(DIEInfo* row, u32 sibling)
{
    if (row->sibling != sibling) {
        ForgetWalk(*row);
        row->sibling = sibling;
    }
}

void Dwarf2File::ForgetWalk(const DIEInfo& row)
{
    if (row.parent == kNone) {
        return;
    }
    CompileUnitInfo* unit = FindCompileUnit(row.parent);
    if (unit != nullptr && unit->FirstDie() == row.parent && row.infoOffset < unit->walked) {
        unit->walked = 0;
    }
}
