// Makes the engine's sections from the ELF headers, and decides once whether the file's addresses are absolute or
// offsets in one section: a position-independent ARM library is linked at 0 and placed by the running target.
#include "frame/Preferences.h"
#include "image/Dwarf2File.h"
#include "interfaces/DbgSymSymFile.h"

#include <string>

u32 Dwarf2File::GetSectionType(const Elf32_Shdr* shdr, const elf32_phdr* phdr, const Elf32_Ehdr* ehdr) const
{
    if (shdr == nullptr) {
        return kNone;
    }
    const bool executable = (shdr->sh_flags & kShfExecInstr) != 0;
    const u32 base = executable ? kSectionCode : kSectionData;
    if (ehdr == nullptr) {
        ehdr = &m_elf.m_ehdr;
    }
    if (ehdr->e_machine != kMachineArm) {
        return base;
    }
    if (phdr == nullptr) {
        phdr = m_elf.GetProgramHeader(shdr);
    }
    if (phdr == nullptr || (phdr->p_flags & kPfArmPi) == 0) {
        return base;
    }
    return executable ? kSectionPiCode : kSectionPiData;
}

u32 Dwarf2File::AddHostSection(const Elf32_Shdr* shdr, const elf32_phdr* phdr, const Elf32_Ehdr* ehdr)
{
    if (shdr == nullptr || shdr->sh_size == 0 || m_symFile == nullptr) {
        return kNone;
    }
    const u32 type = GetSectionType(shdr, phdr, ehdr);
    const char* name = m_elf.GetShdrString(shdr->sh_name);
    const u32 id = DbgSymSymFile::GetNewSectionID();
    const DbgSection section(name, type, id, kNone, shdr->sh_size, shdr->sh_addr);
    m_symFile->GetSectionList().AddSection(&section);
    return id;
}

void Dwarf2File::LoadAllSections()
{
    if (m_symFile == nullptr || !m_elf.m_valid) {
        return;
    }
    // Every second header, not every one.
    for (u32 index = 0; index < m_elf.m_ehdr.e_shnum; index += 2) {
        AddHostSection(m_elf.GetSectionHeader(index), nullptr, nullptr);
    }
}

void Dwarf2File::CheckRelocation()
{
    if ((m_flags & kRelocationDone) != 0) {
        return;
    }
    if (g_prefs.relocateLibs && m_elf.m_ehdr.e_machine == kMachineArm) {
        const elf32_phdr* phdr = nullptr;
        const Elf32_Shdr* shdr = nullptr;
        for (u32 index = 1; (shdr = m_elf.GetShdrWithPhdr(index, &phdr)) != nullptr; ++index) {
            if (phdr != nullptr && (phdr->p_flags & kPfArmPi) != 0 && (phdr->p_flags & kPfX) != 0) {
                break;
            }
        }
        if (shdr == nullptr) {
            RelocateBySegment();
        } else if (shdr->sh_addr == 0) {
            m_sectionId = AddHostSection(shdr, phdr, &m_elf.m_ehdr);
            if (m_sectionId != kNone) {
                m_flags |= kSectionRelative;
            }
        } // a position-independent segment that isn't linked at 0 leaves the file absolute
    }
    m_flags |= kRelocationDone;
}

void Dwarf2File::RelocateBySegment()
{
    for (u32 index = 0; const elf32_phdr* phdr = m_elf.GetProgramHeader(index); ++index) {
        if (phdr->p_memsz == 0 || (phdr->p_flags & kPfArmPi) == 0 || phdr->p_paddr != 0) {
            continue;
        }
        const std::string name = "PH[" + std::to_string(index) + ']';
        const u32 id = DbgSymSymFile::GetNewSectionID();
        const DbgSection section(name.c_str(), kSectionPiCode, id, kNone, phdr->p_memsz, 0);
        m_symFile->GetSectionList().AddSection(&section);
        m_sectionId = id;
        m_flags |= kSectionRelative;
        return;
    }
}

const DbgSection* Dwarf2File::GetRelocationSection() const
{
    return (m_flags & kSectionRelative) == 0 ? nullptr : m_symFile->GetSectionList().FindSection(m_sectionId);
}
