// What the shells need to complete the command lines of symhost, made from the table of commands.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The shells that there are scripts for.
std::vector<std::string> CompletedShells();

/// The completion script for a shell; empty if it is none of those.
std::string CompletionScript(std::string_view shell);
