// Keeps the registry of files, and forwards each operation to the file that it concerns.
#include "frame/Dwarf2SymbolicPlugin.h"

#include "image/Dwarf2File.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKElfFile.h"

#include <new>

Dwarf2SymbolicPlugin::~Dwarf2SymbolicPlugin() = default;

boost::shared_ptr<Dwarf2File> Dwarf2SymbolicPlugin::Resolve(const DbgSymContext* ctx) const
{
    if (ctx == nullptr || !ctx->ValidSymFileContext()) {
        return {};
    }
    const auto found = m_files.find(ctx->symFile);
    return found == m_files.end() ? boost::shared_ptr<Dwarf2File>() : found->second;
}

const char* Dwarf2SymbolicPlugin::GetName()
{
    return "DWARF 2.0 Symbolic Plug-in";
}

u32 Dwarf2SymbolicPlugin::CheckFile(DbgSymSymFile* symFile)
{
    if (symFile == nullptr || !VFKElfFile::QuickValidityCheck(symFile->GetPath())) {
        return 0;
    }
    return Dwarf2File(symFile).Capability();
}

bool Dwarf2SymbolicPlugin::AddFile(DbgSymSymFile* symFile, u32 key)
{
    if (symFile == nullptr || key == kNone || key == kContents) {
        return false;
    }
    boost::shared_ptr<Dwarf2File> file(new (std::nothrow) Dwarf2File(symFile));
    if (!file) {
        return false;
    }
    m_files[key] = file;
    return true;
}

void Dwarf2SymbolicPlugin::RemoveFile(const DbgSymContext* ctx)
{
    if (ctx != nullptr) {
        m_files.erase(ctx->symFile);
    }
}

void Dwarf2SymbolicPlugin::LoadSections(const DbgSymContext* ctx)
{
    if (const auto file = Resolve(ctx)) {
        file->LoadAllSections();
    }
}

void Dwarf2SymbolicPlugin::LoadSymbols(const DbgSymContext* ctx)
{
    const auto file = Resolve(ctx);
    if (!file) {
        return;
    }
    if (ctx->fileScope == kContents) {
        file->BuildCompileUnitIndex();
    } else if (ctx->funcScope == kContents) {
        file->LoadCompileUnitSymbols(ctx->loadTarget);
    } else if (ctx->subScope == kContents) {
        file->LoadFunctionScopes(ctx);
    }
}

void Dwarf2SymbolicPlugin::LoadLineTable(const DbgSymContext* ctx)
{
    const auto file = Resolve(ctx);
    if (!file || file->SymFile() == nullptr) {
        return;
    }
    const FileRange* fileRange = nullptr;
    DbgSymSrcFile* srcFile = file->SymFile()->FindFileScope(ctx->loadTarget, &fileRange);
    if (srcFile == nullptr || fileRange == nullptr) {
        return;
    }
    DbgSymLineTable* lineTable = srcFile->GetLineTableMember();
    if (lineTable != nullptr) {
        file->BuildLineTable(srcFile, lineTable, &fileRange->range, fileRange->lineOffset);
    }
}

bool Dwarf2SymbolicPlugin::LoadSymbolByName(const DbgSymContext* ctx, const char* name)
{
    const auto file = Resolve(ctx);
    return file && file->LoadSymbolByName(ctx, name);
}

bool Dwarf2SymbolicPlugin::FindElfSymbolByName(const DbgSymContext* ctx, const char* name, DbgAddrRange* range)
{
    const auto file = Resolve(ctx);
    return file && file->FindElfSymbolByName(name, range);
}

bool Dwarf2SymbolicPlugin::FindElfSymbolByAddress(const DbgSymContext* ctx, const DbgContext* dbgContext,
                                                  const DbgAddress* address, std::string* name, DbgAddrRange* range)
{
    const auto file = Resolve(ctx);
    return file && file->FindElfSymbolByAddress(dbgContext, address, name, range);
}

bool Dwarf2SymbolicPlugin::GetCodeType(const DbgSymContext* ctx, const DbgAddress* address, u32* codeType,
                                       u32* runLength, const DbgContext* dbgContext)
{
    const auto file = Resolve(ctx);
    return file && file->GetCodeType(address, codeType, runLength, dbgContext);
}

u32 Dwarf2SymbolicPlugin::ConsoleCommand(const DbgSymContext* ctx, const std::string* command, DbgUIConsole* console)
{
    const auto file = Resolve(ctx);
    return file ? file->ConsoleCommand(command, console) : 0;
}
