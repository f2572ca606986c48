// Numbers, text and line ends of the dumps, written straight into the stream's buffer.
//
// A whole-file dump writes tens of millions of fields, so the digits are made in a local buffer and
// go out in one piece. What a later field may depend on is kept as the standard manipulators leave
// it: hexN sets hexadecimal radix and the fill '0', dec sets decimal radix, and a pending width
// pads the first item written ("0x" in the case of hexN) and is used up by it.
#pragma once

#include "interfaces/Types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string_view>

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

/// Both digits of each byte value, one after the other.
constexpr std::array<char, 512> MakeHexPairs(const char* digits)
{
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        pairs[2 * byte] = digits[byte >> 4];
        pairs[2 * byte + 1] = digits[byte & 0xF];
    }
    return pairs;
}
inline constexpr std::array<char, 512> kLowerHexPairs = MakeHexPairs("0123456789abcdef");
inline constexpr std::array<char, 512> kUpperHexPairs = MakeHexPairs("0123456789ABCDEF");

/// Writes the 8 digits of a number, without prefix.
/// @return behind the last digit.
inline char* WriteHex8(char* to, u32 value)
{
    for (u32 shift = 32; shift != 0; to += 2) {
        shift -= 8;
        std::memcpy(to, &kLowerHexPairs[2 * static_cast<std::size_t>((value >> shift) & 0xFFu)], 2);
    }
    return to;
}

/// Leaves the radix and the fill character behind a hexadecimal field.
inline void SetHexState(std::ostream& stream)
{
    stream.setf(std::ios_base::hex, std::ios_base::basefield);
    stream.fill('0');
}

/// A number as "0x" and lower-case hexadecimal, filled with zeros to kDigits. A number that needs
/// more digits has them.
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
    u32 digits = 8;
    while (digits > kDigits && text[10 - digits] == '0') {
        --digits;
    }
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

/// A number in decimal, with its sign. `columns` above 0 aligns it to the right of a field that is
/// filled with blanks; a number that is wider is not cut.
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

/// Ends a line without a flush: a write for each line would cost many times the dump itself. Who
/// runs a command flushes when it ends; a console on a terminal looks for the line ends itself.
struct LineEndMark {};
inline constexpr LineEndMark LineEnd;

inline std::ostream& operator<<(std::ostream& stream, LineEndMark)
{
    if (stream.good() && stream.rdbuf()->sputc('\n') == std::char_traits<char>::eof()) {
        stream.setstate(std::ios_base::badbit);
    }
    return stream;
}

/// Text of the file's between double quotes, to the letter; null is as empty.
inline std::ostream& PrintQuotedText(std::ostream& stream, const char* text)
{
    PutText(stream, "\"");
    if (text != nullptr) {
        PutText(stream, text);
    }
    return PutText(stream, "\"");
}

/// Each byte of a block as two upper-case digits and a blank.
inline std::ostream& PrintBlockBytes(std::ostream& stream, const u8* data, std::size_t count)
{
    constexpr std::size_t kPiece = 256;
    char text[3 * kPiece];
    while (count != 0) {
        const std::size_t piece = std::min(count, kPiece);
        char* to = text;
        for (std::size_t i = 0; i < piece; ++i, to += 3) {
            std::memcpy(to, &kUpperHexPairs[2 * static_cast<std::size_t>(data[i])], 2);
            to[2] = ' ';
        }
        PutText(stream, {text, 3 * piece});
        data += piece;
        count -= piece;
    }
    SetHexState(stream);
    return stream;
}
