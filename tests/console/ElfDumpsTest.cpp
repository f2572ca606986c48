// Symbol searches, orders of the symbol table, and the record of a shared library.
#include "tests/console/ConsoleTest.h"

namespace {

class ElfDumps : public ConsoleTest {
protected:
    void OpenRecord(const std::string& bytes)
    {
        ElfWriter elf(GetParam());
        elf.Section(".lib", bytes, {.flags = kShfAlloc | kShfExecInstr});
        Open(elf);
        g_prefs.codeSectName = ".lib";
    }
};
BOTH_BYTE_ORDERS(ElfDumps);

TEST_P(ElfDumps, SymbolsAreSearchedAndOrdered)
{
    ElfWriter elf(GetParam());
    elf.Section(".text", std::string(64, 'x'), {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
    elf.Symbol({.name = "zeta", .value = 0x8000, .size = 4});
    elf.Symbol({.name = "alpha", .value = 0x8010, .size = 8});
    Open(elf);
    EXPECT_NE(Dump("elffind zeta").find("zeta"), std::string::npos);
    EXPECT_NE(Dump("elffind   0x8013").find("alpha"), std::string::npos) << "an entry that contains the value";
    const std::pair<const char*, const char*> misses[] = {
        {"8000h", "Symbol with or containing st_value = '0x00001f40' not found...\n"}, // digits alone are decimal
        {"gamma", "Symbol 'gamma' not found...\n"},
        {"\"gamma ray\"", "Symbol 'gamma ray' not found...\n"},
        // A name that begins like a hexadecimal number is taken for one.
        {"alpha", "Symbol with or containing st_value = '0x0000000a' not found...\n"}};
    for (const auto& [what, text] : misses) {
        EXPECT_EQ(Dump(std::string("elffind ") + what), text);
    }
    const std::pair<const char*, VFKElfFile::DumpSymtabType> orders[] = {
        {"elfsymtab", VFKElfFile::kSymtabOrder},
        {"elfsymtab -x", VFKElfFile::kSymtabOrder},
        {"elfsymtab -v", VFKElfFile::kByValue},
        {"elfsymtab -n -a", VFKElfFile::kByAddressRange}, // the last one read counts
        {"elfsymtab -a -n -q", VFKElfFile::kByName}};
    for (const auto& [line, order] : orders) {
        std::ostringstream table;
        File().Elf().DumpSymtab(table, order);
        EXPECT_EQ(Dump(line), table.str()) << line;
    }
}

TEST_P(ElfDumps, ALibrarysRecordIsReadBigEndianWhateverTheFile)
{
    ByteSection record(ByteOrder::Big);
    record.Fill(8, 0xff).U16(5).U16(1).U32(0x10203).U32(12).Raw("libr").Raw("TEST").Raw("code");
    record.U16(0x1234).U16(5).Text("Sample").PadTo(64).Raw("behind");
    OpenRecord(record.Bytes());
    EXPECT_EQ(Run("orloinfo"), "moduleID = 0x00000009\nrevision = 0x00010203\n entries = 0x0000000c\n"
                               "    type = 'libr'\n creator = 'TEST'\nrsrcType = 'code'\n  rsrcID = 0x1234\n"
                               "   flags = 0x0005 ( Patchable  Debug )\n    name = \"Sample\"\n");

    OpenRecord(std::string(8, '\0') + std::string("\0\4\0\0", 4)); // cut
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
