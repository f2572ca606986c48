// What the foundation library knows of the running process.
#pragma once

#include "interfaces/Types.h"

#include <string>

class VFKTimer {
public:
    /// Milliseconds of a clock that only rises; wraps at 32 bits.
    static u32 GetTickCount();
};

class VFKDLL {
public:
    /// Delivers the absolute path of a loaded module.
    /// @param module the module's handle: any address inside it.
    /// @return false, with `path` untouched, if no module lies there.
    static bool GetDLLPath(const void* module, std::string& path);
};
