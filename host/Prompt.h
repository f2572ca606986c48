// Where console lines come from: the command line, standard input, or a prompt on a terminal.
#pragma once

#include <string>
#include <vector>

class Loader;
class Output;
struct CommonOptions;

/// Runs the lines in order; without any, an interactive prompt if both standard input and standard
/// output are terminals, else the lines of standard input. The output holds nothing but the
/// console's bytes.
/// @param options for the commands of symhost among them.
/// @return the exit status.
int RunConsole(Loader& file, Output& output, const std::vector<std::string>& lines, const CommonOptions& options);

/// Reads lines with editing, history and completion until Ctrl-D, and runs them. Long output goes
/// through the user's pager; a long dump shows a progress bar on standard error and stops at
/// Ctrl-C. Standard input and output have to be terminals.
/// @return the exit status.
int RunPrompt(Loader& file, const CommonOptions& options);
