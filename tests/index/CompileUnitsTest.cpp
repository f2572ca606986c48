// The search for a unit gives what a walk over all units would give.
#include "index/CompileUnitInfo.h"
#include "tests/support/DwarfTest.h"

#include <random>
#include <utility>
#include <vector>

namespace {

class CompileUnits : public DwarfTest {
protected:
    /// A file whose units have these offsets and values of unit_length.
    void Add(const std::vector<std::pair<u32, u32>>& units)
    {
        Restart();
        Open(dwarf);
        for (const auto& [offset, length] : units) {
            CompileUnitInfo unit;
            unit.offset = offset;
            unit.unitLength = length;
            Probe::AddCompileUnit(File(), unit);
        }
    }

    const CompileUnitInfo* Find(u32 dieOffset) { return Probe::FindCompileUnit(File(), dieOffset); }

    const CompileUnitInfo* FindByWalking(u32 dieOffset)
    {
        for (const auto& [offset, unit] : Probe::m_cuHeaderMap(File())) {
            if (offset < dieOffset && dieOffset < unit.offset + 4 + unit.unitLength) {
                return &unit;
            }
        }
        return nullptr;
    }
};
BOTH_BYTE_ORDERS(CompileUnits);

TEST_P(CompileUnits, UnitsThatOverlapOrWrapAreFoundInOrder)
{
    std::mt19937 random(1);
    const auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    for (u32 round = 0; round < 50; ++round) {
        std::vector<std::pair<u32, u32>> units;
        u32 offset = below(3);
        for (u32 count = below(12); count != 0; --count, offset += 1 + below(20)) {
            const u32 lengths[] = {below(30), below(200), 0 - below(300), 0};
            units.emplace_back(offset, lengths[below(4)]);
        }
        Add(units);
        for (u32 look = 0; look < 400; ++look) {
            const u32 dieOffset = look % 8 == 0 ? 0 - below(100) : below(400);
            ASSERT_EQ(Find(dieOffset), FindByWalking(dieOffset)) << "round " << round << " offset " << dieOffset;
        }
    }
}

} // namespace
