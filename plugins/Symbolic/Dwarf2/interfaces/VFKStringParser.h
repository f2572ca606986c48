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
    /// @param peek true leaves the parser in front of it.
    /// @param skipSpaces true passes over blanks in front.
    bool GetCToken(std::string& token, bool peek, bool skipSpaces);

    /// Takes a text in double quotes (delivered without them), or all up to a blank. Blanks in
    /// front are passed over.
    bool GetString(std::string& text);

    /// Takes '-' and a run of letters, digits and '_' as `name`; what follows '=' at once, up to a
    /// blank, as `value`, else that is empty. Blanks in front are passed over.
    bool GetOption(std::string& name, std::string& value);

    /// Takes the rest of the line, blanks at the end included. Fails if nothing is left.
    /// @param skipSpaces true passes over blanks in front.
    bool GetLine(std::string& line, bool skipSpaces);

    /// Reads a number as C's strtoul does. With `base` 0, a run of hexadecimal digits without
    /// prefix that has a letter is hexadecimal. What does not fit in 32 bits is 0xFFFFFFFF; text
    /// behind the number stays for the next read.
    bool GetUInt32(u32& value, int base);

    /// Takes the next character that is no blank, if it is one of `accepted` (null: any). A
    /// character that isn't taken is given back to the line, with the blanks in front of it.
    bool GetNonWhiteSpaceChar(char& c, const char* accepted);

    /// The character `ahead` places on, or 0 behind the end. Takes nothing.
    char PeekChar(std::size_t ahead) const;

    void SkipSpaces();

private:
    std::string m_line;
    std::size_t m_pos = 0;
};
