// The symbol store: lists in the order in which things came, hash indexes by id, one pool of texts. If memory for a
// thing runs out, the store is unchanged: room in the indexes is made first.
#include "interfaces/DbgSymSymFile.h"

#include "ChunkList.h"
#include "IdIndex.h"
#include "TextAllowance.h"
#include "TextPool.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

namespace {

struct FileScope {
    FileScope(u32 id, std::string path, const DbgAddrRange& addressRange, u32 lineOffset, VFKArena& memory)
        : file(id, std::move(path), &memory)
        , range{addressRange, lineOffset}
    {
    }

    DbgSymSrcFile file;
    FileRange range;
};

/// What a pointer to a variable or type keeps alive: all of them, and all texts. The pointers share the ownership of
/// the whole, which saves a control block for each.
struct Kept {
    VFKArena arena;
    engine::TextPool texts{arena};
    engine::ChunkList<DbgVariable> variables{arena};
    engine::ChunkList<DbgUserDefinedVarType> types{arena};
};

/// An index by id that adds what a list has received since the last question.
class LateIndex {
public:
    template <typename List>
    u32 Find(const List& list, u32 id)
    {
        for (; m_indexed < list.Count(); ++m_indexed) {
            m_ids.Insert(list[m_indexed].id, static_cast<u32>(m_indexed));
        }
        return m_ids.Find(id);
    }

private:
    engine::IdIndex m_ids;
    std::size_t m_indexed = 0;
};

/// Finds the greatest id at or below an offset. Ids mostly come in ascending order; if not, they are sorted when a
/// question comes.
class UnitOrder {
public:
    /// Makes sure that the next Add needs no memory.
    void MakeRoom()
    {
        if (m_units.size() == m_units.capacity()) {
            m_units.reserve(2 * m_units.size() + 16);
        }
    }

    void Add(u32 id, u32 index)
    {
        m_sorted = m_sorted && (m_units.empty() || m_units.back().first < id);
        m_units.emplace_back(id, index);
    }

    u32 Find(u32 offset)
    {
        if (!m_sorted) {
            std::sort(m_units.begin(), m_units.end());
            m_sorted = true;
        }
        const auto behind = std::upper_bound(m_units.begin(), m_units.end(), std::pair(offset, kNone));
        return behind == m_units.begin() ? kNone : (behind - 1)->second;
    }

private:
    std::vector<std::pair<u32, u32>> m_units; ///< id and index
    bool m_sorted = true;
};

} // namespace

struct DbgSymSymFile::Contents {
    Contents() = default;
    ~Contents()
    {
        if (engine::g_typeNames == &typeNames) {
            engine::g_typeNames = nullptr;
        }
    }
    Contents(const Contents&) = delete;
    Contents& operator=(const Contents&) = delete;

    boost::shared_ptr<Kept> kept{new Kept};

    std::deque<FileScope> files;
    engine::IdIndex fileIds;
    UnitOrder units;
    engine::TextAllowance paths = engine::TextAllowance::ForKeeping();

    engine::ChunkList<DbgSymFuncScope> functions{kept->arena};
    engine::IdIndex functionIds;
    engine::ChunkList<DbgSymSubScope> blocks{kept->arena};
    LateIndex blockIds;
    LateIndex variableIds;

    engine::IdIndex typeIds;
    engine::TextAllowance typeNames = engine::TextAllowance::ForReading();

    /// Index of a type in `types`, or kNone. Names of types made from now on count for this store.
    u32 FindType(unsigned long id)
    {
        engine::g_typeNames = &typeNames;
        return typeIds.Find(static_cast<u32>(id));
    }
};

DbgSymSymFile::DbgSymSymFile(std::string path, u32 id)
    : m_path(std::move(path))
    , m_id(id)
    , m_contents(std::make_unique<Contents>())
{
}

DbgSymSymFile::~DbgSymSymFile() = default;

u32 DbgSymSymFile::GetNewSectionID()
{
    static u32 last = 0;
    return ++last;
}

DbgSymSrcFile* DbgSymSymFile::AddFileScope(u32 id, const std::string& path, const DbgAddrRange& range, u32 lineOffset,
                                           u32 /*language*/, bool /*flag*/)
{
    Contents& contents = *m_contents;
    const auto index = static_cast<u32>(contents.files.size());
    contents.fileIds.MakeRoom();
    contents.units.MakeRoom();
    std::string ownPath(path, 0, contents.paths.Take(path.size()));
    FileScope& added = contents.files.emplace_back(id, std::move(ownPath), range, lineOffset, contents.kept->arena);
    if (contents.fileIds.Insert(id, index)) {
        contents.units.Add(id, index);
    }
    return &added.file;
}

DbgSymSrcFile* DbgSymSymFile::FindFileScope(u32 id, const FileRange** fileRange)
{
    const u32 index = m_contents->fileIds.Find(id);
    if (index == kNone) {
        return nullptr;
    }
    FileScope& found = m_contents->files[index];
    if (fileRange != nullptr) {
        *fileRange = &found.range;
    }
    return &found.file;
}

const DbgSymFuncScope* DbgSymSymFile::AddFuncScope(const DbgSymContext& /*context*/, u32 id, u32 fileId,
                                                   const char* name, const DbgAddrRange& range)
{
    Contents& contents = *m_contents;
    contents.functionIds.MakeRoom();
    contents.functionIds.Prefetch(id);
    const auto index = static_cast<u32>(contents.functions.Count());
    const std::string_view text = contents.kept->texts.Keep(name == nullptr ? "" : name);
    const DbgSymFuncScope& added = contents.functions.Add({id, fileId, text, range});
    contents.functionIds.Insert(id, index);
    return &added;
}

const DbgSymSubScope* DbgSymSymFile::AddSubScope(const DbgSymContext& context, u32 id, const DbgAddrRange& range,
                                                 const char* name)
{
    return &m_contents->blocks.Add({id, context, KeepText(name), range});
}

boost::shared_ptr<DbgVariable> DbgSymSymFile::AddVariable(const DbgSymContext& context, u32 id, DbgVariableScope scope,
                                                          const char* name, unsigned long byteSize,
                                                          DbgVariableBaseType baseType, unsigned short qualifiers,
                                                          const VFKDataString& location, unsigned long udtId)
{
    const boost::shared_ptr<Kept>& kept = m_contents->kept;
    DbgVariable variable;
    if (!kept->texts.KeepBytes(location.bytes, variable.location)) {
        return {}; // a part of a location would mean another place
    }
    variable.context = context;
    variable.id = id;
    variable.scope = scope;
    variable.name = kept->texts.Keep(name == nullptr ? "" : name);
    variable.byteSize = static_cast<u32>(byteSize);
    variable.baseType = baseType;
    variable.qualifiers = qualifiers;
    variable.udtId = static_cast<u32>(udtId);
    variable.littleEndian = location.LittleEndian();
    return {kept, &kept->variables.Add(variable)};
}

bool DbgSymSymFile::HasUserDefinedType(unsigned long id)
{
    return m_contents->FindType(id) != kNone;
}

boost::shared_ptr<DbgUserDefinedVarType> DbgSymSymFile::GetUserDefinedType(unsigned long id)
{
    const u32 index = m_contents->FindType(id);
    if (index == kNone) {
        return {};
    }
    const boost::shared_ptr<Kept>& kept = m_contents->kept;
    return {kept, &kept->types[index]};
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the engine is given a pointer of its own.
void DbgSymSymFile::AddUserDefinedType(boost::shared_ptr<DbgUserDefinedVarType> type)
{
    if (type == nullptr) {
        return;
    }
    Contents& contents = *m_contents;
    const u32 id = type->GetId();
    engine::g_typeNames = &contents.typeNames;
    contents.typeIds.MakeRoom();
    contents.typeIds.Prefetch(id);
    // Many types share a name: from here on the store keeps it.
    const char* name = KeepText(type->m_name);
    const auto index = static_cast<u32>(contents.kept->types.Count());
    DbgUserDefinedVarType& added = contents.kept->types.Add(std::move(*type));
    added.DropName();
    added.m_name = name;
    contents.typeIds.Insert(id, index);
}

const char* DbgSymSymFile::KeepText(const char* text)
{
    return text == nullptr ? nullptr : m_contents->kept->texts.Keep(text).data();
}

std::size_t DbgSymSymFile::FileScopeCount() const
{
    return m_contents->files.size();
}

const DbgSymSrcFile& DbgSymSymFile::FileScopeAt(std::size_t index) const
{
    return m_contents->files[index].file;
}

DbgSymSrcFile& DbgSymSymFile::FileScopeAt(std::size_t index)
{
    return m_contents->files[index].file;
}

const FileRange& DbgSymSymFile::FileRangeAt(std::size_t index) const
{
    return m_contents->files[index].range;
}

std::size_t DbgSymSymFile::FuncScopeCount() const
{
    return m_contents->functions.Count();
}

const DbgSymFuncScope& DbgSymSymFile::FuncScopeAt(std::size_t index) const
{
    return m_contents->functions[index];
}

std::size_t DbgSymSymFile::SubScopeCount() const
{
    return m_contents->blocks.Count();
}

const DbgSymSubScope& DbgSymSymFile::SubScopeAt(std::size_t index) const
{
    return m_contents->blocks[index];
}

std::size_t DbgSymSymFile::VariableCount() const
{
    return m_contents->kept->variables.Count();
}

const DbgVariable& DbgSymSymFile::VariableAt(std::size_t index) const
{
    return m_contents->kept->variables[index];
}

std::size_t DbgSymSymFile::TypeCount() const
{
    return m_contents->kept->types.Count();
}

const DbgUserDefinedVarType& DbgSymSymFile::TypeAt(std::size_t index) const
{
    return m_contents->kept->types[index];
}

const DbgSymFuncScope* DbgSymSymFile::FindFuncScope(u32 id) const
{
    const u32 index = m_contents->functionIds.Find(id);
    return index == kNone ? nullptr : &m_contents->functions[index];
}

const DbgSymSubScope* DbgSymSymFile::FindSubScope(u32 id) const
{
    const u32 index = m_contents->blockIds.Find(m_contents->blocks, id);
    return index == kNone ? nullptr : &m_contents->blocks[index];
}

const DbgVariable* DbgSymSymFile::FindVariable(u32 id) const
{
    const u32 index = m_contents->variableIds.Find(m_contents->kept->variables, id);
    return index == kNone ? nullptr : &m_contents->kept->variables[index];
}

const DbgSymSrcFile* DbgSymSymFile::FileScopeOfDie(u32 dieOffset) const
{
    const u32 index = m_contents->units.Find(dieOffset);
    return index == kNone ? nullptr : &m_contents->files[index].file;
}
