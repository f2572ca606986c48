// The line number programme of a compile unit (DWARF 2.0, 6.2): its header, its registers, and the one interpreter that
// the load and the dump share. Its caller decides what to do with a row or the end of a sequence. All of this lives for
// one run; texts are not copied out of `.debug_line`.
#pragma once

#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DwarfCodes.h"
#include "interfaces/Types.h"
#include "interfaces/VFKDataBuf.h"

#include <string>
#include <string_view>
#include <vector>

struct LineFileEntry {
    std::string_view name; ///< a zero follows it
    u32 dirIdx = 0;        ///< number of a directory, counted from 1; 0: none
    u32 mod = 0;           ///< time of the last change
    u32 length = 0;        ///< bytes
};

struct LineProgramHeader {
    u32 totalLength = 0; ///< bytes of the unit, the length field included
    u32 unitEnd = 0;     ///< offset after the unit
    u32 unitSize = 0;    ///< bytes of the unit that lie in the section
    u16 version = 0;     ///< shown, never tested
    /// Shown, not used: the programme begins where the file table ends.
    u32 prologueLength = 0;
    u8 minInstLen = 0;
    u8 defaultIsStmt = 0;
    i8 lineBase = 0;
    u8 lineRange = 0;
    u8 opcodeBase = 0;
    std::vector<u8> opcodeLengths;        ///< shown, not used: opcodes 0 to 9 have fixed operands
    std::vector<std::string_view> incDir; ///< directory n is element n - 1; a zero follows each
    std::vector<LineFileEntry> fileNames; ///< file n is element n - 1
};

/// The registers of the state machine.
struct LineState {
    u32 addr = 0;
    u32 file = 1;
    u32 line = 1;
    u32 column = 0;
    bool isStmt = false;
    bool basicBlock = false;
    bool endSequence = false;
};

/// One instruction as it was read and executed, for a listing.
struct LineStep {
    u8 opcode = 0;
    u8 extended = 0;  ///< sub-opcode of an extended opcode
    u32 operand = 0;  ///< as read; a signed one in two's complement
    u32 oldAddr = 0;  ///< address register before the instruction
    u32 advance = 0;  ///< of the address, in units of minInstLen
    i32 lines = 0;    ///< a special opcode's line increment
    bool row = false; ///< it emitted a row
};

/// Executes one programme. A sink gets the results:
///
///     void Row(const LineState& state);           // a row with these registers
///     void EndSequence(const LineState& state);   // before the registers are reset
///     void Executed(const LineStep& step, const LineState& state); // after each instruction
class LineInterpreter {
public:
    /// The first special opcode, whatever the header's opcode_base says. DWARF 2.0 has only the standard opcodes 1 to
    /// 9.
    static constexpr u8 kFirstSpecial = 10;

    /// Reads the header of the programme at an offset of `.debug_line`. Afterwards the cursor stands at the first
    /// instruction. `section` outlives this object.
    ///
    /// If the unit's end wraps at 32 bits, it is not above the cursor, so the tables and the programme are empty.
    LineInterpreter(VFKDataBuf& section, u32 offset);

    /// The file table grows by DW_LNE_define_file.
    const LineProgramHeader& Header() const { return m_header; }
    const LineState& State() const { return m_state; }
    /// True once an instruction has set address, file, line or column, or emitted a row.
    bool Seen() const { return m_seen; }

    /// Runs to the end of the unit or of the section, whichever comes first.
    template <typename Sink>
    void Run(Sink& sink)
    {
        while (InUnit()) {
            LineStep step;
            step.opcode = m_section.Get8();
            step.oldAddr = m_state.addr;
            if (step.opcode >= kFirstSpecial) {
                Special(step);
            } else if (step.opcode == LNS_extented) {
                Extended(step, sink);
            } else {
                Standard(step);
            }
            if (step.row) {
                sink.Row(m_state);
                m_state.basicBlock = false;
            }
            sink.Executed(step, m_state);
        }
    }

private:
    void ReadFields();
    void ReadTables();
    LineFileEntry ReadFileEntry(std::string_view name);
    std::string_view ReadText();
    bool InUnit() const { return !AtEnd(m_section) && m_section.Pos() < m_header.unitEnd; }
    /// Sets the registers to their initial values.
    void ResetState();

    void Advance(LineStep& step, u32 advance)
    {
        step.advance = advance;
        m_state.addr += advance * m_header.minInstLen;
        m_seen = true;
    }

    /// The two parts of a special opcode's distance from opcode_base, which is an 8-bit value. With a line_range of 0
    /// both are 0.
    u32 Quotient(u8 distance) const { return m_header.lineRange == 0 ? 0u : distance / m_header.lineRange; }
    u32 Remainder(u8 distance) const { return m_header.lineRange == 0 ? 0u : distance % m_header.lineRange; }
    u8 Distance(u8 opcode) const { return static_cast<u8>(opcode - m_header.opcodeBase); }

    void Special(LineStep& step)
    {
        const u8 distance = Distance(step.opcode);
        step.lines = m_header.lineBase + static_cast<i32>(Remainder(distance));
        m_state.line += static_cast<u32>(step.lines);
        Advance(step, Quotient(distance));
        step.row = true;
    }

    void Standard(LineStep& step)
    {
        switch (step.opcode) {
        case LNS_copy:
            step.row = true;
            m_seen = true;
            break;
        case LNS_advance_pc:
            step.operand = m_section.Get32_ULEB128(4);
            Advance(step, step.operand);
            break;
        case LNS_advance_line:
            step.operand = static_cast<u32>(m_section.Get32_SLEB128(4));
            m_state.line += step.operand;
            m_seen = true;
            break;
        case LNS_set_file:
            m_state.file = step.operand = m_section.Get32_ULEB128(4);
            m_seen = true;
            break;
        case LNS_set_column:
            m_state.column = step.operand = m_section.Get32_ULEB128(4);
            m_seen = true;
            break;
        case LNS_negate_stmt:
            m_state.isStmt = !m_state.isStmt;
            break;
        case LNS_set_basic_block:
            m_state.basicBlock = true;
            break;
        case LNS_const_add_pc:
            Advance(step, Quotient(Distance(255)));
            break;
        default: // LNS_fixed_advance_pc, which doesn't multiply
            step.operand = m_section.Get16();
            m_state.addr += step.operand;
            m_seen = true;
            break;
        }
    }

    template <typename Sink>
    void Extended(LineStep& step, Sink& sink)
    {
        const u32 length = m_section.Get32_ULEB128(4);
        const u32 operands = m_section.Pos();
        step.extended = m_section.Get8();
        switch (step.extended) {
        case LNE_end_sequence:
            m_state.endSequence = true;
            sink.EndSequence(m_state);
            ResetState();
            break;
        case LNE_set_address:
            m_state.addr = step.operand = m_section.Get32();
            m_seen = true;
            break;
        case LNE_define_file: {
            const std::string_view name = ReadText();
            m_header.fileNames.push_back(ReadFileEntry(name));
            break;
        }
        default:
            // The length counts from the byte after it, so the cursor never moves back before that: with a length of 0
            // the sub-opcode's byte is the next opcode. A length beyond the section ends the run.
            Seek(m_section, operands);
            m_section.Skip(length);
            break;
        }
    }

    VFKDataBuf& m_section;
    LineProgramHeader m_header;
    LineState m_state;
    bool m_seen = false;
};

/// Tells which file a run's rows belong to. Each file number is looked at once.
class Dwarf2File::LineFiles {
public:
    /// The paths of a run together may have this many times the bytes of the unit and the own path. Otherwise a long
    /// directory with very many files would take the square of the section's size. Real units need far less, even with
    /// paths of 700 characters and a file for each row. A file beyond the limit counts as one whose name can't be
    /// built.
    static constexpr u64 kMaxGrowth = 64;

    /// @param ownPath path of the table's own file; if it is null, no row has a path. Both are borrowed. The header's
    /// file table may grow.
    LineFiles(const LineProgramHeader& header, const std::string* ownPath);

    /// The path of a row's file, valid until the next call; null if it is the table's own or unknown.
    const std::string* PathOf(u32 file)
    {
        if (file == m_homeFile) {
            return nullptr;
        }
        const u32 index = file - 1;
        if (index >= m_known.size() || m_known[index].verdict == Verdict::None) {
            Resolve(file);
        }
        if (index < m_known.size() && m_known[index].verdict == Verdict::Other) {
            return &m_known[index].path;
        }
        m_homeFile = file;
        return nullptr;
    }

private:
    enum class Verdict : u8 { None, Own, Other };
    struct File {
        std::string path;
        Verdict verdict = Verdict::None;
    };

    void Resolve(u32 file);

    const LineProgramHeader& m_header;
    const std::string* m_ownPath;
    u64 m_budget;              ///< bytes of paths that may still be built
    u32 m_homeFile = kNone;    ///< the last number that meant the table's own file
    std::vector<File> m_known; ///< file n is element n - 1; ends at the greatest number asked for
};
