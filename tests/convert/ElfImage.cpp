#include "tests/convert/ElfImage.h"

#include "tests/support/ElfWriter.h"

std::string ElfImage(ByteOrder order, const std::vector<ImageSection>& sections)
{
    ElfWriter elf(order);
    for (const ImageSection& section : sections) {
        SectionOptions options;
        options.address = section.address;
        elf.Section(section.name, section.bytes, options);
    }
    return elf.Image();
}
