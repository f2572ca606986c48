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
    plugin.onIndex = [](DbgSymSymFile& store) {
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
    file.Load(LoadDepth::Symbols);
    file.Load(LoadDepth::Symbols);
    file.LoadLines(11);
    file.LoadLines(11);
    EXPECT_EQ(plugin.requests, (Requests{"add 1", "sections", "index", "unit 200", "unit 11", "lines 11"}));
}

TEST(Loader, AFileIsSectionRelativeIfTheIndexAddsASection)
{
    FakePlugin plugin;
    const auto add = [](DbgSymSymFile& store) {
        const DbgSection section(".text", kSectionPiCode, DbgSymSymFile::GetNewSectionID(), kNone, 64, 0);
        store.GetSectionList().AddSection(&section);
    };
    plugin.onSections = add;
    Loader absolute(plugin, "x.axf");
    absolute.Add();
    absolute.LoadIndex();
    EXPECT_FALSE(absolute.SectionRelative());
    EXPECT_EQ(absolute.AddressOf(0x10).section, kNone);

    plugin.onIndex = add;
    Loader relative(plugin, "x.axf");
    relative.Add();
    relative.LoadIndex();
    EXPECT_TRUE(relative.SectionRelative());
    EXPECT_EQ(relative.RelocationSection(), relative.Store().GetSectionList().At(1).id);
    const DbgAddress address = relative.AddressOf(0x10);
    EXPECT_EQ(address.value, 0x10u);
    EXPECT_EQ(address.section, relative.RelocationSection());
    EXPECT_EQ(address.byte0, 1);
}

TEST(Loader, TellsWhyAFileCannotBeServed)
{
    EXPECT_EQ(WhyUnreadable("/no/such/file"), "No such file or directory");
    EXPECT_EQ(WhyUnreadable("/"), "Is a directory");
    EXPECT_EQ(WhyUnreadable("/dev/null"), "Not a regular file");
    const TempFile text("just text");
    EXPECT_EQ(WhyUnreadable(text.Path()), "");
    EXPECT_EQ(WhyNotElf32(text.Path()), "Not an ELF file");
    EXPECT_EQ(WhyNotElf32(TempFile("").Path()), "Not an ELF file");
    EXPECT_NE(WhyNotElf32(TempFile(std::string("\x7f"
                                               "ELF\x02",
                                               5) +
                                   std::string(60, '\0'))
                              .Path())
                  .find("64-bit"),
              std::string::npos);
    EXPECT_NE(WhyNotElf32(TempFile(std::string("\x7f"
                                               "ELF\x01",
                                               5))
                              .Path())
                  .find("damaged"),
              std::string::npos);
    EXPECT_EQ(WhyNotElf32(ElfWriter(ByteOrder::Little).Write().Path()), "");
}

TEST(Loader, APipeDoesNotHoldItUp)
{
    const TempFile place("");
    const std::string path = place.Path() + ".fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(WhyUnreadable(path), "Not a regular file");
    unlink(path.c_str());
}

} // namespace
