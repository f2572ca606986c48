// The symbolic plug-in's module, loaded at run time.
#pragma once

#include <string>

class DbgSymbolicInterface;

/// The path of a file that belongs to the running program: in its folder, or where it is installed.
std::string PathOfCompanion(const std::string& name);

class Module {
public:
    Module() = default;
    /// Unloads the module, which destroys the plug-in object with all its files.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// Loads the module and gets its plug-in object. Set the preference folder first:
    /// the module reads its preferences as it is loaded.
    /// @param path the module's file; empty takes the one that belongs to the program.
    /// @return false, with one line in `error`, if there is no plug-in.
    bool Load(const std::string& path, std::string& error);

    /// Owned by the module. Only after a Load() that returned true.
    DbgSymbolicInterface& Plugin() const { return *m_plugin; }

private:
    void* m_handle = nullptr;
    DbgSymbolicInterface* m_plugin = nullptr;
};
