// Writes one JSON object a line, fast enough for millions of records.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

/// The length of a literal is known when the call is compiled.
struct JsonKey {
    JsonKey(const char* key) // NOLINT: literals become keys by themselves
        : text(key, key == nullptr ? 0 : std::strlen(key))
    {
    }
    std::string_view text; ///< without data inside a list
};

/// Builds one line at a time in a buffer that is reused for the next one. Commas
/// are set as needed; braces and brackets are the caller's to balance.
class JsonLine {
public:
    /// Opens a new object, dropping the old line.
    JsonLine& Begin();
    /// The same, with the key `record` in front.
    JsonLine& Begin(const char* record);
    /// Closes the object.
    /// @return the line with its line feed, valid until the next Begin().
    std::string_view End();

    /// Inside a list the key is left out: pass null.
    JsonLine& Number(JsonKey key, u32 value);
    JsonLine& Number64(JsonKey key, u64 value);
    JsonLine& Signed(JsonKey key, i32 value);
    /// null if the value is kNone.
    JsonLine& NumberOrNull(JsonKey key, u32 value);
    JsonLine& Bool(JsonKey key, bool value);
    JsonLine& Null(JsonKey key);
    /// Text in UTF-8; U+FFFD takes the place of what is malformed.
    JsonLine& Text(JsonKey key, std::string_view value);
    /// null if the pointer is.
    JsonLine& TextOrNull(JsonKey key, const char* value);
    /// null if the text is empty.
    JsonLine& TextUnlessEmpty(JsonKey key, std::string_view value)
    {
        return value.empty() ? Null(key) : Text(key, value);
    }
    /// Each byte as two lower-case hexadecimal digits.
    JsonLine& Hex(JsonKey key, std::string_view bytes);

    JsonLine& OpenList(JsonKey key);
    JsonLine& CloseList();
    JsonLine& OpenObject(JsonKey key = nullptr);
    JsonLine& CloseObject();

private:
    JsonLine& Append(JsonKey key, std::string_view value, bool quoted);
    void Put(char character);
    /// The end of the line, with room for so many bytes more. A string would fill them with zeros first, which counts
    /// for millions of values.
    char* Room(std::size_t count);

    std::unique_ptr<char[]> m_line;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    bool m_first = true; ///< the next value has no comma in front
};
