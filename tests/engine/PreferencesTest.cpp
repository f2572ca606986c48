// Preference files: where they lie, which values fit, and what a bad file gives.
#include "interfaces/DbgPrefDataExtractor.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr u32 kPlugInKind = 0x64696E74;

} // namespace

TEST(PreferenceFiles, OnlyAValueOfTheKindInAFileThatCanBeReadIsTaken)
{
    std::string directory = testing::TempDir() + "prefsXXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    const std::string head = "[Symbolics.\"DWARF 2.0\"]\non = true\n";
    const std::pair<const char*, std::string> files[] = {
        {"Good", head + "text = \"a, b\"\nmost = 4294967295\nmore = 4294967296\nless = -1\nreal = 1.0\n"},
        {"Cut", head + "text = \"a"},
        {"Twice", head + "on = true\n"},
        {"Key", head + "[\001]"},
        {"Letter", head + "m\xD1\x8Drchen = 1\n"},
        {"Deep", "a = " + std::string(100'000, '[')}};
    for (const auto& [name, text] : files) {
        std::ofstream(directory + "/" + name + ".toml") << text;
    }
    std::filesystem::create_directory(directory + "/Folder.toml");
    EXPECT_EQ(DbgPrefDataExtractor("/opt/plug/renamed.so", true).GetFilePath(), "/opt/plug/Dwarf2.toml");
    DbgPrefDataExtractor::SetDirectory(directory);
    const auto get = [&](const char* file, const char* key, auto value) {
        const DbgPrefDataExtractor preferences(kPlugInKind, file);
        const bool done = preferences.GetPrefValue("Symbolics", "DWARF 2.0", key, value, 0, nullptr);
        return std::pair(done, value);
    };
    using namespace std::string_literals;
    EXPECT_EQ(get("Good", "text", "old"s), std::pair(true, "a, b"s));
    EXPECT_EQ(get("Good", "on", false), std::pair(true, true));
    EXPECT_EQ(get("Good", "most", 5u), std::pair(true, kNone));
    for (const char* key : {"more", "less", "real", "on", "absent"}) {
        EXPECT_EQ(get("Good", key, 5u), std::pair(false, 5u)) << key;
    }
    EXPECT_EQ(get("Good", "text", true), std::pair(false, true));
    EXPECT_EQ(get("Good", "on", "old"s), std::pair(false, "old"s));
    for (const char* name : {"None", "Folder", "Cut", "Twice", "Key", "Letter", "Deep"}) {
        EXPECT_EQ(get(name, "on", false), std::pair(false, false)) << name;
    }
    DbgPrefDataExtractor::SetDirectory("");
    std::filesystem::remove_all(directory);
}
