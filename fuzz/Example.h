// A small programme's debug information with something of everything that the plug-in reads: what the
// targets of other sections stand on, and where the corpus starts from.
#pragma once

#include "fuzz/Driver.h"

#include <string>
#include <vector>

struct ExampleSections {
    std::string info;
    std::string abbrev;
    std::string str;
    std::string line;
    std::string loc;
    std::string pubnames;
    std::string macinfo;

    /// For WrapSections; borrows the texts.
    std::vector<SectionBytes> List() const;
};

ExampleSections MakeExample(ByteOrder order);
