// The two preference files. They are read once in a process, so the reader is compiled into this target,
// which makes it forget that it has read them.
#include "frame/Preferences.cpp" // NOLINT(bugprone-suspicious-include)
#include "fuzz/Pieces.h"

#include <fstream>

const std::size_t kPieceCount = 2;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    static const ScratchFolder folder;
    const Input input = SplitInput(data, size, kPieceCount);
    std::ofstream(folder.Path() + "/Dwarf2.toml", std::ios::binary) << input.pieces[0];
    std::ofstream(folder.Path() + "/ARM Debugger Plug-in.toml", std::ios::binary) << input.pieces[1];
    DbgPrefDataExtractor::SetDirectory(folder.Path());
    g_modulePath = folder.Path() + "/Dwarf2.so";
    g_prefs = Preferences{};
    g_prefsLoaded = false;
    ReadPreferences();
    Note(g_prefs.codeSectName, g_prefs.relocateLibs, g_prefs.enableSb, g_prefs.sbExpr, g_prefs.omitArtificialVars);
    for (const std::string& start : g_prefs.omitVarsStart) {
        Note(start);
    }
    if (g_prefs.enableSb) {
        CompileExpression(g_prefs.sbExpr);
    }
    return 0;
}
