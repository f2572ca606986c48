// Symbol searches, orders of the symbol table, and the record of a shared library.
#include "tests/console/ConsoleTest.h"

namespace {

class ElfDumps : public ConsoleTest {
protected:
    Dwarf2File& OpenSymbols()
    {
        ElfWriter elf(GetParam());
        elf.Section(".text", std::string(64, 'x'), {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
        elf.Symbol({.name = "zeta", .value = 0x8000, .size = 4});
        elf.Symbol({.name = "alpha", .value = 0x8010, .size = 8});
        return Open(elf);
    }
    /// What the ELF reader prints of an entry.
    std::string Entry(const char* name)
    {
        std::ostringstream stream;
        File().Elf().DumpSymtabEntry(stream, File().Elf().FindSymtabEntry(name));
        return stream.str();
    }
    std::string Table(VFKElfFile::DumpSymtabType order)
    {
        std::ostringstream stream;
        File().Elf().DumpSymtab(stream, order);
        return stream.str();
    }
};
BOTH_BYTE_ORDERS(ElfDumps);

TEST_P(ElfDumps, SearchesByNameAndByValue)
{
    OpenSymbols();
    EXPECT_EQ(Dump("elffind zeta"), Entry("zeta"));
    EXPECT_EQ(Dump("elffind   0x8013"), Entry("alpha")) << "an entry that contains the value";
    EXPECT_EQ(Dump("elffind 8000h"), "Symbol with or containing st_value = '0x00001f40' not found...\n")
        << "digits alone are decimal";
    EXPECT_EQ(Dump("elffind gamma"), "Symbol 'gamma' not found...\n");
    EXPECT_EQ(Dump("elffind \"gamma ray\""), "Symbol 'gamma ray' not found...\n");
    // A name that begins like a hexadecimal number is taken for one.
    EXPECT_EQ(Dump("elffind alpha"), "Symbol with or containing st_value = '0x0000000a' not found...\n");

    const OutputPath out;
    Run("elffind gamma > " + out.Path());
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), Run("elffind gamma"));
}

TEST_P(ElfDumps, TheLastOrderReadCounts)
{
    OpenSymbols();
    EXPECT_EQ(Dump("elfsymtab"), Table(VFKElfFile::kSymtabOrder));
    EXPECT_EQ(Dump("elfsymtab -x"), Table(VFKElfFile::kSymtabOrder));
    EXPECT_EQ(Dump("elfsymtab -v"), Table(VFKElfFile::kByValue));
    EXPECT_EQ(Dump("elfsymtab -n -a"), Table(VFKElfFile::kByAddressRange));
    EXPECT_EQ(Dump("elfsymtab -a -n -q"), Table(VFKElfFile::kByName));
    EXPECT_NE(Table(VFKElfFile::kByName), Table(VFKElfFile::kSymtabOrder));

    const OutputPath out;
    Run("elfsymtab -n > " + out.Path());
    EXPECT_EQ(WithoutPath(ReadFile(out.Path())), Run("elfsymtab -n"));
}

TEST_P(ElfDumps, ElfIsItsThreeParts)
{
    OpenSymbols();
    EXPECT_EQ(Dump("elf"), Dump("elfhdr") + Dump("elfph") + Dump("elfsh"));
    EXPECT_NE(Dump("elfsect .text").find("78"), std::string::npos);
}

class LibraryRecord : public ConsoleTest {
protected:
    void OpenRecord(const std::string& bytes)
    {
        ElfWriter elf(GetParam());
        elf.Section(".lib", bytes, {.flags = kShfAlloc | kShfExecInstr});
        Open(elf);
        g_prefs.codeSectName = ".lib";
    }
};
BOTH_BYTE_ORDERS(LibraryRecord);

TEST_P(LibraryRecord, IsReadBigEndianWhateverTheFile)
{
    ByteSection record(ByteOrder::Big);
    record.Fill(8, 0xff).U16(5).U16(1).U32(0x10203).U32(12).Raw("libr").Raw("TEST").Raw("code");
    record.U16(0x1234).U16(5).Text("Sample").PadTo(64).Raw("behind");
    OpenRecord(record.Bytes());
    const std::string text = "moduleID = 0x00000009\nrevision = 0x00010203\n entries = 0x0000000c\n"
                             "    type = 'libr'\n creator = 'TEST'\nrsrcType = 'code'\n  rsrcID = 0x1234\n"
                             "   flags = 0x0005 ( Patchable  Debug )\n    name = \"Sample\"\n";
    EXPECT_EQ(Run("orloinfo"), text);
    const OutputPath out;
    Run("orloinfo > " + out.Path());
    EXPECT_EQ(ReadFile(out.Path()), text);
}

TEST_P(LibraryRecord, ShortOrAbsent)
{
    OpenRecord(std::string(8, '\0') + std::string("\0\4\0\0", 4));
    const std::string noChars(4, '\0');
    EXPECT_EQ(Run("orloinfo"), "moduleID = 0x00000001\nrevision = 0x00000000\n entries = 0x00000000\n    type = '" +
                                   noChars + "'\n creator = '" + noChars + "'\nrsrcType = '" + noChars +
                                   "'\n  rsrcID = 0x0000\n   flags = 0x0000 ()\n    name = \"\"\n");

    OpenRecord(std::string(36, '\0') + std::string(40, 'n'));
    EXPECT_NE(Run("orloinfo").find("name = \"" + std::string(28, 'n') + "\"\n"), std::string::npos);
    g_prefs.codeSectName = ".absent";
    EXPECT_EQ(Run("orloinfo"), "No Vantrix information found in the '.absent' section\n");
}

} // namespace
