// The module's entry: what happens at attach, and the one exported function.
#include "frame/Dwarf2SymbolicPlugin.h"
#include "frame/Preferences.h"
#include "interfaces/VFKSystem.h"

#include <memory>
#include <new>

namespace {

/// The one plug-in object. Unloading the module destroys it, and with it every file still registered.
std::unique_ptr<Dwarf2SymbolicPlugin> g_plugin;

/// Runs at attach. The module attaches even if its path can't be found or there is no memory for preferences: nothing
/// may be thrown into the system's loader.
__attribute__((constructor)) void Attach()
{
    static const char moduleHandle = 0;
    try {
        VFKDLL::GetDLLPath(&moduleHandle, g_modulePath);
        ReadPreferences();
    } catch (...) {
        return;
    }
}

} // namespace

/// @param tag must be DbgSymbolicInterface::kTag ("dsym").
/// @return the plug-in object, made at the first call and owned by the module; null for another
///         tag or without memory.
extern "C" __attribute__((visibility("default"))) void* GetInterface(u32 tag)
{
    if (tag != DbgSymbolicInterface::kTag) {
        return nullptr;
    }
    if (!g_plugin) {
        g_plugin.reset(new (std::nothrow) Dwarf2SymbolicPlugin);
    }
    return static_cast<DbgSymbolicInterface*>(g_plugin.get());
}
