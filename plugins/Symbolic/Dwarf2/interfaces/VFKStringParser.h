// Reads a line of text from left to right.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <string>

/// A read that fails leaves the parser where it stood. Blanks are blank, tab, carriage return and
/// line feed.
class VFKStringParser {
public:
    explicit VFKStringParser(const std::string& line);

    /// Takes a run of letters, digits and '_', or one other character.
    /// @param peek true leaves the parser before it.
    /// @param skipSpaces true skips blanks before it.
    bool GetCToken(std::string& token, bool peek, bool skipSpaces);

    /// Takes a text in double quotes (delivered without them), or everything up to a blank. Blanks before it are
    /// skipped.
    bool GetString(std::string& text);

    /// Takes '-' and a run of letters, digits and '_' as `name`; if '=' follows at once, the text after it up to a
    /// blank is `value`, else that is empty. Blanks before it are skipped.
    bool GetOption(std::string& name, std::string& value);

    /// Takes the rest of the line, including blanks at the end. Fails if nothing is left.
    /// @param skipSpaces true skips blanks before it.
    bool GetLine(std::string& line, bool skipSpaces);

    /// Reads a number as C's strtoul does. With `base` 0, a run of hexadecimal digits without prefix that has a letter
    /// is hexadecimal. What does not fit in 32 bits is 0xFFFFFFFF; text after the number stays for the next read.
    bool GetUInt32(u32& value, int base);

    /// Takes the next character that isn't a blank, if it is one of `accepted` (null: any). If it isn't, it stays in
    /// the line, as do the blanks before it.
    bool GetNonWhiteSpaceChar(char& c, const char* accepted);

    /// The character `ahead` places on, or 0 past the end. Takes nothing.
    char PeekChar(std::size_t ahead) const;

    void SkipSpaces();

private:
    std::string m_line;
    std::size_t m_pos = 0;
};
