// What the shells need to complete the command lines of symhost, made from the table of commands.
#pragma once

#include "host/Command.h"
#include "host/Options.h"

#include <string>
#include <string_view>
#include <vector>

/// What the scripts are made from.
struct CommandTable {
    struct Entry {
        Command::Text text;
        Options options;
    };

    std::vector<Entry> commands;
    Options common;
};

/// The commands that people use.
CommandTable ReadCommandTable();
/// Their names, and "help".
std::vector<std::string> CommandNames(const CommandTable& table);

/// The completion script of each shell.
std::string BashScript(const CommandTable& table);
std::string ZshScript(const CommandTable& table);
std::string FishScript(const CommandTable& table);

// Shared by the three.

std::string Joined(const std::vector<std::string>& words, const std::string& between);
/// In single quotes; `forQuote` stands for one within.
std::string ShellQuoted(const std::string& text, const std::string& forQuote);
/// The words, or the options, of a command.
std::vector<Options::Item> ItemsOf(const Options& options, bool words);
