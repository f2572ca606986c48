// symhost: opens a symbol file with the plug-in and runs one command on it.
#include "host/CommandLine.h"
#include "host/Output.h"
#include "host/StandardOutput.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

int RunGuarded(const Invocation& invocation, Output& output, std::optional<Host>& host)
{
    try {
        return invocation.command->Run(host.emplace(invocation.options, output));
    } catch (const std::bad_alloc&) {
        Complain("", "Out of memory");
    } catch (const std::exception& exception) {
        Complain("", exception.what());
    }
    return invocation.command->TroubleStatus();
}

/// @param host stays with what it holds.
int RunCommand(const std::vector<std::string>& words, bool endsByPipe, std::optional<Host>& host)
{
    StandardOutput output(endsByPipe);
    Invocation invocation;
    std::optional<int> status = ParseCommandLine(words, LineSource::Shell, invocation, output.Get());
    if (!status) {
        output.Apply(invocation.options);
        status = RunGuarded(invocation, output.Get(), host);
    }
    return output.Finish(*status, invocation.command == nullptr ? EXIT_FAILURE : invocation.command->TroubleStatus());
}

/// A standard descriptor that the shell has closed must not become the symbol file. Reading from it, or writing
/// to it, fails.
void OpenStandardDescriptors()
{
    int opened = -1;
    do {
        const bool input = fcntl(STDIN_FILENO, F_GETFD) == -1;
        opened = open("/dev/null", input ? O_WRONLY : O_RDONLY);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    close(opened);
}

} // namespace

int main(int argc, char** argv)
{
    // A closed pipe and a file that reaches its size limit show as a write that fails.
    const bool endsByPipe = std::signal(SIGPIPE, SIG_IGN) != SIG_IGN;
    std::signal(SIGXFSZ, SIG_IGN);
    OpenStandardDescriptors();
    std::optional<Host> host;
    const int status = RunCommand({argv + std::min(argc, 1), argv + argc}, endsByPipe, host);
#ifdef HOST_ENDS_AT_ONCE
    std::_Exit(status); // the system takes the memory back faster than a million destructors do
#else
    return status;
#endif
}
