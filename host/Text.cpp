// Number and line helpers, without iostreams: a query prints thousands of numbers.
#include "host/Text.h"

#include "interfaces/DbgAddress.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <unistd.h>

void AppendHex8(std::string& line, u32 value)
{
    char digits[] = "0x00000000";
    for (std::size_t i = 9; value != 0; --i, value >>= 4) {
        digits[i] = "0123456789abcdef"[value & 0xFu];
    }
    line.append(digits, 10);
}

void AppendAddress(std::string& line, const DbgAddress& address)
{
    if (address.section != kNone) {
        AppendDecimal(line, address.section);
        line += ':';
    }
    AppendHex8(line, address.value);
}

void AppendDecimal(std::string& line, i64 value, std::size_t width)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    const auto length = static_cast<std::size_t>(end - digits);
    if (length < width) {
        line.append(width - length, ' ');
    }
    line.append(digits, length);
}

void AppendPrintable(std::string& line, std::string_view text, std::string_view kept)
{
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; })) {
        line += text; // nearly all are of such characters
        return;
    }
    for (std::size_t i = 0; i < text.size();) {
        const auto byteAt = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
        const unsigned char first = byteAt(i);
        std::size_t length = 1; // of the UTF-8 sequence, as far as it is there
        for (const unsigned leastOfLength : {0xC2u, 0xE0u, 0xF0u}) {
            const bool longer = first >= leastOfLength && i + length < text.size();
            length += longer && (byteAt(i + length) & 0xC0u) == 0x80 ? 1 : 0;
        }
        const bool c1 = (first == 0xC2 && length == 2 && byteAt(i + 1) < 0xA0) || (first >= 0x80 && first < 0xA0);
        if ((first < 0x20 || first == 0x7F || c1) && kept.find(text[i]) == std::string_view::npos) {
            line += '?';
        } else {
            line += text.substr(i, length);
        }
        i += length;
    }
}

void AppendShort(std::string& line, std::string_view text)
{
    constexpr std::size_t kLongest = 1024;
    AppendPrintable(line, text.substr(0, kLongest));
    if (text.size() > kLongest) {
        line += "...";
    }
}

std::string SmallLetters(std::string_view text)
{
    std::string small(text);
    std::transform(small.begin(), small.end(), small.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return small;
}

void PadTo(std::string& line, std::size_t column)
{
    line.append(line.size() < column ? column - line.size() : 1, ' ');
}

std::optional<u32> ParseNumber(std::string_view text)
{
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == '0') {
        base = 8;
        text.remove_prefix(1);
    }
    u32 value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<SourceLine> ParseSourceLine(std::string_view text)
{
    const std::size_t colon = text.rfind(':');
    const bool named = colon != std::string_view::npos;
    const std::optional<u32> number = ParseNumber(named ? text.substr(colon + 1) : text);
    if (!number || colon == 0) {
        return std::nullopt;
    }
    return SourceLine{std::string(named ? text.substr(0, colon) : ""), *number};
}

bool EndsInPath(std::string_view path, std::string_view tail)
{
    if (path.size() <= tail.size() || path.substr(path.size() - tail.size()) != tail) {
        return false;
    }
    const char before = path[path.size() - tail.size() - 1];
    return before == '/' || before == '\\';
}

LineReader::LineReader(int descriptor)
    : m_descriptor(descriptor)
    , m_bytes(64 * 1024)
{
}

bool LineReader::Buffered() const
{
    return std::memchr(m_bytes.data() + m_begin, '\n', m_end - m_begin) != nullptr;
}

bool LineReader::Next(std::string& line)
{
    line.clear();
    for (;;) {
        const char* start = m_bytes.data() + m_begin;
        const auto* end = static_cast<const char*>(std::memchr(start, '\n', m_end - m_begin));
        if (end != nullptr) {
            line.append(start, end);
            m_begin += static_cast<std::size_t>(end - start) + 1;
            break;
        }
        line.append(start, m_end - m_begin);
        constexpr std::size_t kLongest = std::size_t{1} << 20;
        if (line.size() > kLongest) {
            m_error = EMSGSIZE;
            return false;
        }
        if (!Fill()) {
            if (line.empty()) {
                return false;
            }
            break;
        }
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

bool LineReader::Fill()
{
    m_begin = 0;
    m_end = 0;
    ssize_t count = 0;
    do {
        count = read(m_descriptor, m_bytes.data(), m_bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
        m_error = count < 0 ? errno : 0;
        return false;
    }
    m_end = static_cast<std::size_t>(count);
    return true;
}
