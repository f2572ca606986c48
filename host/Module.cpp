// Loads the module with dlopen and asks its one exported function for the plug-in object.
#include "host/Module.h"

#include "host/Loader.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Types.h"

#include <climits>
#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

/// A name without a slash would be looked for in the library path.
std::string AsFile(const std::string& path)
{
    return path.find('/') == std::string::npos ? "./" + path : path;
}

} // namespace

std::string PathOfCompanion(const std::string& name)
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string program(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::string folder = program.substr(0, program.rfind('/') + 1);
    const std::string installed = folder + COMPANIONS_FROM_PROGRAM "/" + name;
    const bool beside = access((folder + name).c_str(), F_OK) == 0 || access(installed.c_str(), F_OK) != 0;
    return beside ? folder + name : installed;
}

Module::~Module()
{
    if (m_handle != nullptr) {
        dlclose(m_handle);
    }
}

bool Module::Load(const std::string& path, std::string& error)
{
    const std::string file = path.empty() ? PathOfCompanion("Dwarf2.so") : AsFile(path);
    const std::string why = WhyUnreadable(file); // the loader would wait for a pipe's writer
    if (!why.empty()) {
        error = "can't load the module: " + file + ": " + why;
        return false;
    }
    m_handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        error = std::string("can't load the module: ") + dlerror();
        return false;
    }
    using GetInterface = void*(u32);
    void* const symbol = dlsym(m_handle, "GetInterface");
    if (symbol == nullptr) {
        error = file + ": no plug-in module: it exports no GetInterface";
        return false;
    }
    m_plugin = static_cast<DbgSymbolicInterface*>(reinterpret_cast<GetInterface*>(symbol)(DbgSymbolicInterface::kTag));
    if (m_plugin == nullptr) {
        error = file + ": the module has no symbolic plug-in";
        return false;
    }
    return true;
}
