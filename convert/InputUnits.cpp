// Units are found by libdw; each ends where its own length says.
#include "convert/InputUnits.h"

#include <algorithm>
#include <dwarf.h>
#include <iterator>
#include <utility>

namespace convert {

bool StandsInTypes(Dwarf_CU* cu)
{
    Dwarf_Half version = 0;
    u8 type = 0;
    return dwarf_cu_info(cu, &version, &type, nullptr, nullptr, nullptr, nullptr, nullptr) == 0 && version < 5 &&
           type == DW_UT_type;
}

std::vector<InputUnit> ListUnits(Dwarf* dwarf)
{
    std::vector<InputUnit> units;
    Dwarf_CU* cu = nullptr;
    InputUnit unit;
    Dwarf_Half version = 0;
    while (dwarf_get_units(dwarf, cu, &cu, &version, &unit.type, &unit.die, nullptr) == 0) {
        unit.version = version;
        unit.standsInTypes = StandsInTypes(cu);
        unit.entry = dwarf_dieoffset(&unit.die);
        unit.offset = unit.entry - dwarf_cuoffset(&unit.die);
        Dwarf_Off next = 0;
        std::size_t headerSize = 0;
        Dwarf_Half ignored = 0;
        u64 signature = 0;
        if (dwarf_next_unit(dwarf, unit.offset, &next, &headerSize, &ignored, &unit.abbreviations, &unit.addressSize,
                            &unit.offsetSize, unit.standsInTypes ? &signature : nullptr, nullptr) != 0) {
            break;
        }
        unit.end = next;
        Dwarf_Attribute attribute;
        Dwarf_Word language = 0;
        dwarf_formudata(dwarf_attr(&unit.die, DW_AT_language, &attribute), &language);
        unit.language = static_cast<u32>(language);
        units.push_back(unit);
    }
    return units;
}

const InputUnit* FindUnit(const std::vector<InputUnit>& units, u64 offset, bool inTypes)
{
    const auto isBehind = [](const std::pair<bool, u64>& place, const InputUnit& unit) {
        return place < std::pair(unit.standsInTypes, unit.offset);
    };
    const auto behind = std::upper_bound(units.begin(), units.end(), std::pair(inTypes, offset), isBehind);
    if (behind == units.begin()) {
        return nullptr;
    }
    const InputUnit& unit = *std::prev(behind);
    return unit.standsInTypes == inTypes && offset < unit.end ? &unit : nullptr;
}

} // namespace convert
