// The console that the plug-in's dump commands write to, and lines of commands for it.
#pragma once

#include "host/Output.h"
#include "interfaces/DbgUIConsole.h"

#include <istream>
#include <string>

class Loader;

/// Its stream writes to an output; nothing can be read from it.
class HostConsole : public DbgUIConsole {
public:
    /// @param output outlives the console. Whoever runs a command flushes it.
    explicit HostConsole(Output& output);

    std::iostream& iostream() override { return m_stream; }
    /// Clears the screen of a terminal; does nothing elsewhere.
    void ClearContents(u32 line) override;
    void CommandFinished() override;
    /// True if the last command could not write all of its output to the file of its redirection.
    bool IsFileIncomplete() const { return m_fileIncomplete; }
    /// True if it could not open that file, and wrote here instead.
    bool IsFileUnopened() const { return m_fileUnopened; }

private:
    Output& m_output;
    std::iostream m_stream;
    bool m_fileIncomplete = false;
    bool m_fileUnopened = false;
};

/// Passes one line to the plug-in.
/// @return false if the line didn't reach the plug-in's file, if it has a bad number, or if the file that it
///         redirects to is not there or not complete, which one line on standard error tells.
bool RunConsoleLine(Loader& file, HostConsole& console, const std::string& line);
