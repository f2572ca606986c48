// host/UnitNames.cpp: what may be typed for a unit.
#include "host/UnitNames.h"

#include "tests/host/HostTesting.h"

#include <gtest/gtest.h>
#include <utility>

namespace {

TEST(UnitNames, ByIdPathEndStemAndGlob)
{
    using Paths = std::vector<std::string>;
    const std::string folder = "/build/samples/";
    const std::pair<const char*, Paths> cases[] = {
        {"0x1a8", {"station.c"}},
        {"/build/samples/filter.c", {"filter.c"}},
        {"samples/filter.c", {"filter.c"}},
        {"filter.c", {"filter.c"}},
        {"device", {"device.cpp"}},
        {"samples/sta?t", {"start.c"}},
        {"st*.c", {"start.c", "station.c"}},
        {"/build/*c", {"start.c", "station.c", "filter.c"}},
        {"ilter.c", {}},
        {"samples", {}},
        {"f*er", {"filter.c"}},
        {"f*ex", {}},
    };
    for (const auto& [text, wanted] : cases) {
        const Ran ran = RunHost({"lines", Sample("station.axf"), "--unit", text});
        Paths found;
        for (const std::string& line : SplitLines(ran.out)) {
            if (line.rfind(folder, 0) == 0) {
                found.push_back(line.substr(folder.size(), line.size() - folder.size() - 1));
            }
        }
        EXPECT_EQ(found, wanted) << text;
        EXPECT_EQ(ran.status, wanted.empty() ? 1 : 0) << text;
    }
}

TEST(UnitNames, OnlyTheFilesOwnExtensionIsOne)
{
    EXPECT_TRUE(FitsPath("/lib.d/start.c", "lib.d/start"));
    EXPECT_TRUE(FitsPath("c:\\lib.d\\start", "lib.d/start"));
    EXPECT_FALSE(FitsPath("/src/lib.d/start", "lib"));
    EXPECT_FALSE(FitsPath("c:\\src\\lib.d\\start", "lib"));
}

} // namespace
