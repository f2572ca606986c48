// A line of words for symhost: which command it names, with which arguments.
#pragma once

#include "host/Command.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class Output;

struct Invocation {
    CommonOptions options;
    std::unique_ptr<Command> command;
};

/// Where the words come from.
enum class LineSource {
    Shell,  ///< the program's arguments
    Prompt, ///< a line of the console, whose file is open, so that no command takes a FILE
};

/// Reads the words. Help and the version go to the output, a complaint to standard error.
/// @param invocation its options are the defaults.
/// @return nothing if there is a command to run, else the exit status: 0 after help, 2 for wrong
///         usage.
std::optional<int> ParseCommandLine(const std::vector<std::string>& words, LineSource source, Invocation& invocation,
                                    Output& output);

/// The options of every command, for readers of declarations.
void DeclareCommonOptions(Options& options, CommonOptions& common, LineSource source);

/// The commands that lines from that source can name.
std::vector<ListedCommand> CommandsFor(LineSource source);
