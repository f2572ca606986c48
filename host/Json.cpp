// The line writer. Nearly all texts of a symbol file are plain ASCII and are copied; the JSON library
// sees to the others.
#include "host/Json.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

bool NeedsEscape(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return (byte < 0x20) | (byte >= 0x7F) | (byte == '"') | (byte == '\\');
}

/// In blocks, which a compiler can turn into vectors.
bool IsPlain(std::string_view text)
{
    constexpr std::size_t kBlock = 16;
    std::size_t at = 0;
    for (; at + kBlock <= text.size(); at += kBlock) {
        bool escape = false;
        for (std::size_t i = 0; i < kBlock; ++i) {
            escape |= NeedsEscape(text[at + i]);
        }
        if (escape) {
            return false;
        }
    }
    return std::none_of(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), NeedsEscape);
}

/// Digits of a number, without the cost of growing the line by each.
template <typename Number>
class Digits {
public:
    explicit Digits(Number value)
        : m_size(static_cast<std::size_t>(std::to_chars(m_digits, m_digits + sizeof m_digits, value).ptr - m_digits))
    {
    }
    std::string_view Text() const { return {m_digits, m_size}; }

private:
    char m_digits[24];
    std::size_t m_size;
};

} // namespace

char* JsonLine::Room(std::size_t count)
{
    if (m_capacity - m_size < count) {
        const std::size_t capacity = std::max<std::size_t>(2 * m_capacity, m_size + count + 512);
        auto longer = std::make_unique_for_overwrite<char[]>(capacity);
        std::copy_n(m_line.get(), m_size, longer.get());
        m_line = std::move(longer);
        m_capacity = capacity;
    }
    return m_line.get() + m_size;
}

void JsonLine::Put(char character)
{
    *Room(1) = character;
    ++m_size;
}

JsonLine& JsonLine::Begin()
{
    m_size = 0;
    m_first = true;
    Put('{');
    return *this;
}

JsonLine& JsonLine::Begin(const char* record)
{
    return Begin().Text("record", record);
}

std::string_view JsonLine::End()
{
    Put('}');
    Put('\n');
    return {m_line.get(), m_size};
}

JsonLine& JsonLine::Append(JsonKey key, std::string_view value, bool quoted)
{
    constexpr std::size_t kSigns = 6; // comma, quotes, colon
    char* at = Room(key.text.size() + value.size() + kSigns);
    const auto put = [&at](std::string_view text) {
        std::memcpy(at, text.data(), text.size());
        at += text.size();
    };
    if (!std::exchange(m_first, false)) {
        *at++ = ',';
    }
    if (key.text.data() != nullptr) {
        *at++ = '"';
        put(key.text);
        *at++ = '"';
        *at++ = ':';
    }
    if (quoted) {
        *at++ = '"';
    }
    if (!value.empty()) {
        put(value);
    }
    if (quoted) {
        *at++ = '"';
    }
    m_size = static_cast<std::size_t>(at - m_line.get());
    return *this;
}

JsonLine& JsonLine::Number(JsonKey key, u32 value)
{
    return Append(key, Digits(value).Text(), false);
}

JsonLine& JsonLine::Number64(JsonKey key, u64 value)
{
    return Append(key, Digits(value).Text(), false);
}

JsonLine& JsonLine::Signed(JsonKey key, i32 value)
{
    return Append(key, Digits(value).Text(), false);
}

JsonLine& JsonLine::NumberOrNull(JsonKey key, u32 value)
{
    return value == kNone ? Null(key) : Number(key, value);
}

JsonLine& JsonLine::Bool(JsonKey key, bool value)
{
    return Append(key, value ? "true" : "false", false);
}

JsonLine& JsonLine::Null(JsonKey key)
{
    return Append(key, "null", false);
}

JsonLine& JsonLine::Text(JsonKey key, std::string_view value)
{
    return IsPlain(value)
               ? Append(key, value, true)
               : Append(key, nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
                        false);
}

JsonLine& JsonLine::TextOrNull(JsonKey key, const char* value)
{
    return value == nullptr ? Null(key) : Text(key, value);
}

JsonLine& JsonLine::Hex(JsonKey key, std::string_view bytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    Append(key, "\"", false);
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        Put(kDigits[byte >> 4]);
        Put(kDigits[byte & 0xFu]);
    }
    Put('"');
    return *this;
}

JsonLine& JsonLine::OpenList(JsonKey key)
{
    Append(key, "[", false);
    m_first = true;
    return *this;
}

JsonLine& JsonLine::CloseList()
{
    Put(']');
    m_first = false;
    return *this;
}

JsonLine& JsonLine::OpenObject(JsonKey key)
{
    Append(key, "{", false);
    m_first = true;
    return *this;
}

JsonLine& JsonLine::CloseObject()
{
    Put('}');
    m_first = false;
    return *this;
}
