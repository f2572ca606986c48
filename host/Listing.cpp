// The totals of a listing.
#include "host/Listing.h"

#include "host/Output.h"

std::string Counted(u64 count, const char* thing)
{
    return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

void WriteTotal(Output& output, const std::string& things, u64 bytes)
{
    output.Write("total  " + things + ", " + Counted(bytes, "byte") + '\n');
}
