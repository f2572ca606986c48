// What the debug engine sees of the module: each operation finds the file that the context names and forwards to it.
#pragma once

#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Types.h"

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

class Dwarf2File;

/// An operation on a context that names no registered file does nothing and answers false, 0 or
/// nothing. One call at a time: there is no lock.
class Dwarf2SymbolicPlugin : public DbgSymbolicInterface {
public:
    ~Dwarf2SymbolicPlugin() override;
    const char* GetName() override;
    u32 CheckFile(DbgSymSymFile* symFile) override;
    bool AddFile(DbgSymSymFile* symFile, u32 key) override;
    void RemoveFile(const DbgSymContext* ctx) override;
    void LoadSections(const DbgSymContext* ctx) override;
    void LoadSymbols(const DbgSymContext* ctx) override;
    void LoadLineTable(const DbgSymContext* ctx) override;
    bool LoadSymbolByName(const DbgSymContext* ctx, const char* name) override;
    bool FindElfSymbolByName(const DbgSymContext* ctx, const char* name, DbgAddrRange* range) override;
    bool FindElfSymbolByAddress(const DbgSymContext* ctx, const DbgContext* dbgContext, const DbgAddress* address,
                                std::string* name, DbgAddrRange* range) override;
    bool GetCodeType(const DbgSymContext* ctx, const DbgAddress* address, u32* codeType, u32* runLength,
                     const DbgContext* dbgContext) override;
    u32 ConsoleCommand(const DbgSymContext* ctx, const std::string* command, DbgUIConsole* console) override;

private:
    /// The file that the context's first word names, held for the length of the operation: the
    /// engine may remove it from within. Empty if there is none.
    boost::shared_ptr<Dwarf2File> Resolve(const DbgSymContext* ctx) const;

    std::map<u32, boost::shared_ptr<Dwarf2File>> m_files; ///< by the key given to AddFile
};
