// The requests that load a file, and the order in which all of it is loaded.
#include "host/Loader.h"

#include "host/ShownFile.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

Loader::Loader(DbgSymbolicInterface& plugin, const std::string& path, u32 key)
    : m_plugin(plugin)
    , m_store(path, key)
    , m_shownPath(path)
{
}

Loader::Loader(DbgSymbolicInterface& plugin, const ShownFile& file, u32 key)
    : m_plugin(plugin)
    , m_store(file.Path(), key)
    , m_shownPath(file.ShownPath())
{
}

Loader::~Loader()
{
    if (m_added) {
        const DbgSymContext context = Context();
        m_plugin.RemoveFile(&context);
    }
}

u32 Loader::Rate()
{
    m_rating = m_plugin.CheckFile(&m_store);
    return m_rating;
}

bool Loader::Add()
{
    m_added = m_added || m_plugin.AddFile(&m_store, m_store.GetId());
    return m_added;
}

DbgSymContext Loader::Context() const
{
    DbgSymContext context;
    context.symFile = m_store.GetId();
    return context;
}

void Loader::LoadSections()
{
    if (!m_sectionsLoaded) {
        m_sectionsLoaded = true;
        const DbgSymContext context = Context();
        m_plugin.LoadSections(&context);
    }
}

void Loader::LoadIndex()
{
    LoadSections();
    if (m_indexLoaded) {
        return;
    }
    m_indexLoaded = true;
    const std::size_t sections = m_store.GetSectionList().Count();
    DbgSymContext context = Context();
    context.fileScope = kContents;
    m_plugin.LoadSymbols(&context);
    m_unitCount = m_store.FileScopeCount();
    if (m_store.GetSectionList().Count() > sections) {
        m_relocationSection = m_store.GetSectionList().At(sections).id;
    }
}

void Loader::LoadUnit(u32 unitId)
{
    if (m_unitsLoaded.insert(unitId).second) {
        DbgSymContext context = Context();
        context.fileScope = unitId;
        context.funcScope = kContents;
        context.loadTarget = unitId;
        m_plugin.LoadSymbols(&context);
        if (onUnit) {
            onUnit(m_unitsLoaded.size());
        }
    }
}

void Loader::LoadScopes(const DbgSymFuncScope& function)
{
    if (m_scopesLoaded.insert(function.id).second) {
        DbgSymContext context = Context();
        context.fileScope = UnitOf(function.fileId, function.id);
        context.funcScope = function.id;
        context.subScope = kContents;
        m_plugin.LoadSymbols(&context);
    }
}

void Loader::LoadLines(u32 unitId)
{
    if (m_linesLoaded.insert(unitId).second) {
        DbgSymContext context = Context();
        context.fileScope = unitId;
        context.loadTarget = unitId;
        m_plugin.LoadLineTable(&context);
        if (onUnit) {
            onUnit(m_linesLoaded.size());
        }
    }
}

void Loader::Load(LoadDepth depth)
{
    if (depth == LoadDepth::None) {
        return;
    }
    LoadIndex();
    if (depth == LoadDepth::Index) {
        return;
    }
    LoadUnitsUpTo(depth);
    if (depth == LoadDepth::All) {
        LoadAllLines();
    }
}

void Loader::LoadUnitsUpTo(LoadDepth depth)
{
    for (std::size_t unit = 0; unit < m_unitCount; ++unit) {
        const std::size_t before = m_store.FuncScopeCount();
        LoadUnit(m_store.FileScopeAt(unit).GetId());
        if (depth == LoadDepth::All) {
            const std::size_t after = m_store.FuncScopeCount();
            for (std::size_t function = before; function < after; ++function) {
                LoadScopes(m_store.FuncScopeAt(function));
            }
        }
    }
}

void Loader::LoadAllLines()
{
    // A walk may have met the entry of a unit once more, or of one that the index doesn't have. Each
    // file scope of the store is asked for, also where two have one id: a second run adds its rows
    // to the first's.
    const std::unordered_set<u32> before = m_linesLoaded;
    for (std::size_t unit = 0; unit < m_store.FileScopeCount(); ++unit) {
        const u32 id = m_store.FileScopeAt(unit).GetId();
        if (!before.contains(id)) {
            m_linesLoaded.erase(id);
            LoadLines(id);
        }
    }
}

DbgAddress Loader::AddressOf(u32 linkAddress) const
{
    DbgAddress address;
    if (SectionRelative()) {
        address.SetAddress(linkAddress, m_relocationSection, 1, 0xFFFF);
    } else {
        address.value = linkAddress;
    }
    return address;
}

u32 Loader::UnitOf(u32 fileScope, u32 id) const
{
    if (fileScope != kNone) {
        return fileScope;
    }
    const DbgSymSrcFile* unit = m_store.FileScopeOfDie(id);
    return unit == nullptr ? kNone : unit->GetId();
}

std::string WhyUnreadable(const std::string& path)
{
    // Without O_NONBLOCK a pipe of that name would hold the program up.
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::strerror(errno);
    }
    struct stat status {};
    std::string why;
    if (fstat(descriptor, &status) != 0) {
        why = std::strerror(errno);
    } else if (S_ISDIR(status.st_mode)) {
        why = std::strerror(EISDIR);
    } else if (!S_ISREG(status.st_mode)) {
        why = "Not a regular file";
    }
    close(descriptor);
    return why;
}

std::string WhyNotElf32(const std::string& path)
{
    if (VFKElfFile::QuickValidityCheck(path)) {
        return {};
    }
    u8 ident[kIdentClass + 1] = {};
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = descriptor < 0 ? -1 : read(descriptor, ident, sizeof ident);
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (count != sizeof ident || std::memcmp(ident, kElfMagic, sizeof kElfMagic) != 0) {
        return "Not an ELF file";
    }
    return ident[kIdentClass] == kElfClass64 ? "A 64-bit ELF file; only 32-bit ones are read" : "A damaged ELF header";
}
