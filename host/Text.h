// Small text helpers of the host: numbers into a line, numbers out of arguments, lines of input.
#pragma once

#include "interfaces/Types.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct DbgAddress;

/// Appends "0x" and at least 8 hexadecimal digits.
void AppendHex8(std::string& line, u32 value);

/// Appends an address as it is held: an offset has the id of its section and ':' in front.
void AppendAddress(std::string& line, const DbgAddress& address);

/// Appends a decimal number, filled with blanks on the left up to `width`.
void AppendDecimal(std::string& line, i64 value, std::size_t width = 0);

/// Appends text that comes from a symbol file: a control character (C0, DEL, C1 in UTF-8 or as a byte of
/// its own) becomes '?', so that a file can't steer the terminal it is listed on. Those in `kept` stay.
void AppendPrintable(std::string& line, std::string_view text, std::string_view kept = {});

/// The same for a text that any number of lines may repeat, and that may be as long as the file: at most 1,024
/// bytes of it, with "..." behind them then.
void AppendShort(std::string& line, std::string_view text);

/// Paths in the rows of line tables. Any number of rows may name one path, and hostile files have paths
/// as long as the file.
class RowPaths {
public:
    /// `path` for the next row; its first bytes once the rows together are longer than 64 MiB and 512 bytes each.
    std::string_view Shown(std::string_view path) const
    {
        constexpr u64 kCapital = u64{64} << 20;
        constexpr u64 kPerRow = 512;
        return m_bytes > kCapital + kPerRow * m_rows ? path.substr(0, kShort) : path;
    }

    /// Notes that a row has been written, of so many bytes.
    void Count(u64 bytes)
    {
        ++m_rows;
        m_bytes += bytes;
    }

private:
    static constexpr std::size_t kShort = 64;
    u64 m_rows = 0;
    u64 m_bytes = 0;
};

/// Fills the line with blanks up to a column (from 0), with one at least.
void PadTo(std::string& line, std::size_t column);

/// The text with small letters for the capital ones of ASCII.
std::string SmallLetters(std::string_view text);

constexpr std::array<bool, 256> kIsWordCharacter = [] {
    std::array<bool, 256> is{};
    for (std::size_t i = 0; i < is.size(); ++i) {
        is[i] = (i >= '0' && i <= '9') || (i >= 'a' && i <= 'z') || (i >= 'A' && i <= 'Z') || i == '_' || i == '$' ||
                i >= 0x80;
    }
    return is;
}();

/// True for what names are made of: letters, digits, and all beyond ASCII.
inline bool IsWordCharacter(char character)
{
    return kIsWordCharacter[static_cast<unsigned char>(character)];
}

inline bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Reads all of `text` as a number in C's notation (0x8000, 32768, 0100000).
/// @return nothing if it is none, or doesn't fit in 32 bits.
std::optional<u32> ParseNumber(std::string_view text);

/// A line of a source file.
struct SourceLine {
    std::string path; ///< whole or its tail; empty where none is named
    u32 number = 0;
};

/// Reads "N" or "PATH:N". Nothing if N is no number, or PATH is empty.
std::optional<SourceLine> ParseSourceLine(std::string_view text);

/// True if `path` ends in `tail` behind a separator.
bool EndsInPath(std::string_view path, std::string_view tail);

/// Reads lines from a descriptor. The caller can do something, flush say, whenever the next line
/// has to be waited for.
class LineReader {
public:
    explicit LineReader(int descriptor);

    /// True if the next line is here already, so that Next() doesn't wait.
    bool Buffered() const;

    /// Delivers the next line without its line end (line feed, or carriage return and line feed).
    /// The last one needs none.
    /// @return false at the end of the input, when it can't be read, and for a line of a mebibyte and more.
    bool Next(std::string& line);

    /// The errno of the read that failed; 0 if none did.
    int Error() const { return m_error; }

private:
    bool Fill();

    int m_descriptor;
    int m_error = 0;
    std::vector<char> m_bytes;
    std::size_t m_begin = 0; ///< of what hasn't been delivered
    std::size_t m_end = 0;
};
