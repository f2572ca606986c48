// The texts of --help, made from what the commands declare.
#pragma once

#include <string>
#include <vector>

class Command;
class Options;
struct ListedCommand;

/// The help of the program: its commands, and their common options.
std::string ProgramHelp(const std::vector<ListedCommand>& commands, const Options& common);

/// The commands with their summaries, under their titles.
std::string CommandList(const std::vector<ListedCommand>& commands);

/// The help of one command.
/// @param own, @param common its options, and those of every command.
std::string CommandHelp(const Command& command, const Options& own, const Options& common);
