// Functions, blocks and inlined functions as the engine's scopes; the name and type that a referenced declaration
// gives; and the place of a DIE in the engine's tree of scopes.
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

constexpr std::size_t kLongPath = 256; ///< reading a longer one is charged

} // namespace

class Dwarf2File::ScopeBuilder {
public:
    ScopeBuilder(Dwarf2File& file, const Entry& entry)
        : m_file(file)
        , m_entry(entry)
    {
    }

    void Build();

private:
    void ReadAttributes();
    void FileFrameBase(const AttrValue& frameBase);
    void AddToStore(u32 declaration);
    /// @param buffer holds the name unless it is in the file's bytes.
    const char* FunctionName(const DbgSymContext& context, u32 declaration, std::string& buffer);
    const char* ClassName(const DIEInfo& row);

    Dwarf2File& m_file;
    const Entry& m_entry;
    const char* m_name = nullptr;
    DbgAddrRange m_range;
    u32 m_highPc = 0;
    bool m_hasLow = false;
    bool m_hasHigh = false;
    u32 m_origin = 0; ///< an absolute reference; 0 for none
    u32 m_specification = 0;
};

void Dwarf2File::ScopeBuilder::Build()
{
    m_entry.row.Set(DIEInfo::kDieBuilt);
    ReadAttributes();
    u32 declaration = m_entry.row.infoOffset;
    if (m_origin != 0) {
        declaration = m_file.ReadDeclInfo(m_origin, &m_name, nullptr, nullptr);
    }
    if (m_specification != 0) {
        declaration = m_file.ReadDeclInfo(m_specification, &m_name, nullptr, nullptr);
    }
    // Without both addresses there is no code: a declaration, or an abstract instance.
    if (m_hasHigh && m_hasLow) {
        if (m_highPc != 0) {
            m_range.size = m_file.SizeFromHighPc(m_range, m_highPc);
        }
        AddToStore(declaration);
    }
}

void Dwarf2File::ScopeBuilder::AddToStore(u32 declaration)
{
    const u32 id = m_entry.row.infoOffset;
    DbgSymContext context;
    m_file.FillContextFromDie(m_entry.row, &context);
    if (m_entry.decl->tag == TAG_lexical_block || m_entry.decl->tag == TAG_inlined_subroutine) {
        if (m_entry.decl->hasChildren != 0 && m_file.HasNextEntry()) {
            m_file.m_symFile->AddSubScope(context, id, m_range, m_name);
        }
    } else {
        std::string buffer;
        const char* name = FunctionName(context, declaration, buffer);
        m_file.m_symFile->AddFuncScope(context, id, context.fileScope, name, m_range);
    }
}

void Dwarf2File::ScopeBuilder::ReadAttributes()
{
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                m_name = got->Text();
            }
            break;
        case AT_low_pc:
            if (const AttrValue* got = read()) {
                m_file.SetLinkAddress(m_range, got->value);
                m_hasLow = true;
            }
            break;
        case AT_high_pc:
            if (const AttrValue* got = read()) {
                m_highPc = got->value;
                m_hasHigh = true;
            }
            break;
        case AT_abstract_origin:
            read.To(m_origin);
            break;
        case AT_frame_base:
            // Noted even if no scope is made.
            if (const AttrValue* got = read()) {
                FileFrameBase(*got);
            }
            break;
        case AT_specification:
            read.To(m_specification);
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::ScopeBuilder::FileFrameBase(const AttrValue& frameBase)
{
    const u32 id = m_entry.row.infoOffset;
    if (frameBase.data != nullptr) {
        m_file.m_frameBaseBlockMap[id] = m_file.BlockBytes(frameBase);
    } else {
        m_file.m_frameBaseLocListMap[id] = frameBase.value;
    }
}

const char* Dwarf2File::ScopeBuilder::FunctionName(const DbgSymContext& context, u32 declaration, std::string& buffer)
{
    if (m_name == nullptr) {
        const DbgSymSrcFile* srcFile = m_file.m_symFile->FindFileScope(context.fileScope, nullptr);
        if (srcFile == nullptr) {
            return "no_name";
        }
        // A long path would be copied for each function without a name. Its last part has the file name, or the end of
        // it.
        const std::string& path = srcFile->GetPath();
        const bool whole = path.size() <= kLongPath || m_file.m_budget.Spend(path.size(), Budget::kByteCopied);
        VFKFile::GetFilename(whole ? path : path.substr(path.size() - kLongPath), buffer, true, false);
        return buffer.c_str();
    }
    const DIEInfo row = m_file.FindDieInfo(declaration);
    if (!row) {
        return m_name; // a reference into no unit has no row to start from
    }
    DIEInfo parent = m_file.FindDieInfo(row.Parent());
    if (!parent) {
        parent = m_file.LoadParentOf(row);
    }
    const char* className = parent ? ClassName(parent) : nullptr;
    if (className == nullptr) {
        return m_name;
    }
    std::string cut;
    buffer = m_file.CopyableText(className, cut);
    buffer += "::";
    buffer += m_file.CopyableText(m_name, cut);
    return buffer.c_str();
}

const char* Dwarf2File::ScopeBuilder::ClassName(const DIEInfo& row)
{
    const AbbrevDecl* decl = m_file.DeclOf(row);
    if (decl == nullptr || (decl->tag != TAG_class_type && decl->tag != TAG_structure_type)) {
        return nullptr;
    }
    const char* name = nullptr;
    m_file.ReadDeclInfo(row.infoOffset, &name, nullptr, nullptr);
    return name;
}

void Dwarf2File::BuildScope(const Entry& entry)
{
    ScopeBuilder(*this, entry).Build();
}

u32 Dwarf2File::ReadDeclInfo(u32 offset, const char** nameOut, u32* typeOut, bool* artificialOut)
{
    // A chain of AT_specification ends at its first repetition; what a later DIE says replaces what an earlier one
    // said.
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
    const DIEInfo row = GetDieInfo(m_debug_info.Pos());
    const u32 code = ReadCode();
    const AbbrevDecl* decl = code == 0 ? nullptr : FindAbbrevDecl(unit->abbrevOffset, code);
    if (decl == nullptr) {
        return 0;
    }
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    u32 next = 0;
    const Entry entry{unit, row, decl};
    ForEachAttribute(entry, [&](u32 attribute, AttrReader& read) {
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
    FinishDieAttributes(entry);
    return next;
}

void Dwarf2File::FillContextFromDie(const DIEInfo& die, DbgSymContext* context)
{
    context->Clear();
    context->symFile = m_symFile->GetId();
    const ScopeWords scopes = ScopesOf(die.Parent()); // the DIE's own tag doesn't count
    context->subScope = scopes.block;
    context->funcScope = scopes.function;
    context->fileScope = scopes.file;
}

ScopeWords Dwarf2File::ScopesOf(u32 parent)
{
    if (parent == m_lastScopesParent) {
        return m_lastScopes;
    }
    // A walk reads rising offsets, so a parent's offset is below its child's or equal to it: the climb ends.
    ScopeWords scopes;
    std::vector<DIEInfo> climbed;
    for (u32 offset = parent, last = kNone; offset < last; last = std::exchange(offset, climbed.back().Parent())) {
        if (const ScopeWords* known = m_scopes.Find(offset)) {
            scopes = *known;
            break;
        }
        const DIEInfo row = FindDieInfo(offset);
        if (!row || !m_budget.Spend(1, Budget::kLink)) {
            break;
        }
        climbed.push_back(row);
    }
    for (; !climbed.empty(); climbed.pop_back()) {
        EnterScope(climbed.back(), scopes);
        m_scopes[climbed.back().infoOffset] = scopes;
        climbed.back().Set(DIEInfo::kScopesKnown);
    }
    if (m_scopes.Find(parent) != nullptr) {
        m_lastScopesParent = parent;
        m_lastScopes = scopes;
    }
    return scopes;
}

void Dwarf2File::EnterScope(const DIEInfo& row, ScopeWords& scopes)
{
    const AbbrevDecl* decl = DeclOf(row);
    const u32 tag = decl == nullptr ? u32{TAG_invalid} : decl->tag;
    if (tag == TAG_lexical_block) {
        scopes.block = row.infoOffset;
    } else if (tag == TAG_subprogram && scopes.function == kNone) {
        scopes.function = row.infoOffset;
    } else if (tag == TAG_compile_unit) {
        scopes = {kNone, kNone, row.infoOffset};
    }
}

void Dwarf2File::SetParent(const DIEInfo& row, u32 parent)
{
    if (row.Parent() == parent) {
        return;
    }
    if (row.Has(DIEInfo::kScopesKnown) && m_scopes.Find(row.infoOffset) != nullptr) {
        m_scopes.Clear(); // what is known of the places below it
        m_lastScopesParent = kNone;
        m_lastScopes = {};
    }
    ForgetWalk(row); // walking the unit anew would put the parent back
    row.SetParent(parent);
}

void Dwarf2File::SetSibling(const DIEInfo& row, u32 sibling)
{
    if (row.Sibling() != sibling) {
        ForgetWalk(row);
        row.SetSibling(sibling);
    }
}

void Dwarf2File::ForgetWalk(const DIEInfo& row)
{
    if (row.Parent() == kNone) {
        return;
    }
    CompileUnitInfo* unit = FindCompileUnit(row.Parent());
    if (unit != nullptr && unit->FirstDie() == row.Parent() && row.infoOffset < unit->walked) {
        unit->walked = 0;
    }
}
