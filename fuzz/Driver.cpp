// The host of the fuzz targets. How many names, addresses and entries of one file it asks for is
// bounded, so that the work for an input grows with its size.
#include "fuzz/Driver.h"

#include "frame/Preferences.h"
#include "host/AddressLookup.h"
#include "host/Export.h"
#include "host/TypeText.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"
#include "interfaces/VFKElfFile.h"
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/mman.h>
#include <unistd.h>

extern "C" void* GetInterface(u32 tag);

namespace {

constexpr std::size_t kMaxAsked = 16;

/// What can't go on has nothing to do with the input.
void Require(bool holds, const char* what)
{
    if (!holds) {
        std::perror(what);
        std::_Exit(2);
    }
}

DbgSymbolicInterface& Plugin()
{
    return *static_cast<DbgSymbolicInterface*>(GetInterface(DbgSymbolicInterface::kTag));
}

const std::string& PathOf(std::string_view image)
{
    static const MemoryFile file;
    file.Write(image);
    return file.Path();
}

void SetPreferences(Settings settings, std::string_view staticBase)
{
    g_prefs = Preferences{};
    g_prefs.codeSectName = ".text";
    g_prefs.relocateLibs = settings.Library();
    g_prefs.enableSb = settings.StaticBase();
    g_prefs.sbExpr = staticBase;
    if (settings.OmitsVariables()) {
        g_prefs.omitArtificialVars = true;
        g_prefs.omitVarsStart = {"c", "__"};
    }
}

DigestOutput& Sink()
{
    static DigestOutput output;
    return output;
}

/// A descriptor of always the same number: the path shows in what is written.
int OpenMemory()
{
    constexpr int kDescriptor = 500;
    const int any = memfd_create("input", MFD_CLOEXEC);
    const int fixed = fcntl(any, F_DUPFD_CLOEXEC, kDescriptor);
    close(any);
    return fixed;
}

u64 g_exported = 0;

/// Runs with the scratch folder as the current one, which is empty again afterwards.
void InScratchFolder(const std::function<void()>& body)
{
    static const ScratchFolder folder;
    const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    Require(before >= 0 && chdir(folder.Path().c_str()) == 0, "scratch folder");
    body();
    Require(fchdir(before) == 0, "current folder");
    close(before);
    folder.Clear();
}

/// Lets no line leave the scratch folder: what could be a file's name keeps no separator.
std::string Confined(std::string line)
{
    const std::size_t name = line.find('>');
    if (name != std::string::npos && !line.ends_with("> /dev/full")) {
        std::replace(line.begin() + static_cast<std::ptrdiff_t>(name), line.end(), '/', '_');
    }
    return line;
}

/// Of `count` things, some from the front and the rest spread over all.
template <typename Take>
void ForSome(std::size_t count, Take&& take)
{
    const std::size_t step = std::max<std::size_t>(count / kMaxAsked, 1);
    for (std::size_t index = 0; index < count; index += index < kMaxAsked / 2 ? 1 : step) {
        take(index);
    }
}

} // namespace

MemoryFile::MemoryFile()
    : m_descriptor(OpenMemory())
    , m_path("/proc/self/fd/" + std::to_string(m_descriptor))
{
    Require(m_descriptor >= 0, "memory file");
}

MemoryFile::~MemoryFile()
{
    close(m_descriptor);
}

void MemoryFile::Write(std::string_view image) const
{
    Require(ftruncate(m_descriptor, 0) == 0, "memory file");
    for (std::size_t done = 0; done < image.size();) {
        const ssize_t count = pwrite(m_descriptor, image.data() + done, image.size() - done, static_cast<off_t>(done));
        Require(count > 0, "memory file");
        done += static_cast<std::size_t>(count);
    }
}

ScratchFolder::ScratchFolder()
    : m_path(std::filesystem::temp_directory_path() / "dwarf2-fuzz-XXXXXX")
{
    Require(mkdtemp(m_path.data()) != nullptr, "scratch folder");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void ScratchFolder::Clear() const
{
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(m_path, ignored)) {
        std::filesystem::remove(entry.path(), ignored);
    }
}

DigestOutput::DigestOutput()
    : Output(-1)
{
}

void DigestOutput::Deliver(const char* bytes, std::size_t count)
{
    for (const char byte : std::string_view(bytes, count)) {
        m_digest = (m_digest + static_cast<u8>(byte) + 1) * 0x9E3779B97F4A7C15u;
    }
}

u64 DigestOutput::TakeDigest()
{
    Flush();
    return std::exchange(m_digest, 0);
}

bool StandingTarget::ReadRegister(u32 dwarfRegister, u32& value) const
{
    value = 0x20000 + 4 * dwarfRegister;
    return dwarfRegister < 16;
}

bool StandingTarget::ReadMemory(u32 address, u32 size, u32& value) const
{
    value = address & (size >= 4 ? ~u32{0} : (u32{1} << (8 * size)) - 1);
    return address >= 0x1000;
}

bool StandingTarget::GetProgramCounter(u32& value) const
{
    value = 0x8004;
    return true;
}

bool StandingTarget::GetFrameBase(u32& value) const
{
    value = 0x20100;
    return true;
}

Session::Session(std::string_view image, Settings settings, std::string_view staticBase)
    : m_settings(settings)
    , m_file(Plugin(), PathOf(image))
{
    SetPreferences(settings, staticBase);
}

u64 Session::Export()
{
    Sink().TakeDigest();
    if (!std::exchange(m_added, true)) {
        ExportStore(m_file, m_file.Rate(), Sink());
    }
    // One that is rated 0 wasn't loaded. It harms as little as others.
    m_file.Load(LoadDepth::All);
    const u64 digest = Sink().TakeDigest();
    g_exported = 3 * g_exported + digest;
    return digest;
}

void NoteText(const std::string& text)
{
    Sink().Write(text);
}

u64 TakeWritten()
{
    return std::exchange(g_exported, 0) + Sink().TakeDigest();
}

void Session::LookUpName(const std::string& name)
{
    const DbgSymContext context = m_file.Context();
    DbgAddrRange range;
    const bool loaded = m_file.Plugin().LoadSymbolByName(&context, name.c_str());
    const bool found = m_file.Plugin().FindElfSymbolByName(&context, name.c_str(), &range);
    Note(loaded, found, range.value, range.size);
}

void Session::LookUpAddress(u32 address)
{
    const DbgSymContext context = m_file.Context();
    DbgAddress absolute;
    absolute.value = address;
    for (const DbgAddress& asked : {m_file.AddressOf(address), absolute}) {
        std::string name;
        DbgAddrRange range;
        u32 codeType = 0;
        u32 runLength = 0;
        const bool found = m_file.Plugin().FindElfSymbolByAddress(&context, nullptr, &asked, &name, &range);
        const bool typed = m_file.Plugin().GetCodeType(&context, &asked, &codeType, &runLength, nullptr);
        Note(found, name, range.value, range.size, typed, codeType, runLength);
    }
}

void Session::LookUp()
{
    const DbgSymSymFile& store = m_file.Store();
    std::vector<std::string> names{"main", "no such name", ""};
    std::vector<u32> addresses{0, 0x8000, 0x8011, kNone};
    ForSome(store.FuncScopeCount(), [&](std::size_t index) {
        const DbgSymFuncScope& function = store.FuncScopeAt(index);
        names.emplace_back(function.name);
        addresses.push_back(function.range.value);
        addresses.push_back(function.range.value + function.range.size);
    });
    ForSome(store.VariableCount(), [&](std::size_t index) { names.emplace_back(store.VariableAt(index).name); });
    ForSome(store.TypeCount(), [&](std::size_t index) {
        const char* name = store.TypeAt(index).GetName();
        names.emplace_back(name == nullptr ? "" : name);
    });
    for (const std::string& name : names) {
        LookUpName(name);
    }
    AddressLookup lines(m_file);
    for (const u32 address : addresses) {
        LookUpAddress(address);
        const auto place = lines.FindLine(m_file.AddressOf(address));
        const DbgSymFuncScope* function = lines.FindFunction(m_file.AddressOf(address));
        Note(place ? place->entry->line : kNone, function == nullptr ? kNone : function->id);
    }
}

void Session::Describe()
{
    DbgSymSymFile& store = m_file.Store();
    ForSome(store.VariableCount(), [&](std::size_t index) {
        const DbgVariable& variable = store.VariableAt(index);
        DriveExpression(variable.location, variable.littleEndian);
    });
    const TypeText types(store, m_settings.Order() == ByteOrder::Big);
    ForSome(store.TypeCount(), [&](std::size_t index) {
        std::string layout;
        types.WriteLayout(store.TypeAt(index), [&](std::string_view line) { layout += line; });
        NoteText(layout);
    });
}

void Session::Console(const std::string& line)
{
    const DbgSymContext context = m_file.Context();
    const std::string confined = Confined(line);
    HostConsole console(Sink());
    const auto run = [&] { m_file.Plugin().ConsoleCommand(&context, &confined, &console); };
    if (line.find('>') == std::string::npos) {
        run();
    } else {
        InScratchFolder(run);
    }
}

void Session::RunAllCommands()
{
    for (const char* line : {"?",
                             "help",
                             "clear",
                             "mem",
                             "elf",
                             "elfhdr",
                             "elfph",
                             "elfsh",
                             "elfsymtab",
                             "elfsymtab -v",
                             "elfsymtab -a",
                             "elfsymtab -n",
                             "elfsect .text",
                             "elfsect x",
                             "elffind main",
                             "elffind 8004",
                             "elffind \"a\"",
                             "orloinfo",
                             "abbr",
                             "abbr parsed",
                             "line 0",
                             "line 9",
                             "loclist",
                             "loclist 0",
                             "loclist 0xA",
                             "pubnames",
                             "m_debug_pubnames",
                             "macinfo",
                             "debug_macinfo",
                             "die 0",
                             "DIE 11",
                             "dump > out.txt",
                             "dump > /dev/full",
                             "dump"}) {
        Console(line);
    }
    const DbgSymSymFile& store = m_file.Store();
    ForSome(store.FileScopeCount(), [&](std::size_t index) {
        Console("line " + std::to_string(store.FileRangeAt(index).lineOffset));
        Console("die " + std::to_string(store.FileScopeAt(index).GetId()));
    });
    ForSome(store.FuncScopeCount(),
            [&](std::size_t index) { Console("DIE " + std::to_string(store.FuncScopeAt(index).id)); });
    Console("dieinfo");
}

void Session::RunAll()
{
    if (m_settings.DumpsFirst()) {
        m_added = m_file.Add();
        LookUpName("main");
        RunAllCommands();
        m_file.LoadIndex();
        LookUp();
    }
    Export();
    LookUp();
    Describe();
    RunAllCommands();
}

void DriveExpression(std::string_view bytes, bool littleEndian)
{
    const StandingTarget target;
    const VFKDataString data(false, littleEndian, std::string(bytes));
    DbgAddress address;
    address.value = 0x8004;
    DbgExpression expression(data, nullptr, nullptr);
    std::string text;
    for (const bool withOffsets : {false, true}) {
        expression.GetText(text, withOffsets);
        NoteText(text);
    }
    expression.Push(0x100);
    Note(expression.Evaluate(nullptr, nullptr, 0, kNone) == 0);
    Note(expression.Evaluate(&target, &address, 0, kNone) == 0);
    Note(expression.Evaluate(&target, nullptr, 1, data.Size() / 2) == 0);
    for (u32 value = 0; expression.Pop(value);) {
        Note(value);
    }
}

void CompileExpression(const std::string& text)
{
    const DbgExpression expression(text.c_str(), nullptr, nullptr);
    DriveExpression(expression.GetDataString().bytes, true);
}

std::string WrapSections(Settings settings, const std::vector<SectionBytes>& sections)
{
    const u32 base = settings.Library() ? 0 : 0x8000;
    const u32 flags = 5 | (settings.Library() ? kPfArmPi : 0);
    ElfWriter elf(settings.Order());
    const u32 text = elf.Section(".text", std::string(64, 'c'), {.flags = kShfAlloc | kShfExecInstr, .address = base});
    elf.Segment(text, flags);
    for (const auto& [name, bytes] : sections) {
        elf.Section(name, bytes);
    }
    const auto section = static_cast<u16>(text);
    elf.Symbol({.name = "main", .value = base, .size = 16, .section = section});
    elf.Symbol({.name = "next", .value = base + 16, .size = 0, .section = section});
    elf.Symbol({.name = "$a", .value = base, .type = 0, .binding = 0, .section = section});
    elf.Symbol({.name = "$t", .value = base + 16, .type = 0, .binding = 0, .section = section});
    elf.Symbol({.name = "$d", .value = base + 32, .type = 0, .binding = 0, .section = section});
    return elf.Image();
}
