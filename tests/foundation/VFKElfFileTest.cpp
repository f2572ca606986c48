// Tests how the ELF reader serves sound files, and what it makes of malformed, cut and odd ones.
#include "interfaces/VFKElfFile.h"
#include "interfaces/VFKBytes.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A code section at 0x8000 with its segment, a .bss behind it, two symbols.
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
    elf.FindSymtabEntry("main");
    elf.FindSymtabEntry(0x8004, kNone, &*std::make_unique<const elf32_sym*>());
    elf.FindSymtabFunctionEntryContainingAddr(0x8004, nullptr);
    elf.FindStrtabOffset("$a", 0);
    EXPECT_LT(out.str().size(), 200'000u);
}

class VFKElfFileTest : public ::testing::TestWithParam<ByteOrder> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Orders, VFKElfFileTest, ::testing::Values(ByteOrder::Little, ByteOrder::Big));

TEST_P(VFKElfFileTest, ASoundFileIsServed)
{
    const TempFile file = SmallFile(GetParam()).Write();
    EXPECT_TRUE(VFKElfFile::QuickValidityCheck(file.Path()));
    const VFKElfFile elf(file.Path());
    ASSERT_TRUE(elf.m_valid);
    EXPECT_EQ(elf.GetPath(), file.Path());
    EXPECT_EQ(elf.m_byteOrder, GetParam() == ByteOrder::Big ? 2u : 1u);
    EXPECT_EQ(elf.m_ehdr.e_machine, kMachineArm);
    EXPECT_EQ(elf.m_ehdr.e_shnum, 7u);
    EXPECT_EQ(elf.GetSectionHeader(1)->sh_addr, 0x8000u);
    EXPECT_EQ(elf.GetSectionHeader(7), nullptr);
    EXPECT_EQ(elf.GetSectionHeader(".bss"), elf.GetSectionHeader(2));
    EXPECT_EQ(elf.GetSectionHeader(".bs"), nullptr);
    EXPECT_STREQ(elf.GetShdrString(elf.GetSectionHeader(3)->sh_name), ".comment");
    EXPECT_EQ(elf.GetProgramHeader(u32{0})->p_flags, kPfX | kPfArmPi);
    EXPECT_EQ(elf.GetProgramHeader(u32{2}), nullptr);
    EXPECT_EQ(elf.GetSymtabEntry(2)->st_size, 10u);
    EXPECT_EQ(elf.GetSymtabEntry(3), nullptr);
    EXPECT_STREQ(elf.GetString(elf.GetSymtabEntry(2)->st_name), "main");
    EXPECT_EQ(elf.GetString(1000), nullptr);
}

TEST_P(VFKElfFileTest, SectionDataIsCutToTheSection)
{
    const TempFile file = SmallFile(GetParam()).Write();
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(DataOf(elf, ".text"), "0123456789");
    EXPECT_EQ(DataOf(elf, ".text", 4, 3), "456");
    EXPECT_EQ(DataOf(elf, ".text", 8, 0xFFFFFFF0), "89");
    EXPECT_EQ(DataOf(elf, ".text", 10), "");
    EXPECT_EQ(DataOf(elf, ".text", 11), "");
    EXPECT_EQ(DataOf(elf, ".text", 0xFFFFFFFF), "");
    EXPECT_EQ(DataOf(elf, ".bss"), "");
    EXPECT_EQ(DataOf(elf, ".none"), "none");
    EXPECT_EQ(DataOf(elf, nullptr), "none");
    std::string untouched = "old";
    EXPECT_FALSE(elf.GetSectionData(".none", untouched, 0, kNone));
    EXPECT_EQ(untouched, "old");
}

TEST_P(VFKElfFileTest, TheSegmentOfASectionContainsItsBytes)
{
    ElfWriter writer = SmallFile(GetParam());
    writer.Segment(1, 4); // a second one that holds .text comes too late
    writer.Edit([](ElfRecords& elf) {
        elf.sections[3].sh_offset = elf.sections[1].sh_offset;
        elf.sections[3].sh_size = 4; // .comment lies in the segment, but has no SHF_ALLOC
    });
    const TempFile file = writer.Write();
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(elf.GetProgramHeader(elf.GetSectionHeader(1)), elf.GetProgramHeader(u32{0}));
    EXPECT_EQ(elf.GetProgramHeader(elf.GetSectionHeader(2)), elf.GetProgramHeader(u32{1}));
    EXPECT_EQ(elf.GetProgramHeader(elf.GetSectionHeader(3)), nullptr);
    EXPECT_EQ(elf.GetProgramHeader(static_cast<const Elf32_Shdr*>(nullptr)), nullptr);

    const elf32_phdr* phdr = nullptr;
    EXPECT_EQ(elf.GetShdrWithPhdr(1, &phdr), elf.GetSectionHeader(1));
    EXPECT_EQ(phdr, elf.GetProgramHeader(u32{0}));
    elf.GetShdrWithPhdr(3, &phdr);
    EXPECT_EQ(phdr, nullptr);
}

TEST_P(VFKElfFileTest, ASectionThatWrapsLiesInNoSegment)
{
    ElfWriter writer = SmallFile(GetParam());
    writer.Edit([](ElfRecords& elf) {
        elf.sections[1].sh_offset = 0xFFFFFFF8;
        elf.sections[1].sh_size = 0x80;
        elf.segments[0].p_offset = 0;
        elf.segments[0].p_filesz = 0x1000;
    });
    const TempFile file = writer.Write();
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(elf.GetProgramHeader(elf.GetSectionHeader(1)), nullptr);
    EXPECT_EQ(DataOf(elf, ".text"), "");
}

TEST_P(VFKElfFileTest, StringsAreFoundAnywhereInTheirTable)
{
    const TempFile file = SmallFile(GetParam()).Write(); // "\0$a\0main\0"
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(elf.FindStrtabOffset("$a", 0), 1u);
    EXPECT_EQ(elf.FindStrtabOffset("ain", 0), 5u);
    EXPECT_EQ(elf.FindStrtabOffset("a", 3), 5u);
    EXPECT_EQ(elf.FindStrtabOffset("$a", 2), VFKElfFile::npos);
    EXPECT_EQ(elf.FindStrtabOffset("", 9), 9u);
    EXPECT_EQ(elf.FindStrtabOffset("", 10), VFKElfFile::npos);
    EXPECT_EQ(elf.FindStrtabOffset(nullptr, 0), VFKElfFile::npos);
}

TEST_P(VFKElfFileTest, ATableThatCannotHoldItsRecordsIsNotThere)
{
    const auto counts = [](const std::function<void(ElfRecords&)>& edit) {
        ElfWriter writer = SmallFile(GetParam());
        writer.Edit(edit);
        const TempFile file = writer.Write();
        const VFKElfFile elf(file.Path());
        AskAll(elf);
        int sections = 0;
        int segments = 0;
        int symbols = 0;
        while (elf.GetSectionHeader(static_cast<u32>(sections)) != nullptr) {
            ++sections;
        }
        while (elf.GetProgramHeader(static_cast<u32>(segments)) != nullptr) {
            ++segments;
        }
        while (elf.GetSymtabEntry(static_cast<u32>(symbols)) != nullptr) {
            ++symbols;
        }
        return std::to_string(sections) + " " + std::to_string(segments) + " " + std::to_string(symbols);
    };
    EXPECT_EQ(counts([](ElfRecords&) {}), "7 2 3");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shentsize = 0; }), "0 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shentsize = 39; }), "0 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shoff = 0; }), "0 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shoff = 0xFFFFFFF0; }), "0 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shnum = 0; }), "0 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_shnum = 0xFFFF; }), "7 2 3");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_phentsize = 31; }), "7 0 3");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_phoff = 0; }), "7 0 3");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.header.e_phoff = elf.header.e_shoff; }), "7 2 3");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.sections[4].sh_entsize = 15; }), "7 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.sections[4].sh_entsize = 0x80000000; }), "7 2 1");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.sections[4].sh_size = 47; }), "7 2 2");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.sections[4].sh_type = kShtNobits; }), "7 2 0");
    EXPECT_EQ(counts([](ElfRecords& elf) { elf.sections[5].sh_type = kShtNobits; }), "7 2 3");
}

TEST_P(VFKElfFileTest, AStrideAboveTheRecordIsAllowed)
{
    ElfWriter writer(GetParam());
    ByteSection table(GetParam());
    for (u32 i = 0; i < 3; ++i) {
        table.U32(0).U32(i + 5).U32(0).U32(0);
        if (i < 2) { // what the stride puts behind the last record may be missing
            table.Fill(4, 0xFF);
        }
    }
    writer.Section(".symtab", table, {.type = kShtSymtab, .link = 9, .entrySize = 20});
    const TempFile file = writer.Write();
    const VFKElfFile elf(file.Path());
    ASSERT_NE(elf.GetSymtabEntry(2), nullptr);
    EXPECT_EQ(elf.GetSymtabEntry(2)->st_value, 7u);
    EXPECT_EQ(elf.GetSymtabEntry(3), nullptr);
    EXPECT_EQ(elf.GetString(0), nullptr);
}

TEST_P(VFKElfFileTest, AStringWithoutItsZeroEndsWithItsTable)
{
    ElfWriter writer = SmallFile(GetParam());
    writer.Edit([](ElfRecords& elf) {
        --elf.sections[5].sh_size;
        elf.sections[6].sh_size = 4; // "\0.te"
    });
    const TempFile file = writer.Write();
    const VFKElfFile elf(file.Path());
    EXPECT_STREQ(elf.GetString(4), "main");
    EXPECT_NE(elf.FindSymtabEntry("main"), nullptr);
    EXPECT_EQ(elf.GetSectionHeader(".te"), elf.GetSectionHeader(1));
    EXPECT_EQ(elf.GetShdrString(4), nullptr);
}

TEST_P(VFKElfFileTest, AFileCutAnywhereIsServedAsFarAsItGoes)
{
    const TempFile file = SmallFile(GetParam()).Write();
    for (std::uintmax_t length = std::filesystem::file_size(file.Path()); length-- > 0;) {
        std::filesystem::resize_file(file.Path(), length);
        EXPECT_EQ(VFKElfFile::QuickValidityCheck(file.Path()), length >= 52);
        const VFKElfFile elf(file.Path());
        ASSERT_EQ(elf.m_valid, length >= 52) << length;
        AskAll(elf);
    }
}

TEST_P(VFKElfFileTest, NoByteOfTheFileDoesHarm)
{
    const TempFile file = SmallFile(GetParam()).Write();
    std::fstream stream(file.Path(), std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&stream](std::streamoff at, char byte) { stream.seekp(at).put(byte).flush(); };
    const std::string image = SmallFile(GetParam()).Image();
    for (std::size_t at = 4; at < image.size(); ++at) {
        for (const char byte : {'\0', '\x01', '\x7F', '\xFF'}) {
            put(static_cast<std::streamoff>(at), byte);
            AskAll(VFKElfFile(file.Path()));
        }
        put(static_cast<std::streamoff>(at), image[at]);
    }
}

TEST_P(VFKElfFileTest, AFileThatIsCutWhileOpenGivesFewerBytes)
{
    const TempFile file = SmallFile(GetParam()).Write();
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(DataOf(elf, ".comment"), "made by hand"); // and so the names of the sections are known
    std::filesystem::resize_file(file.Path(), elf.GetSectionHeader(1)->sh_offset + 4);
    EXPECT_EQ(DataOf(elf, ".text"), "0123");
    EXPECT_EQ(DataOf(elf, ".comment"), "");
    EXPECT_EQ(elf.GetSymtabEntry(0), nullptr);
    AskAll(elf);
}

TEST(VFKElfFile, WhatIsNo32BitElfFileIsNotValid)
{
    const auto valid = [](std::string image, std::size_t at, char value) {
        image[at] = value;
        const TempFile file(image);
        const VFKElfFile elf(file.Path());
        EXPECT_EQ(elf.m_ehdr.e_machine != 0, elf.m_valid);
        return elf.m_valid && VFKElfFile::QuickValidityCheck(file.Path());
    };
    const std::string image = SmallFile(ByteOrder::Little).Image();
    EXPECT_TRUE(valid(image, 4, 1));
    EXPECT_FALSE(valid(image, 4, 2)); // class 64
    EXPECT_FALSE(valid(image, 3, 'f'));
    EXPECT_TRUE(valid(image, 5, 7)); // a byte order that counts as little-endian
}

TEST(VFKElfFile, OnlyARegularFileIsRead)
{
    const std::string fifo = ::testing::TempDir() + "dwarf2-fifo-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, ::testing::TempDir(), std::string("/dev/zero"), std::string()}) {
        EXPECT_FALSE(VFKElfFile::QuickValidityCheck(path)) << path;
        const VFKElfFile elf(path);
        EXPECT_FALSE(elf.m_valid) << path;
        AskAll(elf);
    }
    std::filesystem::remove(fifo);
}
