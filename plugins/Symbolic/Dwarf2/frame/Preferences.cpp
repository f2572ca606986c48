// Reads the preferences at attach. A missing key leaves its field as it was before the reading; if the ARM plug-in's
// file is missing, or has no enable_sb, the static base stays unset.
#include "frame/Preferences.h"

#include "interfaces/DbgPrefDataExtractor.h"
#include "interfaces/VFKFile.h"

#include <cstddef>

namespace {

constexpr u32 kPluginKind = 0x64696E74; // "dint"
constexpr const char* kWhiteSpace = "\t \r\n";

bool g_prefsLoaded = false;

/// Commas separate entries, which are trimmed. A list of one entry is taken as it is.
void SplitList(const std::string& list, std::vector<std::string>& entries)
{
    if (list.find(',') == std::string::npos) {
        if (!list.empty()) {
            entries.push_back(list);
        }
        return;
    }
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t comma = list.find(',', start);
        const std::size_t end = comma == std::string::npos ? list.size() : comma;
        std::string entry = list.substr(start, end - start);
        TrimWhiteSpace(entry);
        if (!entry.empty()) {
            entries.push_back(entry);
        }
        start = end + 1;
    }
}

void ReadOwnPreferences()
{
    constexpr const char* kSection = "Symbolics";
    constexpr const char* kSubsection = "DWARF 2.0";
    const DbgPrefDataExtractor prefs(g_modulePath, true);
    g_prefs.relocateLibs = false;
    g_prefs.omitArtificialVars = true;
    g_prefs.sbExpr.clear();
    if (!prefs.GetPrefValue(kSection, kSubsection, "axf_code_sect_name", g_prefs.codeSectName, true, nullptr)) {
        g_prefs.codeSectName = ".text";
    }
    prefs.GetPrefValue(kSection, kSubsection, "axf_code_offset", g_prefs.codeOffset, 20, nullptr);
    prefs.GetPrefValue(kSection, kSubsection, "relocate_orlo_libs", g_prefs.relocateLibs, true, nullptr);
    prefs.GetPrefValue(kSection, kSubsection, "omit_artificial_vars", g_prefs.omitArtificialVars, true, nullptr);
    std::string list;
    prefs.GetPrefValue(kSection, kSubsection, "omit_vars_start", list, true, nullptr);
    SplitList(list, g_prefs.omitVarsStart);
}

/// The ARM plug-in's settings say how the static base is computed, in a language of their own: its word for the code
/// section's base becomes one that the engine can evaluate for a given section.
void ReadStaticBasePreferences()
{
    constexpr const char* kSection = "Debugger Plug-ins";
    constexpr const char* kSubsection = "ARM";
    const DbgPrefDataExtractor prefs(kPluginKind, "ARM Debugger Plug-in");
    if (!VFKFile(prefs.GetFilePath()).Exists()) {
        return;
    }
    prefs.GetPrefValue(kSection, kSubsection, "enable_sb", g_prefs.enableSb, false, nullptr);
    if (!g_prefs.enableSb) {
        return;
    }
    if (!prefs.GetPrefValue(kSection, kSubsection, "sb_expr", g_prefs.sbExpr, true, nullptr)) {
        g_prefs.sbExpr.clear();
    }
    const std::string base = "genreg_pc sect_base";
    const std::size_t found = g_prefs.sbExpr.find(base);
    if (found != std::string::npos) {
        g_prefs.sbExpr.replace(found, base.size(), "sectid_base(%d)");
    }
    g_prefs.enableSb = g_prefs.sbExpr.find('%') != std::string::npos;
}

} // namespace

// Attach writes to these, so they are constructed before anything of the default priority.
__attribute__((init_priority(200))) Preferences g_prefs;
__attribute__((init_priority(200))) std::string g_modulePath;

void ReadPreferences()
{
    if (g_prefsLoaded) {
        return;
    }
    if (!g_modulePath.empty()) {
        ReadOwnPreferences();
    }
    ReadStaticBasePreferences();
    g_prefsLoaded = true;
}

void TrimWhiteSpace(std::string& text)
{
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string::npos) {
        text.clear();
        return;
    }
    text.erase(text.find_last_not_of(kWhiteSpace) + 1);
    text.erase(0, first);
}
