// host/StandardOutput.cpp and host/Paint.cpp: what a person at a terminal gets, and what a pipe gets.
#include "host/Output.h"
#include "host/Paint.h"
#include "tests/host/HostTesting.h"
#include "tests/host/Terminal.h"
#include "tests/support/ElfWriter.h"

#include <fcntl.h>

namespace {

const std::string kShort = Sample("station.axf");

std::string OnTerminal(const std::vector<std::string>& arguments, const std::map<std::string, std::string>& settings)
{
    Terminal terminal(arguments, settings);
    const std::string text = terminal.AllSeen();
    EXPECT_EQ(terminal.ExitStatus(), 0);
    return text;
}

TEST(StandardOutput, ALongListingGoesThroughThePager)
{
    const std::map<std::string, std::string> settings = {{"PAGER", "sed s/^/paged:/"}, {"NO_COLOR", "1"}};
    const std::string units = OnTerminal({"units", kShort}, settings);
    EXPECT_EQ(units.find("paged:"), std::string::npos) << "it fits";
    EXPECT_EQ(SplitLines(units), SplitLines(RunHost({"units", kShort}).out));

    const std::vector<std::string> lines = SplitLines(RunHost({"lines", kShort}).out);
    ASSERT_GT(lines.size(), 40u);
    const std::vector<std::string> paged = SplitLines(OnTerminal({"lines", kShort}, settings));
    ASSERT_EQ(paged.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(paged[i], "paged:" + lines[i]);
    }
    EXPECT_EQ(SplitLines(OnTerminal({"lines", kShort, "--no-pager"}, settings)), lines);
}

TEST(StandardOutput, AScreenIsFullWithItsLastLine)
{
    const std::map<std::string, std::string> settings = {{"PAGER", "sed s/^/paged:/"}, {"NO_COLOR", "1"}};
    for (const std::size_t count : {39, 40}) {
        std::vector<std::string> words = {"at", kShort};
        words.insert(words.end(), count, "0x8000");
        const std::string text = OnTerminal(words, settings);
        EXPECT_EQ(SplitLines(text).size(), count);
        EXPECT_EQ(text.find("paged:") != std::string::npos, count == 40) << count;
    }
    // A name of many bytes and few characters takes one line.
    std::string wide;
    for (int i = 0; i < 150; ++i) {
        wide += "\u00e9";
    }
    ElfWriter elf(ByteOrder::Little);
    elf.Section(".text", std::string(16, '\0'), {.flags = kCodeFlags, .address = 0x8000});
    elf.Symbol({.name = wide, .value = 0x8000, .size = 16});
    const TempFile file = elf.Write();
    std::vector<std::string> words = {"find", file.Path()};
    words.insert(words.end(), 15, wide);
    const std::string text = OnTerminal(words, settings);
    EXPECT_EQ(text.find("paged:"), std::string::npos) << SplitLines(text).size();
    EXPECT_NE(text.find(wide), std::string::npos);
}

TEST(StandardOutput, WhoLeavesThePagerHasSeenEnough)
{
    EXPECT_EQ(OnTerminal({"export", kShort, "--no-pager"}, {}).find("paged"), std::string::npos);
    EXPECT_EQ(OnTerminal({"export", kShort}, {{"PAGER", "head -c 8"}}), R"({"record)");
}

TEST(StandardOutput, ColoursAreForTerminalsAndForWhoAsks)
{
    const std::string plain = RunHost({"units", kShort}).out;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos);
    const std::string painted = RunHost({"units", kShort, "--color", "always"}).out;
    EXPECT_EQ(OnTerminal({"units", kShort}, {}), painted);
    EXPECT_EQ(painted.rfind("\x1b[1mid  ", 0), 0u) << painted;
    EXPECT_NE(painted.find("\x1b[36m0x00008000\x1b[m  "), std::string::npos) << painted;
    EXPECT_EQ(OnTerminal({"units", kShort, "--color=never"}, {}), plain);
    EXPECT_EQ(OnTerminal({"units", kShort}, {{"NO_COLOR", "1"}}), plain);
    EXPECT_EQ(OnTerminal({"units", kShort}, {{"NO_COLOR", ""}}), painted) << "that is not set";
    EXPECT_EQ(OnTerminal({"units", kShort}, {{"TERM", "dumb"}}), plain);
    EXPECT_EQ(RunHost({"units", kShort, "--json", "--color=always"}).out, RunHost({"units", kShort, "--json"}).out);
    EXPECT_EQ(RunHost({"console", kShort, "-c", "elfsh", "--color=always"}).out,
              RunHost({"console", kShort, "-c", "elfsh"}).out);
}

TEST(StandardOutput, PaintTakesNothingAndAddsNothingElse)
{
    const std::string text = Painted("a.c:\n  0x10 x0x10 0x2\n\n??  ?? f??\n       5       3          <hole>\nlast  1");
    EXPECT_EQ(
        text,
        "\x1b[1ma.c:\x1b[m\n  \x1b[36m0x10\x1b[m x0x10 \x1b[36m0x2\x1b[m\n\n\x1b[2m??\x1b[m  \x1b[2m??\x1b[m f??\n"
        "       5       3          \x1b[33m<hole>\x1b[m\n\x1b[1mlast\x1b[m  1");
}

TEST(StandardOutput, HeadsAreBold)
{
    EXPECT_EQ(Painted("  offset    size  bits    type  name\n"), "\x1b[1m  offset    size  bits    type  name\x1b[m\n");
    EXPECT_EQ(PaintedHead("  id  name\n"), "\x1b[1m  id  name\x1b[m\n");
    EXPECT_EQ(PaintedHead("\n  id\n"), "\n\x1b[1m  id\x1b[m\n");
}

TEST(StandardOutput, ALineIsPaintedAsAWholeWhereverABufferEnds)
{
    const TempFile file("");
    std::string text;
    {
        const int descriptor = open(file.Path().c_str(), O_WRONLY);
        Output output(descriptor);
        output.SetPainted(true);
        for (u32 i = 0; i < 100'000; ++i) {
            const std::string line = "  0x00001000 0x2000" + std::string(i % 7, 'x') + '\n';
            text += line;
        }
        constexpr std::size_t kPiece = 1000; // which ends within a line
        for (std::size_t at = 0; at < text.size(); at += kPiece) {
            output.Write(std::string_view(text).substr(at, kPiece));
        }
        output.Flush();
        close(descriptor);
    }
    EXPECT_TRUE(Contents(file.Path()) == Painted(text)); // not EXPECT_EQ, which would compare line by line
}

} // namespace
