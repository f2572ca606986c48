// The console's stream, and the call that runs a line. Where lines come from: Prompt.cpp.
#include "host/Console.h"

#include "host/Loader.h"
#include "interfaces/DbgSymbolicInterface.h"

HostConsole::HostConsole(Output& output)
    : m_output(output)
    , m_stream(&output)
{
}

void HostConsole::ClearContents(u32)
{
    // The engine's line numbers mean nothing here: a screen is cleared as a whole.
    if (m_output.IsTerminal()) {
        m_output.WriteSequence("\x1b[H\x1b[2J\x1b[3J");
    }
}

void HostConsole::CommandFinished()
{
    m_fileIncomplete = m_stream.bad();
}

bool RunConsoleLine(Loader& file, HostConsole& console, const std::string& line)
{
    const DbgSymContext context = file.Context();
    if (file.Plugin().ConsoleCommand(&context, &line, &console) == 0) {
        return false;
    }
    if (console.IsFileIncomplete()) {
        Complain("", "'" + line + "': The file could not be written whole");
        return false;
    }
    return true;
}
