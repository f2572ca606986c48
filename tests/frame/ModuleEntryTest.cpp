// The module as a host sees it: what it exports, and what its one function gives.
#include "interfaces/DbgSymbolicInterface.h"

#include <cstdio>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

const std::string kModule = std::string(BIN_DIR) + "/Dwarf2.so";

TEST(ModuleEntry, ExportsGetInterfaceAlone)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> names(
        // NOLINTNEXTLINE(cert-env33-c): our own words alone
        popen(("nm --dynamic --defined-only --format=posix '" + kModule + "'").c_str(), "r"), pclose);
    std::string text;
    for (int character; (character = std::fgetc(names.get())) != EOF;) {
        text += static_cast<char>(character);
    }
    EXPECT_EQ(text.rfind("GetInterface", 0), 0u) << text;
    EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
}

TEST(ModuleEntry, GetInterfaceGivesOneObjectForTheRightTag)
{
    void* module = dlopen(kModule.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    auto getInterface = reinterpret_cast<void* (*)(u32)>(dlsym(module, "GetInterface"));
    ASSERT_NE(getInterface, nullptr);
    EXPECT_EQ(getInterface(0), nullptr);
    EXPECT_EQ(getInterface(0x6D797364), nullptr) << "the tag's letters in reverse";
    void* plugin = getInterface(DbgSymbolicInterface::kTag);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(getInterface(DbgSymbolicInterface::kTag), plugin);
    EXPECT_STREQ(static_cast<DbgSymbolicInterface*>(plugin)->GetName(), "DWARF 2.0 Symbolic Plug-in");
    EXPECT_EQ(dlclose(module), 0);
}

} // namespace
