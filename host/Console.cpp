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
        m_output.Write("\x1b[H\x1b[2J\x1b[3J");
    }
}

void HostConsole::CommandFinished()
{
    m_output.Flush();
}

bool RunConsoleLine(Loader& file, DbgUIConsole& console, const std::string& line)
{
    const DbgSymContext context = file.Context();
    return file.Plugin().ConsoleCommand(&context, &line, &console) != 0;
}
