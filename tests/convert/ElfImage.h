// ELF files of named sections, for tests that use libdw: its headers and those of ElfWriter name the same records.
#pragma once

#include "tests/support/ByteSection.h"

#include <string>
#include <vector>

struct ImageSection {
    std::string name;
    std::string bytes;
    u32 address = 0;
};

std::string ElfImage(ByteOrder order, const std::vector<ImageSection>& sections);
