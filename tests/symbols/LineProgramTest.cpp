// Tests the names of a line number programme's files.
#include "symbols/LineProgram.h"

#include "tests/support/DwarfTest.h"

#include <string>
#include <tuple>

namespace {

TEST(MakeSourcePath, JoinsDirectoryAndName)
{
    LineProgramHeader header;
    header.incDir = {"/usr/include", "C:\\inc\\", "sub/"};
    header.fileNames = {{"a.h", 1},   {"b.h", 2},    {"c.h", 3},    {"d.h", 4}, {"main.c", 0},
                        {"x/e.h", 0}, {"x\\f.h", 0}, {"../g.h", 1}, {"A.C", 0}, {"", 1}};
    DbgSymSymFile store("", 1);
    Dwarf2File file(&store);
    // The number, the own path, and the path with + in front if it differs from the own one.
    const std::tuple<u32, const char*, const char*> cases[] = {
        {1, "/src/a.c", "+/usr/include\\a.h"},
        {2, "/src/a.c", "+C:\\inc\\b.h"},
        {3, "/src/a.c", "+sub/c.h"},
        {4, "/src/a.c", "+d.h"}, // a directory number out of range counts as none
        {5, "/src/a.c", "+/src/main.c"},
        {6, "/src/a.c", "+x/e.h"},
        {7, "/src/a.c", "+x\\f.h"},
        {8, "/src/a.c", "+/usr/include\\../g.h"},
        {9, "/src/a.c", "+/src/A.C"},
        {10, "/src/a.c", "+/usr/include\\"},
        {0, "/src/a.c", "-"},
        {11, "/src/a.c", "-"},
        {kNone, "/src/a.c", "-"},
        {5, "/src/main.c", "-/src/main.c"},
        {1, "/usr/include/a.h", "+/usr/include\\a.h"}, // the separators differ
        {5, "main.c", "-main.c"},
        {1, "", "-/usr/include\\a.h"}, // there is none
    };
    for (const auto& [number, ownPath, path] : cases) {
        const std::string own = ownPath;
        std::string text = "left over";
        const std::string* const given = own.empty() ? nullptr : &own;
        const bool differs = Dwarf2FileProbe::MakeSourcePath(file, header, number, text, given);
        EXPECT_EQ((differs ? "+" : "-") + text, path) << number;
    }
}

} // namespace
