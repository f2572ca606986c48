// Preference files of the debugger. They are TOML; a key `k` of section `S` and subsection `T` is
// `k` in the table [S."T"].
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKFile.h"

#include <memory>
#include <string>

class DbgContext;

class DbgPrefDataExtractor {
public:
    /// The folder in which all preference files are looked for from now on. Empty (the start
    /// value): a module's own file lies beside it, and a plug-in's named by kind is not there.
    static void SetDirectory(const std::string& directory);

    /// The own preferences of the module at `modulePath`, whatever that file is called:
    /// "Dwarf2.toml".
    /// @param ownFile always true.
    DbgPrefDataExtractor(const std::string& modulePath, bool ownFile);

    /// The preferences of a plug-in by kind (0x64696E74, "dint") and name: the name and ".toml".
    DbgPrefDataExtractor(u32 kind, const char* name);
    ~DbgPrefDataExtractor();

    /// Path of the preference file, there or not; empty if none is known.
    const std::string& GetFilePath() const { return m_path; }

    /// Each reads one key. False, with `value` untouched, if the file or the key isn't there, the
    /// file is malformed, or the value is of another kind or doesn't fit.
    /// @param hint the engine's own; no value depends on it.
    bool GetPrefValue(const char* section, const char* subsection, const char* key, std::string& value, bool hint,
                      const DbgContext* context) const;
    bool GetPrefValue(const char* section, const char* subsection, const char* key, bool& value, bool hint,
                      const DbgContext* context) const;
    bool GetPrefValue(const char* section, const char* subsection, const char* key, u32& value, u32 hint,
                      const DbgContext* context) const;

private:
    struct Document;
    void Load();
    std::string m_path;
    std::unique_ptr<Document> m_document;
};
