// What a file may cost: what a request gives back, and what happens when nothing is left.
#include "interfaces/DbgSymSrcFile.h"
#include "tests/console/ConsoleTest.h"
#include "tests/support/LoadTest.h"

class BudgetTest : public LoadTest {};
BOTH_BYTE_ORDERS(BudgetTest);

TEST_P(BudgetTest, ARequestGivesBackALittleUnlessAllIsSpent)
{
    Budget budget;
    budget.Fill(10'000);
    EXPECT_TRUE(budget.Spend(100, Budget::kLink));
    budget.Renew();
    EXPECT_EQ(budget.Left(), 10'000u - 6'400 + 4'096);
    budget.Renew();
    EXPECT_EQ(budget.Left(), 10'000u) << "no more than at first";
    EXPECT_FALSE(budget.Spend(2, Budget::kFileScope)) << "more than is left";
    EXPECT_TRUE(budget.IsSpent());
    budget.Renew();
    EXPECT_FALSE(budget.Spend(0));
}

TEST_P(BudgetTest, ASpentFileIsReadNoFurther)
{
    dwarf.Unit().Name("a.c").Attr(AT_stmt_list, FORM_data4, LineBuilder(dwarf.line).Row(1, 1).EndSequence().Finish());
    dwarf.Children([&] {
        Function(dwarf, "f");
        Variable(dwarf, "v");
    });
    Index(dwarf);
    DbgSymSrcFile& source = Store().FileScopeAt(0);
    const auto lines = [&] { return File().BuildLineTable(&source, source.GetLineTableMember(), nullptr, 0); };
    EXPECT_TRUE(lines());
    Probe::m_budget(File()).Fill(0);
    LoadUnit();
    EXPECT_EQ(Functions(), std::vector<std::string>{});
    EXPECT_FALSE(lines());
    // A dump has a budget of its own.
    RecordingConsole console;
    const std::string line = "dump";
    File().ConsoleCommand(&line, &console);
    EXPECT_NE(console.stream.str().find("AT_name(\"v\")"), std::string::npos);
    EXPECT_TRUE(Probe::m_budget(File()).IsSpent());
}
