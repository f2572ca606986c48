// Link-time addresses in the file's address form: absolute, or offsets in the relocation section.
#include "image/Dwarf2File.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"

void Dwarf2File::SetLinkAddress(DbgAddress& address, u32 value) const
{
    if (const DbgSection* section = GetRelocationSection()) {
        address.SetAddress(value - section->base, section->id, 1, 0xFFFF);
    } else {
        address.value = value;
        address.section = kNone;
    }
}

u32 Dwarf2File::SizeFromHighPc(const DbgAddress& start, u32 highPc) const
{
    u32 size = highPc - start.value;
    if (start.section != kNone) {
        if (const DbgSection* section = m_symFile->GetSectionList().FindSection(start.section)) {
            size -= section->base;
        }
    }
    return size;
}
