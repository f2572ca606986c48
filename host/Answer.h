// Where a query's answer goes, and in which form.
#pragma once

class Output;

struct Answer {
    Output& output;
    bool json;
};
