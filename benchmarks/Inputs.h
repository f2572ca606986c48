// Files for the benchmarks, made by the tests' assembler: as many units, functions and types as asked
// for, in the forms and the order in which compilers write them.
#pragma once

#include "image/Dwarf2File.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/Types.h"
#include "tests/support/ElfWriter.h"

#include <memory>

/// A file on disk with its store and the object that serves it.
struct Input {
    /// @param functionsPerUnit each has two parameters, a block and a local; a structure of four
    ///        members, a pointer and a typedef go with it, and ten line rows.
    Input(u32 units, u32 functionsPerUnit);

    /// Starts anew on the same file.
    void Reopen();

    TempFile file;
    std::unique_ptr<DbgSymSymFile> store;
    std::unique_ptr<Dwarf2File> dwarf;
};
