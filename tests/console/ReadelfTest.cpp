// The facts of the dumps against those of readelf, which is another reader of the same sections. Both
// texts are boiled down to one line a fact. Names that only one of the two knows are left out.
#include "console/DwarfNames.h"
#include "tests/console/ConsoleTest.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace {

using Facts = std::vector<std::string>;

constexpr const char* kSamples[] = {"station.axf",  "station-O1-be.axf", "station-O2.axf",
                                    "clang-O2.axf", "clang-O1-be.axf",   "library.axf"};

std::vector<std::string> Lines(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// What stands between the first `from` and the next `to`, or the end; empty without `from`.
std::string Between(const std::string& text, const std::string& from, const std::string& to)
{
    std::size_t first = text.find(from);
    if (first == std::string::npos) {
        return "";
    }
    first += from.size();
    return text.substr(first, text.find(to, first) - first);
}

std::string FirstWord(const std::string& text)
{
    return text.substr(0, text.find_first_of(" \t;):"));
}

std::string Number(const std::string& text, int base = 0)
{
    return std::to_string(static_cast<u32>(std::strtoll(text.c_str(), nullptr, base)));
}

/// Bytes in hexadecimal, with or without leading zeros, as numbers.
std::string ByteList(const std::string& text)
{
    std::istringstream stream(text);
    std::string list = "bytes";
    for (std::string byte; stream >> byte;) {
        list += " " + Number(byte, 16);
    }
    return list;
}

/// Output of readelf without its warnings; empty if there is no readelf.
std::string Readelf(const std::string& section, const std::string& sample)
{
    const std::string command = "readelf --debug-dump=" + section + " '" SAMPLES_DIR "/" + sample + "' 2>/dev/null";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    std::array<char, 4096> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), pipe.get())) {
        text.append(piece.data(), count);
    }
    return text;
}

std::string Console(const std::string& line, const std::string& sample)
{
    DbgSymSymFile store(std::string(SAMPLES_DIR "/") + sample, 1);
    Dwarf2File file(&store);
    file.BuildCompileUnitIndex();
    RecordingConsole console;
    file.ConsoleCommand(&line, &console);
    return console.stream.str();
}

/// What ends a fact whose value the dump leaves out, as it does with 8-byte forms.
constexpr const char* kNotPrinted = "?";

/// A value as both can tell it: text, bytes, or a number; of a reference the absolute one.
std::string OurValue(const std::string& printed)
{
    if (printed.empty()) {
        return kNotPrinted;
    }
    if (printed.front() == '"') {
        return printed.substr(1, printed.size() - 2);
    }
    if (printed.back() == ' ') {
        return ByteList(printed);
    }
    const std::size_t absolute = printed.find('(');
    return Number(absolute == std::string::npos ? printed : printed.substr(absolute + 1));
}

std::string TheirValue(const std::string& printed)
{
    if (const std::string text = Between(printed, "(indirect string, offset: ", "\n"); !text.empty()) {
        return Trimmed(text.substr(text.find("): ") + 3));
    }
    if (const std::string bytes = Between(printed, " byte block: ", "\t"); !bytes.empty()) {
        return ByteList(bytes);
    }
    const std::string start = printed.front() == '<' ? printed.substr(1) : printed;
    const bool number = std::isdigit(static_cast<unsigned char>(start.front())) != 0 || start.front() == '-';
    return number ? Number(start) : Trimmed(printed);
}

/// True if the dumps have a name, given as readelf writes it.
bool IsKnown(const std::string& name, std::string_view (*nameOf)(u32))
{
    for (u32 code = 0; code < 0x50; ++code) {
        const std::string_view known = nameOf(code);
        if (!known.empty() && "DW_" + Trimmed(std::string(known)) == name) {
            return true;
        }
    }
    return false;
}

std::string TheirTag(const std::string& name)
{
    return name.empty() || IsKnown(name, TagName) ? name : "DW_TAG_???";
}

Facts OurEntries(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        if (line.size() < 12 || line.compare(0, 2, "0x") != 0 || line.find(": CU(") != std::string::npos) {
            continue;
        }
        const std::string offset = Number(line);
        const std::string rest = line.substr(12);
        const std::size_t depth = rest.find_first_not_of('\t');
        const std::string what = rest.substr(depth);
        if (what == "}") {
            facts.push_back(offset + " null " + std::to_string(depth + 1));
        } else if (what.compare(0, 4, "TAG_") == 0) {
            facts.push_back(offset + " " + std::to_string(depth) + " " + Number(what.substr(what.rfind('(') + 1)) +
                            " DW_" + FirstWord(what));
        } else if (what.compare(0, 4, " AT_") == 0) {
            const std::size_t open = what.find('(');
            facts.push_back(offset + " DW_" + what.substr(1, open - 1) + " " +
                            OurValue(what.substr(open + 1, what.size() - open - 2)));
        }
    }
    return facts;
}

Facts TheirEntries(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        if (line.find(">: Abbrev Number: ") != std::string::npos) {
            const std::string offset = Number(Between(line, "><", ">"), 16);
            const std::string depth = Number(Between(line, "<", ">"));
            const std::string tag = TheirTag(Between(line, " (", ")"));
            facts.push_back(tag.empty()
                                ? offset + " null " + depth
                                : offset + " " + depth + " " + Number(Between(line, "Number: ", " ")) + " " + tag);
        } else if (line.compare(0, 5, "    <") == 0) {
            const std::string offset = Number(Between(line, "<", ">"), 16);
            const std::string name = FirstWord(line.substr(line.find("DW_AT_")));
            const std::size_t colon = line.find(':', line.find("DW_AT_"));
            if (IsKnown(name, AttributeName)) {
                facts.push_back(offset + " " + name + " " + TheirValue(line.substr(colon + 2)));
            }
        }
    }
    return facts;
}

Facts OurAbbrevs(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        const std::string rest = line.size() > 12 ? line.substr(12) : "";
        if (rest.compare(0, 1, "[") == 0 && rest.find("(End") == std::string::npos) {
            facts.push_back(Number(rest.substr(1)) + " DW_" + FirstWord(Between(rest, "] ", "\n")) + " " +
                            (rest.find("CHILDREN_yes") != std::string::npos ? "[has children]" : "[no children]"));
        } else if (rest.compare(0, 4, " AT_") == 0) {
            facts.push_back("DW_" + FirstWord(rest.substr(1)) + " DW_" + Trimmed(rest.substr(30)));
        }
    }
    return facts;
}

Facts TheirAbbrevs(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        if (line.find("DW_TAG_") != std::string::npos) {
            facts.push_back(Number(line) + " " + TheirTag(FirstWord(line.substr(line.find("DW_TAG_")))) + " " +
                            line.substr(line.find('[')));
        } else if (line.find("DW_FORM_") != std::string::npos && IsKnown(FirstWord(Trimmed(line)), AttributeName)) {
            facts.push_back(FirstWord(Trimmed(line)) + " " + Trimmed(line.substr(line.find("DW_FORM_"))));
        }
    }
    return facts;
}

/// The name of an expression's first operator, if DWARF 2.0 has it.
std::string FirstOperator(const std::string& text)
{
    const std::string name = FirstWord(text);
    return name.compare(0, 6, "DW_OP_") == 0 && name.find("GNU") == std::string::npos && name != "DW_OP_stack_value" &&
                   name != "DW_OP_entry_value"
               ? name
               : "?";
}

Facts OurLocations(const std::string& text)
{
    Facts facts;
    std::string list;
    for (const std::string& line : Lines(text)) {
        if (line.compare(0, 2, "0x") == 0) {
            list = "list " + Number(line);
        } else if (line.compare(0, 3, "\t0x") == 0) {
            if (!list.empty()) {
                facts.push_back(std::exchange(list, ""));
            }
            const u32 begin = static_cast<u32>(std::strtoul(line.c_str() + 1, nullptr, 0));
            const u32 end = static_cast<u32>(std::strtoul(Between(line, "-", " ").c_str(), nullptr, 0));
            facts.push_back(std::to_string(end - begin) + " " + FirstOperator(Between(line, "> : ", "\n")));
        }
    }
    return facts;
}

Facts TheirLocations(const std::string& text)
{
    Facts facts;
    bool open = false;
    for (const std::string& line : Lines(text)) {
        if (line.find("<End of list>") != std::string::npos) {
            open = false;
        } else if (line.find(" (") != std::string::npos) {
            unsigned offset = 0;
            unsigned begin = 0;
            unsigned end = 0;
            if (std::sscanf(line.c_str(), " %x %x %x", &offset, &begin, &end) != 3) {
                continue;
            }
            if (!std::exchange(open, true)) {
                facts.push_back("list " + std::to_string(offset));
            }
            facts.push_back(std::to_string(end - begin) + " " + FirstOperator(Between(line, "(", "\n")));
        }
    }
    return facts;
}

Facts OurNames(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        if (line.find("): ") != std::string::npos) {
            facts.push_back(Number(line) + " " + line.substr(line.find("): ") + 3));
        } else if (line.find("Info offset = ") != std::string::npos) {
            facts.push_back("set of " + Number(line.substr(16)));
        }
    }
    return facts;
}

Facts TheirNames(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        const std::size_t tab = line.find('\t');
        if (line.find("Offset into .debug_info") != std::string::npos) {
            facts.push_back("set of " + Number(line.substr(line.find(": ") + 2)));
        } else if (tab != std::string::npos && line.find("Name") == std::string::npos) {
            facts.push_back(Number(line, 16) + " " + line.substr(tab + 1));
        }
    }
    return facts;
}

Facts OurMacros(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        const std::string rest = line.size() > 12 ? line.substr(12) : "";
        for (const std::string what : {"#define ", "#undef ", "start file: ", "end file"}) {
            if (rest.size() > 6 && rest.compare(6, what.size(), what) == 0) {
                facts.push_back(Number(rest) + " " + rest.substr(6));
            }
        }
    }
    return facts;
}

Facts TheirMacros(const std::string& text)
{
    Facts facts;
    for (const std::string& line : Lines(text)) {
        const std::size_t digit = line.find_first_of("0123456789");
        const std::string number = digit == std::string::npos ? "0" : Number(line.substr(digit));
        const std::string macro = Between(line, " macro : ", "\n");
        if (line.find("MACINFO_define") != std::string::npos) {
            facts.push_back(number + " #define " + macro);
        } else if (line.find("MACINFO_undef") != std::string::npos) {
            facts.push_back(number + " #undef " + macro);
        } else if (line.find("MACINFO_start_file") != std::string::npos) {
            facts.push_back(number + " start file: " + Number(Between(line, "filenum: ", "\n")));
        } else if (line.find("MACINFO_end_file") != std::string::npos) {
            facts.push_back("0 end file");
        }
    }
    return facts;
}

/// A command and the section in readelf's words, and what reads the facts of both.
struct Comparison {
    const char* command;
    const char* section;
    Facts (*ours)(const std::string&);
    Facts (*theirs)(const std::string&);
    std::size_t least; ///< facts that each must have found in all samples together
};

void PrintTo(const Comparison& compared, std::ostream* out)
{
    *out << compared.command;
}

class ReadelfFacts : public ::testing::TestWithParam<Comparison> {};

TEST_P(ReadelfFacts, Agree)
{
    const Comparison& compared = GetParam();
    std::size_t found = 0;
    for (const char* sample : kSamples) {
        const std::string listing = Readelf(compared.section, sample);
        if (Readelf("abbrev", sample).empty()) {
            GTEST_SKIP() << "no readelf";
        }
        const Facts theirs = compared.theirs(listing);
        const Facts ours = compared.ours(Console(compared.command, sample));
        for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
            const std::size_t told = ours[i].size() - (ours[i].ends_with(kNotPrinted) ? 1 : 0);
            ASSERT_EQ(ours[i].substr(0, told), theirs[i].substr(0, told == ours[i].size() ? theirs[i].size() : told))
                << sample << ", fact " << i;
        }
        EXPECT_EQ(ours.size(), theirs.size()) << sample;
        found += ours.size();
    }
    EXPECT_GE(found, compared.least);
}

INSTANTIATE_TEST_SUITE_P(, ReadelfFacts,
                         ::testing::Values(Comparison{"abbr", "abbrev", OurAbbrevs, TheirAbbrevs, 2000},
                                           Comparison{"dump", "info", OurEntries, TheirEntries, 5000},
                                           Comparison{"loclist", "loc", OurLocations, TheirLocations, 200},
                                           Comparison{"pubnames", "pubnames", OurNames, TheirNames, 200},
                                           Comparison{"macinfo", "macro", OurMacros, TheirMacros, 500}),
                         [](const auto& instance) { return std::string(instance.param.command); });

} // namespace
