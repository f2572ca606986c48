// What the listing commands print: a table for a person, or one JSON object a line. A file is
// handed in open (AddFile done); each query loads what it needs.
#pragma once

#include "host/Answer.h"
#include "host/ShownFile.h"
#include "host/Text.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <vector>

class DbgSymSrcFile;
class DbgSymbolicInterface;
class Loader;
class NamePattern;
class Output;
struct Selection;

// Queries.cpp. Each returns the exit status: 0, or 1 if something asked for isn't there, which one
// line on standard error tells.

/// One line a file: its rating, a tab, the path. A file that can't be read has no line; one that is
/// no 32-bit ELF file is rated 0; both give the status 1.
int RateFiles(DbgSymbolicInterface& plugin, const std::vector<std::string>& paths, ConvertMode convert, Answer answer);
int ListSections(Loader& file, Answer answer);
/// @param selection by the paths.
int ListUnits(Loader& file, Answer answer, const Selection& selection);

/// The line above what belongs to one unit. Null: to none.
void WriteHeading(Output& output, const DbgSymSrcFile* unit);

// FunctionQuery.cpp

/// @param unit a unit's id or path, as SelectUnits takes it; empty for all.
/// @param selection in another order than that of the units, each function has its unit beside it.
int ListFunctions(Loader& file, Answer answer, const std::string& unit, const Selection& selection);

// LineQuery.cpp

/// @param unit as for ListFunctions.
/// @param line of the unit's own file, or of the one whose path is or ends in `line->path`; none for all rows.
/// @param selection by the paths of the rows.
int ListLines(Loader& file, Answer answer, const std::string& unit, const std::optional<SourceLine>& line,
              const Selection& selection);

// ScopeQuery.cpp

/// @param function as SelectFunctions takes it; null for the function at `at`.
/// @param at an address, as AddressInput takes it: only what is in scope there. Empty: all.
int ShowScopes(Loader& file, Answer answer, const NamePattern* function, const std::string& at);

// TypeQuery.cpp

struct TypeOptions {
    std::vector<std::string> names; ///< or ids; none for all types
    bool regex = false;             ///< the names are regular expressions
    bool holes = false;             ///< a table of those that lose bytes to holes and padding, the worst first
};

int ListTypes(Loader& file, Answer answer, const TypeOptions& options, const Selection& selection);

// NameQuery.cpp

struct FindOptions {
    std::vector<std::string> names; ///< without any, one a line from standard input
    bool regex = false;             ///< the names are regular expressions
};

int FindNames(Loader& file, Answer answer, const FindOptions& options);

// AddressQuery.cpp

struct AtOptions {
    std::vector<std::string> addresses; ///< as AddressInput takes them; without any, any text from standard input
    bool inlines = false;               ///< tell the chain of inlined functions; JSON has it always
    bool annotate = false;              ///< echo the text with the answers in it
};

int ResolveAddresses(Loader& file, Answer answer, const AtOptions& options);
