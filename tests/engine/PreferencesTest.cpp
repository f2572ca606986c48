// Preference files: where they lie, which values fit, what a bad file gives. And the engine's user interface.
#include "interfaces/DbgPrefDataExtractor.h"
#include "interfaces/DbgUIConsole.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr u32 kPlugInKind = 0x64696E74;

class PreferenceFiles : public testing::Test {
protected:
    PreferenceFiles()
    {
        std::string pattern = testing::TempDir() + "prefsXXXXXX";
        directory = mkdtemp(pattern.data());
    }

    ~PreferenceFiles() override
    {
        DbgPrefDataExtractor::SetDirectory("");
        std::filesystem::remove_all(directory);
    }

    void Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(directory + "/" + name) << text;
    }

    std::string directory;
};

} // namespace

TEST_F(PreferenceFiles, AModulesFileLiesBesideItOrInTheDirectory)
{
    EXPECT_EQ(DbgPrefDataExtractor("/opt/plug/Dwarf2.so", true).GetFilePath(), "/opt/plug/Dwarf2.toml");
    EXPECT_EQ(DbgPrefDataExtractor("renamed.so", true).GetFilePath(), "Dwarf2.toml");
    EXPECT_EQ(DbgPrefDataExtractor("", true).GetFilePath(), "");
    EXPECT_EQ(DbgPrefDataExtractor(kPlugInKind, "ARM Debugger Plug-in").GetFilePath(), "");
    DbgPrefDataExtractor::SetDirectory("/prefs/");
    EXPECT_EQ(DbgPrefDataExtractor("/opt/plug/Dwarf2.so", true).GetFilePath(), "/prefs/Dwarf2.toml");
    EXPECT_EQ(DbgPrefDataExtractor(kPlugInKind, "ARM Debugger Plug-in").GetFilePath(),
              "/prefs/ARM Debugger Plug-in.toml");
    EXPECT_EQ(DbgPrefDataExtractor(1, "ARM Debugger Plug-in").GetFilePath(), "");
    EXPECT_EQ(DbgPrefDataExtractor(kPlugInKind, nullptr).GetFilePath(), "");
}

TEST_F(PreferenceFiles, OnlyAValueOfTheKindIsTaken)
{
    Write("Dwarf2.toml", "[Symbolics.\"DWARF 2.0\"]\ntext = \"a, b\"\non = true\nmost = 4294967295\nmore = 4294967296\n"
                         "less = -1\nreal = 1.0\n[Symbolics]\nkey = true\n");
    const DbgPrefDataExtractor preferences(directory + "/Dwarf2.so", true);
    const auto get = [&](const char* key, auto value, auto hint) {
        const bool done = preferences.GetPrefValue("Symbolics", "DWARF 2.0", key, value, hint, nullptr);
        return std::pair(done, value);
    };
    using namespace std::string_literals;
    EXPECT_EQ(get("text", "old"s, true), std::pair(true, "a, b"s));
    EXPECT_EQ(get("on", false, true), std::pair(true, true));
    EXPECT_EQ(get("most", 5u, 20u), std::pair(true, 0xFFFFFFFFu));
    EXPECT_EQ(get("more", 5u, 20u), std::pair(false, 5u));
    EXPECT_EQ(get("less", 5u, 20u), std::pair(false, 5u));
    EXPECT_EQ(get("real", 5u, 20u), std::pair(false, 5u));
    EXPECT_EQ(get("on", 5u, 20u), std::pair(false, 5u));
    EXPECT_EQ(get("text", true, false), std::pair(false, true));
    EXPECT_EQ(get("on", "old"s, true), std::pair(false, "old"s));
    EXPECT_EQ(get("key", false, true), std::pair(false, false));
    EXPECT_EQ(get(nullptr, false, true), std::pair(false, false));
    bool value = false;
    EXPECT_FALSE(preferences.GetPrefValue("Symbolics", nullptr, "on", value, true, nullptr));
    EXPECT_FALSE(preferences.GetPrefValue("Symbolics", "key", "on", value, true, nullptr));
}

TEST_F(PreferenceFiles, AFileThatCantBeReadHasNothing)
{
    std::filesystem::create_directory(directory + "/Folder.toml");
    Write("Cut.toml", "[Symbolics.\"DWARF 2.0\"]\non = true\ntext = \"a");
    Write("Twice.toml", "[Symbolics.\"DWARF 2.0\"]\non = true\non = true\n");
    Write("Deep.toml", "a = " + std::string(100'000, '['));
    Write("Key.toml", "[Symbolics.\"DWARF 2.0\"]\non = true\n[\001]");
    Write("Letter.toml", "[Symbolics.\"DWARF 2.0\"]\non = true\nm\xD1\x8Drchen = 1\n");
    DbgPrefDataExtractor::SetDirectory(directory);
    for (const char* name : {"None", "Folder", "Cut", "Twice", "Deep", "Key", "Letter"}) {
        bool value = false;
        EXPECT_FALSE(
            DbgPrefDataExtractor(kPlugInKind, name).GetPrefValue("Symbolics", "DWARF 2.0", "on", value, true, nullptr))
            << name;
        EXPECT_FALSE(value);
    }
}

TEST(EngineInterface, GivesTheUserInterfaceByItsTagAlone)
{
    struct : DbgUserInterface {
        ProgressIndicator* OpenProgress(const char*, const char*, u32, u32, u32, bool) override { return nullptr; }
    } userInterface;
    EXPECT_EQ(DbgEngineInterface::GetInterface(DbgEngineInterface::kUserInterface), nullptr);
    DbgEngineInterface::SetUserInterface(&userInterface);
    EXPECT_EQ(static_cast<DbgUserInterface*>(DbgEngineInterface::GetInterface(0x75696E74)), &userInterface);
    EXPECT_EQ(DbgEngineInterface::GetInterface(0x746E6975), nullptr);
    DbgEngineInterface::SetUserInterface(nullptr);
    EXPECT_EQ(DbgEngineInterface::GetInterface(DbgEngineInterface::kUserInterface), nullptr);
}
