// The console's stream, and the call that runs a line. Where lines come from: Prompt.cpp.
#include "host/Console.h"

#include "host/Loader.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/VFKStringParser.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

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
    m_fileUnopened = m_stream.fail() && !m_stream.bad();
}

namespace {

/// Why a file can't be written, in the system's words; empty if it can, or if it doesn't exist.
std::string WhyNotOpened(const std::string& line)
{
    const std::size_t start = line.find_first_not_of(" \t", line.find('>') + 1);
    if (start == std::string::npos) {
        return {};
    }
    const int descriptor = open(line.c_str() + start, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::strerror(errno);
    }
    close(descriptor);
    return {};
}

/// The word that the console would read as a number and that isn't one, if there is one.
std::optional<std::string> BadNumber(const std::string& line)
{
    VFKStringParser parser(line);
    std::string command;
    if (!parser.GetCToken(command, false, true)) {
        return std::nullopt;
    }
    parser.SkipSpaces();
    const char first = parser.PeekChar(0);
    const bool needed = command == "die" || command == "DIE" || command == "line";
    const bool taken = (command == "loclist" && first != 0 && first != '>') ||
                       (command == "elffind" && std::isxdigit(static_cast<unsigned char>(first)) != 0);
    if (!needed && !taken) {
        return std::nullopt;
    }
    VFKStringParser behind = parser;
    std::string word;
    behind.GetString(word);
    u32 number = 0;
    const bool read = parser.GetUInt32(number, 0);
    const char next = parser.PeekChar(0);
    return read && (next == 0 || next == ' ' || next == '\t' || next == '>') ? std::nullopt : std::optional(word);
}

} // namespace

bool RunConsoleLine(Loader& file, HostConsole& console, const std::string& line)
{
    const DbgSymContext context = file.Context();
    const bool reached = file.Plugin().ConsoleCommand(&context, &line, &console) != 0;
    std::string why;
    if (const std::optional<std::string> bad = BadNumber(line)) {
        why = bad->empty() ? "A number is missing" : "'" + *bad + "' is no number";
    } else if (reached && console.IsFileUnopened()) {
        why = "The file could not be opened";
        if (const std::string reason = WhyNotOpened(line); !reason.empty()) {
            why += ": " + reason;
        }
    } else if (reached && console.IsFileIncomplete()) {
        why = "The file could not be written whole";
    }
    if (!why.empty()) {
        Complain("", "'" + line + "': " + why);
    }
    return reached && why.empty();
}
