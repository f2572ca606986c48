// The clock and the path of a loaded module.
#include "interfaces/VFKSystem.h"

#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <memory>

u32 VFKTimer::GetTickCount()
{
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<u32>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

bool VFKDLL::GetDLLPath(const void* module, std::string& path)
{
    Dl_info info{};
    if (dladdr(module, &info) == 0 || info.dli_fname == nullptr || info.dli_fname[0] == 0) {
        return false;
    }
    if (info.dli_fname[0] == '/') {
        path = info.dli_fname;
        return true;
    }
    // The loader keeps the name by which the module was loaded. A relative one is resolved in the current directory, so
    // a module asks while it is being attached.
    const std::unique_ptr<char, decltype(&std::free)> full(realpath(info.dli_fname, nullptr), &std::free);
    if (full == nullptr) {
        return false;
    }
    path = full.get();
    return true;
}
