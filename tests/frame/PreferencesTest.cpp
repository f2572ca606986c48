// Preferences are read once in a process, so each case reads them in a process of its own.
#include "frame/Preferences.h"

#include "interfaces/DbgPrefDataExtractor.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A folder of preference files, removed at the end.
class PreferenceFolder : public ::testing::Test {
protected:
    PreferenceFolder()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "preferences-XXXXXX";
        m_path = mkdtemp(pattern.data());
    }
    ~PreferenceFolder() override { std::filesystem::remove_all(m_path); }

    void Write(const std::string& name, const std::string& text)
    {
        std::ofstream(std::filesystem::path(m_path) / name) << text;
    }
    void Own(const std::string& keys) { Write("Dwarf2.toml", "[Symbolics.\"DWARF 2.0\"]\n" + keys); }

    /// All fields between bars, after reading in a child process.
    /// @param knowsModule whether the module's own path is known.
    std::string Read(bool knowsModule = true)
    {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            DbgPrefDataExtractor::SetDirectory(m_path);
            g_modulePath = knowsModule ? m_path + "/Dwarf2.so" : "";
            ReadPreferences();
            const std::string text = Describe(g_prefs);
            const bool written = write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
            _exit(written ? 0 : 1);
        }
        close(ends[1]);
        std::string text;
        char buffer[256];
        for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        close(ends[0]);
        int status = 1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        return text;
    }

private:
    static std::string Describe(const Preferences& prefs)
    {
        std::ostringstream out;
        out << prefs.codeSectName << '|' << prefs.codeOffset << '|' << prefs.relocateLibs << prefs.omitArtificialVars;
        out << '|';
        for (const std::string& entry : prefs.omitVarsStart) {
            out << '<' << entry << '>';
        }
        out << '|' << prefs.enableSb << '|' << prefs.sbExpr;
        return out.str();
    }

    std::string m_path;
};

TEST_F(PreferenceFolder, TheModulesFileFillsItsFields)
{
    const std::string defaults = ".text|0|01||0|";
    EXPECT_EQ(Read(), defaults);
    Own("axf_code_sect_name = \"ER_RO\"\naxf_code_offset = 64\nrelocate_orlo_libs = true\n"
        "omit_artificial_vars = false\nomit_vars_start = \" __a ,,\\tb c,\"\nenable_sb = true\n");
    EXPECT_EQ(Read(), "ER_RO|64|10|<__a><b c>|0|");
    EXPECT_EQ(Read(false), "|0|00||0|") << "a module of unknown path has none";
    Own("omit_vars_start = \" __tmp \""); // one entry is taken as it stands
    EXPECT_EQ(Read(), ".text|0|01|< __tmp >|0|");
}

TEST_F(PreferenceFolder, TheStaticBaseNeedsAPlaceForTheSection)
{
    const std::pair<const char*, const char*> cases[] = {
        {"enable_sb = true\nsb_expr = \"genreg_pc sect_base + 4 * genreg_pc sect_base\"",
         "1|sectid_base(%d) + 4 * genreg_pc sect_base"}, // translated once
        {"enable_sb = true\nsb_expr = \"0x1000 + 4\"", "0|0x1000 + 4"},
        {"enable_sb = true", "0|"},
        {"enable_sb = false\nsb_expr = \"%d\"", "0|"}};
    for (const auto& [keys, expected] : cases) {
        Write("ARM Debugger Plug-in.toml", std::string("[\"Debugger Plug-ins\".\"ARM\"]\n") + keys);
        EXPECT_EQ(Read(), std::string(".text|0|01||") + expected);
        EXPECT_EQ(Read(false), std::string("|0|00||") + expected) << "without the module's own file";
    }
}

} // namespace
