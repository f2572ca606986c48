// Where a query's answer goes, and in which form.
#pragma once

class Output;

struct Answer {
    Output& output;
    bool json = false;
    bool demangle = true; ///< ELF symbols are shown as C++ names where possible
};
