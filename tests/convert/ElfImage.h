// ELF files of named sections, for tests that use libdw: its headers and those of ElfWriter name the same records.
#pragma once

#include "tests/support/ByteSection.h"

#include <string>
#include <vector>

struct ImageSection {
    std::string name;
    std::string bytes;
    u32 address = 0;
    bool isLoaded = false;
};

/// A function of the first section.
struct ImageFunction {
    std::string name;
    u32 address;
    u32 size;
};

std::string ElfImage(ByteOrder order, const std::vector<ImageSection>& sections,
                     const std::vector<ImageFunction>& functions = {});
