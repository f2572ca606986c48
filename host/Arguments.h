// The command line of symhost.
#pragma once

#include "host/Loader.h"
#include "host/ShownFile.h"
#include "host/Text.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <vector>

struct Arguments {
    enum class Command { Rate, Sections, Units, Functions, Scopes, Lines, Types, Find, At, Export, Console, Convert };

    Command command = Command::Rate;
    std::string module;      ///< empty: the one beside the program
    std::string preferences; ///< folder; empty: none was given
    bool json = false;
    ConvertMode convert = ConvertMode::Never; ///< --convert, or what the command takes without it
    bool hint = false;                        ///< a listing from which something may be missing
    std::vector<std::string> files;           ///< of `rate`
    std::string file;                         ///< of the others
    std::string unit;                         ///< --unit; empty for all
    std::optional<SourceLine> line;           ///< --line of `lines`
    std::string name;                         ///< function of `scopes`, type of `types`
    std::vector<std::string> names;           ///< of `find`
    std::vector<u32> addresses;               ///< of `at`
    std::vector<std::string> lines;           ///< -c of `console`
    LoadDepth load = LoadDepth::Index;
    std::string output; ///< -o of `convert`
};

/// Reads the command line. Help goes to standard output, a complaint to standard error.
/// @return nothing if there is a command to run, else the exit status: 0 after help, 2 for wrong
///         usage.
std::optional<int> ParseArguments(int argc, char** argv, Arguments& arguments);
