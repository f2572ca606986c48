// Line number programmes (DWARF 2.0, 6.2) as far as it takes to see where each opcode is, and those that a reader of
// DWARF 2.0 runs wrong.
#pragma once

#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"

#include <algorithm>
#include <array>
#include <unordered_set>

class VFKElfFile;

struct LineOpcode {
    u8 code;
    bool isSpecial; ///< by the programme's own header
    u8 extended;    ///< which of them an extended opcode is, else 0
    u32 operands;   ///< where they begin
};

/// Reads a ULEB128 number, or what there is of it in front of `end`: one number may be as long as the section, and
/// programmes that each read it would take the square of that.
inline u32 ReadUleb(VFKDataBuf& line, u32 end)
{
    u32 value = 0;
    for (u32 shift = 0; line.Pos() < end; shift = std::min(shift + 7, 32u)) {
        const u8 byte = line.Get8();
        value |= shift < 32 ? static_cast<u32>(byte & 0x7Fu) << shift : 0;
        if (byte < 0x80) {
            break;
        }
    }
    return value;
}

/// Runs over the opcodes of a programme without running them. The bytes can be anything: the buffer's cursor ends at
/// its end.
/// @param line stands at the version, which is one of DWARF 2 or 3.
/// @param visit gets each LineOpcode, and returns false to end the run.
template <typename Visit>
void VisitLineOpcodes(VFKDataBuf& line, u32 end, Visit&& visit)
{
    constexpr u8 kExtendedOpcode = 0;
    constexpr u8 kFixedAdvancePc = 9;
    line.Skip(2);
    const u32 headerLength = line.Get32();
    const u32 programme = line.Pos() + std::min(headerLength, end);
    line.Skip(4); // lengths of instructions, is_stmt, and the range of lines
    const u32 base = line.Get8();
    std::array<u8, 256> counts{};
    for (u32 opcode = 1; opcode < base; ++opcode) {
        counts[opcode] = line.Get8();
    }
    line.SetPos(programme);
    while (line.Pos() < end) {
        LineOpcode opcode{line.Get8(), false, 0, line.Pos()};
        opcode.isSpecial = opcode.code >= base;
        const u32 length = opcode.code == kExtendedOpcode && !opcode.isSpecial ? ReadUleb(line, end) : 0;
        if (length != 0) {
            opcode.operands = line.Pos() + 1;
            opcode.extended = line.Get8();
        }
        if (!visit(opcode)) {
            return;
        }
        if (length != 0) {
            line.Skip(length - 1);
        } else if (opcode.code == kFixedAdvancePc && !opcode.isSpecial) {
            line.Skip(2);
        } else if (!opcode.isSpecial) {
            for (u8 i = 0; i < counts[opcode.code]; ++i) {
                ReadUleb(line, end);
            }
        }
    }
}

/// The offsets in `.debug_line` of the programmes that the module misreads, and so gives wrong rows for. To it every
/// opcode from 10 on is a special one (DWARF 2.0, 6.2.5.2), whatever the header says; DWARF 3 added standard ones
/// there. A programme that declares them and uses none is read right.
std::unordered_set<u32> MisreadLineProgrammes(const VFKElfFile& elf);
