// Paths as text.
#include "interfaces/VFKFile.h"

#include <gtest/gtest.h>

namespace {

std::string Joined(const char* path, const char* directory)
{
    VFKFile file;
    file.SetFileDesc(path);
    file.MakePathAbsolute(directory);
    return file.GetPath();
}

TEST(VFKFile, ARelativePathIsJoinedToItsDirectory)
{
    EXPECT_EQ(Joined("a.c", "/src"), "/src/a.c");
    EXPECT_EQ(Joined("a.c", "/src/"), "/src/a.c");
    EXPECT_EQ(Joined("a.c", "C:\\src"), "C:\\src\\a.c");
    EXPECT_EQ(Joined("a.c", "C:\\src\\"), "C:\\src\\a.c");
    EXPECT_EQ(Joined("a.c", "C:/src\\x"), "C:/src\\x/a.c") << "only a directory of backslashes gets one";
    EXPECT_EQ(Joined("./a.c", "src"), "src/./a.c") << "nothing is normalised";
    EXPECT_EQ(Joined("a.c", ""), "a.c");
    EXPECT_EQ(Joined("a.c", nullptr), "a.c");
    EXPECT_EQ(Joined(nullptr, "/src"), "/src/");
    for (const char* absolute : {"/a.c", "\\a.c", "C:a.c"}) {
        EXPECT_EQ(Joined(absolute, "/src"), absolute);
    }
}

TEST(VFKFile, APathIsCutAtItsLastSeparatorOfEitherKind)
{
    const struct {
        const char* path;
        const char* folder;
        const char* name;
        const char* stem;
    } cases[] = {{"/src/a.tar.gz", "/src/", "a.tar.gz", "a.tar"},
                 {"C:\\src\\a.c", "C:\\src\\", "a.c", "a"},
                 {"/x\\b", "/x\\", "b", "b"},
                 {"\\x/b.c", "\\x/", "b.c", "b"},
                 {"a.c", "", "a.c", "a"},
                 {"/src.d/", "/src.d/", "", ""},
                 {"", "", "", ""}};
    for (const auto& [path, folder, name, stem] : cases) {
        std::string text;
        VFKFile(path).GetVolumeAndPath(text, false);
        EXPECT_EQ(text, folder) << path;
        VFKFile(path).GetVolumeAndPath(text, true);
        EXPECT_EQ(text, '"' + std::string(folder) + '"');
        VFKFile::GetFilename(path, text, true, false);
        EXPECT_EQ(text, name) << path;
        VFKFile::GetFilename(path, text, false, false);
        EXPECT_EQ(text, stem) << path;
        VFKFile(path).GetFullPath(text, true, true);
        EXPECT_EQ(text, '"' + std::string(path) + '"');
    }
    EXPECT_TRUE(VFKFile("/").Exists());
    EXPECT_FALSE(VFKFile("/nothing/is/here").Exists());
}

} // namespace
