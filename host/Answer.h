// Where a query's answer goes, and in which form.
#pragma once

class Output;

struct Answer {
    Output& output;
    bool json;
    bool demangle; ///< ELF symbols are shown as C++ names where they are some
};
