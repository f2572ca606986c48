// What the host's tests share: runs of the real programs.
#pragma once

#include <string>
#include <vector>

/// What a program that has ended left.
struct Ran {
    int status = -1; ///< exit status; 128 and the signal if one ended it
    std::string out;
    std::string err;
};

/// Runs `symhost` (or another program of the build) and waits for its end.
/// @param input what it reads from standard input.
/// @param outputPath a file that takes its standard output instead; empty for none.
Ran RunHost(const std::vector<std::string>& arguments, const std::string& input = "",
            const std::string& outputPath = "");
Ran RunProgram(const std::string& path, const std::vector<std::string>& arguments, const std::string& input,
               const std::string& outputPath);

/// All bytes of a file; empty if it can't be read.
std::string Contents(const std::string& path);

std::string Sample(const std::string& name);
std::vector<std::string> SplitLines(const std::string& text);
