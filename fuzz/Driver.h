// What all fuzz targets share: a file in memory that has a path, and a host that asks the plug-in for
// all it can be asked for, through GetInterface and the operations of the plug-in object.
#pragma once

#include "host/Console.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"
#include "tests/support/ByteSection.h"

#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What an input chooses besides its bytes. A whole file stands for itself and takes the start value.
struct Settings {
    explicit Settings(u8 from = 0)
        : bits(from)
    {
    }

    ByteOrder Order() const { return (bits & 1) != 0 ? ByteOrder::Big : ByteOrder::Little; }
    /// A position-independent library, whose addresses are offsets in a section.
    bool Library() const { return (bits & 2) != 0; }
    /// The static base is rewritten.
    bool StaticBase() const { return (bits & 4) != 0; }
    /// Variables are left out by their names and AT_artificial.
    bool OmitsVariables() const { return (bits & 8) != 0; }
    /// The console's dumps run ahead of the loads.
    bool DumpsFirst() const { return (bits & 16) != 0; }
    /// For the target itself.
    bool Own() const { return (bits & 32) != 0; }

    u8 bits;
};

/// A file that lives in memory and has a path.
class MemoryFile {
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void Write(std::string_view image) const;
    const std::string& Path() const { return m_path; }

private:
    int m_descriptor;
    std::string m_path;
};

/// An empty folder of the process, removed at its end.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& Path() const { return m_path; }
    void Clear() const;

private:
    std::string m_path;
};

/// Takes what is written and keeps nothing of it but a digest.
class DigestOutput : public Output {
public:
    DigestOutput();
    /// Of all that came since the last call. Each byte counts, and not in which pieces they came.
    u64 TakeDigest();

protected:
    void Deliver(const char* bytes, std::size_t count) override;

private:
    u64 m_digest = 0;
};

/// A target that stands still: registers and memory hold what their numbers say.
class StandingTarget : public DbgContext {
public:
    bool ReadRegister(u32 dwarfRegister, u32& value) const override;
    bool ReadMemory(u32 address, u32 size, u32& value) const override;
    bool GetProgramCounter(u32& value) const override;
    bool GetFrameBase(u32& value) const override;
};

/// One file in the plug-in, from AddFile to RemoveFile. One at a time: all have the same path.
class Session {
public:
    /// Sets the preferences of the process as `settings` has them.
    /// @param image the file's bytes.
    /// @param staticBase the text of the preference `sb_expr`.
    explicit Session(std::string_view image, Settings settings = Settings(),
                     std::string_view staticBase = "sectid_base(%d) 4 +");

    Loader& File() { return m_file; }

    /// Rates the file, loads all of it and writes it out. The digest is of all records.
    u64 Export();
    /// Looks some of the names and addresses up that the store holds, and some that it doesn't.
    void LookUp();
    void LookUpName(const std::string& name);
    void LookUpAddress(u32 address);
    /// Disassembles and evaluates the locations of variables, and describes types.
    void Describe();
    /// Runs a console line. What it writes to a file goes to the scratch folder.
    void Console(const std::string& line);
    /// Every command, with some arguments that suit the file and some that don't.
    void RunAllCommands();

    /// All of the above in the order that the settings say.
    void RunAll();

private:
    Settings m_settings;
    Loader m_file;
    bool m_added = false;
};

/// The digest of what the sessions wrote since the last call, from their first Export on. The same on
/// every machine, as long as the plug-in answers the same; 0 if nothing was written.
u64 TakeWritten();
void NoteText(const std::string& text);
/// Adds an answer to what is written.
template <typename... Fields>
void Note(const Fields&... fields)
{
    std::ostringstream text;
    ((text << fields << ' '), ...);
    NoteText(text.str());
}

/// Disassembles and evaluates an expression, with a target and without.
void DriveExpression(std::string_view bytes, bool littleEndian);
/// Compiles a text, then the same.
void CompileExpression(const std::string& text);

/// A section's name and its bytes.
using SectionBytes = std::pair<std::string, std::string_view>;

/// An ELF file around some sections, with code, a segment and a few symbols of its own.
std::string WrapSections(Settings settings, const std::vector<SectionBytes>& sections);
