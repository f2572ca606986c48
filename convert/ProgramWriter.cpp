// Lays a program out with other debug sections and writes it, front to back. The bytes go from the mapped file to the
// descriptor as they are; only symbol tables and groups, which have section numbers, pass through a buffer.
#include "convert/ProgramWriter.h"

#include "convert/Failure.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <elf.h>
#include <gelf.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace convert {

namespace {

constexpr u32 kGone = 0xFFFFFFFF;
constexpr u32 kBuffer = 1u << 16;
/// More than a page of alignment is of no use after the segments.
constexpr u32 kGreatestAlignment = 4096;

bool IsAlignment(u32 alignment)
{
    return std::has_single_bit(alignment) && alignment <= kGreatestAlignment;
}

/// The file to be written, with the position in it. Throws Failure when the system refuses.
class Output {
public:
    explicit Output(int descriptor)
        : m_descriptor(descriptor)
    {
    }

    u64 Size() const { return m_size; }

    void Put(ByteView bytes)
    {
        while (bytes.size != 0) {
            const ssize_t count = write(m_descriptor, bytes.data, bytes.size);
            if (count < 0 && errno != EINTR) {
                throw Failure(std::strerror(errno));
            }
            if (count > 0) {
                m_size += static_cast<u64>(count);
                bytes = bytes.From(static_cast<u64>(count));
            }
        }
    }
    void Put(std::string_view text) { Put(ByteView{reinterpret_cast<const u8*>(text.data()), text.size()}); }

    void PadTo(u64 offset)
    {
        static constexpr u8 kZeros[kGreatestAlignment] = {};
        while (m_size < offset) {
            Put({kZeros, static_cast<std::size_t>(std::min<u64>(offset - m_size, sizeof kZeros))});
        }
    }

private:
    int m_descriptor;
    u64 m_size = 0;
};

/// A section of the new file.
struct Slot {
    ProgramSection header;
    u32 old = kGone;                  ///< the section that it was
    const NewSection* next = nullptr; ///< or the one that it becomes
    bool isWritten = false;           ///< its bytes come after the fixed part
};

std::string Canonical(const std::string& name)
{
    return name.starts_with(".zdebug_") ? ".debug_" + name.substr(8) : name;
}

bool IsRelocation(const ProgramSection& section)
{
    return section.type == SHT_REL || section.type == SHT_RELA;
}

/// True if sh_info is the number of a section.
bool InfoIsSection(const ProgramSection& section)
{
    return IsRelocation(section) || (section.flags & SHF_INFO_LINK) != 0;
}

/// True if there are numbers of sections among its bytes.
bool HasSectionNumbers(const ProgramSection& section)
{
    return section.type == SHT_SYMTAB || section.type == SHT_DYNSYM || section.type == SHT_SYMTAB_SHNDX ||
           section.type == SHT_GROUP;
}

struct EndElf {
    void operator()(Elf* elf) const { elf_end(elf); }
};

/// The bytes of a compressed section, decompressed by the library that also reads the others.
std::vector<u8> Decompressed(const Program& program, u32 index, u32& alignment)
{
    constexpr const char* kUnreadable = "The compressed .debug_frame can't be read";
    elf_version(EV_CURRENT);
    const std::unique_ptr<Elf, EndElf> elf(elf_begin(program.Descriptor(), ELF_C_READ, nullptr));
    Elf_Scn* section = elf == nullptr ? nullptr : elf_getscn(elf.get(), index);
    if (section == nullptr) {
        throw Failure(kUnreadable);
    }
    const bool byFlag = (program.Sections()[index].flags & SHF_COMPRESSED) != 0;
    const int done = byFlag ? elf_compress(section, 0, 0) : elf_compress_gnu(section, 0, 0);
    GElf_Shdr header;
    const Elf_Data* data = done < 0 ? nullptr : elf_rawdata(section, nullptr);
    if (data == nullptr || gelf_getshdr(section, &header) == nullptr) {
        throw Failure(kUnreadable);
    }
    alignment = static_cast<u32>(header.sh_addralign);
    const u8* bytes = static_cast<const u8*>(data->d_buf);
    return data->d_size == 0 ? std::vector<u8>() : std::vector<u8>(bytes, bytes + data->d_size);
}

class Writer {
public:
    Writer(const Program& program, const std::vector<NewSection>& sections, int descriptor)
        : m_program(program)
        , m_old(program.Sections())
        , m_new(sections)
        , m_out(descriptor)
    {
        if (program.NameTable() == 0) {
            throw Failure("No section names");
        }
    }

    void Run()
    {
        KeepFrame();
        MarkGoing();
        Succeed();
        MakeSlots();
        Renumber();
        Name();
        LayOut();
        Write();
    }

private:
    void KeepFrame();
    void MarkGoing();
    void Succeed();
    void MakeSlots();
    void AddSlots();
    Slot MakeSlot(const NewSection& section, u32 old) const;
    void Renumber();
    u32 NewNumber(u32 old) const { return old < m_numbers.size() ? m_numbers[old] : old; }
    void Name();
    u32 AddName(const std::string& name);
    void LayOut();
    void Place(Slot& slot, u32 index, u64& end);
    bool Changes(const Slot& slot, u32 index) const;
    u32 NewSize(const Slot& slot, u32 index) const;
    void Write();
    void WriteHeader();
    void WriteOld(const Slot& slot, u32 index);
    void WriteSymbols(const Slot& slot);
    bool IsBehind(u32 number, u32 value) const;
    ByteView ExtendedNumbers(u32 symbols) const;
    void WriteExtendedNumbers(const Slot& slot);
    std::vector<u8> Group(const Slot& slot) const;
    void WriteSlots();

    const Program& m_program;
    const std::vector<ProgramSection>& m_old;
    std::vector<NewSection> m_new;
    Output m_out;
    std::vector<u8> m_frame;      ///< decompressed
    u32 m_frameAlignment = 4;     ///< of a frame section without a header of its own
    std::vector<bool> m_goes;     ///< by old number: it doesn't stay as it was
    std::vector<u32> m_successor; ///< by old number: index in m_new, or kGone
    std::vector<Slot> m_slots;    ///< by new number
    std::vector<u32> m_numbers;   ///< by old number: the new one, or kGone
    u32 m_nameTable = 0;          ///< its new number
    std::string m_names;          ///< what follows the old names
    u64 m_table = 0;              ///< file offset of the section headers
};

/// A compressed frame section becomes a new one with the same contents.
void Writer::KeepFrame()
{
    const auto isFrame = [](const auto& section) { return Canonical(section.name) == ".debug_frame"; };
    const auto frame = std::find_if(m_old.begin(), m_old.end(),
                                    [&](const auto& section) { return section.IsDebug() && isFrame(section); });
    if (frame != m_old.end() && frame->IsCompressed() && std::none_of(m_new.begin(), m_new.end(), isFrame)) {
        m_frame = Decompressed(m_program, static_cast<u32>(frame - m_old.begin()), m_frameAlignment);
        m_new.push_back({".debug_frame", {m_frame.data(), m_frame.size()}});
    }
}

void Writer::MarkGoing()
{
    const bool newFrame = std::any_of(m_new.begin(), m_new.end(),
                                      [](const NewSection& section) { return section.name == ".debug_frame"; });
    std::vector<bool> isDebug;
    for (const ProgramSection& section : m_old) {
        isDebug.push_back(section.IsDebug());
        m_goes.push_back(isDebug.back() && (newFrame || section.name != ".debug_frame"));
    }
    for (std::size_t i = 1; i < m_old.size(); ++i) {
        const ProgramSection& section = m_old[i];
        const bool ofDebug = section.info < isDebug.size() && isDebug[section.info];
        m_goes[i] = m_goes[i] || (IsRelocation(section) && !section.IsAllocated() && ofDebug);
    }
    // Whatever a damaged file says about these.
    m_goes[0] = false;
    m_goes[m_program.NameTable()] = false;
}

/// Finds a header for each new section.
void Writer::Succeed()
{
    m_successor.assign(m_old.size(), kGone);
    std::vector<u32> rest;
    for (u32 next = 0; next < m_new.size(); ++next) {
        u32 old = 0;
        while (old < m_old.size() &&
               (!m_goes[old] || m_successor[old] != kGone || Canonical(m_old[old].name) != m_new[next].name)) {
            ++old;
        }
        if (old < m_old.size()) {
            m_successor[old] = next;
        } else {
            rest.push_back(next);
        }
    }
    u32 old = 0;
    for (const u32 next : rest) {
        while (old < m_old.size() && (!m_goes[old] || m_successor[old] != kGone)) {
            ++old;
        }
        if (old == m_old.size()) {
            return;
        }
        m_successor[old] = next;
    }
}

void Writer::MakeSlots()
{
    std::size_t allocatedEnd = 0;
    for (std::size_t i = 0; i < m_old.size(); ++i) {
        allocatedEnd = m_old[i].IsAllocated() ? i + 1 : allocatedEnd;
    }
    // The section names stay last if they are last.
    const std::size_t last = m_old.size() - 1;
    const std::size_t additions = last == m_program.NameTable() && last >= allocatedEnd ? last : m_old.size();
    m_numbers.assign(m_old.size(), kGone);
    for (u32 i = 0; i < m_old.size(); ++i) {
        if (i == additions) {
            AddSlots();
        }
        if (!m_goes[i] || m_successor[i] != kGone) {
            m_numbers[i] = static_cast<u32>(m_slots.size());
            m_slots.push_back(m_goes[i] ? MakeSlot(m_new[m_successor[i]], i) : Slot{m_old[i], i});
        } else if (i < allocatedEnd) {
            m_slots.push_back({});
        }
    }
    if (additions == m_old.size()) {
        AddSlots();
    }
    if (m_slots.size() >= SHN_LORESERVE) {
        throw Failure("More than 65,279 sections");
    }
}

/// The new sections that no old header was left for.
void Writer::AddSlots()
{
    std::vector<bool> isPlaced(m_new.size());
    for (const u32 next : m_successor) {
        if (next != kGone) {
            isPlaced[next] = true;
        }
    }
    for (std::size_t next = 0; next < m_new.size(); ++next) {
        if (!isPlaced[next]) {
            m_slots.push_back(MakeSlot(m_new[next], kGone));
        }
    }
}

/// @param old the section whose header this one takes over, if any.
Slot Writer::MakeSlot(const NewSection& section, u32 old) const
{
    const bool isFrame = section.name == ".debug_frame";
    Slot slot;
    slot.next = &section;
    slot.header.name = section.name;
    slot.header.type = SHT_PROGBITS;
    slot.header.alignment = isFrame ? m_frameAlignment : 1;
    if (old != kGone && Canonical(m_old[old].name) == section.name) {
        const ProgramSection& before = m_old[old];
        slot.header.type = before.type == SHT_NOBITS ? u32{SHT_PROGBITS} : before.type;
        slot.header.flags = before.flags & (SHF_MERGE | SHF_STRINGS);
        slot.header.entrySize = slot.header.flags != 0 ? before.entrySize : 0;
        // A compressed section states the alignment of the compressed bytes.
        slot.header.alignment = before.IsCompressed() ? slot.header.alignment : before.alignment;
        slot.header.nameOffset = before.name == section.name ? before.nameOffset : 0;
    } else if (section.name == ".debug_str") {
        slot.header.flags = SHF_MERGE | SHF_STRINGS;
        slot.header.entrySize = 1;
    }
    slot.header.alignment = IsAlignment(slot.header.alignment) ? slot.header.alignment : 1;
    return slot;
}

/// Section numbers in section headers. Those in the bytes are changed as these are written.
void Writer::Renumber()
{
    m_nameTable = m_numbers[m_program.NameTable()];
    // The null section's link isn't the number of a linked section but, where the file header has no room, that of the
    // name table.
    for (std::size_t i = 1; i < m_slots.size(); ++i) {
        ProgramSection& header = m_slots[i].header;
        const u32 link = NewNumber(header.link);
        header.link = link == kGone ? 0 : link;
        if (InfoIsSection(header)) {
            const u32 info = NewNumber(header.info);
            header.info = info == kGone ? 0 : info;
        }
    }
}

void Writer::Name()
{
    for (Slot& slot : m_slots) {
        if (slot.next != nullptr && slot.header.nameOffset == 0) {
            slot.header.nameOffset = AddName(slot.next->name);
        }
    }
}

/// Finds the name among the old ones, or appends it to them.
u32 Writer::AddName(const std::string& name)
{
    const ByteView old = m_program.Bytes(m_old[m_program.NameTable()]);
    const u8* const end = old.data + old.size;
    const auto* text = reinterpret_cast<const u8*>(name.c_str());
    const u8* const found = std::search(old.data, end, text, text + name.size() + 1);
    if (found != end) {
        return static_cast<u32>(found - old.data);
    }
    if (m_names.empty() && (old.size == 0 || old.data[old.size - 1] != 0)) {
        m_names.push_back('\0');
    }
    const u64 offset = old.size + m_names.size();
    m_names.append(name).push_back('\0');
    return static_cast<u32>(offset);
}

void Writer::LayOut()
{
    u64 end = m_program.FixedSize();
    u64 moved = 0;
    for (u32 i = 1; i < m_slots.size(); ++i) {
        Place(m_slots[i], i, end);
        if (m_slots[i].isWritten && m_slots[i].next == nullptr) {
            moved += m_slots[i].header.size;
        }
    }
    // Headers of a damaged file may claim the same bytes again and again.
    if (moved > m_program.File().size + m_names.size()) {
        throw Failure("A damaged section header table");
    }
    m_table = (end + 3) / 4 * 4;
    if (m_table + m_slots.size() * sizeof(Elf32_Shdr) > 0xFFFFFFFF) {
        throw Failure("The result would be larger than 4 GiB");
    }
}

/// Finds a place for a section's bytes. @param end of what has a place already; moved on.
void Writer::Place(Slot& slot, u32 index, u64& end)
{
    ProgramSection& header = slot.header;
    if (slot.next == nullptr) {
        if (header.type == SHT_NULL || (header.IsAllocated() && index != m_nameTable)) {
            return;
        }
        const bool isInside =
            u64{header.offset} + (header.type == SHT_NOBITS ? 0 : header.size) <= m_program.FixedSize();
        if (isInside && !Changes(slot, index)) {
            return;
        }
        // New names can't be loaded, as nothing loads them.
        header.flags &= ~u32{SHF_ALLOC};
    }
    const u64 alignment = IsAlignment(header.alignment) ? header.alignment : 1;
    end = (end + alignment - 1) / alignment * alignment;
    header.offset = static_cast<u32>(std::min<u64>(end, 0xFFFFFFFF)); // LayOut rejects a cut one
    if (header.type != SHT_NOBITS) {
        slot.isWritten = true;
        header.size = slot.next != nullptr ? static_cast<u32>(slot.next->bytes.size) : NewSize(slot, index);
        end += slot.next != nullptr ? slot.next->bytes.size : header.size;
    }
}

/// True if a section that stays may get other bytes.
bool Writer::Changes(const Slot& slot, u32 index) const
{
    return (index == m_nameTable && !m_names.empty()) || HasSectionNumbers(slot.header);
}

u32 Writer::NewSize(const Slot& slot, u32 index) const
{
    if (slot.header.type == SHT_GROUP) {
        return static_cast<u32>(Group(slot).size());
    }
    const std::size_t names = index == m_nameTable ? m_names.size() : 0;
    return static_cast<u32>(m_program.Bytes(m_old[slot.old]).size + names);
}

void Writer::Write()
{
    WriteHeader();
    m_out.Put(m_program.File().From(m_out.Size(), m_program.FixedSize() - m_out.Size()));
    for (u32 i = 1; i < m_slots.size(); ++i) {
        const Slot& slot = m_slots[i];
        if (slot.isWritten) {
            m_out.PadTo(slot.header.offset);
            if (slot.next != nullptr) {
                m_out.Put(slot.next->bytes);
            } else {
                WriteOld(slot, i);
            }
        }
    }
    m_out.PadTo(m_table);
    WriteSlots();
}

void Writer::WriteHeader()
{
    const ByteView old = m_program.File();
    ByteWriter header(m_program.BigEndian());
    header.Append(old.From(0, offsetof(Elf32_Ehdr, e_shoff)));
    header.U32(m_table);
    header.Append(old.From(header.Size(), offsetof(Elf32_Ehdr, e_shnum) - header.Size()));
    header.U16(m_slots.size());
    header.U16(m_nameTable);
    m_out.Put(header.View());
}

void Writer::WriteOld(const Slot& slot, u32 index)
{
    const u32 type = slot.header.type;
    if (type == SHT_SYMTAB || type == SHT_DYNSYM) {
        WriteSymbols(slot);
    } else if (type == SHT_SYMTAB_SHNDX) {
        WriteExtendedNumbers(slot);
    } else if (type == SHT_GROUP) {
        const std::vector<u8> group = Group(slot);
        m_out.Put({group.data(), group.size()});
    } else {
        m_out.Put(m_program.Bytes(m_old[slot.old]));
        if (index == m_nameTable) {
            m_out.Put(m_names);
        }
    }
}

void Writer::WriteSymbols(const Slot& slot)
{
    const bool bigEndian = m_program.BigEndian();
    ByteReader symbols(m_program.Bytes(m_old[slot.old]), bigEndian);
    ByteReader extended(ExtendedNumbers(slot.old), bigEndian);
    ByteWriter buffer(bigEndian);
    while (symbols.Size() - symbols.Offset() >= sizeof(Elf32_Sym)) {
        const u32 name = symbols.U32();
        const u32 value = symbols.U32();
        const u32 size = symbols.U32();
        const u8 info = symbols.U8();
        const u8 other = symbols.U8();
        const u16 section = symbols.U16();
        const u32 extendedSection = extended.U32();
        const bool isExtended = section == SHN_XINDEX && extendedSection < m_numbers.size();
        const bool isSection = section < SHN_LORESERVE || isExtended;
        const u32 number = isSection ? NewNumber(isExtended ? extendedSection : section) : section;
        buffer.U32(name);
        buffer.U32(number == kGone || IsBehind(number, value) ? 0 : value);
        buffer.U32(size);
        // Without its section, a section's own symbol has no type.
        const bool isOrphan = number == kGone && ELF32_ST_TYPE(info) == STT_SECTION;
        buffer.U8(isOrphan ? info & 0xF0u : info);
        buffer.U8(other);
        buffer.U16(number == kGone ? u32{SHN_ABS} : isExtended ? section : number);
        if (buffer.Size() >= kBuffer) {
            m_out.Put(buffer.View());
            buffer.Truncate(0);
        }
    }
    buffer.Append(symbols.Block(symbols.Size() - symbols.Offset()));
    m_out.Put(buffer.View());
}

/// True if a new section ends before the place that a symbol marks, such as the labels within debug information that
/// link-time optimisation leaves. What it marked no longer exists.
bool Writer::IsBehind(u32 number, u32 value) const
{
    return number < m_slots.size() && m_slots[number].next != nullptr && value > m_slots[number].header.size;
}

/// The section numbers that a symbol table has no room for. @param symbols the old number of the table.
ByteView Writer::ExtendedNumbers(u32 symbols) const
{
    for (const ProgramSection& section : m_old) {
        if (section.type == SHT_SYMTAB_SHNDX && section.link == symbols) {
            return m_program.Bytes(section);
        }
    }
    return {};
}

void Writer::WriteExtendedNumbers(const Slot& slot)
{
    ByteReader numbers(m_program.Bytes(m_old[slot.old]), m_program.BigEndian());
    ByteWriter buffer(m_program.BigEndian());
    while (numbers.Size() - numbers.Offset() >= 4) {
        const u32 number = NewNumber(numbers.U32());
        buffer.U32(number == kGone ? 0 : number);
        if (buffer.Size() >= kBuffer) {
            m_out.Put(buffer.View());
            buffer.Truncate(0);
        }
    }
    buffer.Append(numbers.Block(numbers.Size() - numbers.Offset()));
    m_out.Put(buffer.View());
}

/// A group without the removed members.
std::vector<u8> Writer::Group(const Slot& slot) const
{
    ByteReader reader(m_program.Bytes(m_old[slot.old]), m_program.BigEndian());
    ByteWriter group(m_program.BigEndian());
    if (reader.Size() >= 4) {
        group.U32(reader.U32()); // the flags
    }
    while (reader.Size() - reader.Offset() >= 4) {
        const u32 member = NewNumber(reader.U32());
        if (member != kGone) {
            group.U32(member);
        }
    }
    return {group.View().data, group.View().data + group.View().size};
}

void Writer::WriteSlots()
{
    ByteWriter table(m_program.BigEndian());
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        const ProgramSection& header = m_slots[i].header;
        table.U32(header.nameOffset);
        table.U32(header.type);
        table.U32(header.flags);
        table.U32(header.address);
        table.U32(header.offset);
        // The null section's size and link held numbers for which the file header has room now.
        table.U32(i == 0 ? 0 : header.size);
        table.U32(i == 0 ? 0 : header.link);
        table.U32(header.info);
        table.U32(header.alignment);
        table.U32(header.entrySize);
    }
    m_out.Put(table.View());
}

} // namespace

void WriteProgram(const Program& program, const std::vector<NewSection>& sections, int descriptor)
{
    Writer(program, sections, descriptor).Run();
}

} // namespace convert
