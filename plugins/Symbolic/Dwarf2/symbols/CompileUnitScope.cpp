// Turns the DIE at the head of a compile unit (DWARF 2.0, 3.1) into the engine's file scope.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/EntrySteps.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKFile.h"

class Dwarf2File::UnitScopeBuilder {
public:
    UnitScopeBuilder(Dwarf2File& file, const Entry& entry)
        : m_file(file)
        , m_entry(entry)
    {
    }

    void Build();

private:
    void ReadAttributes();
    void TakeAttribute(u32 attribute, const AttrValue& got);
    void AddFileScope();

    Dwarf2File& m_file;
    const Entry& m_entry;
    const char* m_name = nullptr; ///< points into the section's bytes
    const char* m_compDir = nullptr;
    u32 m_stmtOffset = kNone;
    DbgAddrRange m_range;
    u32 m_highPc = 0;
};

void Dwarf2File::UnitScopeBuilder::Build()
{
    m_entry.row.Set(DIEInfo::kDieBuilt);
    Seek(m_file.m_debug_abbrev, m_entry.decl->offset + m_entry.decl->headerSize);
    ReadAttributes();
    m_file.FinishDieAttributes(m_entry);
    if (m_highPc != 0) {
        m_range.size = m_file.SizeFromHighPc(m_range, m_highPc);
    }
    AddFileScope();
}

// Written out because it ends differently from the loop of all other readers: where `.debug_info` ends, and not at a
// form of 0.
void Dwarf2File::UnitScopeBuilder::ReadAttributes()
{
    const u32 start = m_file.m_debug_info.Pos();
    const u32 pairs = m_file.m_debug_abbrev.Pos();
    while (!m_file.EndIfSpent() && !AtEnd(m_file.m_debug_info)) {
        const auto [attribute, form, width, before] = m_file.ReadAttrSpec(true);
        if (attribute == 0) {
            break;
        }
        const bool wanted = attribute == AT_sibling || attribute == AT_name || attribute == AT_stmt_list ||
                            attribute == AT_low_pc || attribute == AT_high_pc || attribute == AT_comp_dir;
        AttrValue got;
        if (m_file.ReadAttrValue(m_entry.unit, form, true, wanted ? &got : nullptr, true, true)) {
            TakeAttribute(attribute, got);
        }
    }
    m_file.SpendOnAttributes(m_file.m_debug_abbrev.Pos() - pairs, m_file.m_debug_info.Pos() - start);
}

void Dwarf2File::UnitScopeBuilder::TakeAttribute(u32 attribute, const AttrValue& got)
{
    switch (attribute) {
    case AT_sibling:
        m_entry.row.SetSibling(got.value);
        break;
    case AT_name:
        m_name = got.Text();
        break;
    case AT_stmt_list:
        m_stmtOffset = got.value;
        break;
    case AT_low_pc:
        m_file.SetLinkAddress(m_range, got.value);
        break;
    case AT_high_pc:
        m_highPc = got.value;
        break;
    case AT_comp_dir:
        m_compDir = got.Text();
        break;
    default:
        break;
    }
}

void Dwarf2File::UnitScopeBuilder::AddFileScope()
{
    // An entry that is read again adds its scope again.
    if (m_name == nullptr || *m_name == 0 || !m_file.m_budget.Spend(1, Budget::kFileScope)) {
        return;
    }
    VFKFile file;
    std::string cut;
    file.SetFileDesc(m_file.CopyableText(m_name, cut));
    if (m_compDir != nullptr && *m_compDir != 0) {
        file.MakePathAbsolute(m_file.CopyableText(m_compDir, cut));
    }
    DbgSymSrcFile* srcFile =
        m_file.m_symFile->AddFileScope(m_entry.row.infoOffset, file.GetPath(), m_range, m_stmtOffset, kNone, false);
    if (srcFile != nullptr && m_range.value != kNone && m_range.size == 0) {
        srcFile->m_flags |= DbgSymSrcFile::kNoSize;
    }
}

void Dwarf2File::BuildCompileUnitScope(const Entry& entry)
{
    UnitScopeBuilder(*this, entry).Build();
}
