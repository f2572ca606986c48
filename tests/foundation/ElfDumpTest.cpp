// Tests what the listings of an ELF file say, and that hostile text neither reaches the terminal
// nor swells them.
#include "interfaces/VFKElfFile.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <vector>

namespace {

using Dump = void (VFKElfFile::*)(std::ostream&) const;

template <typename Call>
std::string TextOf(const ElfWriter& writer, Call call)
{
    const TempFile file = writer.Write();
    const VFKElfFile elf(file.Path());
    std::ostringstream out;
    call(elf, out);
    return out.str();
}

std::string TextOf(const ElfWriter& writer, Dump dump)
{
    return TextOf(writer, [dump](const VFKElfFile& elf, std::ostream& out) { (elf.*dump)(out); });
}

std::string SymbolsOf(const ElfWriter& writer, VFKElfFile::DumpSymtabType type)
{
    return TextOf(writer, [type](const VFKElfFile& elf, std::ostream& out) { elf.DumpSymtab(out, type); });
}

std::string ContentsOf(const ElfWriter& writer, const char* name, u32 perLine = 16, bool withText = true)
{
    return TextOf(writer, [&](const VFKElfFile& elf, std::ostream& out) {
        elf.DumpSectionContents(out, name, perLine, withText);
    });
}

/// The first word of each line behind the two head lines, one behind the other.
std::string FirstWords(const std::string& listing)
{
    std::istringstream lines(listing);
    std::string words;
    std::string line;
    for (int number = 0; std::getline(lines, line); ++number) {
        std::string word;
        if (number >= 2 && std::istringstream(line) >> word) {
            words += word + " ";
        }
    }
    return words;
}

ElfWriter SmallFile()
{
    ElfWriter elf(ByteOrder::Big);
    const u32 text =
        elf.Section(".text", "0123456789abcdef\x01\x7F\xE9", {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
    elf.Section(".ARM.attributes", "A", {.type = 0x70000003, .flags = 0x04000010});
    elf.Section(".bss", "", {.type = kShtNobits, .flags = kShfAlloc, .address = 0x9000, .size = 0x100});
    elf.Segment(text, kPfX | 4 | kPfArmPi | 0x800);
    return elf;
}

} // namespace

TEST(ElfDump, TheHeaderIsToldInWords)
{
    const std::string text = TextOf(SmallFile(), &VFKElfFile::DumpEhdr);
    for (const char* line :
         {"class            1 (ELF32)\n", "byte order       2 (big-endian)\n",
          "type             2 (EXEC, executable)\n", "machine          40 (ARM)\n",
          "flags            0x05000000 (EABI 5)\n", "program headers  offset 0x00000034, 1 entry of 32 bytes\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    }
}

TEST(ElfDump, HeadersHaveNamesForTheirCodes)
{
    EXPECT_EQ(TextOf(SmallFile(), &VFKElfFile::DumpPhdrList),
              "1 program header\n"
              "      #  Type          Offset      VirtAddr    PhysAddr    FileSize    MemSize     Align       Flags\n"
              "      0  LOAD          0x00000054  0x00008000  0x00008000  0x00000013  0x00000013  0x00000004  "
              "R X ARM_PI 0x800\n");
    const std::string text = TextOf(SmallFile(), &VFKElfFile::DumpShdrList);
    EXPECT_NE(text.find("  .text                     PROGBITS        0x00008000  0x00000054  0x00000013  0x00000000  "
                        "    0      0      1  ALLOC EXECINSTR\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(" ARM_ATTRIBUTES "), std::string::npos);
    EXPECT_NE(text.find("  MERGE 0x4000000\n"), std::string::npos);

    ElfWriter other = SmallFile(); // codes of the processor say nothing in another one's file
    other.Edit([](ElfRecords& elf) { elf.header.e_machine = 3; });
    EXPECT_NE(TextOf(other, &VFKElfFile::DumpShdrList).find(" 0x70000003 "), std::string::npos);
}

TEST(ElfDump, SymbolsComeInTheOrderAskedFor)
{
    ElfWriter elf = SmallFile();
    elf.Symbol({.name = "zeta", .value = 0x20, .size = 8});
    elf.Symbol({.name = "beta", .value = 0x10, .size = 8, .type = 1, .binding = 0, .section = 0xFFF1});
    elf.Symbol({.name = "beta", .value = 0x20, .size = 4, .binding = 2, .section = 0});
    elf.Symbol({.name = "alpha", .value = 0x20, .size = 4, .type = 9, .binding = 7, .section = 99});
    EXPECT_EQ(FirstWords(SymbolsOf(elf, VFKElfFile::kSymtabOrder)), "0 1 2 3 4 ");
    EXPECT_EQ(FirstWords(SymbolsOf(elf, VFKElfFile::kByValue)), "0 2 1 3 4 ");
    EXPECT_EQ(FirstWords(SymbolsOf(elf, VFKElfFile::kByAddressRange)), "0 2 3 4 1 ");
    EXPECT_EQ(FirstWords(SymbolsOf(elf, VFKElfFile::kByName)), "0 4 2 3 1 ");
    EXPECT_EQ(SymbolsOf(elf, VFKElfFile::kByName),
              "5 symbols by name\n"
              "    #  Value       Size        Type       Binding     Visibility  Section                   Name\n"
              "    0  0x00000000  0x00000000  NOTYPE     LOCAL       DEFAULT     UNDEF\n"
              "    4  0x00000020  0x00000004  0x00000009  0x00000007  DEFAULT     99                        alpha\n"
              "    2  0x00000010  0x00000008  OBJECT     LOCAL       DEFAULT     ABS                       beta\n"
              "    3  0x00000020  0x00000004  FUNC       WEAK        DEFAULT     UNDEF                     beta\n"
              "    1  0x00000020  0x00000008  FUNC       GLOBAL      DEFAULT     1 .text                   zeta\n");
    EXPECT_EQ(SymbolsOf(SmallFile(), VFKElfFile::kByName), "0 symbols by name\n");
}

TEST(ElfDump, ContentsAreToldByAddressOrOffset)
{
    ElfWriter elf = SmallFile();
    EXPECT_EQ(ContentsOf(elf, ".text"),
              "Section '.text': 19 bytes at 0x00008000, offset 0x00000054 of the file\n"
              "  0x00008000  30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
              "  0x00008010  01 7f e9                                          |...|\n");
    EXPECT_EQ(ContentsOf(elf, ".ARM.attributes", 3, false),
              "Section '.ARM.attributes': 1 bytes, offset 0x00000068 of the file\n  0x00000068  41\n");
    EXPECT_EQ(ContentsOf(elf, ".bss"), "Section '.bss': 256 bytes at 0x00009000, none of them in the file\n");
    EXPECT_EQ(ContentsOf(elf, ".no\x1B[2J"), "There is no section '.no\\x1b[2J'\n");
    elf.Edit([](ElfRecords& records) { records.sections[1].sh_size = 0xFFFFFFFF; });
    EXPECT_NE(ContentsOf(elf, ".text", 0).find(" of the 4294967295 bytes\n"), std::string::npos);
}

TEST(ElfDump, ContentsLongerThanAPieceGoOnWithoutAGap)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section("big", std::string(700'000, 'q') + "end", {});
    const std::string text = ContentsOf(elf, "big", 7);
    EXPECT_EQ(std::count(text.begin(), text.end(), 'q'), 700'000);
    EXPECT_NE(text.find("|end|\n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 700'003 / 7 + 1);
}

TEST(ElfDump, TheStreamsSettingsNeitherCountNorChange)
{
    const auto dump = [](const VFKElfFile& elf, std::ostream& out) {
        elf.DumpEhdr(out);
        elf.DumpShdrList(out);
        elf.DumpSectionContents(out, ".text", 16, true);
    };
    const std::string text = TextOf(SmallFile(), [&](const VFKElfFile& elf, std::ostream& out) {
        out << std::hex << std::showbase << std::setfill('*') << std::left;
        const std::ios::fmtflags flags = out.flags();
        dump(elf, out);
        EXPECT_EQ(out.flags(), flags);
        EXPECT_EQ(out.fill(), '*');
    });
    EXPECT_EQ(text, TextOf(SmallFile(), dump));
}

TEST(ElfDump, ControlCharactersOfNamesAreEscaped)
{
    ElfWriter elf = SmallFile();
    elf.Symbol({.name = "a\x1B]0;x\x07\n\x7F gr\xC3\xBC\xC3\x9F \xC2\x9B \x9B \xED\xA0\x80 \xE2\x82\xAC"});
    const std::string text = SymbolsOf(elf, VFKElfFile::kSymtabOrder);
    EXPECT_NE(text.find("a\\x1b]0;x\\x07\\x0a\\x7f gr\xC3\xBC\xC3\x9F \\xc2\\x9b \\x9b \\xed\\xa0\\x80 \xE2\x82\xAC\n"),
              std::string::npos)
        << text;
}

TEST(ElfDump, NamesThatShareALongTextAreCut)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Symbol({.name = std::string(512, 'a')});
    elf.Symbol({.name = std::string(100'000, 'b')});
    elf.Symbol({.name = std::string(100'000, '\x01')});
    const std::string text = SymbolsOf(elf, VFKElfFile::kByName);
    EXPECT_NE(text.find(" " + std::string(512, 'a') + "\n"), std::string::npos);
    EXPECT_NE(text.find(" " + std::string(512, 'b') + "...\n"), std::string::npos);
    EXPECT_LT(text.size(), 2500u);
}

TEST(ElfDump, AFileThatIsNotValidHasEmptyListings)
{
    const TempFile file("no ELF file");
    const VFKElfFile elf(file.Path());
    std::ostringstream out;
    elf.DumpEhdr(out);
    elf.DumpPhdrList(out);
    elf.DumpShdrList(out);
    elf.DumpSymtab(out, VFKElfFile::kByName);
    EXPECT_EQ(out.str(), "");
    elf.DumpSectionContents(out, ".text", 16, true);
    EXPECT_EQ(out.str(), "There is no section '.text'\n");
}
