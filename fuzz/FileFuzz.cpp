// A whole ELF file, through every operation of the plug-in.
#include "fuzz/Driver.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    Session({reinterpret_cast<const char*>(data), size}).RunAll();
    return 0;
}
