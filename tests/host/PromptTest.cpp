// The interactive console, driven through a pseudo-terminal as a person's keys would.
#include "tests/host/HostTesting.h"
#include "tests/host/Terminal.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

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
        auto terminal =
            std::make_unique<Terminal>(std::vector<std::string>{"console", file},
                                       std::map<std::string, std::string>{
                                           {"PAGER", pager}, {"HOME", m_home}, {"XDG_STATE_HOME", m_home / "state"}});
        EXPECT_TRUE(terminal->Started());
        EXPECT_TRUE(terminal->Shows("")) << terminal->Seen();
        return terminal;
    }

    const std::string m_sample = SAMPLES_DIR "/station.axf";
    std::filesystem::path m_home;
};

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

TEST_F(Prompt, AnswersAsTheProgramDoes)
{
    const auto terminal = Start(m_sample);
    terminal->Type("at 0x8480\r");
    EXPECT_TRUE(terminal->Shows("station.c:81")) << terminal->Seen();
    EXPECT_NE(terminal->Seen().find("\x1b[36m0x00008480"), std::string::npos) << terminal->Seen();
    terminal->Type("fnid\r");
    EXPECT_TRUE(terminal->Shows("Did you mean find?")) << terminal->Seen();
    terminal->Type("elfhdr\r");
    EXPECT_TRUE(terminal->Shows("section names")) << terminal->Seen();
    EXPECT_EQ(terminal->Seen().find("\x1b[36m"), std::string::npos) << "the plug-in's text stays";
    terminal->Type("help\r");
    EXPECT_TRUE(terminal->Shows("Commands of symhost on this file")) << terminal->Seen();
    terminal->Type("quit\r");
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

TEST_F(Prompt, AFolderThatIsNotAbsoluteKeepsNoHistory)
{
    Terminal terminal({"console", m_sample}, {{"HOME", m_home}, {"XDG_STATE_HOME", "state"}});
    ASSERT_TRUE(terminal.Started());
    EXPECT_TRUE(terminal.Shows(""));
    terminal.Type("die 0x37\r");
    EXPECT_TRUE(terminal.Shows("TAG_base_type")) << terminal.Seen();
    EXPECT_NE(Contents(m_home / ".local/state/symhost/history").find("die 0x37"), std::string::npos);
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
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // only a dump that takes its time has a bar
    readLines(20'000);
    EXPECT_TRUE(terminal->Sees(" %")) << terminal->Seen();
    terminal->Type("\x03");
    std::string last;
    while (std::getline(reader, line)) {
        last = line;
    }
    EXPECT_NE(last.find("User canceled dump..."), std::string::npos) << last;
    EXPECT_TRUE(terminal->Shows(": canceled")) << terminal->Seen();
    EXPECT_EQ(terminal->Seen().find("Results saved"), std::string::npos) << "of a file that is not whole";
    terminal->Type("mem\r");
    EXPECT_TRUE(terminal->Shows("totalSize = ")) << terminal->Seen();
}
