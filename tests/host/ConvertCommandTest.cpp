// host/ConvertCommand.cpp and host/ShownFile.cpp: what is written and shown, and that nothing is left where it fails.
// The programs run with a script in place of the converter.
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr const char* kLine = "echo 'report {\"units\":[{\"version\":5,\"producer\":\"cc\",\"count\":1}],"
                              "\"left_out\":[],\"split_units\":0}'";

/// A copy of the programs in a folder of their own, which they take their neighbours from.
class ConvertCommand : public ::testing::Test {
protected:
    ConvertCommand()
    {
        std::string folder = (fs::temp_directory_path() / "convertXXXXXX").string();
        m_folder = mkdtemp(folder.data());
        for (const char* program : {"symhost", "symbench"}) {
            fs::copy_file(fs::path(BIN_DIR) / program, m_folder / program);
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(BIN_DIR)) {
            if (entry.path().filename().string().find(".so") != std::string::npos) {
                fs::create_symlink(entry.path(), m_folder / entry.path().filename());
            }
        }
        fs::create_directory(m_folder / "files");
        Converter("cat '" + Sample("station.axf") + "' > /proc/self/fd/$2; " + kLine);
        std::ofstream(New(), std::ios::binary) << FileWithUnit(5);
    }
    ~ConvertCommand() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    static std::string FileWithUnit(u16 version)
    {
        ByteSection info(ByteOrder::Little);
        info.U32(20).U16(version).Fill(18);
        ElfWriter elf(ByteOrder::Little);
        elf.Section(".text", "code");
        elf.Section(".debug_info", info);
        elf.Section(".debug_abbrev", "");
        elf.Section(".debug_line", "");
        elf.Symbol({.name = "main"});
        return elf.Image();
    }

    void Converter(const std::string& body)
    {
        const fs::path path = m_folder / "symconvert";
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        fs::permissions(path, fs::perms::owner_all);
    }

    fs::path In(const std::string& name) const { return m_folder / "files" / name; }
    std::string New() const { return In("new.axf"); }
    Ran Run(std::vector<std::string> arguments, const std::string& temporaryFolder = "") const
    {
        arguments.insert(arguments.begin(), {"TMPDIR=" + temporaryFolder, m_folder / "symhost"});
        return RunProgram("/usr/bin/env", arguments, "", "");
    }
    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_folder / "files")) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    fs::path m_folder;
};

} // namespace

TEST_F(ConvertCommand, ReplacesTheOutputByAWholeFile)
{
    const std::string out = In("out.axf");
    std::ofstream(out) << "old";
    fs::permissions(New(), fs::perms(0751));
    const mode_t mask = umask(022);
    const Ran ran = Run({"convert", New(), "-o", out});
    umask(mask);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "   units  DWARF  producer\n       1      5  cc\n");
    EXPECT_EQ(Contents(out), Contents(Sample("station.axf")));
    EXPECT_EQ(fs::status(out).permissions(), fs::perms(0751));
    EXPECT_EQ(Names(), (std::set<std::string>{"new.axf", "out.axf"}));

    fs::create_symlink("out.axf", In("link.axf"));
    const Ran json = Run({"convert", New(), "-o", In("link.axf"), "--json"});
    EXPECT_EQ(json.err, "");
    EXPECT_EQ(json.out, "{\"input\":\"" + New() + "\",\"output\":\"" + In("link.axf").string() +
                            "\",\"units\":[{\"version\":5,\"producer\":\"cc\",\"count\":1}],\"left_out\":[],"
                            "\"split_units\":0}\n");
    EXPECT_TRUE(fs::is_symlink(In("link.axf")));
}

TEST_F(ConvertCommand, LeavesNothingOfAFailureAndTheOldOutput)
{
    const std::string out = In("out.axf");
    std::ofstream(out) << "old";
    fs::create_hard_link(New(), In("same.axf"));
    fs::create_symlink("new.axf", In("link.axf"));
    const std::string before = Contents(New());
    const std::set<std::string> names = Names();
    const std::pair<std::string, std::string> targets[] = {
        {New(), "It is the file to be converted"},
        {In("same.axf"), "It is the file to be converted"},
        {In("link.axf"), "It is the file to be converted"},
        {m_folder / "files", "Is a directory"},
        {"/dev/null", "Not a regular file"},
        {m_folder / "none/out.axf", "No such file or directory"},
        {m_folder / "symhost/out.axf", "Not a directory"},
        {In(std::string(300, 'x')), "File name too long"},
    };
    for (const auto& [target, why] : targets) {
        const Ran ran = Run({"convert", New(), "-o", target});
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.err, "symhost: " + target + ": " + why + "\n");
    }
    const std::pair<const char*, const char*> converters[] = {
        {"echo half > /proc/self/fd/$2; kill -SEGV $$", "The converter crashed (Segmentation fault)"},
        {"echo half > /proc/self/fd/$2; echo 'failure No debug information'; exit 1", "No debug information"},
        {"head -c 1000000 /dev/zero 2> /dev/null > /proc/self/fd/$2 || { echo 'failure File too large'; exit 1; }",
         "File too large"},
    };
    for (const auto& [body, why] : converters) {
        Converter(body);
        const Ran ran = RunProgram(
            "/bin/sh", {"-c", "ulimit -f 100; exec \"$0\" convert \"$1\" -o \"$2\"", m_folder / "symhost", New(), out},
            "", "");
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.err, "symhost: " + New() + ": Not converted: " + why + "\n");
    }
    EXPECT_EQ(Names(), names);
    EXPECT_EQ(Contents(New()), before);
    EXPECT_EQ(Contents(out), "old");
}

TEST_F(ConvertCommand, ASignalTakesTheUnfinishedFileWithIt)
{
    Converter("echo $$ > '" + In("pid").string() + "'; exec sleep 1000");
    // The shell sends the signal as soon as there is a converter, and reports what became of both. One that nobody
    // waits for any more may stay in the table of processes, but runs no more.
    const Ran ran = RunProgram("/bin/sh",
                               {"-c",
                                "\"$0\" convert \"$1\" -o \"$2/out.axf\" & host=$!\n"
                                "until [ -s \"$2/pid\" ]; do sleep 0.01; done\n"
                                "ls -a \"$2\" | grep -c symhost-\n"
                                "kill -TERM $host; wait $host; echo $?\n"
                                "for i in 1 2 3 4 5 6 7 8 9; do\n"
                                "  grep -qs '^State:.*[RSDT] ' /proc/$(cat \"$2/pid\")/status || break; sleep 0.2\n"
                                "done\n"
                                "grep -qs '^State:.*[RSDT] ' /proc/$(cat \"$2/pid\")/status || echo gone",
                                m_folder / "symhost", New(), m_folder / "files"},
                               "", "");
    EXPECT_EQ(ran.out, "1\n143\ngone\n");
    EXPECT_EQ(Names(), (std::set<std::string>{"new.axf", "pid"}));
}

TEST_F(ConvertCommand, ListingsShowTheConvertedFileUnderItsOwnPath)
{
    const std::string path = New();
    const std::string newer = "symhost: " + path + ": 1 of 1 unit is DWARF 5; shown as ";
    const std::string converted = newer + "converted to DWARF 2.0\n";
    const std::string left = newer + "it stands (--convert auto converts it)\n";
    const std::string units = Run({"units", Sample("station.axf")}).out;
    struct Case {
        std::vector<std::string> arguments;
        std::string err;
        std::string out;
    };
    const Case cases[] = {
        {{"units", path}, converted, units},
        {{"--convert", "auto", "units", path}, converted, units},
        {{"units", path, "--convert", "never"}, left, "id          address           size  lines       path\n"},
        {{"rate", path}, left, "2\t" + path + "\n"},
        {{"rate", path, "--convert=auto"}, converted, "127\t" + path + "\n"},
        {{"find", path, "nothing"},
         converted + "symhost: " + path + ": There is no symbol 'nothing'\n",
         "nothing\n  no ELF symbol\n  not in .debug_pubnames\n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.arguments));
        const Ran ran = Run(each.arguments, m_folder / "files");
        EXPECT_EQ(ran.err, each.err);
        EXPECT_EQ(ran.out, each.out);
    }
    const Ran dump = Run({"export", path, "--convert", "always"});
    EXPECT_EQ(dump.err, converted);
    EXPECT_NE(dump.out.find("\"path\":\"" + path + "\",\"rating\":127"), std::string::npos);
    for (const char* command : {"sections", "export"}) {
        EXPECT_EQ(Run({command, path}).err, left);
    }
    EXPECT_EQ(Run({"console", path, "-c", "elfhdr"}).err, left);
    const Ran bench = RunProgram(m_folder / "symbench", {"--convert", "auto", "units", path}, "", "");
    EXPECT_NE(bench.out.find(" units=4 "), std::string::npos) << bench.out << bench.err;
    EXPECT_EQ(RunProgram(m_folder / "symbench", {"lines", path}, "", "").err, "symbench" + left.substr(left.find(':')));
    EXPECT_EQ(Names(), std::set<std::string>{"new.axf"}) << "temporary files have no name";
}

TEST_F(ConvertCommand, WhatIsNotConvertedByItselfSaysWhy)
{
    Converter("echo 'failure It is a relocatable object'; exit 1");
    const Ran ran = Run({"find", New(), "main"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "symhost: " + New() +
                           ": 1 of 1 unit is DWARF 5; shown as it stands, not converted: It is a relocatable object\n");
    EXPECT_NE(ran.out.find("main"), std::string::npos);
    const Ran always = Run({"find", New(), "main", "--convert", "always"});
    EXPECT_EQ(always.status, 1);
    EXPECT_EQ(always.out, "");
    EXPECT_EQ(always.err, "symhost: " + New() + ": Not converted: It is a relocatable object\n");

    EXPECT_EQ(Run({"units", New()}, "/nowhere").err, "symhost: " + New() +
                                                         ": 1 of 1 unit is DWARF 5; shown as it stands, not converted: "
                                                         "No temporary file in /nowhere: No such file or directory\n");
}

TEST_F(ConvertCommand, AFileOfOldEntriesIsNotConvertedButHintsAtIt)
{
    const std::string path = Sample("clang.axf");
    const std::string hint =
        "symhost: " + path + ": Some of its entries are passed over; --convert always shows more\n";
    EXPECT_EQ(Run({"functions", path}).err, hint);
    EXPECT_EQ(Run({"types", path, "reading"}).err, hint);
    EXPECT_EQ(Run({"functions", path, "--convert", "never"}).err, "");
    EXPECT_EQ(Run({"functions", path, "--convert", "always"}).err,
              "symhost: " + path + ": Shown as converted to DWARF 2.0\n");
    for (const char* command : {"units", "sections", "export"}) {
        EXPECT_EQ(Run({command, path}).err, "");
    }
    const std::string misread =
        "symhost: " + path +
        ": Its line tables have opcodes that DWARF 2.0 does not have and are misread; --convert "
        "always shows the lines\n";
    EXPECT_EQ(Run({"lines", path}).err, misread);
    const Ran at = Run({"at", path, "station_main+8", "--json"});
    EXPECT_EQ(at.err, misread);
    EXPECT_NE(at.out.find("\"source\":null"), std::string::npos) << at.out;
    EXPECT_EQ(Run({"at", path, "station.c:83"}).status, 1);
    EXPECT_EQ(Run({"at", Sample("station.axf"), "station.c:81"}).err, "");
}
