// Writes the inputs that fuzzing starts from: the example and the sections of real files, laid out for
// each target.
//
//     make_corpus FOLDER ELF-FILE...
#include "fuzz/Example.h"
#include "fuzz/Pieces.h"
#include "interfaces/VFKElfFile.h"

#include <filesystem>
#include <fstream>

namespace {

class Corpus {
public:
    explicit Corpus(std::string folder)
        : m_folder(std::move(folder))
    {
    }

    void Add(const std::string& target, const std::string& name, const std::string& bytes) const
    {
        std::filesystem::create_directories(m_folder + "/" + target);
        std::ofstream(m_folder + "/" + target + "/" + name, std::ios::binary) << bytes;
    }
    void Add(const std::string& target, const std::string& name, u8 settings, std::vector<std::string> pieces) const
    {
        const std::string bytes = JoinInput({Settings(settings), std::move(pieces)});
        if (bytes.size() <= kLongest) {
            Add(target, name, bytes);
        }
    }

    /// Every target's input that such sections make.
    void AddSections(const std::string& name, u8 settings, const ExampleSections& from) const
    {
        Add("die", name, settings, {from.info, from.abbrev, from.str, from.loc});
        Add("line", name, settings, {from.line, {}});
        Add("names", name, settings, {from.pubnames, from.macinfo, "main\nDerived\nnext\n"});
        Add("location", name, settings,
            {from.loc, "\x7d\x08", std::string("\x91\x7c\x79\x04\x22\x06", 6), std::string("\x23\x04", 2),
             kStaticBase});
    }

private:
    /// Longer ones take too long to run again and again: fuzz/mutants has them.
    static constexpr std::size_t kLongest = 4096;
    static constexpr const char* kStaticBase = "sectid_base(%d) + 4 * (8 - 3) / 2";
    std::string m_folder;
};

void AddExamples(const Corpus& corpus)
{
    for (u32 bits = 0; bits < 64; ++bits) {
        const Settings settings(static_cast<u8>(bits));
        const ExampleSections example = MakeExample(settings.Order());
        const std::string name = "example-" + std::to_string(bits);
        corpus.AddSections(name, settings.bits, example);
        if (bits < 4) {
            corpus.Add("file", name, WrapSections(settings, example.List()));
            corpus.Add("elf", name, WrapSections(settings, {}));
        }
    }
}

void AddFile(const Corpus& corpus, const std::string& path)
{
    const VFKElfFile elf(path);
    const std::string name = std::filesystem::path(path).filename();
    const auto section = [&elf](const char* of) {
        std::string bytes;
        elf.GetSectionData(of, bytes, 0, kNone);
        return bytes;
    };
    const u8 settings = elf.m_byteOrder == kElfDataMsb ? 1 : 0;
    corpus.AddSections(name, settings,
                       {section(".debug_info"), section(".debug_abbrev"), section(".debug_str"), section(".debug_line"),
                        section(".debug_loc"), section(".debug_pubnames"), section(".debug_macinfo")});
}

void AddTexts(const Corpus& corpus)
{
    for (const char* lines :
         {"dump > out.txt\ndie 11\nDIE 0xb\ndieinfo\nabbr\nabbr x\n", "?\nhelp\nclear\nmem\n",
          "elf\nelfhdr\nelfph\nelfsh\nelfsymtab -v\nelfsymtab -a -n=3 > a b\nelfsect \".debug_info\"\norloinfo\n",
          "elffind main\nelffind 8004 > x\nelffind \"next\"\nelffind 0x8000\nelffind\n",
          "line 0\nline 99\nline x\nloclist\nloclist 0 > l\nloclist 0x10\n",
          "pubnames\nm_debug_pubnames\nmacinfo\ndebug_macinfo\nelfsect .text>/dev/full\n",
          "dump > /dev/full\n \t\n>\n"}) {
        static u8 number = 0;
        const u8 settings = static_cast<u8>(number * 9);
        corpus.Add("console", "lines-" + std::to_string(number++), settings, {lines});
    }
    corpus.Add("preference", "all", 0,
               {"[Symbolics.\"DWARF 2.0\"]\naxf_code_sect_name = \".text\"\naxf_code_offset = 64\n"
                "relocate_orlo_libs = true\nomit_artificial_vars = false\nomit_vars_start = \"__, $ ,,x\"\n",
                "[\"Debugger Plug-ins\".ARM]\nenable_sb = true\nsb_expr = \"genreg_pc sect_base + 4\"\n"});
    corpus.Add("preference", "kinds", 0,
               {"[Symbolics.\"DWARF 2.0\"]\naxf_code_sect_name = 1\naxf_code_offset = -1\nrelocate_orlo_libs = 'x'\n"
                "omit_artificial_vars = [1, 2.5e3]\nomit_vars_start = { a = 1979-05-27T07:32:00Z }\n",
                "\"Debugger Plug-ins\".ARM.enable_sb = true\n[[a]]\nb = '''x\ny'''\nc = 0xFF_FF\nd = \"\\u00e9\"\n"});
}

} // namespace

// It stands for no target.
const std::size_t kPieceCount = 0;

int main(int count, char** arguments)
{
    if (count < 2) {
        return 2;
    }
    const Corpus corpus(arguments[1]);
    AddExamples(corpus);
    AddTexts(corpus);
    for (int index = 2; index < count; ++index) {
        AddFile(corpus, arguments[index]);
    }
    return 0;
}
