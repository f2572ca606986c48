// The whole store as JSON Lines.
#pragma once

#include "interfaces/Types.h"

class DbgSymSymFile;
class Loader;
class Output;

/// Loads everything of a file and writes one object a line: the file, the sections, the units, the
/// functions, the blocks, the variables, the types, the lines; within a kind in the order in which
/// the engine was given them. A file rated 0 gives its `file` record alone.
/// @param rating what CheckFile said.
/// @return the exit status: 0, or 1 for a file rated 0.
int ExportStore(Loader& file, u32 rating, Output& output);

/// Writes what the store holds now, in the order in which it came, sections first and line rows last.
void WriteStore(DbgSymSymFile& store, Output& output);
