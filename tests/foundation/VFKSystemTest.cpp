// Tests the path of a loaded module.
#include "interfaces/VFKSystem.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(VFKDLL, AModuleIsFoundByAnyAddressInsideIt)
{
    std::string path;
    ASSERT_TRUE(VFKDLL::GetDLLPath(reinterpret_cast<const void*>(&VFKTimer::GetTickCount), path));
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
}

TEST(VFKDLL, AnAddressOutsideLeavesThePathAlone)
{
    std::string path = "old";
    const int local = 0;
    EXPECT_FALSE(VFKDLL::GetDLLPath(nullptr, path));
    EXPECT_FALSE(VFKDLL::GetDLLPath(&local, path));
    EXPECT_EQ(path, "old");
}
