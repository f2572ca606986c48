// What the host's tests share: a plug-in that does as it is told, and runs of the real programs.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Types.h"

#include <functional>
#include <string>
#include <vector>

/// Answers what its members say and notes each request as one line of text.
class FakePlugin : public DbgSymbolicInterface {
public:
    using Answer = std::function<void(DbgSymSymFile& store, u32 id)>;
    Answer onSections;
    Answer onIndex;
    Answer onUnit;
    Answer onLines;
    std::vector<std::string> requests;

    const char* GetName() override { return "fake"; }
    u32 CheckFile(DbgSymSymFile*) override { return Note("check", {}), 127; }
    bool AddFile(DbgSymSymFile* symFile, u32 key) override
    {
        m_store = symFile;
        return Note("add " + std::to_string(key), {}), true;
    }
    void RemoveFile(const DbgSymContext* ctx) override { Note("remove " + std::to_string(ctx->symFile), {}); }
    void LoadSections(const DbgSymContext*) override { Note("sections", onSections); }
    void LoadSymbols(const DbgSymContext* ctx) override
    {
        if (ctx->fileScope == kContents) {
            Note("index", onIndex);
        } else if (ctx->funcScope == kContents) {
            Note("unit " + std::to_string(ctx->loadTarget), onUnit, ctx->loadTarget);
        } else if (ctx->subScope == kContents) {
            Note("scopes " + std::to_string(ctx->funcScope) + " of " + std::to_string(ctx->fileScope), {});
        }
    }
    void LoadLineTable(const DbgSymContext* ctx) override
    {
        Note("lines " + std::to_string(ctx->loadTarget), onLines, ctx->loadTarget);
    }
    bool LoadSymbolByName(const DbgSymContext*, const char*) override { return false; }
    bool FindElfSymbolByName(const DbgSymContext*, const char*, DbgAddrRange*) override { return false; }
    bool FindElfSymbolByAddress(const DbgSymContext*, const DbgContext*, const DbgAddress*, std::string*,
                                DbgAddrRange*) override
    {
        return false;
    }
    u32 ConsoleCommand(const DbgSymContext*, const std::string*, DbgUIConsole*) override { return 0; }

private:
    void Note(const std::string& request, const Answer& answer, u32 id = 0)
    {
        requests.push_back(request);
        if (answer) {
            answer(*m_store, id);
        }
    }

    DbgSymSymFile* m_store = nullptr;
};

/// A range with a start and a size; absolute without a section.
inline DbgAddrRange RangeOf(u32 value, u32 size, u32 section = kNone)
{
    DbgAddrRange range;
    range.value = value;
    range.section = section;
    range.size = size;
    return range;
}

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

std::string Sample(const std::string& name);
std::vector<std::string> SplitLines(const std::string& text);
