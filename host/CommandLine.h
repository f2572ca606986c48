// The command line of symhost: which command it names, and what it says to it.
#pragma once

#include "host/Command.h"

#include <memory>
#include <optional>

struct Invocation {
    CommonOptions options;
    std::unique_ptr<Command> command;
};

/// Reads the command line. Help goes to standard output, a complaint to standard error.
/// @return nothing if there is a command to run, else the exit status: 0 after help, 2 for wrong
///         usage.
std::optional<int> ParseCommandLine(int argc, char** argv, Invocation& invocation);
