// host/Loader.cpp: what is asked of the plug-in, with which words, and in which order.
#include "host/Loader.h"

#include "interfaces/DbgSection.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using Requests = std::vector<std::string>;

void AddFunction(DbgSymSymFile& store, u32 id, u32 unit)
{
    DbgSymContext context;
    context.symFile = store.GetId();
    context.fileScope = unit;
    store.AddFuncScope(context, id, unit, "f", RangeOf(id, 4));
}

/// Two units. The first request brings a function of the second unit as well, and the entry of a
/// nested unit.
void TwoUnits(FakePlugin& plugin)
{
    plugin.onIndex = [](DbgSymSymFile& store, u32) {
        store.AddFileScope(11, "a.c", RangeOf(0x8000, 16), 0, kNone, false);
        store.AddFileScope(200, "b.c", RangeOf(0x9000, 16), 0, kNone, false);
    };
    plugin.onUnit = [](DbgSymSymFile& store, u32 unit) {
        if (unit == 11) {
            AddFunction(store, 50, 11);
            AddFunction(store, 250, kNone);
            store.AddFileScope(90, "nested.c", RangeOf(0, 0), 0, kNone, false);
        } else {
            AddFunction(store, 220, 200);
        }
    };
}

TEST(Loader, LoadsEverythingInTheFixedOrder)
{
    FakePlugin plugin;
    TwoUnits(plugin);
    {
        Loader file(plugin, "x.axf", 7);
        EXPECT_EQ(file.Rate(), 127u);
        ASSERT_TRUE(file.Add());
        file.Load(LoadDepth::All);
        EXPECT_EQ(file.UnitCount(), 2u);
    }
    EXPECT_EQ(plugin.requests,
              (Requests{"check", "add 7", "sections", "index", "unit 11", "scopes 50 of 11", "scopes 250 of 200",
                        "unit 200", "scopes 220 of 200", "lines 11", "lines 200", "lines 90", "remove 7"}));
}

TEST(Loader, StopsAtTheDepthAskedForAndAsksOnce)
{
    FakePlugin plugin;
    TwoUnits(plugin);
    Loader file(plugin, "x.axf");
    file.Add();
    file.Load(LoadDepth::None);
    EXPECT_EQ(plugin.requests, (Requests{"add 1"}));
    file.Load(LoadDepth::Index);
    EXPECT_EQ(plugin.requests, (Requests{"add 1", "sections", "index"}));
    file.LoadUnit(200);
    for (int round = 0; round < 2; ++round) {
        file.Load(LoadDepth::Symbols);
        file.LoadLines(11);
    }
    EXPECT_EQ(plugin.requests, (Requests{"add 1", "sections", "index", "unit 200", "unit 11", "lines 11"}));
}

TEST(Loader, TellsWhyAFileCannotBeServed)
{
    const TempFile text("just text");
    const std::string fifo = text.Path() + ".fifo"; // must not hold it up
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(WhyUnreadable("/no/such/file"), "No such file or directory");
    EXPECT_EQ(WhyUnreadable("/"), "Is a directory");
    EXPECT_EQ(WhyUnreadable(fifo), "Not a regular file");
    EXPECT_EQ(WhyUnreadable(text.Path()), "");
    unlink(fifo.c_str());

    const auto why = [](const std::string& contents) { return WhyNotElf32(TempFile(contents).Path()); };
    EXPECT_EQ(why(""), "Not an ELF file");
    EXPECT_EQ(why("just text"), "Not an ELF file");
    EXPECT_NE(why("\177ELF\2" + std::string(60, '\0')).find("64-bit"), std::string::npos);
    EXPECT_NE(why("\177ELF\1").find("damaged"), std::string::npos);
    EXPECT_EQ(why(ElfWriter(ByteOrder::Little).Image()), "");
}

} // namespace
