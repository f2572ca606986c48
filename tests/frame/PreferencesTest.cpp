// Preferences are read once in a process, so each case reads them in a process of its own.
#include "frame/Preferences.h"

#include "interfaces/DbgPrefDataExtractor.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
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

    void Own(const std::string& keys) { Write("Dwarf2.toml", "[Symbolics.\"DWARF 2.0\"]\n" + keys); }
    void Arm(const std::string& keys)
    {
        Write("ARM Debugger Plug-in.toml", "[\"Debugger Plug-ins\".\"ARM\"]\n" + keys);
    }

    /// All fields, one a line, after reading in a child process.
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

    /// The fields as Read delivers them, with the values that they have without any file.
    struct Expected {
        std::string section = ".text";
        u32 offset = 0;
        bool relocate = false;
        bool omitArtificial = true;
        std::string omitStart = {}; ///< each entry between bars
        bool enableSb = false;
        std::string sbExpr = {};

        std::string Text() const
        {
            std::ostringstream out;
            out << section << '\n' << offset << '\n' << relocate << omitArtificial << '\n';
            out << omitStart << '\n' << enableSb << '\n' << sbExpr << '\n';
            return out.str();
        }
    };

private:
    static std::string Describe(const Preferences& prefs)
    {
        Expected text;
        text.section = prefs.codeSectName;
        text.offset = prefs.codeOffset;
        text.relocate = prefs.relocateLibs;
        text.omitArtificial = prefs.omitArtificialVars;
        for (const std::string& entry : prefs.omitVarsStart) {
            text.omitStart += '|' + entry + '|';
        }
        text.enableSb = prefs.enableSb;
        text.sbExpr = prefs.sbExpr;
        return text.Text();
    }

    void Write(const std::string& name, const std::string& text)
    {
        std::ofstream(std::filesystem::path(m_path) / name) << text;
    }

    std::string m_path;
};

TEST_F(PreferenceFolder, WithoutFilesTheDefaultsStand)
{
    EXPECT_EQ(Read(), Expected{}.Text());
}

TEST_F(PreferenceFolder, AModuleOfUnknownPathHasNoneOfItsOwn)
{
    Own("relocate_orlo_libs = true");
    Expected expected;
    expected.section = "";
    expected.omitArtificial = false;
    EXPECT_EQ(Read(false), expected.Text());
}

TEST_F(PreferenceFolder, TheOwnFileFillsItsFields)
{
    Own("axf_code_sect_name = \"ER_RO\"\naxf_code_offset = 64\nrelocate_orlo_libs = true\n"
        "omit_artificial_vars = false\nomit_vars_start = \" __a ,,\\tb c,\"\nenable_sb = true\n");
    Expected expected;
    expected.section = "ER_RO";
    expected.offset = 64;
    expected.relocate = true;
    expected.omitArtificial = false;
    expected.omitStart = "|__a||b c|";
    EXPECT_EQ(Read(), expected.Text());
}

TEST_F(PreferenceFolder, AListOfOneEntryIsTakenAsItStands)
{
    Own("omit_vars_start = \" __tmp \"");
    Expected expected;
    expected.omitStart = "| __tmp |";
    EXPECT_EQ(Read(), expected.Text());
}

TEST_F(PreferenceFolder, TheStaticBaseIsTranslatedOnce)
{
    Arm("enable_sb = true\nsb_expr = \"genreg_pc sect_base + 4 * genreg_pc sect_base\"");
    Expected expected;
    expected.enableSb = true;
    expected.sbExpr = "sectid_base(%d) + 4 * genreg_pc sect_base";
    EXPECT_EQ(Read(), expected.Text());
    EXPECT_EQ(Read(false).substr(0, 2), "\n0") << "and without the module's own file";
}

TEST_F(PreferenceFolder, AnExpressionWithoutAPlaceForTheSectionSwitchesItOff)
{
    Arm("enable_sb = true\nsb_expr = \"0x1000 + 4\"");
    Expected expected;
    expected.sbExpr = "0x1000 + 4";
    EXPECT_EQ(Read(), expected.Text());
    Arm("enable_sb = true");
    EXPECT_EQ(Read(), Expected{}.Text());
}

TEST_F(PreferenceFolder, AnExpressionThatIsNotEnabledIsNotRead)
{
    Arm("enable_sb = false\nsb_expr = \"%d\"");
    EXPECT_EQ(Read(), Expected{}.Text());
}

TEST(TrimWhiteSpace, TakesBlanksFromBothEnds)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {" \t\r\n", ""}, {"a", "a"}, {"\t a b\r\n", "a b"}, {"\va\v", "\va\v"}};
    for (const auto& [given, expected] : cases) {
        std::string text = given;
        TrimWhiteSpace(text);
        EXPECT_EQ(text, expected);
    }
}

} // namespace
