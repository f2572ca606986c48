// Line number programmes that a reader of DWARF 2.0 runs wrong.
#pragma once

#include "interfaces/Types.h"

#include <unordered_set>

class VFKElfFile;

/// The offsets in `.debug_line` of the programmes that the module misreads, and so gives wrong rows for. To it every
/// opcode from 10 on is a special one (DWARF 2.0, 6.2.5.2), whatever the header says; DWARF 3 added standard ones
/// there. A programme that declares them and uses none is read right.
std::unordered_set<u32> MisreadLineProgrammes(const VFKElfFile& elf);
