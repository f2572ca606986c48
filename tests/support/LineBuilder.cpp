// Header, tables and opcodes.
#include "tests/support/LineBuilder.h"

#include <stdexcept>
#include <string>
#include <utility>

LineBuilder::LineBuilder(ByteSection& section, const LineHeader& header)
    : m_section(section)
    , m_header(header)
    , m_unit(section.OpenLength())
{
    section.U16(header.version);
    m_headerLength = section.OpenLength();
    section.U8(header.minimumInstructionLength).U8(header.defaultIsStatement ? 1 : 0);
    section.U8(static_cast<u8>(header.lineBase)).U8(header.lineRange).U8(header.opcodeBase);
    for (const u8 count : header.operandCounts) {
        section.U8(count);
    }
}

LineBuilder& LineBuilder::File(std::string_view name, u32 directory, u32 time, u32 size)
{
    if (m_directoriesOpen) {
        m_section.U8(0);
        m_directoriesOpen = false;
    }
    m_section.Text(name).Uleb(directory).Uleb(time).Uleb(size);
    return *this;
}

LineBuilder& LineBuilder::Row(i32 lines, u32 instructions)
{
    const i32 opcode =
        lines - m_header.lineBase + m_header.lineRange * static_cast<i32>(instructions) + m_header.opcodeBase;
    if (lines < m_header.lineBase || lines >= m_header.lineBase + m_header.lineRange || opcode > 255) {
        throw std::invalid_argument("no special opcode moves so far");
    }
    return Opcode(static_cast<u8>(opcode));
}

LineBuilder& LineBuilder::DefineFile(std::string_view name, u32 directory, u32 time, u32 size)
{
    return Extended(LNE_define_file, Operands().Text(name).Uleb(directory).Uleb(time).Uleb(size).Bytes());
}

LineBuilder& LineBuilder::Extended(u8 subOpcode, const std::string& operands, std::optional<u32> length)
{
    Opcode(LNS_extented);
    m_section.Uleb(length.value_or(static_cast<u32>(operands.size() + 1))).U8(subOpcode).Raw(operands);
    return *this;
}

ByteSection& LineBuilder::Raw()
{
    if (std::exchange(m_tablesOpen, false)) {
        m_section.Fill(m_directoriesOpen ? 2 : 1);
        m_section.CloseLength(m_headerLength);
        if (m_header.headerLength) {
            m_section.Patch(m_headerLength, *m_header.headerLength, 4);
        }
    }
    return m_section;
}

u32 LineBuilder::Finish()
{
    Raw().CloseLength(m_unit);
    if (m_header.unitLength) {
        m_section.Patch(m_unit, *m_header.unitLength, 4);
    }
    return m_unit;
}
