// Looks sections up by name. libdw decompresses the debug sections in place when it opens the file, so their raw bytes
// are the right ones.
#include "convert/DebugSections.h"

#include <gelf.h>

namespace convert {

namespace {

bool IsNamed(std::string_view name, std::string_view wanted)
{
    constexpr std::string_view kCompressed = ".z";
    return name == wanted || (name.starts_with(kCompressed) && wanted.starts_with('.') &&
                              name.substr(kCompressed.size()) == wanted.substr(1));
}

} // namespace

DebugSection FindDebugSection(Dwarf* dwarf, std::string_view name)
{
    Elf* const elf = dwarf_getelf(dwarf);
    std::size_t names = 0;
    if (elf == nullptr || elf_getshdrstrndx(elf, &names) != 0) {
        return {};
    }
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) == nullptr || header.sh_type == SHT_NOBITS) {
            continue;
        }
        const char* const text = elf_strptr(elf, names, header.sh_name);
        if (text == nullptr || !IsNamed(text, name)) {
            continue;
        }
        const Elf_Data* const data = elf_rawdata(section, nullptr);
        if (data == nullptr || data->d_buf == nullptr) {
            return {};
        }
        return {{static_cast<const u8*>(data->d_buf), data->d_size}, static_cast<u32>(header.sh_addr)};
    }
    return {};
}

} // namespace convert
