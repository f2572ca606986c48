// Reads the header of a line number programme (DWARF 2.0, 6.2.4) and names the files of its rows.
#include "symbols/LineProgram.h"

#include "index/Cursor.h"
#include "interfaces/VFKFile.h"

#include <algorithm>
#include <cstring>

LineInterpreter::LineInterpreter(VFKDataBuf& section, u32 offset)
    : m_section(section)
{
    Seek(m_section, offset);
    const u32 start = m_section.Pos();
    ReadFields();
    m_header.unitEnd = m_header.totalLength + start;
    const u32 end = std::min(m_header.unitEnd, m_section.Size());
    m_header.unitSize = end > start ? end - start : 0;
    ReadTables();
    ResetState();
}

void LineInterpreter::ReadFields()
{
    m_header.totalLength = m_section.Get32() + 4;
    m_header.version = m_section.Get16();
    m_header.prologueLength = m_section.Get32();
    m_header.minInstLen = m_section.Get8();
    m_header.defaultIsStmt = m_section.Get8();
    m_header.lineBase = static_cast<i8>(m_section.Get8());
    m_header.lineRange = m_section.Get8();
    m_header.opcodeBase = m_section.Get8();
    for (u32 opcode = 1; opcode < m_header.opcodeBase; ++opcode) {
        m_header.opcodeLengths.push_back(m_section.Get8());
    }
}

void LineInterpreter::ReadTables()
{
    while (InUnit()) {
        const std::string_view directory = ReadText();
        if (directory.empty()) {
            break;
        }
        m_header.incDir.push_back(directory);
    }
    while (InUnit()) {
        const std::string_view name = ReadText();
        if (name.empty()) {
            break;
        }
        m_header.fileNames.push_back(ReadFileEntry(name));
    }
}

std::string_view LineInterpreter::ReadText()
{
    const char* text = m_section.GetCStr();
    return text == nullptr ? std::string_view() : std::string_view(text);
}

LineFileEntry LineInterpreter::ReadFileEntry(std::string_view name)
{
    LineFileEntry entry;
    entry.name = name;
    entry.dirIdx = m_section.Get32_ULEB128(4);
    entry.mod = m_section.Get32_ULEB128(4);
    entry.length = m_section.Get32_ULEB128(4);
    return entry;
}

void LineInterpreter::ResetState()
{
    m_state = LineState();
    m_state.isStmt = m_header.defaultIsStmt != 0;
}

namespace {

bool IsSeparator(char c)
{
    return c == '/' || c == '\\';
}

const LineFileEntry* FindFile(const LineProgramHeader& header, u32 fileNumber)
{
    const u32 index = fileNumber - 1; // 0 wraps to an index beyond any table
    return index < header.fileNames.size() ? &header.fileNames[index] : nullptr;
}

/// The most bytes that a file's path can take.
u64 LongestPath(const LineProgramHeader& header, const LineFileEntry& file, const std::string& ownPath)
{
    u64 directory = 0;
    if (file.dirIdx == 0) {
        directory = ownPath.size();
    } else if (file.dirIdx <= header.incDir.size()) {
        directory = header.incDir[file.dirIdx - 1].size();
    }
    return directory + 1 + file.name.size();
}

} // namespace

bool Dwarf2File::MakeSourcePath(const LineProgramHeader& header, u32 fileNumber, std::string& path,
                                const std::string* ownPath)
{
    path.clear();
    const LineFileEntry* file = FindFile(header, fileNumber);
    if (file == nullptr) {
        return false;
    }
    if (file->dirIdx != 0) {
        const u32 index = file->dirIdx - 1;
        if (index < header.incDir.size()) {
            path = header.incDir[index];
        }
    } else if (ownPath != nullptr && std::none_of(file->name.begin(), file->name.end(), IsSeparator)) {
        VFKFile(*ownPath).GetVolumeAndPath(path, false);
    }
    if (!path.empty() && !IsSeparator(path.back())) {
        path += '\\';
    }
    path += file->name;
    return ownPath != nullptr && path != *ownPath;
}

Dwarf2File::LineFiles::LineFiles(const LineProgramHeader& header, const std::string* ownPath)
    : m_header(header)
    , m_ownPath(ownPath)
    , m_budget(ownPath == nullptr ? 0 : kMaxGrowth * (header.unitSize + ownPath->size()))
{
}

// The table only grows, so a number in it keeps its meaning. A number beyond it isn't noted: a later DW_LNE_define_file
// may give it one.
void Dwarf2File::LineFiles::Resolve(u32 file)
{
    const LineFileEntry* entry = FindFile(m_header, file);
    if (entry == nullptr || m_ownPath == nullptr) {
        return;
    }
    if (file > m_known.size()) {
        m_known.resize(m_header.fileNames.size());
    }
    File& known = m_known[file - 1];
    known.verdict = Verdict::Own;
    const u64 longest = LongestPath(m_header, *entry, *m_ownPath);
    if (longest > m_budget) {
        return;
    }
    m_budget -= longest;
    if (MakeSourcePath(m_header, file, known.path, m_ownPath)) {
        known.verdict = Verdict::Other;
    } else {
        known.path.clear();
        known.path.shrink_to_fit();
    }
}
