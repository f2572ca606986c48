// A bar for the loading of a file's units.
#pragma once

#include "interfaces/DbgUIConsole.h"

#include <memory>

class Loader;
class ProgressBars;

/// While this lives, loading units shows a bar if it takes a moment.
class LoadProgress {
public:
    /// @param file, @param bars outlive this.
    LoadProgress(Loader& file, ProgressBars& bars);
    ~LoadProgress();
    LoadProgress(const LoadProgress&) = delete;
    LoadProgress& operator=(const LoadProgress&) = delete;

private:
    Loader& m_file;
    std::unique_ptr<ProgressIndicator> m_bar; ///< from the first unit on
};
