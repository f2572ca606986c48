// What the host's tests share: a plug-in that does as it is told, and runs of the real programs.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Types.h"

#include <functional>
#include <string>
#include <vector>

/// Answers what its members say and notes each request as one line of text.
class FakePlugin : public DbgSymbolicInterface {
public:
    u32 rating = 127;
    std::function<void(DbgSymSymFile& store)> onSections;
    std::function<void(DbgSymSymFile& store)> onIndex;
    std::function<void(DbgSymSymFile& store, u32 unit)> onUnit;
    std::function<void(DbgSymSymFile& store, u32 function)> onScopes;
    std::function<void(DbgSymSymFile& store, u32 unit)> onLines;
    std::vector<std::string> requests;

    const char* GetName() override { return "fake"; }
    u32 CheckFile(DbgSymSymFile* symFile) override;
    bool AddFile(DbgSymSymFile* symFile, u32 key) override;
    void RemoveFile(const DbgSymContext* ctx) override;
    void LoadSections(const DbgSymContext* ctx) override;
    void LoadSymbols(const DbgSymContext* ctx) override;
    void LoadLineTable(const DbgSymContext* ctx) override;
    bool LoadSymbolByName(const DbgSymContext*, const char*) override { return false; }
    bool FindElfSymbolByName(const DbgSymContext*, const char*, DbgAddrRange*) override { return false; }
    bool FindElfSymbolByAddress(const DbgSymContext*, const DbgContext*, const DbgAddress*, std::string*,
                                DbgAddrRange*) override
    {
        return false;
    }
    u32 ConsoleCommand(const DbgSymContext*, const std::string*, DbgUIConsole*) override { return 0; }

private:
    DbgSymSymFile* m_store = nullptr;
};

/// A range with a start and a size; absolute without a section.
DbgAddrRange RangeOf(u32 value, u32 size, u32 section = kNone);

/// Collects what is written to one end of a pipe, or a file of the test's choice.
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

std::string Sample(const std::string& name);
std::vector<std::string> SplitLines(const std::string& text);
