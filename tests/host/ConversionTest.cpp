// host/Conversion.cpp and host/ConversionReport.cpp: whatever the converter does, one line reports it. Scripts replace
// the converter.
#include "host/Conversion.h"

#include "host/ConversionReport.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr const char* kReport = "echo 'report {\"units\":[],\"left_out\":[],\"split_units\":0}'\n";

/// A program in place of the converter: FILE is "$1", and the output is /proc/self/fd/$2.
class Script {
public:
    explicit Script(const std::string& body)
        : m_file("#!/bin/sh\n" + body, ".sh")
    {
        chmod(m_file.Path().c_str(), 0700);
    }
    const std::string& Path() const { return m_file.Path(); }

private:
    TempFile m_file;
};

struct Outcome {
    bool done = false;
    std::string why;
    std::string output;
    std::vector<u32> percents;
    ConversionReport report;
};

Outcome RunProgramOfPath(const std::string& path, ConversionLimits limits)
{
    const TempFile output("");
    const int descriptor = open(output.Path().c_str(), O_RDWR | O_CLOEXEC);
    Outcome outcome;
    Conversion conversion(path);
    conversion.progress = [&](u32 percent) { outcome.percents.push_back(percent); };
    outcome.done = conversion.Run("the file", descriptor, limits, outcome.report, outcome.why);
    close(descriptor);
    outcome.output = Contents(output.Path());
    return outcome;
}

Outcome RunScript(const std::string& body, milliseconds time = std::chrono::seconds(60), u64 bytes = 1 << 20)
{
    return RunProgramOfPath(Script(body).Path(), {time, 0, bytes});
}

} // namespace

TEST(Conversion, BringsTheOutputTheProgressAndTheReport)
{
    const Outcome outcome = RunScript(
        "echo 'progress 5'; printf \"$1\" > /proc/self/fd/$2; echo 'progress 100'\n"
        "echo 'report {\"units\":[{\"version\":5,\"producer\":\"GNU C17 12.2 -g -O2\",\"count\":2},"
        "{\"version\":5,\"producer\":\"GNU C17 12.2 -g\",\"count\":1}],"
        "\"left_out\":[{\"kind\":\"ranges\",\"reason\":\"com\\u001bputed\",\"count\":7}],\"split_units\":1}'");
    EXPECT_EQ(outcome.why, "");
    ASSERT_TRUE(outcome.done);
    EXPECT_EQ(outcome.output, "the file");
    EXPECT_EQ(outcome.percents, (std::vector<u32>{5, 100}));
    EXPECT_EQ(outcome.report.Text(), "   units  DWARF  producer\n"
                                     "       3      5  GNU C17 12.2\n"
                                     "       1 of them split: the rest of these lies in .dwo files, which aren't read\n"
                                     "left out, since DWARF 2.0 has no words for it:\n"
                                     "       7  ranges: com?puted\n");
    EXPECT_EQ(
        outcome.report.Json("in", "\xff"),
        "{\"input\":\"in\",\"output\":\"\xef\xbf\xbd\",\"units\":[{\"version\":5,\"producer\":\"GNU C17 12.2 -g "
        "-O2\",\"count\":2},{\"version\":5,\"producer\":\"GNU C17 12.2 -g\",\"count\":1}],\"left_out\":[{\"kind\":"
        "\"ranges\",\"reason\":\"com\\u001bputed\",\"count\":7}],\"split_units\":1}\n");
}

TEST(Conversion, TellsInOneLineWhatTheConverterDoesWrong)
{
    const std::string report = kReport;
    const std::string invalid = "The converter ended without a valid answer";
    const std::string garbled = "The converter's answer can't be understood";
    const std::pair<std::string, std::string> cases[] = {
        {"echo 'failure No debug information'; exit 1", "No debug information"},
        {"kill -SEGV $$", "The converter crashed (Segmentation fault)"},
        {report + "kill -ABRT $$", "The converter crashed (Aborted)"},
        {"kill -KILL $$", "The converter was ended (Killed)"},
        {"kill -XCPU $$", "The converter took more than 60 s and was stopped"},
        {"", invalid + " (exit status 0)"},
        {"exit 3", invalid + " (exit status 3)"},
        {report + "exit 1", invalid + " (exit status 1)"},
        {"echo 'failure with the wrong status'", invalid + " (exit status 0)"},
        {"printf 'failure cut'; exit 1", invalid + " (exit status 1)"},
        {"printf 'report {\"units\":[],'; exit 0", invalid + " (exit status 0)"},
        {report + "printf more", invalid + " (exit status 0)"},
        {report + "echo more", garbled},
        {"echo", garbled},
        {"echo 'failure '; exit 1", garbled},
        {"echo 'progress 101'", garbled},
        {"echo 'progress -1'", garbled},
        {"echo 'report {\"units\":['", garbled},
        {"echo 'report []'", garbled},
        {"echo 'report {\"units\":[],\"left_out\":[]}'", garbled},
        {"echo 'report {\"units\":{},\"left_out\":[],\"split_units\":0}'", garbled},
        {"echo 'report {\"units\":[],\"left_out\":[],\"split_units\":-1}'", garbled},
        {"echo 'report {\"units\":[{\"version\":\"5\",\"producer\":\"\",\"count\":1}],\"left_out\":[],"
         "\"split_units\":0}'",
         garbled},
        {"printf 'report '; head -c 100000 /dev/zero | tr '\\0' '['; echo", garbled},
        {"exec tr '\\0' x < /dev/zero", garbled},
        {"exec yes 'progress 1'", garbled},
    };
    for (const auto& [body, why] : cases) {
        SCOPED_TRACE(body);
        const Outcome outcome = RunScript(body);
        EXPECT_FALSE(outcome.done);
        EXPECT_EQ(outcome.why, why);
    }
    const Outcome absent = RunProgramOfPath("/nowhere/symconvert", ConversionLimits::For(0));
    EXPECT_EQ(absent.why, "Can't run /nowhere/symconvert: No such file or directory");
    const TempFile noProgram("");
    EXPECT_EQ(RunProgramOfPath(noProgram.Path(), ConversionLimits::For(0)).why,
              "Can't run " + noProgram.Path() + ": Permission denied");
}

TEST(Conversion, StopsAConverterThatHangs)
{
    const std::pair<std::string, const char*> cases[] = {
        {"exec sleep 1000", "waits"},
        {"echo 'progress 1'; exec sleep 1000", "has told something"},
        {kReport + std::string("exec sleep 1000 >&-"), "has told everything"},
        {"while :; do echo 'progress 1'; sleep 0.05; done", "goes on telling"},
    };
    for (const auto& [body, what] : cases) {
        SCOPED_TRACE(what);
        const auto start = std::chrono::steady_clock::now();
        const Outcome outcome = RunScript(body, milliseconds(300));
        EXPECT_FALSE(outcome.done);
        EXPECT_EQ(outcome.why, "The converter took more than 1 s and was stopped");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    }
}

TEST(Conversion, TheConverterGetsNothingButItsOutputAndItsLimits)
{
    const int leaked = fcntl(STDERR_FILENO, F_DUPFD, 100); // not one to be closed at exec
    ASSERT_GE(leaked, 100);
    setenv("DEBUGINFOD_URLS", "http://localhost", 1);
    const Outcome outcome = RunScript("test -e /proc/$$/fd/" + std::to_string(leaked) +
                                      " && leaked=leaked\n"
                                      "read line && read=read\n"
                                      "echo \"failure $leaked $read $DEBUGINFOD_URLS $(ulimit -c) $(ulimit -t)\"\n"
                                      "exit 1");
    unsetenv("DEBUGINFOD_URLS");
    close(leaked);
    EXPECT_EQ(outcome.why, "   0 61");

    const Outcome large = RunScript("head -c 100000 /dev/zero 2>/dev/null > /proc/self/fd/$2 || echo failure large\n"
                                    "exit 1",
                                    std::chrono::seconds(60), 4096);
    EXPECT_EQ(large.why, "large");
    EXPECT_EQ(large.output.size(), 4096u);
}

TEST(Conversion, LimitsMemoryInProportionToTheFile)
{
    const Script script("echo \"failure $(ulimit -v)\"\nexit 1");
    const u64 gibibyte = u64{1} << 30;
    EXPECT_EQ(RunProgramOfPath(script.Path(), {std::chrono::seconds(60), gibibyte, gibibyte}).why, "1048576");
    const ConversionLimits small = ConversionLimits::For(0);
    const ConversionLimits large = ConversionLimits::For(100 << 20);
    EXPECT_EQ(large.time - small.time, std::chrono::seconds(200));
    EXPECT_EQ(large.output - small.output, u64{6400} << 20);
    EXPECT_GT(ConversionLimits::For(~u64{0}).time, large.time) << "and nothing wraps";
}
