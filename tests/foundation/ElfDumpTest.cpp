// That hostile text neither reaches the terminal nor swells a listing.
#include "interfaces/VFKElfFile.h"
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace {

template <typename Dump>
std::string TextOf(const ElfWriter& writer, Dump dump)
{
    const TempFile file = writer.Write();
    std::ostringstream out;
    dump(VFKElfFile(file.Path()), out);
    return out.str();
}

std::string ContentsOf(const ElfWriter& writer, const char* name, u32 perLine)
{
    return TextOf(writer, [&](const auto& elf, auto& out) { elf.DumpSectionContents(out, name, perLine, true); });
}

} // namespace

TEST(ElfDump, ContentsLongerThanAPieceGoOnWithoutAGap)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Section("big", std::string(700'000, 'q') + "end", {});
    const std::string text = ContentsOf(elf, "big", 7);
    EXPECT_EQ(std::count(text.begin(), text.end(), 'q'), 700'000);
    EXPECT_NE(text.find("|end|\n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 700'003 / 7 + 1);
    elf.Edit([](ElfRecords& records) { records.sections[1].sh_size = 0xFFFFFFFF; });
    EXPECT_NE(ContentsOf(elf, "big", 0).find(" of the 4294967295 bytes\n"), std::string::npos);
    EXPECT_EQ(ContentsOf(elf, ".no\x1B[2J", 16), "There is no section '.no\\x1b[2J'\n");
}

TEST(ElfDump, NamesAreEscapedAndCut)
{
    ElfWriter elf(ByteOrder::Little);
    elf.Symbol({.name = "a\x1B]0;x\x07\n\x7F gr\xC3\xBC\xC3\x9F \xC2\x9B \x9B \xED\xA0\x80 \xE2\x82\xAC"});
    elf.Symbol({.name = std::string(512, 'a')});
    elf.Symbol({.name = std::string(100'000, 'b')});
    elf.Symbol({.name = std::string(100'000, '\x01')});
    const std::string text =
        TextOf(elf, [](const auto& file, auto& out) { file.DumpSymtab(out, VFKElfFile::kByName); });
    EXPECT_NE(text.find("a\\x1b]0;x\\x07\\x0a\\x7f gr\xC3\xBC\xC3\x9F \\xc2\\x9b \\x9b \\xed\\xa0\\x80 \xE2\x82\xAC\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(" " + std::string(512, 'a') + "\n"), std::string::npos);
    EXPECT_NE(text.find(" " + std::string(512, 'b') + "...\n"), std::string::npos);
    EXPECT_LT(text.size(), 2700u);
}
