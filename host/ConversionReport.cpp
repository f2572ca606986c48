// The report's two forms. Texts come from a file by way of a process that may have been misled by it.
#include "host/ConversionReport.h"

#include "host/Text.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

namespace {

using Object = nlohmann::ordered_json;

bool Take(const Object& object, const char* key, u64& value)
{
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_unsigned()) {
        return false;
    }
    value = found->get<u64>();
    return true;
}

bool Take(const Object& object, const char* key, std::string& text)
{
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) {
        return false;
    }
    text = found->get<std::string>();
    return true;
}

bool Take(const Object& object, ConversionReport::Units& units)
{
    return object.is_object() && Take(object, "version", units.version) && Take(object, "producer", units.producer) &&
           Take(object, "count", units.count);
}

bool Take(const Object& object, ConversionReport::LeftOut& leftOut)
{
    return object.is_object() && Take(object, "kind", leftOut.kind) && Take(object, "reason", leftOut.reason) &&
           Take(object, "count", leftOut.count);
}

template <typename Record>
bool Take(const Object& object, const char* key, std::vector<Record>& records)
{
    const auto found = object.find(key);
    if (found == object.end() || !found->is_array()) {
        return false;
    }
    return std::all_of(found->begin(), found->end(),
                       [&](const Object& element) { return Take(element, records.emplace_back()); });
}

/// The producer without the options that many compilers add.
std::string_view ProducerName(std::string_view producer)
{
    producer = producer.substr(0, producer.find(" -"));
    return producer.empty() ? "(not told)" : producer;
}

} // namespace

bool ConversionReport::Parse(std::string_view json)
{
    const Object object = Object::parse(json, nullptr, false);
    ConversionReport report;
    if (!object.is_object() || !Take(object, "units", report.units) || !Take(object, "left_out", report.leftOut) ||
        !Take(object, "split_units", report.splitUnits)) {
        return false;
    }
    *this = std::move(report);
    return true;
}

std::string ConversionReport::Text() const
{
    std::map<std::pair<u64, std::string_view>, u64> byProducer;
    for (const Units& of : units) {
        byProducer[{of.version, ProducerName(of.producer)}] += of.count;
    }
    std::string text = "   units  DWARF  producer\n";
    for (const auto& [unit, count] : byProducer) {
        AppendDecimal(text, static_cast<i64>(count), 8);
        AppendDecimal(text, static_cast<i64>(unit.first), 7);
        text += "  ";
        AppendShort(text, unit.second);
        text += '\n';
    }
    if (splitUnits != 0) {
        AppendDecimal(text, static_cast<i64>(splitUnits), 8);
        text += " of them split: the rest of these lies in .dwo files, which aren't read\n";
    }
    if (!leftOut.empty()) {
        text += "left out, since DWARF 2.0 has no words for it:\n";
    }
    for (const LeftOut& what : leftOut) {
        AppendDecimal(text, static_cast<i64>(what.count), 8);
        text += "  ";
        AppendShort(text, what.kind);
        text += ": ";
        AppendShort(text, what.reason);
        text += '\n';
    }
    return text;
}

std::string ConversionReport::Json(const std::string& input, const std::string& output) const
{
    Object unitList = Object::array();
    for (const Units& of : units) {
        unitList.push_back({{"version", of.version}, {"producer", of.producer}, {"count", of.count}});
    }
    Object leftOutList = Object::array();
    for (const LeftOut& what : leftOut) {
        leftOutList.push_back({{"kind", what.kind}, {"reason", what.reason}, {"count", what.count}});
    }
    const Object object = {{"input", input},
                           {"output", output},
                           {"units", unitList},
                           {"left_out", leftOutList},
                           {"split_units", splitUnits}};
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}
