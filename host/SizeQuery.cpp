// Sums of a program's bytes by section, unit, folder and symbol, as tables or as JSON. All sums are made in 64 bits:
// the sections of a file can have any size.
#include "host/SizeQuery.h"

#include "host/Demangle.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/SizeTree.h"
#include "host/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kAllRows = static_cast<std::size_t>(-1);
/// Rows of each table where all levels are shown.
constexpr std::size_t kLargest = 20;

/// Bytes of any number of items: each once, and those that take flash and RAM.
struct Sum {
    u64 bytes = 0;
    u64 flash = 0;
    u64 ram = 0;

    void Add(u64 size, MemoryUse memory)
    {
        bytes += size;
        flash += TakesFlash(memory) ? size : 0;
        ram += TakesRam(memory) ? size : 0;
    }
    void Add(const Sum& other)
    {
        bytes += other.bytes;
        flash += other.flash;
        ram += other.ram;
    }
};

struct SizeRow {
    Sum sum;
    std::string text;
};

class SizeTables {
public:
    SizeTables(const SizeTree& tree, Output& output, bool demangle)
        : m_tree(tree)
        , m_output(output)
        , m_demangle(demangle)
    {
    }

    void Write(SizeLevel by)
    {
        const bool all = by == SizeLevel::All;
        const std::size_t most = all ? kLargest : kAllRows;
        if (all || by == SizeLevel::Section) {
            WriteTable("section", SectionRows(), kAllRows);
        }
        if (by == SizeLevel::Directory) {
            WriteTable("directory", UnitRows(FolderOf), most);
        }
        if (all || by == SizeLevel::Unit) {
            WriteTable("unit", UnitRows([](std::string_view path) { return path; }), most);
        }
        if (all || by == SizeLevel::Symbol) {
            WriteTable("   address  section       name", SymbolRows(), most);
        }
    }

private:
    std::vector<SizeRow> SectionRows() const
    {
        std::vector<SizeRow> rows;
        for (const ProgramSection& section : m_tree.Sections()) {
            SizeRow& row = rows.emplace_back();
            row.sum.Add(section.size, section.memory);
            AppendShort(row.text, section.name);
        }
        return rows;
    }

    /// @param keyOf what of a unit's path the bytes are summed up by.
    template <typename KeyOf>
    std::vector<SizeRow> UnitRows(KeyOf&& keyOf) const
    {
        std::map<std::string, Sum> sums;
        Sum noUnit;
        for (const SizeItem& item : m_tree.Items()) {
            Sum& sum = item.unit == kNone ? noUnit : sums[std::string(keyOf(m_tree.Units()[item.unit]))];
            sum.Add(item.size, MemoryOf(item));
        }
        std::vector<SizeRow> rows;
        for (const auto& [key, sum] : sums) {
            SizeRow& row = rows.emplace_back();
            row.sum = sum;
            AppendShort(row.text, key.empty() ? "(no name)" : std::string_view(key));
        }
        if (noUnit.bytes != 0) {
            rows.push_back({noUnit, "(in no unit)"});
        }
        return rows;
    }

    /// Gaps of one kind are one row for each section.
    std::vector<SizeRow> SymbolRows() const
    {
        std::vector<SizeRow> rows;
        std::map<std::pair<u32, SizeKind>, std::pair<Sum, std::size_t>> gaps;
        for (const SizeItem& item : m_tree.Items()) {
            if (IsGap(item.kind)) {
                auto& [sum, count] = gaps[{item.section, item.kind}];
                sum.Add(item.size, MemoryOf(item));
                ++count;
                continue;
            }
            SizeRow& row = rows.emplace_back();
            row.sum.Add(item.size, MemoryOf(item));
            AppendHex8(row.text, item.address);
            AppendPlace(row.text, item.section);
            AppendShort(row.text, ShownName(item.name, m_demangle));
            if (item.unit != kNone) {
                row.text += "  ";
                AppendShort(row.text, m_tree.Units()[item.unit]);
            }
        }
        for (const auto& [place, gap] : gaps) {
            SizeRow& row = rows.emplace_back();
            row.sum = gap.first;
            row.text = "         -";
            AppendPlace(row.text, place.first);
            row.text += std::string("(") + GapName(place.second) + ", ";
            AppendDecimal(row.text, static_cast<i64>(gap.second));
            row.text += gap.second == 1 ? " place)" : " places)";
        }
        return rows;
    }

    void AppendPlace(std::string& text, u32 section) const
    {
        text += "  ";
        AppendShort(text, m_tree.Sections()[section].name);
        PadTo(text, 26);
    }

    MemoryUse MemoryOf(const SizeItem& item) const { return m_tree.Sections()[item.section].memory; }

    /// The largest first, what is left out as one row, and the total.
    void WriteTable(const char* heading, std::vector<SizeRow> rows, std::size_t most)
    {
        std::stable_sort(rows.begin(), rows.end(),
                         [](const SizeRow& a, const SizeRow& b) { return a.sum.bytes > b.sum.bytes; });
        Sum total;
        Sum rest;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            total.Add(rows[i].sum);
            if (i >= most) {
                rest.Add(rows[i].sum);
            }
        }
        m_output.WriteHead(std::string(m_tables++ == 0 ? "" : "\n") + "     flash         ram  " + heading + '\n');
        for (std::size_t i = 0; i < std::min(rows.size(), most); ++i) {
            WriteRow(rows[i].sum, rows[i].text);
        }
        if (rows.size() > most) {
            WriteRow(rest, "(" + std::to_string(rows.size() - most) + " more)");
        }
        WriteRow(total, "total");
    }

    void WriteRow(const Sum& sum, const std::string& text)
    {
        std::string line;
        AppendDecimal(line, static_cast<i64>(sum.flash), 10);
        line += "  ";
        AppendDecimal(line, static_cast<i64>(sum.ram), 10);
        m_output.Write(line + "  " + text + '\n');
    }

    const SizeTree& m_tree;
    Output& m_output;
    const bool m_demangle;
    std::size_t m_tables = 0;
};

class SizeRecords {
public:
    SizeRecords(const SizeTree& tree, Output& output)
        : m_tree(tree)
        , m_output(output)
    {
    }

    void Write(SizeLevel by)
    {
        const bool all = by == SizeLevel::All;
        if (all || by == SizeLevel::Section) {
            WriteSections();
        }
        if (all || by == SizeLevel::Unit) {
            WriteUnits("unit", [](std::string_view path) { return path; });
        }
        if (by == SizeLevel::Directory) {
            WriteUnits("directory", FolderOf);
        }
        if (all || by == SizeLevel::Symbol) {
            WriteSymbols();
        }
    }

private:
    void WriteSections()
    {
        for (const ProgramSection& section : m_tree.Sections()) {
            m_output.Write(m_json.Begin("section")
                               .Text("name", section.name)
                               .Number("address", section.address)
                               .Number("size", section.size)
                               .Text("memory", MemoryName(section.memory))
                               .End());
        }
    }

    template <typename KeyOf>
    void WriteUnits(const char* record, KeyOf&& keyOf)
    {
        const std::vector<SizeItem>& items = m_tree.Items();
        for (std::size_t begin = 0, end = 0; begin < items.size(); begin = end) {
            std::map<std::string, u32> sums;
            u32 noUnit = 0;
            for (; end < items.size() && items[end].section == items[begin].section; ++end) {
                u32& sum =
                    items[end].unit == kNone ? noUnit : sums[std::string(keyOf(m_tree.Units()[items[end].unit]))];
                sum += items[end].size;
            }
            const std::string& section = m_tree.Sections()[items[begin].section].name;
            for (const auto& [key, size] : sums) {
                m_output.Write(
                    m_json.Begin(record).Text("path", key).Text("section", section).Number("size", size).End());
            }
            if (noUnit != 0) {
                m_output.Write(m_json.Begin(record).Null("path").Text("section", section).Number("size", noUnit).End());
            }
        }
    }

    void WriteSymbols()
    {
        for (const SizeItem& item : m_tree.Items()) {
            const char* gap = GapName(item.kind);
            m_json.Begin("symbol");
            if (gap == nullptr) {
                m_json.Text("name", item.name);
            } else {
                m_json.Null("name");
            }
            m_json.Text("kind", SizeKindName(item.kind));
            if (item.unit == kNone) {
                m_json.Null("unit");
            } else {
                m_json.Text("unit", m_tree.Units()[item.unit]);
            }
            m_json.Text("section", m_tree.Sections()[item.section].name)
                .Number("address", item.address)
                .Number("size", item.size);
            if (gap != nullptr) {
                m_json.Text("gap", gap);
            } else if (const std::optional<std::string> plain = Demangle(item.name)) {
                m_json.Text("demangled", *plain);
            }
            m_output.Write(m_json.End());
        }
    }

    const SizeTree& m_tree;
    Output& m_output;
    JsonLine m_json;
};

bool IsSameFile(const std::string& a, const std::string& b)
{
    struct stat first {};
    struct stat second {};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

int WritePage(const SizeTree& tree, const Loader& file, const SizeOptions& options, bool demangle)
{
    if (IsSameFile(options.page, file.ShownPath())) {
        Complain(options.page, "It is the symbol file");
        return 1;
    }
    const int descriptor = open(options.page.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        Complain(options.page, errno);
        return 1;
    }
    Output output(descriptor);
    WriteSizePage(output, tree, file.ShownPath(), demangle);
    output.Flush();
    const int failed = close(descriptor) != 0 ? errno : 0;
    if (const int error = output.Error() != 0 ? output.Error() : failed) {
        Complain(options.page, error);
        return 1;
    }
    return 0;
}

} // namespace

std::string FolderOf(std::string_view path)
{
    const std::size_t slash = path.find_last_of("/\\");
    std::string folder(slash == std::string_view::npos ? std::string_view() : path.substr(0, slash));
    if (folder.find("..") != std::string::npos) {
        folder = std::filesystem::path(folder).lexically_normal().string();
    }
    return folder;
}

const char* SizeKindName(SizeKind kind)
{
    switch (kind) {
    case SizeKind::Function:
        return SymbolKindName(SymbolKind::Function);
    case SizeKind::Variable:
        return SymbolKindName(SymbolKind::Variable);
    case SizeKind::Data:
        return SymbolKindName(SymbolKind::Data);
    default:
        return "gap";
    }
}

const char* GapName(SizeKind kind)
{
    switch (kind) {
    case SizeKind::Padding:
        return "padding";
    case SizeKind::Literals:
        return "literals";
    case SizeKind::Strings:
        return "strings";
    case SizeKind::Unwinding:
        return "unwinding";
    case SizeKind::Unexplained:
        return "unnamed";
    default:
        return nullptr;
    }
}

int ShowSizes(Loader& file, Answer answer, const SizeOptions& options)
{
    const SizeTree tree(file);
    if (!options.page.empty()) {
        return WritePage(tree, file, options, answer.demangle);
    }
    if (answer.json) {
        SizeRecords(tree, answer.output).Write(options.by);
    } else {
        SizeTables(tree, answer.output, answer.demangle).Write(options.by);
    }
    return 0;
}
