// How a file's object is made and destroyed, and how a file is rated.
#include "frame/Dwarf2SymbolicPlugin.h"
#include "tests/support/DwarfTest.h"

#include <cstddef>
#include <string>

namespace {

class Dwarf2FileObject : public DwarfTest {
protected:
    /// A file with sections of these names.
    ElfWriter Sections(std::initializer_list<const char*> names)
    {
        ElfWriter elf(GetParam());
        for (const char* name : names) {
            elf.Section(name, ByteSection(GetParam()).U32(0x01020304));
        }
        return elf;
    }

    static u32 Rate(const TempFile& file)
    {
        DbgSymSymFile store(file.Path(), 1);
        return Dwarf2SymbolicPlugin().CheckFile(&store);
    }
    static u32 Rate(const ElfWriter& elf) { return Rate(elf.Write()); }
};
BOTH_BYTE_ORDERS(Dwarf2FileObject);

TEST_P(Dwarf2FileObject, AFileThatIsNotElfGivesAnEmptyObject)
{
    std::string elf64 = Sections({".debug_info", ".debug_abbrev"}).Image();
    elf64[4] = 2;
    const std::string cut = Sections({}).Image().substr(0, 51);
    for (const std::string& contents : {std::string(), std::string("int main() {}\n"), elf64, cut}) {
        const TempFile file(contents);
        EXPECT_EQ(Rate(file), 0u);
        DbgSymSymFile store(file.Path(), 1);
        Dwarf2File object(&store);
        EXPECT_EQ(Probe::m_debug_info(object).Size(), 0u);
        object.LoadAllSections();
        object.BuildCompileUnitIndex();
        EXPECT_EQ(store.FileScopeCount(), 0u);
        EXPECT_EQ(store.GetSectionList().Count(), 0u);
        DbgAddrRange range;
        EXPECT_FALSE(object.FindElfSymbolByName("main", &range));
    }
    DbgSymSymFile missing("/nowhere/at/all.axf", 1);
    EXPECT_EQ(Dwarf2SymbolicPlugin().CheckFile(&missing), 0u);
    EXPECT_EQ(Probe::m_debug_info(Open(Sections({}))).Size(), 0u);
}

TEST_P(Dwarf2FileObject, TheRatingTellsWhatCanBeServed)
{
    EXPECT_EQ(Rate(Sections({".debug_info", ".debug_abbrev", ".debug_line"})), 127u);
    EXPECT_EQ(Rate(Sections({".debug_info", ".debug_abbrev", ".debug_loc"})), 63u);
    EXPECT_EQ(Rate(Sections({".debug_info", ".debug_line"})), 0u);
    EXPECT_EQ(Rate(Sections({".debug_abbrev", ".symtab"})), 2u) << "the name alone counts";
    EXPECT_EQ(Rate(Sections({})), 0u);

    ElfWriter symbols = Sections({".debug_info"});
    symbols.Symbol({.name = "main"});
    EXPECT_EQ(Rate(symbols), 2u);

    ElfWriter nobits(GetParam());
    nobits.Section(".debug_info", "", {.type = kShtNobits, .size = 64});
    nobits.Section(".debug_abbrev", ByteSection(GetParam()).U8(0));
    EXPECT_EQ(Rate(nobits), 0u) << "a section without bytes is empty";

    ElfWriter bare = Sections({".debug_info", ".debug_abbrev", ".debug_line"});
    bare.OmitSectionHeaders();
    EXPECT_EQ(Rate(bare), 0u);
}

} // namespace
