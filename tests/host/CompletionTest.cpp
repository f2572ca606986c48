// host/Completion.cpp
#include "host/Completion.h"

#include "tests/support/ElfWriter.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using Words = std::vector<std::string>;

class Completing : public testing::Test {
protected:
    Completing()
    {
        m_writer.Section(".text", "code");
        m_writer.Section(".textual", "code");
        for (const char* name : {"station_main", "station_main", "station_run", "add", "$a"}) {
            m_writer.Symbol({name, 0x8000, 4});
        }
    }

    Completer::Result Complete(const std::string& line) { return m_completer.Complete(line); }

    ElfWriter m_writer{ByteOrder::Little};
    TempFile m_file{"placeholder"};
    Completer m_completer{m_file.Path()};

    void SetUp() override { std::ofstream(m_file.Path(), std::ios::binary) << m_writer.Image(); }
};

TEST_F(Completing, TheFirstWordIsACommand)
{
    EXPECT_EQ(Complete("elff").candidates, (Words{"elffind"}));
    EXPECT_EQ(Complete("  di").candidates, (Words{"die", "dieinfo"}));
    EXPECT_EQ(Complete("  di").start, 2u);
    EXPECT_EQ(Complete("").candidates.size(), 22u);
    EXPECT_EQ(Complete("elfs").CommonPrefix(), "elfs");
    EXPECT_EQ(Complete("elfsy").CommonPrefix(), "elfsymtab");
    EXPECT_TRUE(Complete("nothing").candidates.empty());
    EXPECT_TRUE(Complete("die 0x").candidates.empty());
}

TEST_F(Completing, BehindElffindComeSymbolsAndBehindElfsectSections)
{
    const Completer::Result result = Complete("elffind  sta");
    EXPECT_EQ(result.candidates, (Words{"station_main", "station_run"}));
    EXPECT_EQ(result.start, 9u);
    EXPECT_EQ(result.CommonPrefix(), "station_");
    EXPECT_EQ(Complete("elfsect .te").candidates, (Words{".text", ".textual"}));
    EXPECT_TRUE(Complete("elffind sta tion").candidates.empty());
}

TEST_F(Completing, BehindTheRedirectionComesAFile)
{
    const std::filesystem::path folder = m_file.Path() + ".d";
    std::filesystem::create_directories(folder / "sub");
    for (const char* name : {"out one.txt", "out two.txt", ".hidden"}) {
        std::ofstream(folder / name) << "x";
    }
    const std::string base = folder.string();
    Completer::Result result = Complete("elffind add > " + base + "/out");
    EXPECT_EQ(result.candidates, (Words{base + "/out one.txt", base + "/out two.txt"}));
    EXPECT_EQ(result.start, 14u);
    EXPECT_TRUE(result.files);
    EXPECT_EQ(Complete(">" + base + "/s").candidates, (Words{base + "/sub/"}));
    EXPECT_EQ(Complete("dump >" + base + "/").candidates.size(), 3u);
    EXPECT_TRUE(Complete("dump > /no/such/folder/x").candidates.empty());
    std::filesystem::remove_all(folder);
}

} // namespace
