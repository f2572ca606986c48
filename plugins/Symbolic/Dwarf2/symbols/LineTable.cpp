// Runs a unit's line number programme (DWARF 2.0, 6.2) into the engine's table: a row is added when it is emitted, and
// gives the row before it its size.
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "symbols/LineProgram.h"

#include <algorithm>

class Dwarf2File::LineRun {
public:
    LineRun(Dwarf2File& file, DbgSymLineTable& table, u32 stmtOffset)
        : m_table(table)
        , m_section(file.m_debug_line)
        , m_start(stmtOffset)
        , m_budget(file.m_budget)
        , m_program(file.m_debug_line, stmtOffset)
        , m_files(m_program.Header(), table.GetOrigFileDesc())
    {
        if (const DbgSection* section = file.GetRelocationSection()) {
            m_base = section->base;
            m_sectionId = section->id;
        }
    }

    /// True if an instruction set address, file, line or column, or emitted a row.
    bool Run()
    {
        m_program.Run(*this);
        // A text or a number can reach far past the unit's end.
        m_budget.Spend(std::max(m_program.Header().unitSize, m_section.Pos() - m_start), Budget::kLineByte);
        return m_program.Seen();
    }

    void Row(const LineState& state) { m_previous = AddRow(state); }

    void EndSequence(const LineState& state)
    {
        if (m_program.Seen()) {
            if (m_previous != nullptr && m_previous->line == state.line) {
                // Stretched to the end, even if that leaves no bytes.
                m_previous->range.size = state.addr - m_base - m_previous->range.value;
            } else {
                AddRow(state);
            }
        }
        m_previous = nullptr;
    }

    void Executed(const LineStep&, const LineState&) {}

private:
    /// Size of a row if the next one is not above it.
    static constexpr u32 kLeastSize = 4;

    DbgSymLineEntry* AddRow(const LineState& state)
    {
        const u32 offset = state.addr - m_base;
        if (m_previous != nullptr) {
            DbgAddrRange& range = m_previous->range;
            range.size = offset > range.value ? offset - range.value : kLeastSize;
        }
        return m_table.AddLineEntry(state.line, offset, m_sectionId, static_cast<u16>(state.column),
                                    m_files.PathOf(state.file));
    }

    DbgSymLineTable& m_table;
    const VFKDataBuf& m_section;
    u32 m_start; ///< of the programme in the section
    Budget& m_budget;
    LineInterpreter m_program;
    LineFiles m_files;
    u32 m_base = 0; ///< address at which the relocation section is linked; 0 without one
    u32 m_sectionId = kNone;
    /// Entry of the sequence's last row. Valid until the next row.
    DbgSymLineEntry* m_previous = nullptr;
};

bool Dwarf2File::BuildLineTable(DbgSymSrcFile* srcFile, DbgSymLineTable* lineTable, const DbgAddrRange* range,
                                u32 stmtOffset)
{
    if (srcFile == nullptr || lineTable == nullptr) {
        return false;
    }
    Seek(m_debug_line, stmtOffset);
    // However many units name one programme, it runs only until the budget is spent.
    if (AtEnd(m_debug_line) || m_budget.IsSpent()) {
        return false;
    }
    if (!LineRun(*this, *lineTable, stmtOffset).Run()) {
        return false;
    }
    DbgAddress end;
    if (range != nullptr && range->GetEndAddress(end)) {
        lineTable->SetLastEntrySizeByHiPC(&end);
    }
    return true;
}
