// Numbers, text and line ends of the dumps, written straight into the stream's buffer.
//
// A whole-file dump writes tens of millions of fields, so digits are made in a local buffer and written at once. The
// stream's state, on which a later field may depend, ends up as the standard manipulators leave it: hexN sets
// hexadecimal radix and the fill '0', dec sets decimal radix, and a pending width pads the first item written ("0x" for
// hexN) and is used up.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string_view>

/// The last line of a dump whose budget is spent.
inline constexpr std::string_view kDumpEnded = "\nDump ended: the file repeats too much of its text";

/// Writes text as an inserter does: a pending width pads it, a stream that has failed stays as it is.
inline std::ostream& PutText(std::ostream& stream, std::string_view text)
{
    if (stream.width() != 0) {
        return stream << text;
    }
    if (stream.good()) {
        const auto size = static_cast<std::streamsize>(text.size());
        if (stream.rdbuf()->sputn(text.data(), size) != size) {
            stream.setstate(std::ios_base::badbit);
        }
    }
    return stream;
}

/// Writes one character as an inserter does, except that it leaves a pending width alone.
inline std::ostream& PutChar(std::ostream& stream, char c)
{
    if (stream.good() && stream.rdbuf()->sputc(c) == std::char_traits<char>::eof()) {
        stream.setstate(std::ios_base::badbit);
    }
    return stream;
}

/// Writes the 8 digits of a number, without prefix: all at once, each in one byte of a word.
inline void WriteHex8(char* to, u32 value)
{
    u64 nibbles = value;
    nibbles = (nibbles | nibbles << 16) & 0x0000FFFF0000FFFFu;
    nibbles = (nibbles | nibbles << 8) & 0x00FF00FF00FF00FFu;
    nibbles = (nibbles | nibbles << 4) & 0x0F0F0F0F0F0F0F0Fu;
    // Digits start at '0'; letters come 'a' - '9' - 1 after them.
    const u64 letters = ((nibbles + 0x0606060606060606u) >> 4) & 0x0101010101010101u;
    u64 digits = nibbles + 0x3030303030303030u + letters * ('a' - '9' - 1);
    if constexpr (std::endian::native == std::endian::little) {
        digits = __builtin_bswap64(digits);
    }
    std::memcpy(to, &digits, sizeof digits);
}

/// Sets the radix and the fill character that a hexadecimal field leaves.
inline void SetHexState(std::ostream& stream)
{
    stream.setf(std::ios_base::hex, std::ios_base::basefield);
    stream.fill('0');
}

/// A number as "0x" and lower-case hexadecimal, with zeros in front up to kDigits. A number that needs more digits gets
/// them.
template <u32 kDigits>
struct HexField {
    u32 value;
};

inline HexField<8> hex8(u32 value)
{
    return {value};
}
inline HexField<4> hex4(u32 value)
{
    return {value};
}
inline HexField<2> hex2(u32 value)
{
    return {value};
}

template <u32 kDigits>
std::ostream& operator<<(std::ostream& stream, HexField<kDigits> field)
{
    char text[10] = {'0', 'x'};
    WriteHex8(text + 2, field.value);
    const u32 needed = (static_cast<u32>(std::bit_width(field.value)) + 3) / 4;
    const u32 digits = std::max(kDigits, needed);
    if (stream.width() != 0) {
        PutText(stream, {text, 2});
        PutText(stream, {text + 10 - digits, digits});
    } else {
        text[8 - digits] = '0';
        text[9 - digits] = 'x';
        PutText(stream, {text + 8 - digits, digits + 2});
    }
    SetHexState(stream);
    return stream;
}

/// A number in decimal, with its sign. `columns` above 0 aligns it to the right of a field of blanks; a wider number is
/// not cut.
struct DecField {
    i64 value;
    u32 columns;
};

inline DecField dec(u32 value, u32 columns = 0)
{
    return {value, columns};
}
inline DecField dec(i32 value, u32 columns = 0)
{
    return {value, columns};
}

inline std::ostream& operator<<(std::ostream& stream, DecField field)
{
    char text[32];
    char* const end = text + sizeof text;
    char* first = end;
    u64 rest = field.value < 0 ? 0 - static_cast<u64>(field.value) : static_cast<u64>(field.value);
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (field.value < 0) {
        *--first = '-';
    }
    if (field.columns != 0) {
        stream.fill(' ');
        const u32 columns = std::min(field.columns, u32{sizeof text});
        while (static_cast<u32>(end - first) < columns) {
            *--first = ' ';
        }
    }
    stream.setf(std::ios_base::dec, std::ios_base::basefield);
    return PutText(stream, {first, static_cast<std::size_t>(end - first)});
}

/// A short text in an array of fixed length: the whole array is copied as fast as a part of it.
struct PaddedText {
    std::array<char, 31> bytes{};
    u8 size = 0;

    constexpr PaddedText() = default;
    /// @param text no longer than the array.
    constexpr explicit PaddedText(std::string_view text)
        : size(static_cast<u8>(text.copy(bytes.data(), bytes.size())))
    {
    }
    constexpr std::string_view View() const { return {bytes.data(), size}; }
};

/// The start of a listing line, put together here so that it is written at once: line ends, an offset, tabs, a name, a
/// number.
class LineText {
public:
    /// The most tabs that a line has. All other parts of a line are short: they are this system's own.
    static constexpr std::size_t kMaxTabs = 256;

    void Clear() { m_end = m_text; }
    void Add(std::string_view text) { m_end += text.copy(m_end, text.size()); }
    void Add(const PaddedText& text)
    {
        std::memcpy(m_end, text.bytes.data(), text.bytes.size());
        m_end += text.size;
    }

    /// Without prefix.
    void AddHex8(u32 value)
    {
        WriteHex8(m_end, value);
        m_end += 8;
    }

    /// The opening of a line of a DIE's listing.
    void AddPrefix(u32 offset, bool blankLine)
    {
        Add(blankLine ? "\n\n0x" : "\n0x");
        AddHex8(offset);
        Add(": ");
    }

    /// A hexN field in parentheses.
    void AddValue(u32 value, u32 digits)
    {
        Add("(0x");
        WriteHex8(m_end, digits == 8 ? value : value << 4 * (8 - digits));
        m_end += digits;
    }

    void AddDec(u32 value)
    {
        char digits[10];
        char* const end = digits + sizeof digits;
        char* first = end;
        do {
            *--first = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        Add({first, static_cast<std::size_t>(end - first)});
    }

    void AddTabs(u64 count)
    {
        const auto tabs = static_cast<std::size_t>(std::min<u64>(count, kMaxTabs));
        std::memset(m_end, '\t', kFewTabs);
        if (tabs > kFewTabs) {
            std::memset(m_end, '\t', tabs);
        }
        m_end += tabs;
    }

    std::string_view View() const { return {m_text, static_cast<std::size_t>(m_end - m_text)}; }

private:
    static constexpr std::size_t kFewTabs = 16; // as many are written as fast as one

    char m_text[kMaxTabs + 128];
    char* m_end = m_text;
};

/// Ends a line without a flush: a write for each line would cost many times the dump itself. The command flushes at its
/// end; a console that a person watches shows each line when it is complete.
struct LineEndMark {};
inline constexpr LineEndMark LineEnd;

inline std::ostream& operator<<(std::ostream& stream, LineEndMark)
{
    return PutChar(stream, '\n');
}

/// Text of the file between double quotes, unchanged; null counts as empty.
inline std::ostream& PrintQuotedText(std::ostream& stream, std::string_view text)
{
    PutChar(stream, '"');
    PutText(stream, text);
    return PutChar(stream, '"');
}
inline std::ostream& PrintQuotedText(std::ostream& stream, const char* text)
{
    return PrintQuotedText(stream, text == nullptr ? std::string_view() : std::string_view(text));
}

/// Each byte of a block as two upper-case digits and a blank.
inline std::ostream& PrintBlockBytes(std::ostream& stream, const u8* data, std::size_t count)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr std::size_t kPiece = 256;
    char text[3 * kPiece];
    while (count != 0) {
        const std::size_t piece = std::min(count, kPiece);
        char* to = text;
        for (std::size_t i = 0; i < piece; ++i, to += 3) {
            to[0] = kDigits[data[i] >> 4];
            to[1] = kDigits[data[i] & 0xFu];
            to[2] = ' ';
        }
        PutText(stream, {text, 3 * piece});
        data += piece;
        count -= piece;
    }
    SetHexState(stream);
    return stream;
}
