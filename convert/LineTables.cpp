// Reads line number programmes of DWARF 2 to 5 (DWARF 5, 6.2) and writes them as those of DWARF 2.0.
#include "convert/LineTables.h"

#include "convert/Failure.h"

#include <dwarf.h>

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>

namespace convert {

namespace {

/// Longer than any system's paths. Longer names are cut, so that many names that share the end of one very long text
/// don't take forever.
constexpr u64 kMaxName = 4096;

/// The paths of a table may have this many bytes, and this many for each byte of the table: a file of version 5 is five
/// bytes that refer to texts. The files beyond that are unknown.
constexpr u64 kPathFloor = u64{64} << 10;
constexpr u64 kPathGrowth = 256;

/// Linkers replace the address of dropped code by 0, or by one from here on.
constexpr u32 kLowestTombstone = 0xFFFFFFFE;

bool IsSeparator(char c)
{
    return c == '/' || c == '\\';
}

bool IsAbsolute(std::string_view path)
{
    return !path.empty() && (IsSeparator(path[0]) || (path.size() > 1 && path[1] == ':'));
}

/// The text at an offset of a string section, up to kMaxName bytes of it; empty if it has no end.
std::string_view TextAt(ByteView section, u64 offset)
{
    const ByteView bytes = section.From(offset, kMaxName);
    if (bytes.size == 0) {
        return {};
    }
    const char* begin = reinterpret_cast<const char*>(bytes.data);
    const void* end = std::memchr(begin, 0, bytes.size);
    if (end == nullptr) {
        return bytes.size == kMaxName ? std::string_view(begin, bytes.size) : std::string_view();
    }
    return {begin, static_cast<std::size_t>(static_cast<const char*>(end) - begin)};
}

/// The files of a table: joins their paths and gives each path one place.
class FileList {
public:
    FileList(LineTable& table, std::string_view name, std::string_view compDir, u64 tableSize)
        : m_table(table)
        , m_name(name)
        , m_compDir(compDir)
        , m_base(compDir)
        , m_budget(kPathFloor + kPathGrowth * tableSize)
        , m_places(8, HashOfPath{&table.files}, SamePath{&table.files})
    {
    }

    /// Directories from number 1 on. From version 5 on number 0 is listed too.
    void AddDirectory(std::string_view directory) { m_directories.push_back(directory); }
    void SetDirectoryZero(std::string_view directory)
    {
        // Producers repeat the compilation directory there, whether relative or not.
        if (!directory.empty() && directory != m_compDir) {
            m_base = JoinPath(m_compDir, directory);
        }
    }

    /// Gives the next file number to a file.
    void Add(std::string_view name, u64 directory) { m_table.fileOfNumber.push_back(Place(name, directory)); }

    /// The file of rows whose file the table doesn't have: the unit's own.
    u32 Own()
    {
        if (m_own == LineTable::kNoFile) {
            m_own = Place(JoinPath(m_compDir, m_name.empty() ? "unknown" : m_name));
        }
        return m_own;
    }

private:
    struct HashOfPath {
        const std::vector<std::string>* files;
        std::size_t operator()(u32 index) const { return std::hash<std::string>()((*files)[index]); }
    };
    struct SamePath {
        const std::vector<std::string>* files;
        bool operator()(u32 a, u32 b) const { return (*files)[a] == (*files)[b]; }
    };

    u32 Place(std::string_view name, u64 directory)
    {
        const bool listed = directory != 0 && directory <= m_directories.size();
        const std::string_view below =
            listed ? m_directories[static_cast<std::size_t>(directory - 1)] : std::string_view();
        const u64 longest = m_base.size() + below.size() + name.size() + 2;
        if (name.empty() || longest > m_budget) {
            return LineTable::kNoFile;
        }
        m_budget -= longest;
        if (below.empty()) {
            return Place(JoinPath(m_base, name));
        }
        return Place(IsAbsolute(name) ? std::string(name) : JoinPath(JoinPath(m_base, below), name));
    }

    u32 Place(std::string path)
    {
        m_table.files.push_back(std::move(path));
        const auto [place, isNew] = m_places.insert(static_cast<u32>(m_table.files.size() - 1));
        if (!isNew) {
            m_table.files.pop_back();
        }
        return *place;
    }

    LineTable& m_table;
    std::string_view m_name;
    std::string_view m_compDir;
    std::string m_base; ///< directory 0
    std::vector<std::string_view> m_directories;
    u64 m_budget;
    u32 m_own = LineTable::kNoFile;
    std::unordered_set<u32, HashOfPath, SamePath> m_places;
};

/// The fields of a header that its programme needs.
struct Header {
    u16 version = 0;
    u32 offsetSize = 4;
    u64 programme = 0; ///< where it begins, from the start of the unit
    u8 minimumLength = 1;
    u8 maximumOperations = 1;
    bool defaultIsStatement = true;
    i8 lineBase = 0;
    u8 lineRange = 0;
    u8 opcodeBase = 0;
    std::array<u8, 256> operandCounts = {};

    /// Special opcodes can't be decoded with a range of 0, and with a base of 0 no opcode means anything.
    bool IsUsable() const { return lineRange != 0 && opcodeBase != 0; }
};

/// The bytes of one table that starts with its length, or nothing.
ByteView BytesOfTable(const LineSections& sections, u64 offset, u32& offsetSize)
{
    const ByteView rest = sections.line.From(offset);
    ByteReader reader(rest, sections.bigEndian);
    u64 length = reader.U32();
    offsetSize = 4;
    if (length == 0xFFFFFFFF) {
        length = reader.U64();
        offsetSize = 8;
    } else if (length >= 0xFFFFFFF0) { // reserved
        return {};
    }
    if (reader.Failed()) {
        return {};
    }
    return rest.From(0, reader.Offset() + std::min<u64>(length, rest.size));
}

/// Reads the header of a programme.
class HeaderReader {
public:
    HeaderReader(const LineSections& sections, ByteReader& reader, FileList& files, LineTable& table)
        : m_sections(sections)
        , m_reader(reader)
        , m_files(files)
        , m_table(table)
    {
    }

    /// False if there is no programme of a known version. Leaves the cursor at the start of the programme.
    bool Read(u32 offsetSize, Header& header)
    {
        header.offsetSize = offsetSize;
        m_reader.Seek(offsetSize == 8 ? 12 : 4);
        header.version = m_reader.U16();
        if (header.version < 2 || header.version > 5) {
            return false;
        }
        ReadFields(header);
        const u64 tables = m_reader.Offset();
        if (header.version >= 5) {
            ReadEntries(header, true);
            ReadEntries(header, false);
        } else {
            ReadOldTables();
        }
        // A header length that can't be true: the programme begins after the tables.
        if (header.programme >= tables && header.programme <= m_reader.Size()) {
            m_reader = ByteReader({m_reader.Data(), m_reader.Size()}, m_sections.bigEndian);
            m_reader.Seek(header.programme);
        }
        return !m_reader.Failed();
    }

private:
    struct Format {
        u64 content;
        u64 form;
    };
    struct Entry {
        std::string_view path;
        u64 directory = 0;
    };

    void ReadFields(Header& header)
    {
        if (header.version >= 5) {
            m_reader.Skip(2); // sizes of an address, which each DW_LNE_set_address gives, and of a segment selector
        }
        const u64 length = m_reader.Number(header.offsetSize);
        const u64 start = m_reader.Offset();
        header.programme = length <= m_reader.Size() ? start + length : ~u64{0};
        header.minimumLength = m_reader.U8();
        if (header.version >= 4) {
            header.maximumOperations = std::max<u8>(m_reader.U8(), 1);
        }
        header.defaultIsStatement = m_reader.U8() != 0;
        header.lineBase = static_cast<i8>(m_reader.U8());
        header.lineRange = m_reader.U8();
        header.opcodeBase = m_reader.U8();
        for (u32 opcode = 1; opcode < header.opcodeBase; ++opcode) {
            header.operandCounts[opcode] = m_reader.U8();
        }
    }

    void ReadOldTables()
    {
        m_table.fileOfNumber.push_back(LineTable::kNoFile); // files count from 1
        for (std::string_view text = m_reader.Text(); !text.empty(); text = m_reader.Text()) {
            m_files.AddDirectory(text.substr(0, kMaxName));
        }
        for (std::string_view text = m_reader.Text(); !text.empty(); text = m_reader.Text()) {
            const u64 directory = m_reader.Uleb();
            m_reader.Uleb(); // time of the last change
            m_reader.Uleb(); // size
            m_files.Add(text.substr(0, kMaxName), directory);
        }
    }

    /// The directories or the files of version 5: a description of their entries, then the entries.
    void ReadEntries(const Header& header, bool directories)
    {
        std::vector<Format> formats(m_reader.U8());
        for (Format& format : formats) {
            format.content = m_reader.Uleb();
            format.form = m_reader.Uleb();
        }
        const u64 count = m_reader.Uleb();
        // Each form takes at least a byte, so the bytes bound the number of entries, if these have a form.
        for (u64 i = 0; i < count && !formats.empty() && !m_reader.Failed(); ++i) {
            Entry entry;
            for (const Format& format : formats) {
                ReadPart(header, format, entry);
            }
            if (m_reader.Failed()) {
                break;
            }
            if (!directories) {
                m_files.Add(entry.path, entry.directory);
            } else if (i == 0) {
                m_files.SetDirectoryZero(entry.path);
            } else {
                m_files.AddDirectory(entry.path);
            }
        }
    }

    void ReadPart(const Header& header, const Format& format, Entry& entry)
    {
        if (const std::optional<std::string_view> text = ReadText(format.form, header.offsetSize)) {
            if (format.content == DW_LNCT_path) {
                entry.path = *text;
            }
            return;
        }
        const u64 number = ReadNumber(format.form);
        if (format.content == DW_LNCT_directory_index) {
            entry.directory = number;
        }
    }

    std::optional<std::string_view> ReadText(u64 form, u32 offsetSize)
    {
        switch (form) {
        case DW_FORM_string:
            return m_reader.Text().substr(0, kMaxName);
        case DW_FORM_line_strp:
            return TextAt(m_sections.lineStr, m_reader.Number(offsetSize));
        case DW_FORM_strp:
            return TextAt(m_sections.str, m_reader.Number(offsetSize));
        case DW_FORM_strp_sup:
            m_reader.Skip(offsetSize);
            return std::string_view();
        default:
            return std::nullopt;
        }
    }

    /// Skips a number, index or block. 0 for what is no number.
    u64 ReadNumber(u64 form)
    {
        switch (form) {
        case DW_FORM_udata:
            return m_reader.Uleb();
        case DW_FORM_data1:
            return m_reader.Number(1);
        case DW_FORM_data2:
            return m_reader.Number(2);
        case DW_FORM_data4:
            return m_reader.Number(4);
        case DW_FORM_data8:
            return m_reader.Number(8);
        default:
            m_reader.Skip(SizeOfOther(form));
            return 0;
        }
    }

    /// The bytes of a value that has no meaning here. Its length is read if it has one.
    u64 SizeOfOther(u64 form)
    {
        switch (form) {
        case DW_FORM_data16:
            return 16;
        case DW_FORM_block:
            return m_reader.Uleb();
        case DW_FORM_block1:
            return m_reader.Number(1);
        case DW_FORM_block2:
            return m_reader.Number(2);
        case DW_FORM_block4:
            return m_reader.Number(4);
        case DW_FORM_strx:
        case DW_FORM_sdata:
            m_reader.Uleb();
            return 0;
        case DW_FORM_strx1:
            return 1;
        case DW_FORM_strx2:
            return 2;
        case DW_FORM_strx3:
            return 3;
        case DW_FORM_strx4:
            return 4;
        default: // the next value can't be found
            return ~u64{0};
        }
    }

    const LineSections& m_sections;
    ByteReader& m_reader;
    FileList& m_files;
    LineTable& m_table;
};

/// The state machine.
class Machine {
public:
    Machine(const Header& header, ByteReader& reader, FileList& files, LineTable& table)
        : m_header(header)
        , m_reader(reader)
        , m_files(files)
        , m_table(table)
    {
        m_state.isStatement = header.defaultIsStatement;
    }

    void Run()
    {
        while (!m_reader.AtEnd() && !m_reader.Failed()) {
            const u8 opcode = m_reader.U8();
            if (opcode >= m_header.opcodeBase) {
                const u32 adjusted = opcode - u32{m_header.opcodeBase};
                AdvanceOperations(adjusted / m_header.lineRange);
                AdvanceLine(m_header.lineBase + static_cast<i64>(adjusted % m_header.lineRange));
                EmitRow();
            } else if (opcode == 0) {
                RunExtended();
            } else {
                RunStandard(opcode);
            }
        }
        m_table.rows.resize(m_firstRow); // without an end of the sequence nobody knows how far its last row reaches
    }

private:
    struct State {
        u32 address = 0;
        u32 operation = 0; ///< for an instruction that has several
        u64 file = 1;
        u32 line = 1;
        u16 column = 0;
        bool isStatement = true;
        bool basicBlock = false;
    };

    void AdvanceOperations(u64 count)
    {
        if (m_header.maximumOperations == 1) {
            m_state.address += static_cast<u32>(count * m_header.minimumLength);
            return;
        }
        const u64 operations = m_state.operation + count;
        m_state.address += static_cast<u32>(operations / m_header.maximumOperations * m_header.minimumLength);
        m_state.operation = static_cast<u32>(operations % m_header.maximumOperations);
    }

    void AdvanceLine(i64 lines) { m_state.line += static_cast<u32>(static_cast<u64>(lines)); }

    void SetAddress(u64 address)
    {
        m_state.address = static_cast<u32>(address);
        m_state.operation = 0;
    }

    void EmitRow()
    {
        if (m_fileIndex == LineTable::kNoFile) {
            m_fileIndex = m_table.FileOf(m_state.file);
            if (m_fileIndex == LineTable::kNoFile) {
                m_fileIndex = m_files.Own();
            }
        }
        m_lowest = std::min(m_lowest, m_state.address);
        m_highest = std::max(m_highest, m_state.address);
        m_table.rows.push_back(
            {m_state.address, m_fileIndex, m_state.line, m_state.column, m_state.isStatement, m_state.basicBlock});
        m_state.basicBlock = false;
    }

    void EndSequence()
    {
        const std::size_t end = m_table.rows.size();
        if (end != m_firstRow) {
            const u32 first = m_table.rows[m_firstRow].address;
            LineSequence sequence;
            sequence.begin = first >= kLowestTombstone ? first : m_lowest;
            sequence.end = std::max(m_state.address, m_highest);
            sequence.firstRow = m_firstRow;
            sequence.endRow = end;
            sequence.endLine = m_state.line;
            m_table.sequences.push_back(sequence);
        }
        m_state = State();
        m_state.isStatement = m_header.defaultIsStatement;
        m_fileIndex = LineTable::kNoFile;
        m_firstRow = end;
        m_lowest = ~u32{0};
        m_highest = 0;
    }

    void RunStandard(u8 opcode)
    {
        switch (opcode) {
        case DW_LNS_copy:
            EmitRow();
            break;
        case DW_LNS_advance_pc:
            AdvanceOperations(m_reader.Uleb());
            break;
        case DW_LNS_advance_line:
            AdvanceLine(m_reader.Sleb());
            break;
        case DW_LNS_set_file:
            m_state.file = m_reader.Uleb();
            m_fileIndex = LineTable::kNoFile;
            break;
        case DW_LNS_set_column: {
            const u64 column = m_reader.Uleb();
            m_state.column = static_cast<u16>(column <= 0xFFFF ? column : 0); // 0: unknown
            break;
        }
        case DW_LNS_negate_stmt:
            m_state.isStatement = !m_state.isStatement;
            break;
        case DW_LNS_set_basic_block:
            m_state.basicBlock = true;
            break;
        case DW_LNS_const_add_pc:
            AdvanceOperations((255 - u32{m_header.opcodeBase}) / m_header.lineRange);
            break;
        case DW_LNS_fixed_advance_pc:
            SetAddress(u64{m_state.address} + m_reader.U16());
            break;
        case DW_LNS_set_prologue_end:
        case DW_LNS_set_epilogue_begin:
            break;
        case DW_LNS_set_isa:
            m_reader.Uleb();
            break;
        default:
            for (u32 i = 0; i < m_header.operandCounts[opcode]; ++i) {
                m_reader.Uleb();
            }
            break;
        }
    }

    void RunExtended()
    {
        const u64 length = m_reader.Uleb();
        if (m_reader.Failed() || length > m_reader.Size() - m_reader.Offset()) {
            m_reader.Seek(m_reader.Size());
            return;
        }
        if (length == 0) {
            return;
        }
        const u64 end = m_reader.Offset() + length;
        switch (m_reader.U8()) {
        case DW_LNE_end_sequence:
            EndSequence();
            break;
        case DW_LNE_set_address:
            if (length - 1 <= 8) {
                SetAddress(m_reader.Number(static_cast<u32>(length - 1)));
            }
            break;
        case DW_LNE_define_file: {
            const std::string_view name = m_reader.Text().substr(0, kMaxName);
            m_files.Add(name, m_reader.Uleb());
            m_fileIndex = LineTable::kNoFile;
            break;
        }
        default: // discriminators, and what producers added
            break;
        }
        m_reader.Seek(end);
    }

    const Header& m_header;
    ByteReader& m_reader;
    FileList& m_files;
    LineTable& m_table;
    State m_state;
    u32 m_fileIndex = LineTable::kNoFile; ///< of m_state.file, once a row has asked for it
    std::size_t m_firstRow = 0;           ///< of the sequence
    u32 m_lowest = ~u32{0};
    u32 m_highest = 0;
};

} // namespace

std::string JoinPath(std::string_view directory, std::string_view path)
{
    if (directory.empty() || IsAbsolute(path)) {
        return std::string(path);
    }
    std::string joined;
    joined.reserve(directory.size() + 1 + path.size());
    joined = directory;
    if (!IsSeparator(directory.back())) {
        const bool onlyBackslashes =
            directory.find('/') == std::string_view::npos && directory.find('\\') != std::string_view::npos;
        joined += onlyBackslashes ? '\\' : '/';
    }
    return joined += path;
}

LineTable ReadLineTable(const LineSections& sections, u64 offset, std::string_view name, std::string_view compDir)
{
    LineTable table;
    Header header;
    u32 offsetSize = 4;
    const ByteView bytes = BytesOfTable(sections, offset, offsetSize);
    ByteReader reader(bytes, sections.bigEndian);
    FileList files(table, name, compDir, bytes.size);
    if (HeaderReader(sections, reader, files, table).Read(offsetSize, header) && header.IsUsable()) {
        Machine(header, reader, files, table).Run();
    }
    return table;
}

namespace {

// Most rows advance by few bytes and lines. With these values, one byte is enough for as many rows as possible.
constexpr i32 kLineBase = -5;
constexpr u32 kLineRange = 14;
constexpr u32 kOpcodeBase = 10;
constexpr u32 kConstAddPc = (255 - kOpcodeBase) / kLineRange;
constexpr u8 kOperandCounts[kOpcodeBase - 1] = {0, 1, 1, 1, 1, 0, 0, 0, 1};

/// Some readers take four bytes of LEB128 at most: numbers stay below five.
constexpr u32 kMaxAdvance = (u32{1} << 28) - 1;

/// Writes the opcodes of one sequence.
class SequenceWriter {
public:
    SequenceWriter(ByteWriter& out, u32 begin)
        : m_out(out)
        , m_address(begin)
    {
        SetAddress(begin);
    }

    void Row(const LineRow& row)
    {
        SetRegisters(row);
        const u32 advance = AdvanceOrSetAddress(row.address);
        i32 lines = static_cast<i32>(row.line - m_line);
        if (lines < kLineBase || lines >= kLineBase + static_cast<i32>(kLineRange)) {
            m_out.U8(DW_LNS_advance_line);
            m_out.Sleb(lines);
            lines = 0;
        }
        Special(static_cast<u32>(lines - kLineBase), advance);
        m_line = row.line;
    }

    void End(u32 address)
    {
        if (const u32 advance = AdvanceOrSetAddress(address); advance != 0) {
            m_out.U8(DW_LNS_advance_pc);
            m_out.Uleb(advance);
        }
        m_out.U8(0);
        m_out.Uleb(1);
        m_out.U8(DW_LNE_end_sequence);
    }

private:
    void SetAddress(u32 address)
    {
        m_out.U8(0);
        m_out.Uleb(5);
        m_out.U8(DW_LNE_set_address);
        m_out.U32(address);
    }

    /// How far an address is ahead of the last one. If it isn't ahead, or is too far, writes an opcode that sets it and
    /// returns 0.
    u32 AdvanceOrSetAddress(u32 address)
    {
        const u32 from = m_address;
        m_address = address;
        if (address < from || address - from > kMaxAdvance) {
            SetAddress(address);
            return 0;
        }
        return address - from;
    }

    void SetRegisters(const LineRow& row)
    {
        if (row.file + 1 != m_file) {
            m_file = row.file + 1;
            m_out.U8(DW_LNS_set_file);
            m_out.Uleb(m_file);
        }
        if (row.column != m_column) {
            m_column = row.column;
            m_out.U8(DW_LNS_set_column);
            m_out.Uleb(m_column);
        }
        if (row.isStatement != m_isStatement) {
            m_isStatement = row.isStatement;
            m_out.U8(DW_LNS_negate_stmt);
        }
        if (row.basicBlock) {
            m_out.U8(DW_LNS_set_basic_block);
        }
    }

    /// The special opcode for that many lines above the base, preceded by another opcode if the advance needs one.
    void Special(u32 lines, u32 advance)
    {
        const u32 furthest = (255 - kOpcodeBase - lines) / kLineRange;
        if (advance > furthest) {
            if (advance >= kConstAddPc && advance - kConstAddPc <= furthest) {
                m_out.U8(DW_LNS_const_add_pc);
                advance -= kConstAddPc;
            } else {
                m_out.U8(DW_LNS_advance_pc);
                m_out.Uleb(advance);
                advance = 0;
            }
        }
        m_out.U8(kOpcodeBase + advance * kLineRange + lines);
    }

    ByteWriter& m_out;
    u32 m_address;
    u32 m_file = 1;
    u32 m_line = 1;
    u16 m_column = 0;
    bool m_isStatement = true;
};

/// The header of version 2 as far as its length counts.
void WriteTables(ByteWriter& out, const LineTable& table)
{
    out.U8(1); // minimum_instruction_length
    out.U8(1); // default_is_stmt
    out.U8(static_cast<u8>(kLineBase));
    out.U8(kLineRange);
    out.U8(kOpcodeBase);
    out.Append({kOperandCounts, sizeof kOperandCounts});
    out.U8(0); // the paths are full ones: no directories
    for (const std::string& file : table.files) {
        out.Text(file.empty() ? "unknown" : file); // an empty one would end the list
        out.U8(0);
        out.U8(0);
        out.U8(0);
    }
    out.U8(0);
}

} // namespace

u32 LineWriter::Write(const LineTable& table, const std::vector<const LineSequence*>& sequences)
{
    const u32 start = m_out.Size();
    m_out.U32(0);
    m_out.U16(2);
    const u32 headerLength = m_out.Size();
    m_out.U32(0);
    WriteTables(m_out, table);
    const u32 programme = m_out.Size();

    std::vector<const LineSequence*> sorted = sequences;
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) { return a->begin < b->begin; });
    for (const LineSequence* sequence : sorted) {
        if (sequence->firstRow == sequence->endRow) {
            continue;
        }
        SequenceWriter writer(m_out, table.rows[sequence->firstRow].address);
        for (std::size_t row = sequence->firstRow; row < sequence->endRow; ++row) {
            writer.Row(table.rows[row]);
        }
        writer.End(sequence->end);
    }
    if (m_out.View().size >= 0xFFFFFFF0) {
        throw Failure("its line number information would grow beyond 4 GiB");
    }
    m_out.PatchU32(headerLength, programme - headerLength - 4);
    m_out.PatchU32(start, m_out.Size() - start - 4);
    return start;
}

} // namespace convert
