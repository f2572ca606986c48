// One pass over .debug_line, from header to header.
#include "host/LineOpcodes.h"

#include "interfaces/VFKElfFile.h"

#include <algorithm>

namespace {

constexpr u32 kFirstSpecial = 10; // as the module has it
constexpr u16 kLastWithThisHeader = 3;

/// @param line stands at the version.
bool IsMisread(VFKDataBuf& line, u32 end)
{
    const u32 version = line.Pos();
    if (line.Get16() > kLastWithThisHeader) {
        return true;
    }
    line.SetPos(version);
    bool misread = false;
    VisitLineOpcodes(line, end, [&](const LineOpcode& opcode) {
        misread = opcode.isSpecial != (opcode.code >= kFirstSpecial);
        return !misread;
    });
    return misread;
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
