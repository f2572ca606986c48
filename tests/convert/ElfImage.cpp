#include "tests/convert/ElfImage.h"

#include "tests/support/ElfWriter.h"

std::string ElfImage(ByteOrder order, const std::vector<ImageSection>& sections,
                     const std::vector<ImageFunction>& functions)
{
    ElfWriter elf(order);
    for (const ImageSection& section : sections) {
        SectionOptions options;
        options.address = section.address;
        options.flags = section.isLoaded ? kShfAlloc : 0;
        elf.Section(section.name, section.bytes, options);
    }
    for (const ImageFunction& function : functions) {
        elf.Symbol({.name = function.name, .value = function.address, .size = function.size});
    }
    return elf.Image();
}
