// The tests' assembler of line number programmes (DWARF 2.0, 6.2).
//
//     LineBuilder line(dwarf.line);
//     line.Directory("include").File("main.c").File("list.h", 1);
//     line.SetAddress(0x8000).AdvanceLine(9).Copy().Row(1, 4).AdvancePc(8).EndSequence();
//     line.Finish();
#pragma once

#include "index/DwarfCodes.h"
#include "interfaces/Types.h"
#include "tests/support/ByteSection.h"

#include <optional>
#include <string_view>
#include <vector>

/// The fields in front of the tables.
struct LineHeader {
    u16 version = 2;
    u8 minimumInstructionLength = 2;
    bool defaultIsStatement = true;
    i8 lineBase = -5;
    u8 lineRange = 14;
    u8 opcodeBase = 10;
    std::vector<u8> operandCounts = {0, 1, 1, 1, 1, 0, 0, 0, 1};
    std::optional<u32> unitLength = {};   ///< else what is true
    std::optional<u32> headerLength = {}; ///< else what is true
};

/// Appends one programme to a section. The tables end with the first opcode. AdvancePc and Row take
/// numbers of instructions and don't multiply them.
class LineBuilder {
public:
    explicit LineBuilder(ByteSection& section, const LineHeader& header = {});
    LineBuilder(const LineBuilder&) = delete;
    LineBuilder& operator=(const LineBuilder&) = delete;

    /// Offset of the programme in its section: the value of AT_stmt_list.
    u32 Offset() const { return m_unit; }

    /// Directories come before files.
    LineBuilder& Directory(std::string_view path) { return m_section.Text(path), *this; }
    LineBuilder& File(std::string_view name, u32 directory = 0, u32 time = 0, u32 size = 0);

    LineBuilder& Copy() { return Opcode(LNS_copy); }
    LineBuilder& AdvancePc(u32 instructions)
    {
        return Opcode(LNS_advance_pc, [&](auto& s) { s.Uleb(instructions); });
    }
    LineBuilder& AdvanceLine(i32 lines)
    {
        return Opcode(LNS_advance_line, [&](auto& s) { s.Sleb(lines); });
    }
    LineBuilder& SetFile(u32 file)
    {
        return Opcode(LNS_set_file, [&](auto& s) { s.Uleb(file); });
    }
    LineBuilder& SetColumn(u32 column)
    {
        return Opcode(LNS_set_column, [&](auto& s) { s.Uleb(column); });
    }
    LineBuilder& NegateStatement() { return Opcode(LNS_negate_stmt); }
    LineBuilder& SetBasicBlock() { return Opcode(LNS_set_basic_block); }
    LineBuilder& ConstAddPc() { return Opcode(LNS_const_add_pc); }
    LineBuilder& FixedAdvancePc(u16 bytes)
    {
        return Opcode(LNS_fixed_advance_pc, [&](auto& s) { s.U16(bytes); });
    }
    /// The special opcode that advances that far and makes a row. Throws std::invalid_argument if there
    /// is none.
    LineBuilder& Row(i32 lines, u32 instructions);

    LineBuilder& EndSequence() { return Extended(LNE_end_sequence, {}); }
    LineBuilder& SetAddress(u32 address) { return Extended(LNE_set_address, Operands().U32(address).Bytes()); }
    LineBuilder& DefineFile(std::string_view name, u32 directory = 0, u32 time = 0, u32 size = 0);
    /// An extended opcode with its operands.
    /// @param length what is written as its length; else the true length.
    LineBuilder& Extended(u8 subOpcode, const std::string& operands, std::optional<u32> length = {});

    /// A raw byte: any opcode without its operands.
    LineBuilder& Opcode(u8 opcode) { return Raw().U8(opcode), *this; }
    /// The section, for other malformed data. Ends the tables.
    ByteSection& Raw();

    /// Fills the lengths in. Returns Offset().
    u32 Finish();

private:
    template <typename Write>
    LineBuilder& Opcode(u8 opcode, Write write)
    {
        return write(Raw().U8(opcode)), *this;
    }
    ByteSection Operands() const { return ByteSection(m_section.Order()); }

    ByteSection& m_section;
    LineHeader m_header;
    u32 m_unit;
    u32 m_headerLength = 0; ///< offset of the field
    bool m_directoriesOpen = true;
    bool m_tablesOpen = true;
};
