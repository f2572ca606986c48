// The line writer. Nearly all texts of a symbol file are plain ASCII and are copied; the JSON library
// sees to the others.
#include "host/Json.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace {

bool NeedsEscape(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte >= 0x7F || byte == '"' || byte == '\\';
}

template <typename Number>
void AppendNumber(std::string& line, Number value)
{
    char digits[24];
    line.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

} // namespace

JsonLine& JsonLine::Begin()
{
    m_line = '{';
    return *this;
}

JsonLine& JsonLine::Begin(const char* record)
{
    return Begin().Text("record", record);
}

const std::string& JsonLine::End()
{
    m_line += "}\n";
    return m_line;
}

void JsonLine::Key(const char* key)
{
    if (m_line.back() != '{' && m_line.back() != '[') {
        m_line += ',';
    }
    if (key != nullptr) {
        m_line += '"';
        m_line += key;
        m_line += "\":";
    }
}

JsonLine& JsonLine::Number(const char* key, u32 value)
{
    Key(key);
    AppendNumber(m_line, value);
    return *this;
}

JsonLine& JsonLine::Number64(const char* key, u64 value)
{
    Key(key);
    AppendNumber(m_line, value);
    return *this;
}

JsonLine& JsonLine::Signed(const char* key, i32 value)
{
    Key(key);
    AppendNumber(m_line, value);
    return *this;
}

JsonLine& JsonLine::NumberOrNull(const char* key, u32 value)
{
    return value == kNone ? Null(key) : Number(key, value);
}

JsonLine& JsonLine::Bool(const char* key, bool value)
{
    Key(key);
    m_line += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::Null(const char* key)
{
    Key(key);
    m_line += "null";
    return *this;
}

JsonLine& JsonLine::Text(const char* key, std::string_view value)
{
    Key(key);
    if (std::none_of(value.begin(), value.end(), NeedsEscape)) {
        m_line += '"';
        m_line += value;
        m_line += '"';
    } else {
        m_line += nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
    return *this;
}

JsonLine& JsonLine::TextOrNull(const char* key, const char* value)
{
    return value == nullptr ? Null(key) : Text(key, value);
}

JsonLine& JsonLine::Hex(const char* key, std::string_view bytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    Key(key);
    m_line += '"';
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        m_line += kDigits[byte >> 4];
        m_line += kDigits[byte & 0xFu];
    }
    m_line += '"';
    return *this;
}

JsonLine& JsonLine::OpenList(const char* key)
{
    Key(key);
    m_line += '[';
    return *this;
}

JsonLine& JsonLine::CloseList()
{
    m_line += ']';
    return *this;
}

JsonLine& JsonLine::OpenObject(const char* key)
{
    Key(key);
    m_line += '{';
    return *this;
}

JsonLine& JsonLine::CloseObject()
{
    m_line += '}';
    return *this;
}
