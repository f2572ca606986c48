// Runs over the opcodes without running them. The bytes can be anything: the buffer's cursor ends at its end.
#include "host/LineOpcodes.h"

#include "interfaces/VFKDataBuf.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <array>

namespace {

constexpr u32 kFirstSpecial = 10; // as the module has it
constexpr u8 kExtendedOpcode = 0;
constexpr u8 kFixedAdvancePc = 9;
constexpr u16 kLastWithThisHeader = 3;

/// @param line stands at the version.
bool IsMisread(VFKDataBuf& line, u32 end)
{
    if (line.Get16() > kLastWithThisHeader) {
        return true;
    }
    const u32 headerLength = line.Get32();
    const u32 programme = line.Pos() + std::min(headerLength, end);
    line.Skip(4); // lengths of instructions, is_stmt, and the range of lines
    const u32 base = line.Get8();
    if (base == kFirstSpecial) {
        return false;
    }
    std::array<u8, 256> operands{};
    for (u32 opcode = 1; opcode < base; ++opcode) {
        operands[opcode] = line.Get8();
    }
    line.SetPos(programme);
    while (line.Pos() < end) {
        const u8 opcode = line.Get8();
        if ((opcode >= base) != (opcode >= kFirstSpecial)) {
            return true;
        }
        if (opcode >= base) {
            continue;
        }
        if (opcode == kExtendedOpcode) {
            line.Skip(line.Get32_ULEB128(4));
        } else if (opcode == kFixedAdvancePc) {
            line.Skip(2);
        } else {
            for (u8 i = 0; i < operands[opcode]; ++i) {
                line.Get32_ULEB128(4);
            }
        }
    }
    return false;
}

} // namespace

std::unordered_set<u32> MisreadLineProgrammes(const VFKElfFile& elf)
{
    std::unordered_set<u32> misread;
    VFKDataBuf line(false, elf.m_byteOrder != kElfDataMsb);
    if (!elf.GetSectionData(".debug_line", line.bytes, 0, kNone)) {
        return misread;
    }
    line.Init();
    while (!line.AtEnd()) {
        const u32 start = line.Pos();
        const u32 length = line.Get32();
        const u32 end = line.Pos() + std::min(length, line.Size() - line.Pos());
        if (end > line.Pos() && IsMisread(line, end)) {
            misread.insert(start);
        }
        line.SetPos(end);
    }
    return misread;
}
