// What a symbolic plug-in answers. The order of the operations is the order of their virtual slots.
#pragma once

#include "interfaces/Types.h"

#include <string>

class DbgContext;
class DbgSymSymFile;
class DbgUIConsole;
struct DbgAddrRange;
struct DbgAddress;
struct DbgSymContext;

/// A context begins with the key of a file; if it names no file (null, or a key that AddFile didn't get), an operation
/// answers false or 0 or does nothing. Other pointers are borrowed for the call and not null unless said otherwise;
/// what they point to stays untouched on failure. Without memory an operation throws std::bad_alloc. The file stays
/// usable, but what the request was building may be missing for good; AddFile leaves the registry as it was.
class DbgSymbolicInterface {
public:
    /// Tag of the exported function: "dsym".
    static constexpr u32 kTag = 0x6473796D;

    /// Code types: four letters each, read as a big-endian number.
    static constexpr u32 kCodeArm = 0x41524D00;   ///< "ARM"
    static constexpr u32 kCodeThumb = 0x54484D42; ///< "THMB"
    static constexpr u32 kCodeData = 0x44415441;  ///< "DATA"

    virtual ~DbgSymbolicInterface();
    virtual const char* GetName() = 0;
    /// How much of the file can be served: 127 with debug information that has line tables, 63 with debug
    /// information, 2 with an ELF symbol table alone, 0 if it isn't a 32-bit ELF file or has nothing.
    /// @param symFile may be null: 0.
    virtual u32 CheckFile(DbgSymSymFile* symFile) = 0;
    /// Registers the file under `key`, in place of any file registered under it before.
    /// @param symFile must outlive the registration; null: false.
    /// @return false for kNone and kContents.
    virtual bool AddFile(DbgSymSymFile* symFile, u32 key) = 0;
    virtual void RemoveFile(const DbgSymContext* ctx) = 0;
    /// Adds the file's sections to the engine's list, again at each call.
    virtual void LoadSections(const DbgSymContext* ctx) = 0;
    /// The word of the context that holds kContents says what is loaded: the compile units, one
    /// unit's symbols (of the load target) or one function's scopes.
    virtual void LoadSymbols(const DbgSymContext* ctx) = 0;
    /// Adds the rows of the load target, a file scope, to its table, again at each call.
    virtual void LoadLineTable(const DbgSymContext* ctx) = 0;
    /// Loads the types of the first DIE of that name in `.debug_pubnames` (DWARF 2.0, 6.1.1).
    /// @return false if there is no such name.
    virtual bool LoadSymbolByName(const DbgSymContext* ctx, const char* name) = 0;
    /// Address and size of a symbol, as the ELF symbol table has them.
    virtual bool FindElfSymbolByName(const DbgSymContext* ctx, const char* name, DbgAddrRange* range) = 0;
    /// Name and extent of the function at an address, from the ELF symbol table alone.
    /// @param dbgContext converts the address where that is needed; may be null.
    virtual bool FindElfSymbolByAddress(const DbgSymContext* ctx, const DbgContext* dbgContext,
                                        const DbgAddress* address, std::string* name, DbgAddrRange* range) = 0;
    /// What the code at an address is, and how far it extends.
    /// @param codeType gets kCodeArm, kCodeThumb or kCodeData.
    /// @param runLength gets the bytes from the address to where the code type changes.
    /// @return false, with nothing delivered, if the file doesn't tell; also unless overridden.
    virtual bool GetCodeType(const DbgSymContext* ctx, const DbgAddress* address, u32* codeType, u32* runLength,
                             const DbgContext* dbgContext);
    /// @return 1 if the line reached a symbol file, else 0.
    virtual u32 ConsoleCommand(const DbgSymContext* ctx, const std::string* command, DbgUIConsole* console) = 0;
};
