// The interactive console, driven through a pseudo-terminal as a person's keys would.
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/// Plenty for an instrumented build on a busy machine; what works takes a small part of it.
constexpr auto kPatience = std::chrono::seconds(30);

/// `symhost console FILE` on a terminal of its own, with a home of its own.
class Terminal {
public:
    Terminal(const std::string& file, const std::filesystem::path& home, const char* pager)
    {
        winsize size{40, 200, 0, 0};
        m_child = forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_child == 0) {
            setenv("TERM", "xterm", 1);
            setenv("PAGER", pager, 1);
            setenv("HOME", home.c_str(), 1);
            setenv("XDG_STATE_HOME", (home / "state").c_str(), 1);
            const std::string program = BIN_DIR "/symhost";
            execl(program.c_str(), program.c_str(), "console", file.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Terminal()
    {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
        close(m_terminal);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool Started() const { return m_child > 0; }

    void Type(const std::string& keys)
    {
        m_seen.clear();
        ASSERT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /// Waits until the terminal shows a text that came after the keys typed last, and then the next
    /// prompt: only then are keys like Ctrl-D the editor's.
    bool Shows(const std::string& text) { return Sees(text, "symhost> "); }

    /// Waits until the terminal shows the one text and, behind it, the other.
    bool Sees(const std::string& text, const std::string& then = "")
    {
        const auto shown = [&] {
            const std::size_t found = m_seen.find(text);
            return found != std::string::npos && m_seen.find(then, found) != std::string::npos;
        };
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!shown()) {
            if (std::chrono::steady_clock::now() > end || !Read()) {
                return shown();
            }
        }
        return true;
    }

    const std::string& Seen() const { return m_seen; }

    /// Waits for the program's end. -1 if it doesn't come.
    int ExitStatus()
    {
        int status = 0;
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (Read()) {
        }
        while (waitpid(m_child, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > end) {
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        m_child = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    /// False when nothing more comes.
    bool Read()
    {
        pollfd waiting{m_terminal, POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) {
            return false;
        }
        char text[4096];
        const ssize_t count = read(m_terminal, text, sizeof text);
        if (count <= 0) {
            return false;
        }
        m_seen.append(text, static_cast<std::size_t>(count));
        return true;
    }

    int m_terminal = -1;
    pid_t m_child = -1;
    std::string m_seen;
};

class Prompt : public ::testing::Test {
protected:
    Prompt()
    {
        std::string folder = (std::filesystem::temp_directory_path() / "promptXXXXXX").string();
        m_home = mkdtemp(folder.data());
    }
    ~Prompt() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_home, ignored);
    }

    /// Fails if the terminal doesn't come up with a prompt.
    std::unique_ptr<Terminal> Start(const std::string& file, const char* pager = "cat")
    {
        auto terminal = std::make_unique<Terminal>(file, m_home, pager);
        EXPECT_TRUE(terminal->Started());
        EXPECT_TRUE(terminal->Shows("")) << terminal->Seen();
        return terminal;
    }

    const std::string m_sample = SAMPLES_DIR "/station.axf";
    std::filesystem::path m_home;
};

std::string Contents(const std::filesystem::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

} // namespace

TEST_F(Prompt, RunsCommandsRedirectsAndLeavesAtCtrlD)
{
    const auto terminal = Start(m_sample);
    terminal->Type("die 0x26\r");
    EXPECT_TRUE(terminal->Shows("TAG_typedef (2)")) << terminal->Seen();
    const std::filesystem::path saved = m_home / "saved.txt";
    terminal->Type("line 0 > " + saved.string() + "\r");
    EXPECT_TRUE(terminal->Shows("Results saved into: '" + saved.string() + "'")) << terminal->Seen();
    terminal->Type("mem\r");
    EXPECT_TRUE(terminal->Shows("totalSize = ")) << terminal->Seen();
    EXPECT_NE(Contents(saved).find("Resulting debugger line table:"), std::string::npos);
    terminal->Type("\x04");
    EXPECT_EQ(terminal->ExitStatus(), 0);
}

TEST_F(Prompt, KeepsItsHistoryBetweenRuns)
{
    {
        const auto terminal = Start(m_sample);
        terminal->Type("die 0x37\r");
        EXPECT_TRUE(terminal->Shows("TAG_base_type")) << terminal->Seen();
        terminal->Type("\x04");
        EXPECT_EQ(terminal->ExitStatus(), 0);
    }
    const auto terminal = Start(m_sample);
    terminal->Type("\x1b[A\r"); // up
    EXPECT_TRUE(terminal->Shows("TAG_base_type")) << terminal->Seen();
}

TEST_F(Prompt, CompletesCommandsFilesAndSymbols)
{
    const auto terminal = Start(m_sample);
    terminal->Type("elfhd\t\r");
    EXPECT_TRUE(terminal->Shows("ELF file header for: '")) << terminal->Seen();
    terminal->Type("elffind station_m\t\r");
    EXPECT_TRUE(terminal->Shows("Find a symbol 'station_main'")) << terminal->Seen();
    std::ofstream(m_home / "already-there.txt") << "old";
    terminal->Type("elfhdr > " + (m_home / "already-th").string() + "\t\r");
    EXPECT_TRUE(terminal->Shows("Results saved into: '" + (m_home / "already-there.txt").string())) << terminal->Seen();
}

TEST_F(Prompt, NamesOfAFileDoNotSteerTheTerminal)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", "code");
    elf.Symbol({.name = "a\x1b[2Jc"});
    elf.Symbol({.name = "a\x1b[2Jd"});
    const TempFile file = elf.Write();
    const auto terminal = Start(file.Path());
    terminal->Type("elffind a\t\t");
    EXPECT_TRUE(terminal->Shows("a?[2Jc  a?[2Jd")) << terminal->Seen();
}

TEST_F(Prompt, ALongDumpShowsABarAndEndsAtCtrlCBehindItsUnit)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    for (u32 unit = 0; unit < 200'000; ++unit) {
        dwarf.Unit({.abbrevOffset = unit == 0 ? std::nullopt : std::optional<u32>(0)}).Name("unit.c");
    }
    ElfWriter elf(ByteOrder::Little);
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    const auto terminal = Start(file.Path(), "cat -u"); // for a pager output is held back
    const std::filesystem::path saved = m_home / "saved.txt";
    // The dump writes to a pipe: it gets no further than it is read.
    ASSERT_EQ(mkfifo(saved.c_str(), 0600), 0);
    terminal->Type("dump > " + saved.string() + "\r");
    std::ifstream reader(saved);
    std::string line;
    const auto readLines = [&](u32 count) {
        for (u32 i = 0; i < count; ++i) {
            std::getline(reader, line);
        }
    };
    readLines(100);
    EXPECT_TRUE(terminal->Sees("Results saved into: '" + saved.string() + "'")) << terminal->Seen();
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // only a dump that takes its time has a bar
    readLines(20'000);
    EXPECT_TRUE(terminal->Sees("Results saved into: '", " %")) << terminal->Seen();
    terminal->Type("\x03");
    std::string last;
    while (std::getline(reader, line)) {
        last = line;
    }
    EXPECT_NE(last.find("User canceled dump..."), std::string::npos) << last;
    EXPECT_TRUE(terminal->Shows(": canceled")) << terminal->Seen();
    terminal->Type("mem\r");
    EXPECT_TRUE(terminal->Shows("totalSize = ")) << terminal->Seen();
}
