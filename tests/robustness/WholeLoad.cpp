#include "tests/robustness/WholeLoad.h"

#include "host/Export.h"
#include "host/Output.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgUIConsole.h"
#include "tests/robustness/FailingAllocator.h"
#include "tests/support/DwarfBuilder.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <new>
#include <set>
#include <sstream>
#include <string_view>

namespace {

class TextConsole : public DbgUIConsole {
public:
    std::iostream& iostream() override { return stream; }
    void ClearContents(u32 /*line*/) override { ++clears; }
    void CommandFinished() override { ++finishes; }

    std::stringstream stream;
    int clears = 0;
    int finishes = 0;
};

template <typename... Fields>
std::string Line(const Fields&... fields)
{
    std::ostringstream out;
    ((out << fields << ' '), ...);
    return out.str();
}

std::string Text(const DbgAddrRange& range)
{
    return Line(range.value, range.section == kNone ? "absolute" : "relative", range.size);
}

std::string RunConsole(DbgSymbolicInterface& plugin, const DbgSymContext& context, const std::string& line)
{
    TextConsole console;
    u32 reached = 0;
    try {
        const FailingAllocator::Counting counting;
        reached = plugin.ConsoleCommand(&context, &line, &console);
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(console.m_state, DbgUIConsole::kAcceptsInput) << line;
        EXPECT_LE(console.finishes, 1) << line;
        throw;
    }
    EXPECT_EQ(console.m_state, DbgUIConsole::kAcceptsInput) << line;
    EXPECT_EQ(console.finishes, static_cast<int>(reached)) << line;
    return reached == 0 ? "" : Line("reached", console.clears, console.stream.good(), console.stream.str());
}

} // namespace

std::string Ask(DbgSymbolicInterface& plugin, DbgSymSymFile& store, const Request& request)
{
    DbgSymContext context;
    context.symFile = store.GetId();
    context.loadTarget = request.number;
    DbgAddrRange range;
    DbgAddress address;
    address.value = request.number;
    std::string name;
    u32 type = 0;
    u32 run = 0;
    const auto call = [](auto&& operation) {
        const FailingAllocator::Counting counting;
        return operation();
    };
    const auto load = [&] {
        const FailingAllocator::Counting counting;
        plugin.LoadSymbols(&context);
        return std::string();
    };
    switch (request.kind) {
    case Request::Check:
        return Line("rating", call([&] { return plugin.CheckFile(&store); }));
    case Request::Add:
        return call([&] { return plugin.AddFile(&store, context.symFile); }) ? "added" : "";
    case Request::Sections:
        return call([&] { return plugin.LoadSections(&context), std::string(); });
    case Request::Index:
        context.fileScope = kContents;
        return load();
    case Request::Unit:
        context.fileScope = request.number;
        context.funcScope = kContents;
        return load();
    case Request::Function:
        context.funcScope = request.number;
        context.subScope = kContents;
        return load();
    case Request::Lines:
        return call([&] { return plugin.LoadLineTable(&context), std::string(); });
    case Request::ByName:
        return call([&] { return plugin.LoadSymbolByName(&context, request.text.c_str()); }) ? "found" : "";
    case Request::ElfByName:
        return call([&] { return plugin.FindElfSymbolByName(&context, request.text.c_str(), &range); }) ? Text(range)
                                                                                                        : "";
    case Request::ElfByAddress:
        return call([&] { return plugin.FindElfSymbolByAddress(&context, nullptr, &address, &name, &range); })
                   ? name + ' ' + Text(range)
                   : "";
    case Request::CodeType:
        return call([&] { return plugin.GetCodeType(&context, &address, &type, &run, nullptr); }) ? Line(type, run)
                                                                                                  : "";
    case Request::Console:
        return RunConsole(plugin, context, request.text);
    case Request::Remove:
        return call([&] { return plugin.RemoveFile(&context), std::string(); });
    }
    return "";
}

std::vector<std::string> AskAll(DbgSymbolicInterface& plugin, DbgSymSymFile& store,
                                const std::vector<Request>& requests)
{
    std::vector<std::string> answers;
    for (const Request& request : requests) {
        answers.push_back(Ask(plugin, store, request));
    }
    return answers;
}

std::vector<Request> AllRequests(const std::string& path)
{
    Dwarf2SymbolicPlugin plugin;
    DbgSymSymFile store(path, kKey);
    std::vector<Request> requests{{Request::Check}, {Request::Add}, {Request::Sections}, {Request::Index}};
    AskAll(plugin, store, requests);
    const std::size_t units = store.FileScopeCount();
    for (std::size_t i = 0; i < units; ++i) {
        requests.push_back({Request::Unit, store.FileScopeAt(i).GetId()});
        Ask(plugin, store, requests.back());
    }
    for (std::size_t i = 0; i < store.FuncScopeCount(); ++i) {
        requests.push_back({Request::Function, store.FuncScopeAt(i).id});
        requests.push_back({Request::ByName, 0, std::string(store.FuncScopeAt(i).name)});
    }
    for (std::size_t i = 0; i < units; ++i) {
        requests.push_back({Request::Lines, store.FileScopeAt(i).GetId()});
    }
    for (const char* name : {"LibraryAdd", "sum_nodes", "no such name"}) {
        requests.push_back({Request::ByName, 0, name});
        requests.push_back({Request::ElfByName, 0, name});
    }
    for (const u32 address : {u32{0}, u32{0x8000}, u32{0x8010}, kNone}) {
        requests.push_back({Request::ElfByAddress, address});
        requests.push_back({Request::CodeType, address});
    }
    std::istringstream lines(
        "?\nclear\nmem\nelf\nelfsymtab -v\nelfsymtab -a\nelfsymtab -n\nelfsect .text\nelffind main\n"
        "elffind 8004\norloinfo\nabbr\nabbr parsed\nline 0\nloclist\nloclist 0\npubnames\nmacinfo\n"
        "DIE 11\ndump\ndump > /dev/null\nelf > /nowhere/x\ndieinfo > /dev/null\nno command\n");
    for (std::string line; std::getline(lines, line);) {
        requests.push_back({Request::Console, 0, line});
    }
    requests.push_back({Request::Remove});
    return requests;
}

std::vector<Request> OfKinds(const std::vector<Request>& requests, std::initializer_list<Request::Kind> kinds)
{
    std::vector<Request> picked;
    std::copy_if(requests.begin(), requests.end(), std::back_inserter(picked), [&](const Request& request) {
        return std::find(kinds.begin(), kinds.end(), request.kind) != kinds.end();
    });
    return picked;
}

std::vector<std::string> Contents(DbgSymSymFile& store)
{
    class TextOutput : public Output {
    public:
        TextOutput()
            : Output(-1)
        {
        }
        std::string text;

    protected:
        void Deliver(const char* bytes, std::size_t count) override { text.append(bytes, count); }
    } output;
    WriteStore(store, output);
    output.Flush();
    std::vector<std::string> records;
    std::set<std::string> lines;
    std::istringstream stream(output.text);
    const std::string_view sectionId = R"("section":)"; // numbered through the process
    for (std::string record; std::getline(stream, record);) {
        for (auto at = record.find(sectionId); at != std::string::npos; at = record.find(sectionId, at)) {
            at += sectionId.size();
            record.erase(at, record.find_first_not_of("0123456789", at) - at);
        }
        const bool isLine = record.starts_with(R"({"record":"line")");
        const bool isSection = record.starts_with(R"({"record":"section")");
        if (!isSection && (!isLine || lines.insert(record).second)) {
            records.push_back(record);
        }
    }
    records.push_back("sections " + std::to_string(store.GetSectionList().Count()));
    std::sort(records.begin(), records.end());
    return records;
}

std::vector<std::string> Ids(const std::vector<std::string>& contents, bool withTypes)
{
    std::vector<std::string> ids;
    for (const std::string& record : contents) {
        if (!record.starts_with('{') || record.starts_with(R"({"record":"line")") || (!withTypes && IsType(record))) {
            continue;
        }
        ids.push_back(record.substr(0, record.find(',', record.find(',') + 1)));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

bool IsType(const std::string& record)
{
    return record.starts_with(R"({"record":"type")");
}

std::string Difference(const std::vector<std::string>& found, const std::vector<std::string>& expected)
{
    std::string text;
    std::vector<std::string> lines;
    const auto list = [&](const std::vector<std::string>& left, const std::vector<std::string>& right, char sign) {
        lines.clear();
        std::set_difference(left.begin(), left.end(), right.begin(), right.end(), std::back_inserter(lines));
        for (const std::string& line : lines) {
            text += sign + line + '\n';
        }
    };
    list(found, expected, '+');
    list(expected, found, '-');
    return text;
}

WholeLoadTest::WholeLoadTest()
{
    g_prefs = Preferences{};
    g_prefs.codeSectName = ".text";
    g_prefs.relocateLibs = true;
    g_prefs.enableSb = true;
    g_prefs.sbExpr = "0x1000 4 +";
}

TempFile WholeLoadTest::OddFile()
{
    DwarfBuilder dwarf(ByteOrder::Big);
    dwarf.Unit().Name("a.c").Attr(AT_low_pc, FORM_addr, 0x8000).Children([&] {
        dwarf.Die(TAG_enumeration_type).Name("E").Children([&] {
            dwarf.Die(TAG_enumerator).Name("e").Attr(AT_const_value, FORM_data1, 1);
        });
        dwarf.Die(TAG_subprogram).Range(0x8000, 0x8010);
    });
    ElfWriter elf(ByteOrder::Big);
    dwarf.AddTo(elf);
    return elf.Write();
}

void WholeLoadTest::LoadUndisturbed(const std::string& sample)
{
    m_path = std::filesystem::path(SAMPLES_DIR) / sample;
    m_requests = AllRequests(m_path);
    DbgSymSymFile store(m_path, kKey);
    m_answers = AskAll(m_plugin, store, m_requests);
    m_contents = Contents(store);
}
