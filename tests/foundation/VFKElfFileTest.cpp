// How the ELF reader serves sound files, and what it makes of malformed, cut and odd ones.
#include "interfaces/VFKElfFile.h"

#include "interfaces/VFKBytes.h"
#include "tests/support/ElfWriter.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <sys/stat.h>

namespace {

/// A code section at 0x8000 with its segment, a .bss after it, two symbols.
ElfWriter SmallFile(ByteOrder order)
{
    ElfWriter elf(order);
    const u32 text = elf.Section(".text", "0123456789", {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
    const u32 bss = elf.Section(".bss", "", {.type = kShtNobits, .flags = kShfAlloc, .address = 0x9000, .size = 0x100});
    elf.Section(".comment", "made by hand");
    elf.Segment(text, kPfX | kPfArmPi);
    elf.Segment(bss, 6);
    elf.Symbol({.name = "$a", .value = 0x8000, .type = 0});
    elf.Symbol({.name = "main", .value = 0x8000, .size = 10});
    return elf;
}

std::string DataOf(const VFKElfFile& elf, const char* name, u32 offset = 0, u32 length = kNone)
{
    std::string text;
    VFKBytes bytes;
    const bool found = elf.GetSectionData(name, text, offset, length);
    EXPECT_EQ(elf.GetSectionData(name, bytes, offset, length), found);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.Data()), bytes.Size()), text);
    return found ? text : "none";
}

/// Asks for everything, for files where only the absence of harm counts.
void AskAll(const VFKElfFile& elf)
{
    std::ostringstream out;
    elf.DumpEhdr(out);
    elf.DumpPhdrList(out);
    elf.DumpShdrList(out);
    elf.DumpSymtab(out, VFKElfFile::kByName);
    for (const char* name : {".text", ".bss", ".comment", ".symtab", ""}) {
        DataOf(elf, name, 3);
        elf.DumpSectionContents(out, name, 16, true);
    }
    const elf32_phdr* phdr = nullptr;
    for (u32 index = 0; elf.GetShdrWithPhdr(index, &phdr) != nullptr; ++index) {
    }
    const elf32_sym* next = nullptr;
    elf.FindSymtabEntry("main");
    elf.FindSymtabEntry(0x8004, kNone, &next);
    elf.FindSymtabFunctionEntryContainingAddr(0x8004, nullptr);
    elf.FindStrtabOffset("$a", 0);
    EXPECT_LT(out.str().size(), 200'000u);
}

class VFKElfFileTest : public ::testing::TestWithParam<ByteOrder> {
protected:
    /// The file after the edit, if there is one.
    VFKElfFile& Open(const std::function<void(ElfRecords&)>& edit = {})
    {
        ElfWriter writer = SmallFile(GetParam());
        if (edit) {
            writer.Edit(edit);
        }
        m_file.emplace(writer.Image());
        return m_elf.emplace(m_file->Path());
    }

    std::optional<TempFile> m_file;
    std::optional<VFKElfFile> m_elf;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Orders, VFKElfFileTest, ::testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(VFKElfFileTest, ATableThatCannotHoldItsRecordsIsNotThere)
{
    using Edit = void (*)(ElfRecords&);
    const std::pair<Edit, const char*> cases[] = {
        // sections, segments, symbols
        {[](ElfRecords&) {}, "7 2 3"},
        {[](ElfRecords& elf) { elf.header.e_shentsize = 39; }, "0 2 0"},
        {[](ElfRecords& elf) { elf.header.e_shoff = 0xFFFFFFF0; }, "0 2 0"},
        {[](ElfRecords& elf) { elf.header.e_shnum = 0xFFFF; }, "7 2 3"},
        {[](ElfRecords& elf) { elf.header.e_phentsize = 31; }, "7 0 3"},
        {[](ElfRecords& elf) { elf.header.e_phoff = 0; }, "7 0 3"},
        {[](ElfRecords& elf) { elf.sections[4].sh_entsize = 15; }, "7 2 0"},
        {[](ElfRecords& elf) { elf.sections[4].sh_entsize = 0x80000000; }, "7 2 1"},
        {[](ElfRecords& elf) { elf.sections[4].sh_size = 47; }, "7 2 2"},
        {[](ElfRecords& elf) { elf.sections[4].sh_entsize = 20; }, "7 2 2"},
        {[](ElfRecords& elf) { elf.sections[4].sh_type = kShtNobits; }, "7 2 0"}};
    for (const auto& [edit, counts] : cases) {
        const VFKElfFile& elf = Open(edit);
        AskAll(elf);
        const auto count = [](auto get) {
            u32 index = 0;
            while (get(index) != nullptr) {
                ++index;
            }
            return std::to_string(index);
        };
        EXPECT_EQ(count([&](u32 index) { return elf.GetSectionHeader(index); }) + " " +
                      count([&](u32 index) { return elf.GetProgramHeader(index); }) + " " +
                      count([&](u32 index) { return elf.GetSymtabEntry(index); }),
                  counts);
    }
}

TEST_P(VFKElfFileTest, ASectionsSegmentIsTheOneThatHoldsIt)
{
    const auto segmentOf = [](const VFKElfFile& elf, u32 section) {
        const elf32_phdr* segment = elf.GetProgramHeader(elf.GetSectionHeader(section));
        return segment == nullptr ? kNone : segment->p_vaddr;
    };
    // A section without bytes is in the memory of a segment, not in its part of the file.
    EXPECT_EQ(segmentOf(Open([](ElfRecords& elf) { elf.segments[1].p_filesz = 0; }), 2), 0x9000u);
    EXPECT_EQ(segmentOf(Open([](ElfRecords& elf) { elf.segments[1].p_memsz = 0xFF; }), 2), kNone);
    EXPECT_EQ(segmentOf(Open([](ElfRecords& elf) { elf.segments[0].p_memsz = 0; }), 1), 0x8000u);
    EXPECT_EQ(segmentOf(Open([](ElfRecords& elf) { elf.segments[0].p_filesz = 9; }), 1), kNone);
    EXPECT_EQ(segmentOf(Open(), 3), kNone); // isn't loaded
}

TEST(VFKElfFile, ALargeSectionIsReadWholeOrAsFarAsTheFileGoes)
{
    std::string text(u32{9 << 20}, 0);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>(i ^ i >> 8 ^ i >> 16);
    }
    ElfWriter writer(ByteOrder::Little);
    writer.Section(".large", text);
    const TempFile file(writer.Image());
    const VFKElfFile elf(file.Path());
    EXPECT_TRUE(DataOf(elf, ".large") == text);
    EXPECT_TRUE(DataOf(elf, ".large", 5) == text.substr(5));
    // The file gets shorter after it was opened: the end of either half is missing.
    const u32 start = elf.GetSectionHeader(".large")->sh_offset;
    for (const u32 left : {8u << 20, 2u << 20, 1u}) {
        std::filesystem::resize_file(file.Path(), start + left);
        EXPECT_TRUE(DataOf(elf, ".large") == text.substr(0, left)) << left;
    }
}

TEST(VFKElfFile, OnlyARegular32BitElfFileIsRead)
{
    const auto valid = [](std::size_t at, char value) {
        std::string image = SmallFile(ByteOrder::Little).Image();
        image[at] = value;
        const TempFile file(image);
        return VFKElfFile(file.Path()).m_valid && VFKElfFile::QuickValidityCheck(file.Path());
    };
    EXPECT_FALSE(valid(4, 2)); // class 64
    EXPECT_FALSE(valid(3, 'f'));
    EXPECT_TRUE(valid(5, 7)); // a byte order that counts as little-endian

    const TempFile place("");
    const std::string fifo = place.Path() + ".fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, ::testing::TempDir(), std::string("/dev/zero"), std::string()}) {
        EXPECT_FALSE(VFKElfFile::QuickValidityCheck(path)) << path;
        const VFKElfFile elf(path);
        EXPECT_FALSE(elf.m_valid) << path;
        AskAll(elf);
    }
    std::filesystem::remove(fifo);
}
