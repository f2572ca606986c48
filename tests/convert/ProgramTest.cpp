// Which files are read, what is where in them, and what is written with other debug sections.
#include "convert/Program.h"

#include "convert/Failure.h"
#include "convert/ProgramWriter.h"
#include "tests/support/ElfWriter.h"

#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

using convert::ByteView;
using convert::Failure;
using convert::NewSection;
using convert::Program;
using convert::ProgramSection;
using convert::WriteProgram;

namespace {

constexpr u32 kAlloc = kShfAlloc;
constexpr u32 kCompressed = 0x800;
constexpr u32 kShtRel = 9;
constexpr u32 kShtDynsym = 11;
constexpr u32 kShtGroup = 17;
constexpr u32 kShtExtended = 18; ///< SHT_SYMTAB_SHNDX
constexpr u16 kExtended = 0xFFFF;
constexpr u8 kObject = 1;
constexpr u8 kSection = 3;

ByteView View(std::string_view text)
{
    return {reinterpret_cast<const u8*>(text.data()), text.size()};
}

std::string Text(ByteView bytes)
{
    return bytes.size == 0 ? "" : std::string(reinterpret_cast<const char*>(bytes.data), bytes.size);
}

std::string Why(const std::string& path)
{
    try {
        const Program program(path);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return {};
}

const ProgramSection* Find(const Program& program, std::string_view name)
{
    for (const ProgramSection& section : program.Sections()) {
        if (section.name == name) {
            return &section;
        }
    }
    return nullptr;
}

std::string Contents(const Program& program, std::string_view name)
{
    const ProgramSection* section = Find(program, name);
    return section == nullptr ? "none" : Text(program.Bytes(*section));
}

/// The names in their order, without the null section's.
std::string Names(const Program& program)
{
    std::string names;
    for (const ProgramSection& section : std::span(program.Sections()).subspan(1)) {
        names += (names.empty() ? "" : " ") + section.name;
    }
    return names;
}

/// A program written with other sections, and read again.
class Written {
public:
    Written(const Program& program, const std::vector<NewSection>& sections)
        : m_file("")
    {
        const int descriptor = open(m_file.Path().c_str(), O_WRONLY);
        try {
            WriteProgram(program, sections, descriptor);
        } catch (...) {
            close(descriptor);
            throw;
        }
        close(descriptor);
        m_program.emplace(m_file.Path());
    }

    const Program& operator*() const { return *m_program; }
    const Program* operator->() const { return &*m_program; }

private:
    TempFile m_file;
    std::optional<Program> m_program;
};

struct SymbolRecord {
    u32 value;
    u8 type;
    u16 section;
};

std::vector<SymbolRecord> SymbolsOf(const Program& program, std::string_view table)
{
    std::vector<SymbolRecord> symbols;
    convert::ByteReader reader(program.Bytes(*Find(program, table)), program.BigEndian());
    while (!reader.AtEnd()) {
        reader.Skip(4);
        const u32 value = reader.U32();
        reader.Skip(4);
        const u8 type = reader.U8() & 0xFu;
        reader.Skip(1);
        symbols.push_back({value, type, reader.U16()});
    }
    return symbols;
}

class ProgramOf : public testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Words(std::initializer_list<u32> words)
    {
        ByteSection bytes(GetParam());
        for (const u32 word : words) {
            bytes.U32(word);
        }
        return bytes;
    }

    /// Puts code of `size` bytes at an address.
    void Code(u32 address, u32 size, const char* name = ".text")
    {
        const u32 section = elf.Section(name, std::string(size, 'c'), {.flags = kAlloc, .address = address});
        elf.Segment(section, kPfX);
    }

    bool Stands(u32 begin, const char* plain, const char* linkage = "")
    {
        const TempFile file = elf.Write();
        const std::string_view names[] = {linkage, plain};
        return Program(file.Path()).Stands(begin, begin + 2, names);
    }

    ElfWriter elf{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(, ProgramOf, testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& order) {
    return order.param == ByteOrder::Little ? "LittleEndian" : "BigEndian";
});

TEST_P(ProgramOf, WhatCannotBeReadIsSaidInOneLine)
{
    Code(0x8000, 16);
    const std::string image = elf.Image();
    const auto patched = [&](std::size_t at, char byte) {
        std::string bytes = image;
        bytes[at] = byte;
        return bytes;
    };
    const auto edited = [&](auto edit) {
        ElfWriter copy = elf;
        copy.Edit(edit);
        return copy.Image();
    };
    const std::pair<std::string, const char*> cases[] = {
        {"", "Not an ELF file"},
        {"int main() {}\n", "Not an ELF file"},
        {patched(4, 2), "A 64-bit ELF file; only 32-bit ones are read"},
        {patched(4, 3), "A damaged ELF header"},
        {patched(5, 0), "A damaged ELF header"},
        {image.substr(0, 51), "A damaged ELF header"},
        {edited([](ElfRecords& records) { records.header.e_type = 1; }), "A relocatable object; link it first"},
        {edited([](ElfRecords& records) { records.header.e_shoff = 0; }), "No section headers"},
        {edited([](ElfRecords& records) { records.header.e_shnum = 0; }), "No section headers"},
        {edited([](ElfRecords& records) { records.header.e_shentsize = 44; }), "A damaged section header table"},
        {image.substr(0, image.size() - 1), "A damaged section header table"},
        {edited([](ElfRecords& records) { records.header.e_shoff = 0xFFFFFFF0; }), "A damaged section header table"},
        {edited([](ElfRecords& records) { records.header.e_shnum = 0xFF00; }), "More than 65,279 sections"},
        {edited([](ElfRecords& records) { records.header.e_phnum = 0xFFF0; }), "A damaged program header table"},
        {edited([](ElfRecords& records) { records.header.e_phentsize = 31; }), "A damaged program header table"},
        {image, ""},
    };
    for (const auto& [bytes, why] : cases) {
        EXPECT_EQ(Why(TempFile(bytes).Path()), why);
    }
    EXPECT_EQ(Why(SAMPLES_DIR), "Is a directory");
    EXPECT_EQ(Why("/dev/null"), "Not a regular file");
    EXPECT_EQ(Why(SAMPLES_DIR "/none.axf"), "No such file or directory");
}

TEST_P(ProgramOf, ASectionGivesWhatTheFileHasOfIt)
{
    elf.Section(".short", "0123456789");
    elf.Section(".behind", "x");
    elf.Section(".zero", "", {.type = kShtNobits, .size = 64});
    elf.Edit([](ElfRecords& records) {
        records.sections[1].sh_size = 0xFFFFFFFF;
        records.sections[2].sh_offset = 0xFFFFFFF0;
        records.sections[2].sh_name = 0xFFFFFFF0;
    });
    const TempFile file = elf.Write();
    const Program program(file.Path());
    EXPECT_EQ(Names(program), ".short  .zero .shstrtab");
    EXPECT_EQ(program.Bytes(program.Sections()[1]).size, program.File().size - program.Sections()[1].offset);
    EXPECT_EQ(program.Bytes(program.Sections()[2]).size, 0u);
    EXPECT_EQ(program.Bytes(program.Sections()[3]).size, 0u);
}

TEST_P(ProgramOf, LoadedIsWhatLiesInSectionsThatTheProgramHas)
{
    Code(0x8000, 0x100);
    Code(0x8100, 0x10, ".rodata");
    elf.Section(".bss", "", {.type = kShtNobits, .flags = kAlloc, .address = 0x9000, .size = 0x20});
    elf.Section(".tbss", "", {.type = kShtNobits, .flags = kAlloc | 0x400, .address = 0xA000, .size = 0x20});
    elf.Section(".high", std::string(16, 'h'), {.flags = kAlloc, .address = 0xFFFFFFF0});
    elf.Section(".debug_info", std::string(16, 'd'));
    const TempFile file = elf.Write();
    const Program program(file.Path());
    EXPECT_TRUE(program.IsLoaded(0x8000, 0x8110)) << "across two sections";
    EXPECT_TRUE(program.IsLoaded(0x9000, 0x9020));
    EXPECT_TRUE(program.IsLoaded(0x810F, 0x810F));
    EXPECT_TRUE(program.IsLoaded(0xFFFFFFF8, 0)) << "up to the end of the address space";
    EXPECT_FALSE(program.IsLoaded(0x8000, 0x8111));
    EXPECT_FALSE(program.IsLoaded(0x8110, 0x8110));
    EXPECT_FALSE(program.IsLoaded(0x7FFF, 0x8001));
    EXPECT_FALSE(program.IsLoaded(0x8010, 0x8000));
    EXPECT_FALSE(program.IsLoaded(0xA000, 0xA004)) << "thread-local";
    EXPECT_FALSE(program.IsLoaded(0, 4)) << "what isn't allocated stands at 0 only in its header";
    EXPECT_FALSE(program.NearZero(0x8000));
    EXPECT_FALSE(program.NearZero(0));
}

TEST_P(ProgramOf, NearZeroTheSymbolsTellWhatStands)
{
    Code(0, 0x40, ".vectors");
    Code(0x40, 0x200);
    Code(0x8000, 0x40, ".far");
    elf.Section(".note", "0123456789");
    elf.Symbol({.name = "vectors", .value = 0, .size = 0x40, .type = kObject});
    elf.Symbol({.name = "$t", .value = 0x40, .type = 0, .section = 2});
    elf.Symbol({.name = "reset", .value = 0x41, .size = 0x10, .section = 2});
    elf.Symbol({.name = "_ZN3FooC2Ev", .value = 0x51, .size = 0x10, .section = 2});
    elf.Symbol({.name = "step.part.0", .value = 0x61, .size = 0x10, .section = 2});
    elf.Symbol({.name = "step.table", .value = 0x70, .size = 0x10, .type = kObject, .section = 2});
    elf.Symbol({.name = "label", .value = 0x80, .type = 0, .section = 2});
    elf.Symbol({.name = "$d.3", .value = 0x90, .type = 0, .section = 2});
    elf.Symbol({.name = "number", .value = 0xA0, .type = 0, .section = kShnAbs});
    elf.Symbol({.name = "elsewhere", .value = 0xB0, .size = 8, .type = kObject, .section = 4});
    EXPECT_TRUE(Stands(0x40, "reset"));
    EXPECT_TRUE(Stands(0x41, "reset")) << "as assemblers say it";
    EXPECT_TRUE(Stands(0x803F, "last")) << "its end, said likewise, lies behind the section's";
    EXPECT_TRUE(Stands(0x50, "Foo"));
    EXPECT_TRUE(Stands(0x50, "~Foo<int>"));
    EXPECT_TRUE(Stands(0x50, "Foo", "_ZN3FooC2Ev"));
    EXPECT_TRUE(Stands(0x60, "step"));
    EXPECT_TRUE(Stands(0x70, "table"));
    EXPECT_TRUE(Stands(0x80, "label"));
    EXPECT_TRUE(Stands(0x90, "unknown")) << "nothing is known of the place";
    EXPECT_TRUE(Stands(0xA0, "unknown")) << "a number is no place";
    EXPECT_TRUE(Stands(0xB0, "unknown")) << "and a place in no part of the program neither";
    EXPECT_TRUE(Stands(0x8000, "unknown")) << "too far away to be dropped";

    EXPECT_FALSE(Stands(0, "dropped"));
    EXPECT_FALSE(Stands(0x20, "dropped")) << "amid another's";
    EXPECT_FALSE(Stands(0x40, "res"));
    EXPECT_FALSE(Stands(0x50, "Foo", "_ZN3FooD1Ev"));
    EXPECT_FALSE(Stands(0x50, "Fo"));
    EXPECT_FALSE(Stands(0x60, "part.1"));
    EXPECT_FALSE(Stands(0x80, "dropped"));
    EXPECT_FALSE(Stands(0x240, "beyond"));
    EXPECT_FALSE(Stands(0xFFFFFFFE, "dropped"));
}

TEST_P(ProgramOf, WithoutSymbolsAllThatIsLoadedStands)
{
    Code(0, 0x40);
    EXPECT_TRUE(Stands(0, "main"));
    EXPECT_FALSE(Stands(0x40, "main"));
}

TEST_P(ProgramOf, HeadersOfOldSectionsAreTakenOverInOrder)
{
    Code(0x8000, 16);
    elf.Section(".debug_addr", "old addr");
    elf.Section(".debug_info", "old info");
    elf.Section(".comment", "comment");
    elf.Section(".debug_names", "old names");
    elf.Section(".debug_gdb_scripts", "scripts");
    const TempFile file = elf.Write();
    const Program program(file.Path());

    const Written more(program, {{".debug_info", View("info")},
                                 {".debug_loc", View("loc")},
                                 {".debug_line", View("line")},
                                 {".debug_abbrev", View("abbrev")}});
    EXPECT_EQ(Names(*more), ".text .debug_loc .debug_info .comment .debug_line .debug_gdb_scripts .debug_abbrev "
                            ".shstrtab");
    EXPECT_EQ(Contents(*more, ".debug_info"), "info");
    EXPECT_EQ(Contents(*more, ".debug_loc"), "loc");
    EXPECT_EQ(Contents(*more, ".debug_line"), "line");
    EXPECT_EQ(Contents(*more, ".debug_abbrev"), "abbrev");
    EXPECT_EQ(Contents(*more, ".comment"), "comment");
    EXPECT_EQ(Find(*more, ".comment")->nameOffset, Find(program, ".comment")->nameOffset);

    const Written less(program, {});
    EXPECT_EQ(Names(*less), ".text .comment .debug_gdb_scripts .shstrtab");
    const std::size_t rest = program.FixedSize() - sizeof(Elf32_Ehdr);
    EXPECT_EQ(Text(less->File().From(sizeof(Elf32_Ehdr), rest)), Text(program.File().From(sizeof(Elf32_Ehdr), rest)));
}

TEST_P(ProgramOf, SectionNumbersFollowWhereverTheyStand)
{
    Code(0x8000, 16);                                                            // 1, .symtab is 10, .strtab 11
    elf.Section(".debug_types", "types");                                        // 2
    elf.Section(".rel.debug_types", "rel", {.type = kShtRel, .link = 10});       // 3
    elf.Section(".debug_info", "a long old section");                            // 4
    elf.Section(".data", "data", {.address = 0x9000});                           // 5
    elf.Section(".rel.data", "relocate", {.type = kShtRel, .link = 10});         // 6
    elf.Section(".group", Words({1, 2, 5, 6}), {.type = kShtGroup, .link = 10}); // 7
    elf.Section(".extended", Words({0, 0, 0, 0, 2, 5, 0, 0}), {.type = kShtExtended, .link = 10}); // 8
    elf.Section(".rel.odd", "rel", {.type = kShtRel});                                             // 9
    elf.Symbol({.name = "", .type = kSection, .binding = 0, .section = 2});
    elf.Symbol({.name = "data", .value = 0x9000, .type = kObject, .section = 5});
    elf.Symbol({.name = "absolute", .value = 7, .section = kShnAbs});
    elf.Symbol({.name = "gone", .value = 3, .section = kExtended});
    elf.Symbol({.name = "far", .value = 0x9002, .section = kExtended});
    elf.Symbol({.name = "label", .value = 12, .type = 0, .section = 4});
    elf.Symbol({.name = "end", .value = 4, .type = 0, .section = 4});
    elf.Edit([](ElfRecords& records) {
        records.sections[3].sh_info = 2;
        records.sections[5].sh_flags |= 0x40; // SHF_INFO_LINK
        records.sections[5].sh_info = 6;
        records.sections[6].sh_info = 5;
        records.sections[9].sh_info = 4;  // relocates a debug section, whatever its name says
        records.sections[10].sh_info = 3; // no section number
    });
    const TempFile file = elf.Write();
    const Written written(Program(file.Path()), {{".debug_info", View("info")}});
    ASSERT_EQ(Names(*written), ".text .debug_info .data .rel.data .group .extended .symtab .strtab .shstrtab");
    EXPECT_EQ(Find(*written, ".rel.data")->link, 7u);
    EXPECT_EQ(Find(*written, ".rel.data")->info, 3u);
    EXPECT_EQ(Find(*written, ".data")->info, 4u) << "its flag says that it is the number of a section";
    EXPECT_EQ(Find(*written, ".symtab")->link, 8u);
    EXPECT_EQ(Find(*written, ".symtab")->info, 3u);
    EXPECT_EQ(Contents(*written, ".group"), Words({1, 3, 4}).Bytes()) << "without the member that went";
    EXPECT_EQ(Contents(*written, ".extended"), Words({0, 0, 0, 0, 0, 3, 0, 0}).Bytes());

    const std::vector<SymbolRecord> symbols = SymbolsOf(*written, ".symtab");
    const SymbolRecord expected[] = {{0, 0, 0},
                                     {0, 0, kShnAbs},
                                     {0x9000, kObject, 3},
                                     {7, kSttFunc, kShnAbs},
                                     {0, kSttFunc, kShnAbs},
                                     {0x9002, kSttFunc, kExtended},
                                     {0, 0, 2},  // the label was beyond the end of the new section
                                     {4, 0, 2}}; // this one marks the end
    ASSERT_EQ(symbols.size(), std::size(expected));
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        EXPECT_EQ(symbols[i].value, expected[i].value) << i;
        EXPECT_EQ(symbols[i].type, expected[i].type) << i;
        EXPECT_EQ(symbols[i].section, expected[i].section) << i;
    }
}

TEST_P(ProgramOf, NumbersOfLoadedSectionsStay)
{
    elf.Section(".debug_info", "old info");
    elf.Section(".debug_line", "old line");
    const ByteSection symbol = ByteSection(GetParam()).U32(0).U32(0x8000).U32(0).U16(0).U16(4);
    const u32 dynamic = elf.Section(".dynsym", symbol, {.type = kShtDynsym, .flags = kAlloc, .address = 0x7000});
    elf.Segment(dynamic, 0);
    Code(0x8000, 16);
    const TempFile file = elf.Write();
    const Written written(Program(file.Path()), {{".debug_line", View("line")}});
    EXPECT_EQ(Names(*written), ".debug_line .dynsym .text .shstrtab");
    EXPECT_EQ(written->Sections()[1].type, 0u) << "inactive";
    EXPECT_EQ(Contents(*written, ".dynsym"), symbol.Bytes());
}

TEST_P(ProgramOf, FrameInformationStaysAndIsDecompressed)
{
    // What zlib makes of "frame frame frame frame ", after the header of either kind.
    constexpr std::string_view kZlib("\x78\x9C\x4B\x2B\x4A\xCC\x4D\x55\x48\xC3\x20\x01\x6F\x70\x08\xAD", 16);
    const ByteSection standard = Words({1, 24, 4}).Raw(kZlib);
    const ByteSection old = ByteSection(ByteOrder::Big).Raw("ZLIB").U64(24).Raw(kZlib);
    const auto rewritten = [&](const char* name, const ByteSection& bytes, u32 flags,
                               const std::vector<NewSection>& sections) {
        ElfWriter with(GetParam());
        with.Section(".debug_info", "info");
        with.Section(name, bytes, {.flags = flags});
        const TempFile file = with.Write();
        const Written written(Program(file.Path()), sections);
        const ProgramSection* frame = Find(*written, ".debug_frame");
        EXPECT_EQ(frame == nullptr ? 0 : frame->flags, 0u);
        return Names(*written) + ": " + Contents(*written, ".debug_frame");
    };
    const std::string kept = ".debug_frame .shstrtab: frame frame frame frame ";
    EXPECT_EQ(rewritten(".debug_frame", standard, kCompressed, {}), kept);
    EXPECT_EQ(rewritten(".zdebug_frame", old, 0, {}), kept);
    EXPECT_EQ(rewritten(".debug_frame", Words({0}).Raw("plain"), 0, {}),
              ".debug_frame .shstrtab: " + Words({0}).Raw("plain").Bytes());
    EXPECT_EQ(rewritten(".zdebug_frame", old, 0, {{".debug_frame", View("new")}}), ".debug_frame .shstrtab: new");
    EXPECT_THROW(rewritten(".debug_frame", Words({9, 24, 4}).Raw(kZlib), kCompressed, {}), Failure);
}

TEST_P(ProgramOf, DamagedSectionsAreCutAndMakeNoHugeFile)
{
    Code(0x8000, 16);
    for (int i = 0; i < 8; ++i) {
        elf.Section(".cut", "cut");
    }
    ElfWriter one = elf;
    one.Edit([](ElfRecords& records) { records.sections[2].sh_size = 0x40000000; });
    const TempFile cut = one.Write();
    const Program program(cut.Path());
    const Written written(program, {{".debug_info", View("info")}});
    EXPECT_EQ(Contents(*written, ".cut"), Contents(program, ".cut"));
    EXPECT_EQ(Find(*written, ".cut")->size, program.Bytes(*Find(program, ".cut")).size);

    elf.Edit([](ElfRecords& records) {
        for (Elf32_Shdr& section : std::span(records.sections).subspan(2, 8)) {
            section.sh_offset = 0;
            section.sh_size = 0x40000000;
        }
    });
    const TempFile overlapping = elf.Write();
    EXPECT_THROW(Written(Program(overlapping.Path()), {}), Failure);
}

TEST_P(ProgramOf, WithoutSectionNamesNothingIsWritten)
{
    Code(0x8000, 16);
    elf.Edit([](ElfRecords& records) { records.header.e_shstrndx = 0; });
    const TempFile file = elf.Write();
    EXPECT_THROW(Written(Program(file.Path()), {{".debug_info", View("info")}}), Failure);
}

/// The samples come out unchanged except for what was asked for, and the same each time.
TEST(Samples, OnlyTheDebugSectionsChange)
{
    for (const char* name : {"station.axf", "station-O1-be.axf", "clang-O2.axf", "library.axf", "symbols.axf"}) {
        SCOPED_TRACE(name);
        const Program program(std::string(SAMPLES_DIR "/") + name);
        const std::vector<NewSection> sections = {{".debug_info", View("info")}, {".debug_new", View("new")}};
        const Written written(program, sections);
        EXPECT_EQ(Text(written->File()), Text(Written(program, sections)->File()));
        EXPECT_EQ(Contents(*written, ".debug_info"), "info");
        EXPECT_EQ(Contents(*written, ".debug_new"), "new");
        EXPECT_EQ(Find(*written, ".debug_abbrev"), nullptr);
        for (const ProgramSection& section : program.Sections()) {
            const bool changes = section.IsDebug() || section.name == ".symtab" || section.name == ".shstrtab";
            if (!changes || section.name == ".debug_frame") {
                EXPECT_EQ(Contents(*written, section.name), Text(program.Bytes(section))) << section.name;
                EXPECT_EQ(Find(*written, section.name)->address, section.address);
            }
        }
        EXPECT_EQ(SymbolsOf(*written, ".symtab").size(), SymbolsOf(program, ".symtab").size());
    }
}

} // namespace
