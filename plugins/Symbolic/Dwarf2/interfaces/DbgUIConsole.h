// The parts of the debugger's console and user interface that a plug-in uses.
#pragma once

#include "interfaces/Types.h"

#include <iosfwd>

/// The console that a command line came from.
class DbgUIConsole {
public:
    /// Bit of the state word: the console takes input; off while a command runs.
    static constexpr u32 kAcceptsInput = 4;

    virtual ~DbgUIConsole() = default;
    /// The two-way stream of the console. Lives as long as the console.
    virtual std::iostream& iostream() = 0;
    /// @param line the first line to clear; 0 clears all.
    virtual void ClearContents(u32 line) = 0;
    /// Called once at the end of every command line. If the line redirects to a file, the stream's state tells how that
    /// went, during this call only: bad if the file could not be written whole, failed if it could not be opened.
    virtual void CommandFinished() = 0;

    u32 m_state = kAcceptsInput;
};

/// Shows how far a long command has got. Owned by whoever opened it; destroying it closes it.
class ProgressIndicator {
public:
    virtual ~ProgressIndicator() = default;
    virtual void SetPosition(u32 position) = 0;
    virtual bool WasCancelled() = 0;
};

class DbgUserInterface {
public:
    virtual ~DbgUserInterface() = default;
    /// @param first, last the range of the positions.
    /// @param reserved always 0.
    /// @return an indicator that the caller owns, or null.
    virtual ProgressIndicator* OpenProgress(const char* title, const char* detail, u32 first, u32 last, u32 reserved,
                                            bool canCancel) = 0;
};

class DbgEngineInterface {
public:
    static constexpr u32 kUserInterface = 0x75696E74; ///< "uint"

    /// The engine's object for a tag: for kUserInterface the DbgUserInterface that the debugger has set, or null.
    static void* GetInterface(u32 tag);
    /// Sets the user interface, which the caller owns; null removes it.
    static void SetUserInterface(DbgUserInterface* userInterface);
};
