// The user interface that the engine offers to a long dump: a progress bar, and Ctrl-C.
#pragma once

#include "interfaces/DbgUIConsole.h"
#include "interfaces/Types.h"

#include <functional>
#include <utility>

/// Catches SIGINT while it lives.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// True once SIGINT has come since the last Clear().
    static bool Pending();
    static void Clear();
};

/// Draws its bar on standard error, if that is a terminal.
class ProgressBars : public DbgUserInterface {
public:
    /// Tells how many bytes the command has written to the screen or holds for it. A bar is drawn
    /// only as long as the command that opened it writes elsewhere.
    std::function<u64()> written;
    /// Tells whether the command is to stop, for another reason than Ctrl-C.
    std::function<bool()> unwanted;

    ProgressIndicator* OpenProgress(const char* title, const char* detail, u32 first, u32 last, u32 reserved,
                                    bool canCancel) override;

    bool IsOpen() const { return m_open; }
    /// Whether work that writes elsewhere was stopped since the last call.
    bool TakeCancelled() { return std::exchange(m_cancelled, false); }

private:
    class Bar;

    bool m_open = false;
    bool m_cancelled = false;
};

/// Takes the bar off the screen, if there is one; it is drawn again at its next step.
void EraseProgress();
