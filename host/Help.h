// The texts of --help, made from what the commands declare.
#pragma once

#include <string>
#include <vector>

class Command;
class Options;
struct ListedCommand;

/// The program's own: its commands, and the options of all of them.
std::string ProgramHelp(const std::vector<ListedCommand>& commands, const Options& common);

/// One command's.
/// @param common the options of every command that it names.
std::string CommandHelp(Command& command, const Options& common);
