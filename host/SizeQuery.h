// What `symhost sizes` prints.
#pragma once

#include "host/Queries.h"
#include "interfaces/Types.h"

#include <string>
#include <string_view>

class SizeTree;
enum class SizeKind : u8;

/// What the bytes are summed up by.
enum class SizeLevel {
    All, ///< sections, units and symbols, of each the largest
    Section,
    Directory,
    Unit,
    Symbol,
};

struct SizeOptions {
    SizeLevel by = SizeLevel::All;
    std::string page; ///< file to write the page to; empty for a listing
};

/// @return the exit status.
int ShowSizes(Loader& file, Answer answer, const SizeOptions& options);

/// The folder of a path, up to the last separator and without it; empty for a path without. Folders are the same
/// whichever way ("a/b/../c") leads to them.
std::string FolderOf(std::string_view path);

/// "function", "variable", "data" or "gap".
const char* SizeKindName(SizeKind kind);
/// "padding", "literals", "strings", "unwinding" or "unnamed" for a gap; null for others.
const char* GapName(SizeKind kind);

// SizePage.cpp

/// Writes one page of HTML that holds all of the tree.
void WriteSizePage(Output& output, const SizeTree& tree, const std::string& title, bool demangle);
