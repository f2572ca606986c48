// The symbol store of one symbol file.
#pragma once

#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/DbgVariable.h"
#include "interfaces/Types.h"

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

class VFKDataString;

/// A file scope's address range and the offset of its line number programme in `.debug_line`.
struct FileRange {
    DbgAddrRange range;
    u32 lineOffset = kNone;
};

/// A function. Texts belong to the store.
struct DbgSymFuncScope {
    u32 id = kNone;     ///< DIE offset
    u32 fileId = kNone; ///< file scope it was given with; kNone if it had none
    std::string_view name;
    DbgAddrRange range;
};

/// A block or an inlined function.
struct DbgSymSubScope {
    u32 id = kNone; ///< DIE offset
    DbgSymContext context;
    const char* name = nullptr; ///< null: no name
    DbgAddrRange range;
};

/// Holds everything that the plug-in found in one symbol file, in the order in which it came, and answers by id in
/// constant time. It copies every text and byte that it is given; equal ones are shared. A second object of the same id
/// is kept as well, but look-ups answer with the first. The operations that the plug-in calls are virtual, so that a
/// debugger can watch or refuse them.
class DbgSymSymFile {
public:
    DbgSymSymFile(std::string path, u32 id);
    virtual ~DbgSymSymFile();
    DbgSymSymFile(const DbgSymSymFile&) = delete;
    DbgSymSymFile& operator=(const DbgSymSymFile&) = delete;

    const std::string& GetPath() const { return m_path; }
    u32 GetId() const { return m_id; }

    /// A section id that no other section of this process has, counted from 1.
    static u32 GetNewSectionID();
    DbgSectionList& GetSectionList() { return m_sections; }
    const DbgSectionList& GetSectionList() const { return m_sections; }

    /// Adds a file scope with a copy of `range`.
    /// @param language, flag the engine's own; always kNone and false.
    /// @return the source file, owned by the store, or null.
    virtual DbgSymSrcFile* AddFileScope(u32 id, const std::string& path, const DbgAddrRange& range, u32 lineOffset,
                                        u32 language, bool flag);
    /// @param fileRange gets a pointer into the store; may be null, and stays untouched on failure.
    virtual DbgSymSrcFile* FindFileScope(u32 id, const FileRange** fileRange);

    virtual const DbgSymFuncScope* AddFuncScope(const DbgSymContext& context, u32 id, u32 fileId, const char* name,
                                                const DbgAddrRange& range);
    /// @param name may be null.
    virtual const DbgSymSubScope* AddSubScope(const DbgSymContext& context, u32 id, const DbgAddrRange& range,
                                              const char* name);
    /// May call back into the plug-in on the same thread.
    virtual boost::shared_ptr<DbgVariable> AddVariable(const DbgSymContext& context, u32 id, DbgVariableScope scope,
                                                       const char* name, unsigned long byteSize,
                                                       DbgVariableBaseType baseType, unsigned short qualifiers,
                                                       const VFKDataString& location, unsigned long udtId);

    virtual bool HasUserDefinedType(unsigned long id);
    /// An empty pointer for an id that the store doesn't hold.
    virtual boost::shared_ptr<DbgUserDefinedVarType> GetUserDefinedType(unsigned long id);
    /// Takes over what the type holds, and leaves the caller's without name and info.
    virtual void AddUserDefinedType(boost::shared_ptr<DbgUserDefinedVarType> type);

    /// A copy of `text` that lives as long as the store; equal texts are kept once.
    /// @return a text with an end zero; null for null.
    const char* KeepText(const char* text);

    /// What the store holds, in the order in which it came.
    std::size_t FileScopeCount() const;
    const DbgSymSrcFile& FileScopeAt(std::size_t index) const;
    DbgSymSrcFile& FileScopeAt(std::size_t index);
    const FileRange& FileRangeAt(std::size_t index) const;
    std::size_t FuncScopeCount() const;
    const DbgSymFuncScope& FuncScopeAt(std::size_t index) const;
    std::size_t SubScopeCount() const;
    const DbgSymSubScope& SubScopeAt(std::size_t index) const;
    std::size_t VariableCount() const;
    const DbgVariable& VariableAt(std::size_t index) const;
    std::size_t TypeCount() const;
    const DbgUserDefinedVarType& TypeAt(std::size_t index) const;

    /// First function, block or variable of that id, or null.
    const DbgSymFuncScope* FindFuncScope(u32 id) const;
    const DbgSymSubScope* FindSubScope(u32 id) const;
    const DbgVariable* FindVariable(u32 id) const;
    /// The file scope in whose unit a DIE offset lies: the one with the greatest id at or below
    /// it. Null if there is none.
    const DbgSymSrcFile* FileScopeOfDie(u32 dieOffset) const;

private:
    struct Contents;
    std::string m_path;
    u32 m_id;
    DbgSectionList m_sections;
    std::unique_ptr<Contents> m_contents;
};
