// The module as a host sees it: what it exports, and what its one function gives.
#include "interfaces/DbgSymbolicInterface.h"

#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

namespace {

const std::string kModule = std::string(BIN_DIR) + "/Dwarf2.so";

/// Names of the dynamic symbols that others may bind to, and of those that stay undefined.
struct DynamicSymbols {
    std::set<std::string> defined;
    std::set<std::string> undefined;
};

DynamicSymbols ReadDynamicSymbols(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string image{std::istreambuf_iterator<char>(stream), {}};
    const auto record = [&image](std::size_t offset, auto& out) {
        ASSERT_LE(offset + sizeof out, image.size());
        std::memcpy(&out, image.data() + offset, sizeof out);
    };
    DynamicSymbols symbols;
    Elf64_Ehdr header{};
    record(0, header);
    for (unsigned index = 0; index < header.e_shnum; ++index) {
        Elf64_Shdr section{};
        Elf64_Shdr strings{};
        record(header.e_shoff + index * sizeof section, section);
        if (section.sh_type != SHT_DYNSYM) {
            continue;
        }
        record(header.e_shoff + section.sh_link * sizeof strings, strings);
        for (std::size_t at = 0; at < section.sh_size; at += sizeof(Elf64_Sym)) {
            Elf64_Sym symbol{};
            record(section.sh_offset + at, symbol);
            if (ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
                const char* name = image.c_str() + strings.sh_offset + symbol.st_name;
                (symbol.st_shndx == SHN_UNDEF ? symbols.undefined : symbols.defined).insert(name);
            }
        }
    }
    return symbols;
}

TEST(ModuleEntry, ExportsGetInterfaceAlone)
{
    const DynamicSymbols symbols = ReadDynamicSymbols(kModule);
    EXPECT_EQ(symbols.defined, std::set<std::string>({"GetInterface"}));
    EXPECT_FALSE(symbols.undefined.empty()) << "it uses its two neighbours";
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
