// Construction of a file's object, and the sections that are read late.
#include "image/Dwarf2File.h"

#include "interfaces/DbgSymSymFile.h"

Dwarf2File::Dwarf2File(DbgSymSymFile* symFile)
    : m_elf(symFile->GetPath())
    , m_symFile(symFile)
    , m_debug_info(false, LittleEndian())
    , m_debug_abbrev(false, LittleEndian())
    , m_debug_line(false, LittleEndian())
    , m_debug_loc(false, LittleEndian())
    , m_debug_str(false, LittleEndian())
    , m_debug_macinfo(false, LittleEndian())
    , m_debug_pubnames(false, LittleEndian())
{
    if (!m_elf.m_valid) {
        return;
    }
    const auto read = [this](const char* name, VFKDataBuf& section) {
        m_elf.GetSectionData(name, section.bytes, 0, VFKElfFile::npos);
        section.Init();
    };
    read(".debug_info", m_debug_info);
    read(".debug_abbrev", m_debug_abbrev);
    read(".debug_line", m_debug_line);
    read(".debug_loc", m_debug_loc);
    read(".debug_str", m_debug_str);
    m_dieInfoMap.SetSectionSize(m_debug_info.Size());
    FillBudget();
}

Dwarf2File::~Dwarf2File() = default;

u32 Dwarf2File::Capability() const
{
    if (!m_elf.m_valid) {
        return 0;
    }
    if (m_debug_info.Size() != 0 && m_debug_abbrev.Size() != 0) {
        return m_debug_line.Size() != 0 ? 127 : 63;
    }
    return m_elf.GetSectionHeader(".symtab") != nullptr ? 2 : 0;
}

void Dwarf2File::ReadLateSection(VFKDataBuf& section, const char* name, bool always)
{
    if (section.Size() != 0) {
        return;
    }
    const bool found = m_elf.GetSectionData(name, section.bytes, 0, VFKElfFile::npos);
    if (found || always) {
        section.Init();
    }
}
