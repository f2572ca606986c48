// Writes one JSON object a line, fast enough for millions of records.
#pragma once

#include "interfaces/Types.h"

#include <string>
#include <string_view>

/// Builds one line at a time in a buffer that is reused for the next one. Commas
/// are set as needed; braces and brackets are the caller's to balance.
class JsonLine {
public:
    /// Opens a new object, dropping the old line.
    JsonLine& Begin();
    /// The same, with the key `record` in front.
    JsonLine& Begin(const char* record);
    /// Closes the object. The line ends in a line feed and stays good until the next Begin().
    const std::string& End();

    /// Inside a list the key is left out: pass null.
    JsonLine& Number(const char* key, u32 value);
    JsonLine& Number64(const char* key, u64 value);
    JsonLine& Signed(const char* key, i32 value);
    /// null if the value is kNone.
    JsonLine& NumberOrNull(const char* key, u32 value);
    JsonLine& Bool(const char* key, bool value);
    JsonLine& Null(const char* key);
    /// Text in UTF-8; U+FFFD takes the place of what is malformed.
    JsonLine& Text(const char* key, std::string_view value);
    /// null if the pointer is.
    JsonLine& TextOrNull(const char* key, const char* value);
    /// Each byte as two lower-case hexadecimal digits.
    JsonLine& Hex(const char* key, std::string_view bytes);

    JsonLine& OpenList(const char* key);
    JsonLine& CloseList();
    JsonLine& OpenObject(const char* key = nullptr);
    JsonLine& CloseObject();

private:
    void Key(const char* key);

    std::string m_line;
};
