// The registry, and which request a context leads to.
#include "frame/Dwarf2SymbolicPlugin.h"

#include "tests/console/ConsoleTest.h"

namespace {

class SymbolicPlugin : public DwarfTest {
protected:
    SymbolicPlugin()
    {
        LineBuilder line(dwarf.line);
        line.File("a.c").SetAddress(0x8000).Copy().AdvancePc(8).EndSequence().Finish();
        dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, 0).Range(0x8000, 0x8010).Children([&] {
            dwarf.Label("f").Die(TAG_subprogram).Name("f").Range(0x8000, 0x8010).Children([&] {
                dwarf.Die(TAG_lexical_block).Range(0x8004, 0x8008);
                dwarf.Children([&] { dwarf.Die(TAG_variable).Name("v"); });
            });
        });
        dwarf.EndUnit();
        m_function = dwarf.Offset("f");
        dwarf.PubSet(0, dwarf.info.Size(), {{m_function, "f"}});
        ElfWriter elf(GetParam());
        elf.Section(".text", ByteSection(GetParam()).Fill(16), {.flags = kShfAlloc | kShfExecInstr, .address = 0x8000});
        elf.Section(".data", ByteSection(GetParam()).Fill(16), {.flags = kShfAlloc, .address = 0x9000});
        dwarf.AddTo(elf);
        elf.Symbol({.name = "f", .value = 0x8000, .size = 16});
        elf.Symbol({.name = "$a", .value = 0x8000, .type = 0});
        Open(elf);
    }

    static DbgSymContext Context(u32 key)
    {
        DbgSymContext context;
        context.symFile = key;
        return context;
    }
    DbgSymContext IndexRequest(u32 key)
    {
        DbgSymContext context = Context(key);
        context.fileScope = kContents;
        return context;
    }

    /// Calls every operation, and counts those that did or answered anything.
    int Answers(const DbgSymContext* context)
    {
        int answers = 0;
        DbgAddress address;
        address.value = 0x8004;
        DbgAddrRange range;
        std::string name;
        u32 type = 0;
        u32 run = 0;
        RecordingConsole console;
        const std::string line = "help";
        answers += m_plugin.LoadSymbolByName(context, "f");
        answers += m_plugin.FindElfSymbolByName(context, "f", &range);
        answers += m_plugin.FindElfSymbolByAddress(context, nullptr, &address, &name, &range);
        answers += m_plugin.GetCodeType(context, &address, &type, &run, nullptr);
        answers += static_cast<int>(m_plugin.ConsoleCommand(context, &line, &console));
        EXPECT_EQ(console.stream.str().empty(), console.calls.empty());
        m_plugin.LoadSections(context);
        m_plugin.LoadSymbols(context);
        m_plugin.LoadLineTable(context);
        return answers;
    }

    Dwarf2SymbolicPlugin m_plugin;
    u32 m_function = 0;
};
BOTH_BYTE_ORDERS(SymbolicPlugin);

TEST_P(SymbolicPlugin, RequestsReachTheFileOfTheirKey)
{
    EXPECT_STREQ(m_plugin.GetName(), "DWARF 2.0 Symbolic Plug-in");
    EXPECT_EQ(m_plugin.CheckFile(&Store()), 127u);
    ASSERT_TRUE(m_plugin.AddFile(&Store(), 0));
    const DbgSymContext request = IndexRequest(0);
    m_plugin.LoadSymbols(&request);
    EXPECT_EQ(Store().FileScopeCount(), 1u);
    const DbgSymContext known = Context(0);
    EXPECT_EQ(Answers(&known), 5);
    EXPECT_EQ(Store().GetSectionList().Count(), 4u);

    const DbgSymContext unknown = Context(1);
    EXPECT_EQ(Answers(&unknown), 0);
    EXPECT_EQ(Answers(nullptr), 0);
    m_plugin.RemoveFile(&unknown);
    m_plugin.RemoveFile(nullptr);
    EXPECT_EQ(Answers(&known), 5);
    m_plugin.RemoveFile(&known);
    EXPECT_EQ(Answers(&known), 0);
    EXPECT_EQ(Store().FileScopeCount(), 1u) << "what the store got stays";
}

TEST_P(SymbolicPlugin, MarkersAreNoKeysAndAKeyIsReplaced)
{
    EXPECT_FALSE(m_plugin.AddFile(&Store(), kNone));
    EXPECT_FALSE(m_plugin.AddFile(&Store(), kContents));
    const DbgSymContext none = Context(kNone);
    const DbgSymContext contents = Context(kContents);
    EXPECT_EQ(Answers(&none), 0);
    EXPECT_EQ(Answers(&contents), 0);

    const DbgSymContext request = IndexRequest(3);
    ASSERT_TRUE(m_plugin.AddFile(&Store(), 3));
    m_plugin.LoadSymbols(&request);
    m_plugin.LoadSymbols(&request);
    EXPECT_EQ(Store().FileScopeCount(), 1u);
    ASSERT_TRUE(m_plugin.AddFile(&Store(), 3));
    m_plugin.LoadSymbols(&request);
    EXPECT_EQ(Store().FileScopeCount(), 2u) << "a new object knows nothing of the old one's index";
}

TEST_P(SymbolicPlugin, OnlyTheFirstMarkerOfAContextCounts)
{
    ASSERT_TRUE(m_plugin.AddFile(&Store(), 1));
    DbgSymContext context = Context(1);
    m_plugin.LoadSymbols(&context);
    EXPECT_EQ(Store().FileScopeCount(), 0u) << "no marker, no load";

    context.fileScope = context.funcScope = context.subScope = kContents;
    context.loadTarget = 11;
    m_plugin.LoadSymbols(&context);
    EXPECT_EQ(Store().FileScopeCount(), 1u);
    EXPECT_EQ(Store().FuncScopeCount(), 0u);

    context.fileScope = 11;
    m_plugin.LoadSymbols(&context);
    EXPECT_EQ(Store().FuncScopeCount(), 1u);
    EXPECT_EQ(Store().SubScopeCount(), 0u);

    context.funcScope = m_function;
    m_plugin.LoadSymbols(&context);
    EXPECT_EQ(Store().SubScopeCount(), 1u);

    DbgSymLineTable& table = *Store().FileScopeAt(0).GetLineTableMember();
    for (const u32 unit : {12u, 11u}) { // only a known one has a table
        EXPECT_EQ(table.Count(), 0u);
        context.loadTarget = unit;
        m_plugin.LoadLineTable(&context);
    }
    EXPECT_GT(table.Count(), 0u);
}

} // namespace
