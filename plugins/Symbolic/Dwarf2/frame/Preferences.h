// The preferences of the plug-in, read once at attach.
#pragma once

#include "interfaces/Types.h"

#include <string>
#include <vector>

struct Preferences {
    u32 codeOffset = 0;                     ///< read and kept; nothing uses it
    std::string codeSectName;               ///< section of the shared-library record
    bool relocateLibs = false;              ///< ARM libraries linked at 0 are section-relative
    bool omitArtificialVars = false;        ///< leave out variables with AT_artificial
    std::vector<std::string> omitVarsStart; ///< leave out variables whose names start like this
    bool enableSb = false;                  ///< rewrite DW_OP_breg9 by `sbExpr`
    std::string sbExpr;                     ///< text with one %d for a section id
};

/// Read-only after attach.
extern Preferences g_prefs;
/// Path of this module, set at attach.
extern std::string g_modulePath;

/// Fills `g_prefs` from the module's own preferences (if `g_modulePath` isn't empty) and the ARM
/// plug-in's. A second call returns at once.
void ReadPreferences();

/// Removes tab, blank, carriage return and line feed from both ends.
void TrimWhiteSpace(std::string& text);
