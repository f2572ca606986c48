// The text of the `line` command for one line number programme (DWARF 2.0, 6.2): its prologue, each instruction with
// the registers after it, and the table that its rows make. It uses the same interpreter as the load, but at an end of
// sequence it neither adds nor stretches a row, and no row gets a size.
#include "console/DwarfNames.h"
#include "console/Format.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "interfaces/DbgSymSrcFile.h"
#include "symbols/LineProgram.h"

#include <ostream>
#include <string_view>

namespace {

/// A text followed by a number: nearly every part of a line is such a pair.
template <typename Field>
std::ostream& Put(std::ostream& out, std::string_view text, Field field)
{
    return PutText(out, text) << field;
}

std::ostream& PutBit(std::ostream& out, std::string_view text, bool bit)
{
    return PutText(PutText(out, text), bit ? "1" : "0");
}

/// Text of the file between double quotes.
std::ostream& PutName(std::ostream& out, std::string_view name)
{
    return PutText(PutText(PutText(out, "\""), name), "\"");
}

void PrintDbgAddress(std::ostream& out, const DbgAddress& address)
{
    if (address.tag != 0xFFFF) {
        PutText(Put(out, "[", dec(u32{address.tag})), "]");
    }
    if (address.section != kNone) {
        PutText(Put(out, "Sect(", dec(address.section)), ")+");
    }
    out << hex8(address.value);
}

void PrintAddrRange(std::ostream& out, const DbgAddrRange& range)
{
    PrintDbgAddress(out, range);
    Put(out, " + ", hex8(range.size));
}

/// The four lines of a file, without the last line's end.
/// @param number counts from 1.
void PrintFile(std::ostream& out, u32 number, const LineFileEntry& file)
{
    PutName(PutText(Put(out, "    file_names[", dec(number)), "] = "), file.name) << LineEnd;
    Put(out, "          dir_idx = ", dec(file.dirIdx)) << LineEnd;
    Put(out, "              mod = ", hex8(file.mod)) << LineEnd;
    Put(out, "           length = ", hex8(file.length));
}

} // namespace

class Dwarf2File::LineDumpRun {
public:
    LineDumpRun(const Dwarf2File& file, VFKDataBuf& section, std::ostream& out, u32 offset)
        : m_out(out)
        , m_program(section, offset)
        , m_table(nullptr)
        , m_files(m_program.Header(), m_table.GetOrigFileDesc())
        , m_sectionRelative((file.m_flags & kSectionRelative) != 0)
    {
    }

    void PrintPrologue();
    /// True if an instruction set address, file, line or column, or emitted a row.
    bool PrintProgram();
    void PrintTable();

    void Row(const LineState& state);
    void EndSequence(const LineState&) {}
    void Executed(const LineStep& step, const LineState& state);

private:
    void PrintFields();
    void PrintTables();
    void PrintLineRow(const LineState& state);
    void PrintText(const LineStep& step, const LineState& state);
    void PrintAdvance(const LineStep& step, const LineState& state);
    void PrintSpecial(const LineStep& step, const LineState& state);
    void PrintExtended(const LineStep& step);

    std::ostream& m_out;
    LineInterpreter m_program;
    /// Of no source file, so no row has a path.
    DbgSymLineTable m_table;
    LineFiles m_files;
    bool m_sectionRelative;
};

void Dwarf2File::LineDumpRun::PrintPrologue()
{
    PutText(m_out, "Prologue: ") << LineEnd;
    PrintFields();
    PrintTables();
}

void Dwarf2File::LineDumpRun::PrintFields()
{
    const LineProgramHeader& header = m_program.Header();
    // Sign-extended to 16 bits: a negative value takes four digits.
    const u16 lineBase = static_cast<u16>(i32{header.lineBase});
    Put(m_out, "     total_length = ", hex8(header.totalLength)) << LineEnd;
    Put(m_out, "          version = ", hex4(header.version)) << LineEnd;
    Put(m_out, "  prologue_length = ", hex8(header.prologueLength)) << LineEnd;
    Put(m_out, "     min_inst_len = ", hex2(header.minInstLen)) << LineEnd;
    Put(m_out, "  default_is_stmt = ", hex2(header.defaultIsStmt)) << LineEnd;
    Put(m_out, "        line_base = ", hex2(lineBase)) << LineEnd;
    Put(m_out, "       line_range = ", hex2(header.lineRange)) << LineEnd;
    Put(m_out, "      opcode_base = ", hex2(header.opcodeBase)) << LineEnd;
}

void Dwarf2File::LineDumpRun::PrintTables()
{
    const LineProgramHeader& header = m_program.Header();
    u32 number = 0;
    for (const u8 length : header.opcodeLengths) {
        Put(Put(m_out, " opcode[", dec(++number)), "].length = ", hex2(length)) << LineEnd;
    }
    number = 0;
    for (const std::string_view directory : header.incDir) {
        PutName(PutText(Put(m_out, "       inc_dir[", dec(++number)), "] = "), directory) << LineEnd;
    }
    number = 0;
    for (const LineFileEntry& file : header.fileNames) {
        PrintFile(m_out, ++number, file);
        m_out << LineEnd;
    }
}

bool Dwarf2File::LineDumpRun::PrintProgram()
{
    PutText(m_out, "  Address    File Line   Column S B E V") << LineEnd;
    PutText(m_out, "  ---------- ---- ------ ------ - - - -") << LineEnd;
    PutText(m_out, "  ");
    PrintLineRow(m_program.State());
    PutText(m_out, " (Initial State)") << LineEnd;
    m_program.Run(*this);
    return m_program.Seen();
}

void Dwarf2File::LineDumpRun::PrintTable()
{
    m_out << LineEnd;
    PutText(m_out, "Resulting debugger line table:") << LineEnd;
    PutText(m_out, "Line       Line   Col Address Range") << LineEnd;
    PutText(m_out, "---------- ------ --- ---------------------") << LineEnd;
    if (!m_program.Seen()) {
        return;
    }
    for (u32 index = 0; const DbgSymLineEntry* entry = m_table.GetLineEntryByIdx(index); ++index) {
        m_out << hex8(entry->line);
        Put(m_out, " ", dec(entry->line, 6));
        Put(m_out, " ", dec(u32{entry->column}, 3));
        PutText(m_out, " ");
        PrintAddrRange(m_out, entry->range);
        m_out << LineEnd;
    }
}

// The address goes in as the register has it: this scratch table has no base.
void Dwarf2File::LineDumpRun::Row(const LineState& state)
{
    const std::string* path = m_files.PathOf(state.file);
    const u16 column = static_cast<u16>(state.column);
    if (m_sectionRelative) {
        DbgAddress address;
        address.SetAddress(state.addr, 1, 1, 0xFFFF);
        m_table.AddLineEntry(state.line, &address, column, path);
    } else {
        m_table.AddLineEntry(state.line, state.addr, column, path);
    }
}

void Dwarf2File::LineDumpRun::Executed(const LineStep& step, const LineState& state)
{
    PutText(m_out, step.row ? "* " : "  ");
    PrintLineRow(state);
    PutText(m_out, " ");
    PutText(PrintLnsName(m_out, step.opcode), "(");
    PrintText(step, state);
    m_out << LineEnd;
}

// The last bit is the start value of is_stmt, in every line.
void Dwarf2File::LineDumpRun::PrintLineRow(const LineState& state)
{
    m_out << hex8(state.addr);
    Put(m_out, " ", dec(state.file, 4));
    Put(m_out, " ", dec(state.line, 6));
    Put(m_out, " ", dec(state.column, 6));
    PutBit(m_out, " ", state.isStmt);
    PutBit(m_out, " ", state.basicBlock);
    PutBit(m_out, " ", state.endSequence);
    PutBit(m_out, " ", m_program.Header().defaultIsStmt != 0);
}

void Dwarf2File::LineDumpRun::PrintText(const LineStep& step, const LineState& state)
{
    switch (step.opcode) {
    case LNS_extented:
        PrintExtended(step);
        break;
    case LNS_copy:
        break; // the parenthesis stays open
    case LNS_advance_line:
        m_out << dec(static_cast<i32>(step.operand));
        Put(Put(m_out, ") line += ", dec(static_cast<i32>(step.operand))), " = ", dec(state.line));
        break;
    case LNS_set_file:
    case LNS_set_column:
        m_out << dec(step.operand);
        PutText(m_out, ")");
        break;
    case LNS_negate_stmt:
        PutBit(PutBit(m_out, ")   is_stmt = !", !state.isStmt), " = ", state.isStmt);
        break;
    case LNS_set_basic_block:
        PutText(m_out, ")   basic_block = true");
        break;
    case LNS_advance_pc:
    case LNS_const_add_pc:
    case LNS_fixed_advance_pc:
        PrintAdvance(step, state);
        break;
    default:
        PrintSpecial(step, state);
        break;
    }
}

void Dwarf2File::LineDumpRun::PrintAdvance(const LineStep& step, const LineState& state)
{
    const u32 unit = m_program.Header().minInstLen;
    if (step.opcode == LNS_const_add_pc) {
        Put(Put(m_out, "addr = ", hex8(step.oldAddr)), " + (", hex8(step.advance));
        Put(Put(m_out, " * ", hex2(unit)), ") = ", hex8(state.addr));
        return;
    }
    m_out << dec(step.operand);
    Put(m_out, ")    addr = ", hex8(step.oldAddr));
    if (step.opcode == LNS_advance_pc) {
        Put(Put(m_out, " + (", hex8(step.operand)), "*", hex2(unit));
        PutText(m_out, ")");
    } else {
        Put(m_out, " + ", hex8(step.operand));
    }
    Put(m_out, " = ", hex8(state.addr));
}

void Dwarf2File::LineDumpRun::PrintSpecial(const LineStep& step, const LineState& state)
{
    Put(Put(m_out, " line += ", dec(step.lines)), " = ", dec(state.line));
    Put(Put(m_out, ",   addr = ", hex8(step.oldAddr)), "+(", hex8(step.advance));
    Put(Put(m_out, "*", hex2(m_program.Header().minInstLen)), ")=", hex8(state.addr));
}

void Dwarf2File::LineDumpRun::PrintExtended(const LineStep& step)
{
    switch (step.extended) {
    case LNE_end_sequence:
        PutText(m_out, "LNE_end_sequence()) ");
        break;
    case LNE_set_address:
        PutText(Put(m_out, "LNE_set_address(", hex8(step.operand)), "))");
        break;
    case LNE_define_file: {
        const auto& files = m_program.Header().fileNames;
        PutText(m_out, "LNE_define_file(") << LineEnd;
        PrintFile(m_out, static_cast<u32>(files.size()), files.back());
        PutText(m_out, "))");
        break;
    }
    default:
        break;
    }
}

bool Dwarf2File::DumpLineTable(u32 offset)
{
    Seek(m_debug_line, offset);
    if (AtEnd(m_debug_line)) {
        return false;
    }
    Put(*m_dumpStream, ".debug_line byte Offset: ", hex8(offset)) << LineEnd << LineEnd;
    LineDumpRun run(*this, m_debug_line, *m_dumpStream, offset);
    run.PrintPrologue();
    const bool seen = run.PrintProgram();
    run.PrintTable();
    return seen;
}
