// Turns the DIE at the head of a compile unit (DWARF 2.0, 3.1) into the engine's file scope.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKFile.h"

/// What the DIE's attributes say.
struct Dwarf2File::UnitAttributes {
    const char* name = nullptr; ///< texts stay in the section's bytes
    const char* compDir = nullptr;
    u32 stmtOffset = kNone;
    DbgAddrRange range;
    u32 highPc = 0;
};

u32 Dwarf2File::BuildCompileUnitScope(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump)
{
    die->flags |= DIEInfo::kDieBuilt;
    Seek(m_debug_abbrev, decl->offset + decl->headerSize);
    UnitAttributes attributes;
    ReadUnitAttributes(unit, die, dump, attributes);
    FinishDieAttributes(decl, die);
    if (attributes.highPc != 0) {
        attributes.range.size = SizeFromHighPc(attributes.range, attributes.highPc);
    }
    AddFileScope(die->infoOffset, attributes);
    return m_debug_info.Pos();
}

// Written out, for it ends otherwise than the loop of all other readers: where `.debug_info` ends,
// and not at a form of 0.
void Dwarf2File::ReadUnitAttributes(const CompileUnitInfo* unit, DIEInfo* die, bool dump, UnitAttributes& attributes)
{
    const u32 start = m_debug_info.Pos();
    const u32 pairs = m_debug_abbrev.Pos();
    while (!EndIfSpent() && !AtEnd(m_debug_info)) {
        u32 attribute = 0;
        u32 form = 0;
        ReadAttrSpec(attribute, form, dump);
        if (attribute == 0) {
            break;
        }
        const bool wanted = attribute == AT_sibling || attribute == AT_name || attribute == AT_stmt_list ||
                            attribute == AT_low_pc || attribute == AT_high_pc || attribute == AT_comp_dir;
        AttrValue got;
        if (!ReadAttrValue(unit, form, dump, wanted ? &got : nullptr, true, true)) {
            continue;
        }
        switch (attribute) {
        case AT_sibling:
            die->sibling = got.value;
            break;
        case AT_name:
            attributes.name = got.Text();
            break;
        case AT_stmt_list:
            attributes.stmtOffset = got.value;
            break;
        case AT_low_pc:
            SetLinkAddress(attributes.range, got.value);
            break;
        case AT_high_pc:
            attributes.highPc = got.value;
            break;
        case AT_comp_dir:
            attributes.compDir = got.Text();
            break;
        default:
            break;
        }
    }
    SpendOnAttributes(m_debug_abbrev.Pos() - pairs, m_debug_info.Pos() - start);
}

void Dwarf2File::AddFileScope(u32 dieOffset, const UnitAttributes& attributes)
{
    // An entry that is read again adds its scope again.
    if (attributes.name == nullptr || *attributes.name == 0 || !m_budget.Spend(1, Budget::kFileScope)) {
        return;
    }
    VFKFile file;
    std::string cut;
    file.SetFileDesc(CopyableText(attributes.name, cut));
    if (attributes.compDir != nullptr && *attributes.compDir != 0) {
        file.MakePathAbsolute(CopyableText(attributes.compDir, cut));
    }
    DbgSymSrcFile* srcFile =
        m_symFile->AddFileScope(dieOffset, file.GetPath(), attributes.range, attributes.stmtOffset, kNone, false);
    if (srcFile != nullptr && attributes.range.value != kNone && attributes.range.size == 0) {
        srcFile->m_flags |= DbgSymSrcFile::kNoSize;
    }
}
