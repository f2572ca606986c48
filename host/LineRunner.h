// Runs lines that a person types at the console: the plug-in's commands, and those of symhost on the same file.
#pragma once

#include "host/Console.h"
#include "host/Host.h"
#include "host/Progress.h"

#include <string>
#include <string_view>
#include <vector>

/// The words that the plug-in's console knows, but for "?", in ascending order.
std::vector<std::string> ConsoleCommandNames();

/// A line for a command of symhost.
struct ConsoleWords {
    std::vector<std::string> words; ///< without the quotes around them, or parts of them
    std::string target;             ///< the file behind a '>' that begins a word; the rest of the line
    bool redirected = false;
};

ConsoleWords SplitConsoleLine(std::string_view line);

class LineRunner {
public:
    /// @param file loaded as far as the plug-in's commands should see.
    /// @param options what the commands of symhost take.
    LineRunner(Loader& file, Output& output, const CommonOptions& options);

    /// A line whose first word the plug-in doesn't know is tried as a command of symhost.
    /// @return false if something went wrong, which one line on standard error tells.
    bool Run(const std::string& line);

    /// True for a line that ends the console.
    static bool IsLeaving(const std::string& line);

    /// The progress bar of the plug-in's dumps and of loading.
    ProgressBars bars;
    /// Adds symhost's commands to the plug-in's help.
    bool helpOfAll = false;

private:
    bool RunHostCommand(const std::string& line);
    bool RunRedirected(const ConsoleWords& line);
    bool RunWords(const std::vector<std::string>& words, Output& output);
    bool WriteHelpOf(const std::string& name);
    std::string PlugInHelp();
    void ComplainOfWord(const std::string& word) const;

    Loader& m_file;
    Output& m_output;
    const CommonOptions& m_options;
    HostConsole m_console;
};
