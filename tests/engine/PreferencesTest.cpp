// Preference files: values of the right type and range, and no others.
#include "interfaces/DbgPrefDataExtractor.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

TEST(Preferences, AValueOfAnotherTypeOrRangeCountsAsAbsent)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("preferences-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "Dwarf2.toml") << "[A.B]\nnumber = 7\nmost = 4294967295\nnegative = -1\nhuge = 4294967296\n"
                                             "text = 'seven'\nyes = true\n";
    DbgPrefDataExtractor::SetDirectory(folder);
    const DbgPrefDataExtractor prefs(std::string(), true);
    DbgPrefDataExtractor::SetDirectory("");
    std::filesystem::remove_all(folder);

    const auto number = [&](const char* key) {
        u32 value = 99;
        prefs.GetPrefValue("A", "B", key, value, 0, nullptr);
        return value;
    };
    EXPECT_EQ(number("number"), 7u);
    EXPECT_EQ(number("most"), 0xFFFFFFFFu);
    for (const char* key : {"negative", "huge", "text", "yes", "missing"}) {
        EXPECT_EQ(number(key), 99u) << key;
    }
    std::string text = "as before";
    bool flag = false;
    EXPECT_FALSE(prefs.GetPrefValue("A", "B", "number", text, true, nullptr));
    EXPECT_FALSE(prefs.GetPrefValue("A", "B", "number", flag, true, nullptr));
    EXPECT_FALSE(prefs.GetPrefValue("A", "C", "text", text, true, nullptr));
    EXPECT_EQ(text, "as before");
    EXPECT_TRUE(prefs.GetPrefValue("A", "B", "text", text, true, nullptr) && text == "seven");
    EXPECT_TRUE(prefs.GetPrefValue("A", "B", "yes", flag, true, nullptr) && flag);
}
