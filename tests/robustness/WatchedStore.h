// A store that reports each call of the plug-in before it answers it, and refuses it if told to.
#pragma once

#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKDataString.h"

#include <functional>
#include <utility>

enum class EngineCall {
    AddFileScope,
    FindFileScope,
    GetLineTable,
    AddFuncScope,
    AddSubScope,
    AddVariable,
    HasType,
    GetType,
    AddType,
};
constexpr EngineCall kEngineCalls[] = {EngineCall::AddFileScope, EngineCall::FindFileScope, EngineCall::GetLineTable,
                                       EngineCall::AddFuncScope, EngineCall::AddSubScope,   EngineCall::AddVariable,
                                       EngineCall::HasType,      EngineCall::GetType,       EngineCall::AddType};

class SourceWithoutTable : public DbgSymSrcFile {
public:
    using DbgSymSrcFile::DbgSymSrcFile;
    DbgSymLineTable* GetLineTableMember() override { return nullptr; }
};

class WatchedStore : public DbgSymSymFile {
public:
    using DbgSymSymFile::DbgSymSymFile;

    /// Asked at each call. False refuses it: null, false, or nothing done.
    std::function<bool(EngineCall)> allows = [](EngineCall) { return true; };

    DbgSymSrcFile* AddFileScope(u32 id, const std::string& path, const DbgAddrRange& range, u32 lineOffset,
                                u32 language, bool flag) override
    {
        return !allows(EngineCall::AddFileScope)
                   ? nullptr
                   : DbgSymSymFile::AddFileScope(id, path, range, lineOffset, language, flag);
    }

    DbgSymSrcFile* FindFileScope(u32 id, const FileRange** range) override
    {
        DbgSymSrcFile* source = allows(EngineCall::FindFileScope) ? DbgSymSymFile::FindFileScope(id, range) : nullptr;
        return source != nullptr && !allows(EngineCall::GetLineTable) ? &m_sourceWithoutTable : source;
    }

    const DbgSymFuncScope* AddFuncScope(const DbgSymContext& context, u32 id, u32 fileId, const char* name,
                                        const DbgAddrRange& range) override
    {
        return !allows(EngineCall::AddFuncScope) ? nullptr
                                                 : DbgSymSymFile::AddFuncScope(context, id, fileId, name, range);
    }

    const DbgSymSubScope* AddSubScope(const DbgSymContext& context, u32 id, const DbgAddrRange& range,
                                      const char* name) override
    {
        return !allows(EngineCall::AddSubScope) ? nullptr : DbgSymSymFile::AddSubScope(context, id, range, name);
    }

    boost::shared_ptr<DbgVariable> AddVariable(const DbgSymContext& context, u32 id, DbgVariableScope scope,
                                               const char* name, unsigned long byteSize, DbgVariableBaseType baseType,
                                               unsigned short qualifiers, const VFKDataString& location,
                                               unsigned long udtId) override
    {
        if (!allows(EngineCall::AddVariable)) {
            return {};
        }
        return DbgSymSymFile::AddVariable(context, id, scope, name, byteSize, baseType, qualifiers, location, udtId);
    }

    bool HasUserDefinedType(unsigned long id) override
    {
        return allows(EngineCall::HasType) && DbgSymSymFile::HasUserDefinedType(id);
    }

    boost::shared_ptr<DbgUserDefinedVarType> GetUserDefinedType(unsigned long id) override
    {
        return allows(EngineCall::GetType) ? DbgSymSymFile::GetUserDefinedType(id) : nullptr;
    }

    void AddUserDefinedType(boost::shared_ptr<DbgUserDefinedVarType> type) override
    {
        if (allows(EngineCall::AddType)) {
            DbgSymSymFile::AddUserDefinedType(std::move(type));
        }
    }

private:
    SourceWithoutTable m_sourceWithoutTable{0, ""};
};
