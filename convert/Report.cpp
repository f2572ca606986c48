// The report as JSON.
#include "convert/Report.h"

#include <nlohmann/json.hpp>

namespace convert {

std::string Report::Json() const
{
    nlohmann::ordered_json units = nlohmann::ordered_json::array();
    for (const auto& [unit, count] : m_units) {
        units.push_back({{"version", unit.first}, {"producer", unit.second}, {"count", count}});
    }
    nlohmann::ordered_json leftOut = nlohmann::ordered_json::array();
    for (const auto& [what, count] : m_leftOut) {
        leftOut.push_back({{"kind", what.first}, {"reason", what.second}, {"count", count}});
    }
    const nlohmann::ordered_json report = {{"units", units}, {"left_out", leftOut}, {"split_units", m_splitUnits}};
    return report.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace convert
