// The console's dispatcher: parses one line, picks the command, redirects its output to a file if the line says so,
// prints the head line and runs the dump. The help text and the size report are here too; the dumps make all other
// text.
#include "console/Format.h"
#include "console/GatherBuffer.h"
#include "image/Dwarf2File.h"
#include "interfaces/DbgUIConsole.h"
#include "interfaces/VFKStringParser.h"

#include <cctype>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kHelpLines[] = {
    "abbr                - dump the DWARF2 .debug_abbrev section",
    "clear               - clear the console contents",
    "dump                - dump all DWARF2 data",
    "die <die_offset>    - dump DIE (DWARF Information Entry) at offset 'die_offset'",
    "DIE <die_offset>    - dump DIE (DWARF Information Entry) at offset 'die_offset' and all of it's children",
    "elf                 - dump ELF header, program headers, and section headers",
    "elfhdr              - dump ELF header",
    "elfph               - dump ELF program headers",
    "elfsh               - dump ELF section headers",
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one text on two lines
    "elfsymtab [-a -n -v]- dump ELF symbol table and optionally sort by address range (-a), by name (-n) or by value "
    "(-v)",
    "elfsect <sect_name> - dump ELF section contents of section named 'sect_name'",
    "elffind <name|value>- find a symbol table entry in the elf symbol table by name or value (hex value) and print "
    "the symbol table entry",
    "line <offset>       - dump the DWARF2 line table at .debug_line offset <offset>",
    "loclist [offset]    - dump entire .debug_loc section or a single loclist at .debug_loc offset [offset] (optional "
    "parameter) and disassemble it",
    "orloinfo            - dump Vantrix shared library information (if any)",
    "",
    "NOTE: all commands that output data can be re-routed to a file using > output redirecting (> outfile.txt)",
};

} // namespace

/// One command line and all of its output. While it lives, the file's dump stream is the console's or that of the
/// redirected file, and the console takes no input.
class Dwarf2File::CommandRun {
public:
    CommandRun(Dwarf2File& file, const std::string& line, DbgUIConsole& console);
    ~CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    void Run();

private:
    struct Command {
        std::string_view name;
        void (CommandRun::*run)();
    };
    static const Command kCommands[];

    void RunCommand();
    bool Matches(const Command& command) const;
    /// Tells the console that the command is over, and by its stream's state whether a redirection succeeded.
    void Finish();
    std::ostream& Out() { return *m_file.m_dumpStream; }
    std::ostream& Redirect();
    bool OpenRedirection();
    /// Redirection, then the head line. The path closes it.
    void Open(std::string_view head);
    void OpenAt(std::string_view head, u32 offset, std::string_view rest);
    void OpenNamed(std::string_view head, const std::string& name, std::string_view rest);
    void CloseHead(std::ostream& out, std::string_view rest);
    void FindByValue();
    void FindByName();

    void Clear() { m_console.ClearContents(0); }
    void Dump();
    void Abbr();
    void Dieinfo();
    void Loclist();
    void Line();
    void Die();
    void DieWithChildren();
    void Elfhdr();
    void Elfph();
    void Elfsh();
    void Elfsymtab();
    void Elffind();
    void Elfsect();
    void Elf();
    void Orloinfo();
    void Macinfo() { m_file.DumpMacinfo(Out()); }
    void Pubnames() { m_file.DumpPubnames(Out()); }
    void Mem();
    void Help();

    Dwarf2File& m_file;
    DbgUIConsole& m_console;
    const std::string& m_line;
    std::ostream* m_outerStream; ///< of the line during which this one runs; null for none
    bool m_acceptedInput;
    std::ofstream m_fileStream;
    std::optional<GatherBuffer> m_gathered; ///< before the file's own buffer
    VFKStringParser m_parser;
    std::string m_token;
    std::string m_path;
};

const Dwarf2File::CommandRun::Command Dwarf2File::CommandRun::kCommands[] = {
#define COMMAND(name, operation) {name, &CommandRun::operation},
#include "console/ConsoleCommands.def"
};

Dwarf2File::CommandRun::CommandRun(Dwarf2File& file, const std::string& line, DbgUIConsole& console)
    : m_file(file)
    , m_console(console)
    , m_line(line)
    , m_outerStream(file.m_dumpStream)
    , m_acceptedInput((console.m_state & DbgUIConsole::kAcceptsInput) != 0)
    , m_parser(line)
{
    m_file.m_dumpStream = &console.iostream();
    m_console.m_state &= ~DbgUIConsole::kAcceptsInput;
}

Dwarf2File::CommandRun::~CommandRun()
{
    if (m_acceptedInput) {
        m_console.m_state |= DbgUIConsole::kAcceptsInput;
    }
    m_file.m_dumpStream = m_outerStream;
}

void Dwarf2File::CommandRun::Run()
{
    const i32 indent = m_file.m_dumpIndent;
    try {
        RunCommand();
    } catch (...) {
        // If memory runs out, the line ends here for the console.
        m_file.m_dumpIndent = indent;
        Finish();
        throw;
    }
    Finish();
}

void Dwarf2File::CommandRun::RunCommand()
{
    if (m_parser.GetCToken(m_token, false, true)) {
        m_file.m_elf.GetFullPath(m_path, true, false);
        for (const Command& command : kCommands) {
            if (Matches(command)) {
                (this->*command.run)();
                break;
            }
        }
        Out().flush();
    }
}

void Dwarf2File::CommandRun::Finish()
{
    std::iostream& stream = m_console.iostream();
    const std::ios_base::iostate state = stream.rdstate();
    if (!m_fileStream.good()) {
        stream.setstate(m_fileStream.is_open() ? std::ios_base::badbit : std::ios_base::failbit);
    }
    m_console.CommandFinished();
    if (!m_fileStream.good()) {
        stream.clear(state);
    }
}

bool Dwarf2File::CommandRun::Matches(const Command& command) const
{
    return command.name == "?" ? m_line.front() == '?' : command.name == m_token;
}

std::ostream& Dwarf2File::CommandRun::Redirect()
{
    if (OpenRedirection()) {
        static_cast<std::ios&>(m_fileStream).rdbuf(&m_gathered.emplace(m_fileStream.rdbuf()));
    }
    return Out();
}

bool Dwarf2File::CommandRun::OpenRedirection()
{
    char c = 0;
    std::string fileName;
    if (!m_parser.GetNonWhiteSpaceChar(c, ">")) {
        return false;
    }
    m_parser.SkipSpaces();
    if (!m_parser.GetLine(fileName, true)) {
        return false;
    }
    m_fileStream.open(fileName, std::ios_base::out | std::ios_base::trunc);
    if (!m_fileStream.is_open()) {
        return false;
    }
    // A person sees this line before a dump that may take a while.
    PutText(PutText(PutText(Out(), "Results saved into: '"), fileName), "'") << LineEnd << std::flush;
    m_file.m_dumpStream = &m_fileStream;
    return true;
}

void Dwarf2File::CommandRun::CloseHead(std::ostream& out, std::string_view rest)
{
    PutText(out, rest);
    PutText(out, m_path);
    PutText(out, "'") << LineEnd;
}

void Dwarf2File::CommandRun::Open(std::string_view head)
{
    CloseHead(Redirect(), head);
}

void Dwarf2File::CommandRun::OpenAt(std::string_view head, u32 offset, std::string_view rest)
{
    CloseHead(PutText(Redirect(), head) << hex8(offset), rest);
}

void Dwarf2File::CommandRun::OpenNamed(std::string_view head, const std::string& name, std::string_view rest)
{
    CloseHead(PutText(PutText(Redirect(), head), name), rest);
}

void Dwarf2File::CommandRun::Dump()
{
    Open("DWARF2 debug information dump for ELF file: '");
    m_file.DumpWholeFile();
}

void Dwarf2File::CommandRun::Abbr()
{
    Open("DWARF2 .debug_abbrev section dump for ELF file: '");
    // Any word asks for the parsed listing. A redirection has taken the rest of the line by now.
    std::string word;
    m_file.DumpAbbrevSection(m_parser.GetCToken(word, false, true));
}

void Dwarf2File::CommandRun::Dieinfo()
{
    Open("DWARF2 m_dieInfoMap file: '");
    m_file.DumpDIEInfoMap();
}

void Dwarf2File::CommandRun::Loclist()
{
    u32 offset = kNone;
    if (m_parser.GetUInt32(offset, 0)) {
        OpenAt("ELF location list at '.debug_loc' offset ", offset, " for ELF file: '");
    } else {
        offset = kNone;
        Open("ELF location list for ELF file: '");
    }
    m_file.DumpLocationSection(offset);
}

void Dwarf2File::CommandRun::Line()
{
    u32 offset = 0;
    if (m_parser.GetUInt32(offset, 0)) {
        OpenAt("DWARF2 line table at '.debug_line' offset ", offset, " for ELF file: '");
        m_file.DumpLineTable(offset);
    }
}

void Dwarf2File::CommandRun::Die()
{
    u32 offset = 0;
    if (m_parser.GetUInt32(offset, 0)) {
        OpenAt("ELF DIE (Debugging Information Entry) at '.debug_info' offset ", offset, " in ELF file: '");
        m_file.DumpDIE(offset, false);
    }
}

void Dwarf2File::CommandRun::DieWithChildren()
{
    u32 offset = 0;
    if (m_parser.GetUInt32(offset, 0)) {
        OpenAt("ELF DIE (Debugging Information Entry) and all children at '.debug_info' offset ", offset,
               " in ELF file: '");
        m_file.DumpDIE(offset, true);
    }
}

void Dwarf2File::CommandRun::Elfhdr()
{
    Open("ELF file header for: '");
    m_file.m_elf.DumpEhdr(Out());
}

void Dwarf2File::CommandRun::Elfph()
{
    Open("ELF program headers for: '");
    m_file.m_elf.DumpPhdrList(Out());
}

void Dwarf2File::CommandRun::Elfsh()
{
    Open("ELF section headers for: '");
    m_file.m_elf.DumpShdrList(Out());
}

void Dwarf2File::CommandRun::Elfsymtab()
{
    VFKElfFile::DumpSymtabType order = VFKElfFile::kSymtabOrder;
    std::string name;
    std::string value;
    while (m_parser.GetOption(name, value)) {
        if (name == "v") {
            order = VFKElfFile::kByValue;
        } else if (name == "a") {
            order = VFKElfFile::kByAddressRange;
        } else if (name == "n") {
            order = VFKElfFile::kByName;
        }
    }
    Open("ELF symbol table for ELF file: '");
    m_file.m_elf.DumpSymtab(Out(), order);
}

void Dwarf2File::CommandRun::Elffind()
{
    m_parser.SkipSpaces();
    if (std::isxdigit(static_cast<unsigned char>(m_parser.PeekChar(0))) != 0) {
        FindByValue();
    } else {
        FindByName();
    }
}

void Dwarf2File::CommandRun::FindByValue()
{
    u32 value = 0;
    if (m_parser.GetUInt32(value, 0)) {
        OpenAt("Find a symbol by st_value = '", value, "' in the elf symbol table of ELF file: '");
        m_file.DumpElfSymbol(value);
    }
}

void Dwarf2File::CommandRun::FindByName()
{
    std::string name;
    if (m_parser.GetString(name)) {
        OpenNamed("Find a symbol '", name, "' in the elf symbol table of ELF file: '");
        m_file.DumpElfSymbol(name);
    }
}

void Dwarf2File::CommandRun::Elfsect()
{
    std::string name;
    if (m_parser.GetString(name)) {
        OpenNamed("ELF dump of section named '", name, "' for file: '");
        m_file.m_elf.DumpSectionContents(Out(), name.c_str(), 16, true);
    }
}

void Dwarf2File::CommandRun::Elf()
{
    Open("ELF file, program and section header dump for file: '");
    m_file.m_elf.DumpEhdr(Out());
    m_file.m_elf.DumpPhdrList(Out());
    m_file.m_elf.DumpShdrList(Out());
}

void Dwarf2File::CommandRun::Orloinfo()
{
    Redirect();
    m_file.DumpLibraryRecord();
}

void Dwarf2File::CommandRun::Mem()
{
    const struct {
        std::string_view name;
        u32 size;
    } sections[] = {
        {"m_debug_info", m_file.m_debug_info.Size()}, {"m_debug_abbrev", m_file.m_debug_abbrev.Size()},
        {"m_debug_line", m_file.m_debug_line.Size()}, {"m_debug_loc", m_file.m_debug_loc.Size()},
        {"m_debug_str", m_file.m_debug_str.Size()},
    };
    std::ostream& out = Out();
    u32 total = 0;
    for (const auto& section : sections) {
        PutText(PutText(out, section.name), " contains ") << dec(section.size);
        PutText(out, " bytes") << LineEnd;
        total += section.size;
    }
    // The report counts fixed sizes: 12 bytes for an entry of the map, 16 for a declaration.
    const auto count = static_cast<u32>(m_file.m_abbrListMap.size());
    const u32 elements = 12 * count;
    u32 bytes = 0;
    for (const auto& [offset, list] : m_file.m_abbrListMap) {
        bytes += 16 * static_cast<u32>(list.size());
    }
    PutText(out, "m_abbrListMap (elems size = ") << dec(elements);
    PutText(out, ") contains ") << dec(count);
    PutText(out, " items for ") << dec(bytes);
    PutText(out, " bytes") << LineEnd;
    PutText(out, "totalSize = ") << dec((total + elements + bytes) >> 10);
    PutText(out, " Kb") << LineEnd;
}

void Dwarf2File::CommandRun::Help()
{
    for (const std::string_view line : kHelpLines) {
        PutText(Out(), line) << LineEnd;
    }
}

u32 Dwarf2File::ConsoleCommand(const std::string* command, DbgUIConsole* console)
{
    CommandRun(*this, *command, *console).Run();
    return 1;
}
