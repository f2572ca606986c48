// Tests how paths are cut and joined.
#include "interfaces/VFKFile.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

namespace {

std::string Joined(const char* path, const char* directory)
{
    VFKFile file;
    file.SetFileDesc(path);
    file.MakePathAbsolute(directory);
    return file.GetPath();
}

std::string FilenameOf(const std::string& path, bool withExtension = true, bool quoted = false)
{
    std::string name;
    VFKFile::GetFilename(path, name, withExtension, quoted);
    return name;
}

} // namespace

TEST(VFKFile, ARelativePathIsJoinedByTheDirectorysOwnSeparator)
{
    EXPECT_EQ(Joined("a.c", "/src"), "/src/a.c");
    EXPECT_EQ(Joined("../a.c", "/src/./b/"), "/src/./b/../a.c");
    EXPECT_EQ(Joined("a.c", "C:\\src"), "C:\\src\\a.c");
    EXPECT_EQ(Joined("a.c", "C:\\src\\"), "C:\\src\\a.c");
    EXPECT_EQ(Joined("b\\a.c", "C:\\src/x"), "C:\\src/x/b\\a.c");
    EXPECT_EQ(Joined("a.c", "src"), "src/a.c");
    EXPECT_EQ(Joined("a.c", ""), "a.c");
    EXPECT_EQ(Joined("a.c", nullptr), "a.c");
}

TEST(VFKFile, AnAbsolutePathStays)
{
    for (const char* path : {"/a.c", "\\a.c", "D:a.c", "D:"}) {
        EXPECT_EQ(Joined(path, "/src"), path);
    }
    EXPECT_EQ(Joined(":a.c", "/src"), "/src/:a.c");
}

TEST(VFKFile, APathIsCutBehindItsLastSeparator)
{
    std::string path;
    VFKFile("/src/lib\\a.b.c").GetVolumeAndPath(path, false);
    EXPECT_EQ(path, "/src/lib\\");
    VFKFile("a.c").GetVolumeAndPath(path, true);
    EXPECT_EQ(path, "\"\"");
    VFKFile("/src/a.c").GetFullPath(path, true, true);
    EXPECT_EQ(path, "\"/src/a.c\"");
    VFKFile("/src/a.c").GetFullPath(path, false, false);
    EXPECT_EQ(path, "/src/");

    EXPECT_EQ(FilenameOf("/src/lib\\a.b.c"), "a.b.c");
    EXPECT_EQ(FilenameOf("/src.d/a.b.c", false), "a.b");
    EXPECT_EQ(FilenameOf("/src.d/a", false), "a");
    EXPECT_EQ(FilenameOf("/src/", true, true), "\"\"");
}

TEST(VFKFile, ExistsTellsWhatIsThere)
{
    const TempFile file("x");
    EXPECT_TRUE(VFKFile(file.Path()).Exists());
    EXPECT_FALSE(VFKFile(file.Path() + ".none").Exists());
    EXPECT_FALSE(VFKFile().Exists());
}
