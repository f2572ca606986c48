// The programmes are passed over to see how many rows stand behind each address that is set, and the relocation there
// tells the section.
#include "host/ObjectLines.h"

#include "host/LineOpcodes.h"
#include "host/Loader.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <string>

ObjectLines::ObjectLines(Loader& file, const VFKElfFile& elf)
    : m_file(file)
    , m_elf(elf)
    , m_line(false, elf.m_byteOrder != kElfDataMsb)
{
    if (!m_elf.GetSectionData(".debug_line", m_line.bytes, 0, kNone)) {
        return;
    }
    m_line.Init();
    m_unread = kReadings * u64{m_line.Size()};
    ReadStarts();
    for (u32 unit = 0; unit < file.UnitCount(); ++unit) {
        const u32 programme = file.Store().FileRangeAt(unit).lineOffset;
        if (programme < m_line.Size()) {
            AddUnit(unit, programme);
        }
    }
}

/// ARM object files have relocations without addends (ELF for the Arm Architecture, 5.6): the place has it.
void ObjectLines::ReadStarts()
{
    constexpr u32 kArmAbs32 = 2; // R_ARM_ABS32
    VFKDataBuf entries(false, m_elf.m_byteOrder != kElfDataMsb);
    if (!m_elf.GetSectionData(".rel.debug_line", entries.bytes, 0, kNone)) {
        return;
    }
    entries.Init();
    while (!entries.AtEnd()) {
        const u32 place = entries.Get32();
        const u32 info = entries.Get32();
        const elf32_sym* symbol = m_elf.GetSymtabEntry(info >> 8);
        if (symbol != nullptr && (info & 0xFF) == kArmAbs32) {
            m_starts.insert_or_assign(place, Start{symbol->st_shndx, symbol->st_value});
        }
    }
}

std::vector<ObjectLines::Run> ObjectLines::RunsOf(u32 programme)
{
    constexpr u8 kCopy = 1;       // DW_LNS_copy
    constexpr u8 kSetAddress = 2; // DW_LNE_set_address
    std::vector<Run> runs;
    u32 rows = 0;
    m_line.SetPos(programme);
    const u32 length = m_line.Get32();
    const u32 end = m_line.Pos() + std::min(length, m_line.Size() - m_line.Pos());
    if (end - programme > m_unread) {
        return runs;
    }
    m_unread -= end - programme;
    VisitLineOpcodes(m_line, end, [&](const LineOpcode& opcode) {
        rows += opcode.isSpecial || opcode.code == kCopy ? 1 : 0;
        if (opcode.extended == kSetAddress) {
            runs.push_back({opcode.operands, rows});
        }
        if (!runs.empty()) {
            runs.back().lastRow = rows;
        }
        return true;
    });
    return runs;
}

/// Each row of the table is in a run, which begins where its address says, and ends within the section.
bool ObjectLines::Agree(const std::vector<Run>& runs, const DbgSymLineTable& table)
{
    if (runs.empty() || runs.front().firstRow != 0 || runs.back().lastRow != table.Count()) {
        return false;
    }
    return std::all_of(runs.begin(), runs.end(), [&](const Run& run) {
        const auto start = m_starts.find(run.place);
        const u16 index = start == m_starts.end() ? kShnUndef : start->second.section;
        const Elf32_Shdr* section = index < kShnLoReserve ? m_elf.GetSectionHeader(index) : nullptr;
        if (section == nullptr || (section->sh_flags & kShfExecInstr) == 0) {
            return false;
        }
        m_line.SetPos(run.place);
        u32 address = m_line.Get32();
        for (u32 row = run.firstRow; row < run.lastRow; ++row) {
            const u32 value = table.GetLineEntryByIdx(row)->range.value;
            if (value < address || u64{start->second.base} + value > section->sh_size ||
                (row == run.firstRow && value != address)) {
                return false;
            }
            address = value;
        }
        return true;
    });
}

void ObjectLines::AddUnit(u32 unit, u32 programme)
{
    DbgSymSrcFile& source = m_file.Store().FileScopeAt(unit);
    m_file.LoadLines(source.GetId());
    const DbgSymLineTable* table = source.GetLineTableMember();
    const std::vector<Run> runs = RunsOf(programme);
    if (table == nullptr || !Agree(runs, *table)) {
        return;
    }
    for (const Run& run : runs) {
        const Start& start = m_starts.at(run.place);
        const u32 sectionEnd = m_elf.GetSectionHeader(start.section)->sh_size - start.base;
        for (u32 row = run.firstRow; row < run.lastRow; ++row) {
            // A row ends where the next one begins; the last one where the table says.
            const DbgAddrRange& range = table->GetLineEntryByIdx(row)->range;
            const u32 size = row + 1 < run.lastRow ? table->GetLineEntryByIdx(row + 1)->range.value - range.value
                                                   : std::min(range.size, sectionEnd - range.value);
            if (size != 0) {
                m_sections[start.section].Add(start.base + range.value, size, static_cast<u32>(m_rows.size()));
                m_rows.push_back({unit, row, start.section, start.base + range.value, size});
            }
        }
    }
}

std::optional<AddressLookup::Place> ObjectLines::Find(u32 offset, u16 section)
{
    std::optional<AddressLookup::Place> place;
    const auto found = m_sections.find(section);
    if (found == m_sections.end()) {
        return place;
    }
    found->second.Visiting(offset, [&](u32 index) {
        place = PlaceOf(m_rows[index]);
        return true;
    });
    return place;
}

AddressLookup::Place ObjectLines::PlaceOf(const Row& row) const
{
    DbgSymSrcFile& source = m_file.Store().FileScopeAt(row.unit);
    const DbgSymLineTable* table = source.GetLineTableMember();
    const DbgSymLineEntry* entry = table->GetLineEntryByIdx(row.row);
    const std::string* path = table->GetEntryPath(*entry);
    return {&source, entry, path == nullptr ? &source.GetPath() : path, false};
}
