// Reads tokens, numbers, options and text from a console line. Every read works on a copy of the position and stores it
// only when it has succeeded.
#include "interfaces/VFKStringParser.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// Not the functions of <cctype>, which depend on the host's locale.
bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsHexLetter(char c)
{
    return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool IsWordChar(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

/// The position after the blanks at `pos`, at most the line's size.
std::size_t BehindBlanks(std::string_view line, std::size_t pos)
{
    return std::min(line.find_first_not_of(kBlanks, pos), line.size());
}

/// The position of the first blank from `pos` on, at most the line's size.
std::size_t ToBlank(std::string_view line, std::size_t pos)
{
    return std::min(line.find_first_of(kBlanks, pos), line.size());
}

std::size_t BehindWord(std::string_view line, std::size_t pos)
{
    while (pos < line.size() && IsWordChar(line[pos])) {
        ++pos;
    }
    return pos;
}

/// True if the text begins with digits that have no prefix and can only be hexadecimal.
bool IsBareHex(const char* text)
{
    for (; IsDigit(*text) || IsHexLetter(*text); ++text) {
        if (IsHexLetter(*text)) {
            return true;
        }
    }
    return false;
}

/// Like strtoul with an `unsigned long` of 32 bits.
/// @return the position after the number; `text` itself if there is none.
const char* ReadUnsigned(const char* text, int base, u32& value)
{
    const char* digits = text + std::strspn(text, " \t\n\v\f\r");
    const bool negative = *digits == '-';
    if (base == 0 && IsBareHex(digits)) {
        base = 16;
    }
    if (*digits == '-' || *digits == '+') {
        ++digits;
    }
    // Otherwise strtoull would skip more blanks and a second sign.
    if (!IsWordChar(*digits)) {
        return text;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long magnitude = std::strtoull(digits, &end, base);
    if (end == digits) {
        return text;
    }
    if (errno == ERANGE || magnitude > 0xFFFFFFFFu) {
        value = 0xFFFFFFFFu;
    } else {
        value = negative ? 0u - static_cast<u32>(magnitude) : static_cast<u32>(magnitude);
    }
    return end;
}

} // namespace

VFKStringParser::VFKStringParser(const std::string& line)
    : m_line(line)
{
}

bool VFKStringParser::GetCToken(std::string& token, bool peek, bool skipSpaces)
{
    const std::size_t start = skipSpaces ? BehindBlanks(m_line, m_pos) : m_pos;
    if (start == m_line.size()) {
        return false;
    }
    const std::size_t end = std::max(BehindWord(m_line, start), start + 1);
    token = m_line.substr(start, end - start);
    if (!peek) {
        m_pos = end;
    }
    return true;
}

bool VFKStringParser::GetString(std::string& text)
{
    const std::size_t start = BehindBlanks(m_line, m_pos);
    if (start == m_line.size()) {
        return false;
    }
    if (m_line[start] == '"') {
        // A text without a closing quote reaches to the end of the line.
        const std::size_t close = std::min(m_line.find('"', start + 1), m_line.size());
        text = m_line.substr(start + 1, close - start - 1);
        m_pos = std::min(close + 1, m_line.size());
        return true;
    }
    m_pos = ToBlank(m_line, start);
    text = m_line.substr(start, m_pos - start);
    return true;
}

bool VFKStringParser::GetOption(std::string& name, std::string& value)
{
    const std::size_t dash = BehindBlanks(m_line, m_pos);
    if (dash == m_line.size() || m_line[dash] != '-') {
        return false;
    }
    const std::size_t nameEnd = BehindWord(m_line, dash + 1);
    if (nameEnd == dash + 1) {
        return false;
    }
    name = m_line.substr(dash + 1, nameEnd - dash - 1);
    value.clear();
    m_pos = nameEnd;
    if (PeekChar(0) == '=') {
        m_pos = ToBlank(m_line, nameEnd);
        value = m_line.substr(nameEnd + 1, m_pos - nameEnd - 1);
    }
    return true;
}

bool VFKStringParser::GetLine(std::string& line, bool skipSpaces)
{
    const std::size_t start = skipSpaces ? BehindBlanks(m_line, m_pos) : m_pos;
    if (start == m_line.size()) {
        return false;
    }
    line = m_line.substr(start);
    m_pos = m_line.size();
    return true;
}

bool VFKStringParser::GetUInt32(u32& value, int base)
{
    if (base < 0 || base == 1 || base > 36) {
        return false;
    }
    const char* text = m_line.c_str() + m_pos;
    const char* end = ReadUnsigned(text, base, value);
    m_pos += static_cast<std::size_t>(end - text);
    return end != text;
}

bool VFKStringParser::GetNonWhiteSpaceChar(char& c, const char* accepted)
{
    const std::size_t at = BehindBlanks(m_line, m_pos);
    if (at == m_line.size()) {
        return false;
    }
    if (accepted != nullptr && std::string_view(accepted).find(m_line[at]) == std::string_view::npos) {
        return false;
    }
    c = m_line[at];
    m_pos = at + 1;
    return true;
}

char VFKStringParser::PeekChar(std::size_t ahead) const
{
    return ahead < m_line.size() - m_pos ? m_line[m_pos + ahead] : '\0';
}

void VFKStringParser::SkipSpaces()
{
    m_pos = BehindBlanks(m_line, m_pos);
}
