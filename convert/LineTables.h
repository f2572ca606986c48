// Line number programmes: those of DWARF 2 to 5 in, those of DWARF 2.0 out.
//
// libdw sorts the rows of a table by address across all its sequences, so that the rows of code that the linker dropped
// (they begin at 0) can't be told from those of the code that is really there. So the programmes are run here.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

struct LineRow {
    u32 address = 0;
    u32 file = 0; ///< index in LineTable::files
    u32 line = 0;
    u16 column = 0; ///< 0 where it isn't known, or above 65,535
    bool isStatement = false;
    bool basicBlock = false;
};

/// Rows of one stretch of code in the order of the programme. They are the rows [firstRow, endRow) of the table.
struct LineSequence {
    /// The lowest address of its rows. If the first is -1 or -2, which linkers give to dropped code, it is that
    /// address: the following ones have wrapped around to addresses of other code.
    u32 begin = 0;
    u32 end = 0; ///< where the code ends; not below any of its rows
    std::size_t firstRow = 0;
    std::size_t endRow = 0;
    u32 endLine = 0; ///< the line register at the end of the sequence
};

/// The contents of one programme, with one full path for each file. A row of a file that the programme doesn't list
/// belongs to the unit's own file, which is added if it is missing.
struct LineTable {
    static constexpr u32 kNoFile = 0xFFFFFFFF;

    std::vector<std::string> files; ///< each path once
    std::vector<LineRow> rows;
    std::vector<LineSequence> sequences;
    /// By the file number of the programme (0 as well from version 5 on): index in `files`, or kNoFile.
    std::vector<u32> fileOfNumber;

    u32 FileOf(u64 number) const { return number < fileOfNumber.size() ? fileOfNumber[number] : kNoFile; }
};

/// The sections that contain the programmes and their texts, uncompressed.
struct LineSections {
    ByteView line;
    ByteView lineStr;
    ByteView str;
    bool bigEndian = false;
};

/// Runs the programme at `offset` of `.debug_line` (versions 2 to 5, 32- and 64-bit DWARF).
/// @param name AT_name of the unit, @param compDir its AT_comp_dir; either may be empty. A relative path of a file is
///        joined to its directory, and that to compDir, as JoinPath does.
/// @return as much as could be read; a malformed programme ends early, and a sequence without its end or without rows
///         is dropped. There are fewer rows than the programme has bytes. Names are cut at 4,096 bytes, and all paths
///         take at most 64 KiB and 256 bytes for each byte of the table: files beyond that are unknown.
LineTable ReadLineTable(const LineSections& sections, u64 offset, std::string_view name, std::string_view compDir);

/// A path as the debug engine joins it: an absolute one (begins with '/' or '\' or has ':' as its second character)
/// stays as it is; any other is appended to the directory with '/', or with '\' if the directory has only these; no
/// separator is added to a directory that ends in one. Nothing is normalised.
std::string JoinPath(std::string_view directory, std::string_view path);

/// Writes tables of version 2 one after the other.
class LineWriter {
public:
    explicit LineWriter(bool bigEndian)
        : m_out(bigEndian)
    {
    }

    /// Appends a table with the given sequences, in ascending order of their addresses, whatever order they are given
    /// in. All files of the table are listed, with the numbers 1 to n in the order of `files`, so that AT_decl_file is
    /// the index + 1. minimum_instruction_length is 1, opcode_base 10. At the end of a sequence the line register has
    /// the value of its last row, so that no reader makes a row of the end. Sequences without rows are left out.
    /// @return the offset of the table in the section: the value of AT_stmt_list. Throws Failure beyond 4 GiB.
    u32 Write(const LineTable& table, const std::vector<const LineSequence*>& sequences);

    const ByteWriter& Section() const { return m_out; }
    ByteWriter& Section() { return m_out; }

private:
    ByteWriter m_out;
};

} // namespace convert
