// Source files and their line tables: rows in the order given, look-ups through indexes made on first use.
#include "interfaces/DbgSymSrcFile.h"

#include "AddressMap.h"
#include "ChunkList.h"
#include "Hashing.h"
#include "TextAllowance.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace {

/// The upper half tells sections apart.
u64 KeyOf(u32 value, u32 section)
{
    return u64{section} << 32 | value;
}

/// The keys of a row that has bytes; they end at 4 GiB.
engine::AddressRun RunOf(const DbgAddrRange& range, u32 owner)
{
    const u64 last = std::min<u64>(u64{range.value} + range.size - 1, 0xFFFFFFFFu);
    return {KeyOf(range.value, range.section), KeyOf(static_cast<u32>(last), range.section), owner};
}

bool Holds(const DbgAddrRange& range, u32 value, u32 section)
{
    // Compared as a difference: the sum of start and size may wrap.
    return range.section == section && value >= range.value && value - range.value < range.size;
}

struct TextHash {
    u64 seed = engine::ProcessSeed();
    std::size_t operator()(std::string_view text) const { return engine::HashBytes(text, seed); }
};

/// The paths of the files that rows name, each kept once. Beyond an allowance they are cut.
class PathSet {
public:
    u32 IndexOf(std::string_view path)
    {
        path = path.substr(0, m_reading.Take(path.size()));
        // Rows alternate between a few files, whose paths are mostly given at the same addresses.
        u32& recent = m_recent[reinterpret_cast<std::uintptr_t>(path.data()) / 16 % m_recent.size()];
        if (recent >= m_paths.size() || m_paths[recent] != path) {
            recent = Keep(path);
        }
        return recent;
    }

    u32 Find(std::string_view path) const
    {
        const auto found = m_byText.find(path);
        return found == m_byText.end() ? kNone : found->second;
    }

    const std::string* At(u32 index) const { return index < m_paths.size() ? &m_paths[index] : nullptr; }

private:
    u32 Keep(std::string_view path)
    {
        u32 index = Find(path);
        if (index == kNone && m_keeping.Take(path.size()) < path.size()) {
            path = path.substr(0, engine::TextAllowance::kShortText);
            index = Find(path);
        }
        if (index == kNone) {
            index = static_cast<u32>(m_paths.size());
            m_byText.emplace(m_paths.emplace_back(path), index);
        }
        return index;
    }

    std::deque<std::string> m_paths; ///< never moved
    std::unordered_map<std::string_view, u32, TextHash> m_byText;
    std::array<u32, 16> m_recent{}; ///< indexes, by the address at which the text was given
    // For each table alone: very many tables may have the same rows.
    engine::TextAllowance m_reading{u64{4} << 20, 512};
    engine::TextAllowance m_keeping{u64{4} << 20, 256};
};

} // namespace

/// The last row may still be changed through the pointer that AddLineEntry returned. So the indexes cover only the rows
/// before it, and a look-up checks the last one by itself.
struct DbgSymLineTable::Rows {
    /// @param memory holds the rows; null for an arena of the table's own.
    explicit Rows(VFKArena* memory)
        : ownMemory(memory == nullptr ? std::make_unique<VFKArena>() : nullptr)
        , entries(memory == nullptr ? *ownMemory : *memory)
    {
    }

    std::unique_ptr<VFKArena> ownMemory;
    engine::ChunkList<DbgSymLineEntry> entries;
    PathSet paths;
    engine::AddressMap byAddress; ///< of indexes in `entries`
    std::vector<u32> byLine;      ///< indexes in `entries`, by line and then in their order
    bool addressesChanged = true;
    bool linesChanged = true;

    void IndexAddresses()
    {
        if (!addressesChanged) {
            return;
        }
        std::vector<engine::AddressRun> runs;
        runs.reserve(entries.Count());
        for (u32 index = 0; index + 1 < entries.Count(); ++index) {
            if (entries[index].range.size != 0) {
                runs.push_back(RunOf(entries[index].range, index));
            }
        }
        byAddress.Build(std::move(runs));
        addressesChanged = false;
    }

    void IndexLines()
    {
        if (!linesChanged) {
            return;
        }
        byLine.resize(entries.Count() - 1);
        std::iota(byLine.begin(), byLine.end(), 0u);
        std::stable_sort(byLine.begin(), byLine.end(),
                         [this](u32 left, u32 right) { return entries[left].line < entries[right].line; });
        linesChanged = false;
    }
};

DbgSymLineTable::DbgSymLineTable(const DbgSymSrcFile* srcFile, VFKArena* memory)
    : m_srcFile(srcFile)
    , m_memory(memory)
{
}

DbgSymLineTable::~DbgSymLineTable() = default;

DbgSymLineEntry* DbgSymLineTable::AddLineEntry(u32 line, const DbgAddress* address, u16 column, const std::string* path)
{
    if (address == nullptr) {
        return nullptr;
    }
    if (m_rows == nullptr) {
        m_rows = std::make_unique<Rows>(m_memory);
    }
    DbgSymLineEntry entry;
    static_cast<DbgAddress&>(entry.range) = *address;
    entry.line = line;
    entry.column = column;
    if (path != nullptr) {
        entry.pathIndex = m_rows->paths.IndexOf(*path);
    }
    m_rows->addressesChanged = true;
    m_rows->linesChanged = true;
    return &m_rows->entries.Add(entry);
}

DbgSymLineEntry* DbgSymLineTable::AddLineEntry(u32 line, u32 offset, u32 sectionId, u16 column, const std::string* path)
{
    DbgAddress address;
    address.value = offset;
    address.section = sectionId;
    return AddLineEntry(line, &address, column, path);
}

DbgSymLineEntry* DbgSymLineTable::AddLineEntry(u32 line, u32 address, u16 column, const std::string* path)
{
    return AddLineEntry(line, address, kNone, column, path);
}

std::size_t DbgSymLineTable::Count() const
{
    return m_rows == nullptr ? 0 : m_rows->entries.Count();
}

const DbgSymLineEntry* DbgSymLineTable::GetLineEntryByIdx(u32 index) const
{
    return index < Count() ? &m_rows->entries[index] : nullptr;
}

const std::string* DbgSymLineTable::GetOrigFileDesc() const
{
    return m_srcFile == nullptr ? nullptr : &m_srcFile->GetPath();
}

const std::string* DbgSymLineTable::GetEntryPath(const DbgSymLineEntry& entry) const
{
    return m_rows == nullptr ? nullptr : m_rows->paths.At(entry.pathIndex);
}

void DbgSymLineTable::SetLastEntrySizeByHiPC(const DbgAddress* address)
{
    if (Count() == 0 || address == nullptr) {
        return;
    }
    // An address in another section isn't above the row.
    DbgAddrRange& last = m_rows->entries.Last().range;
    if (address->section == last.section && address->value > last.value) {
        last.size = address->value - last.value;
    }
}

const DbgSymLineEntry* DbgSymLineTable::FindByAddress(u32 value, u32 section) const
{
    if (Count() == 0) {
        return nullptr;
    }
    if (Holds(m_rows->entries.Last().range, value, section)) {
        return &m_rows->entries.Last();
    }
    m_rows->IndexAddresses();
    const u32 index = m_rows->byAddress.Find(KeyOf(value, section));
    return index == kNone ? nullptr : &m_rows->entries[index];
}

std::vector<u32> DbgSymLineTable::FindByLine(u32 line) const
{
    if (Count() == 0) {
        return {};
    }
    m_rows->IndexLines();
    const engine::ChunkList<DbgSymLineEntry>& entries = m_rows->entries;
    std::vector<u32> rows;
    auto at = std::lower_bound(m_rows->byLine.begin(), m_rows->byLine.end(), line,
                               [&entries](u32 index, u32 wanted) { return entries[index].line < wanted; });
    for (; at != m_rows->byLine.end() && entries[*at].line == line; ++at) {
        rows.push_back(*at);
    }
    if (entries.Last().line == line) {
        rows.push_back(static_cast<u32>(Count() - 1));
    }
    return rows;
}

DbgSymSrcFile::DbgSymSrcFile(u32 id, std::string path, VFKArena* memory)
    : m_id(id)
    , m_path(std::move(path))
    , m_lineTable(this, memory)
{
}
