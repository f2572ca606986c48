// The readable listings of an ELF file. All numbers are turned into text here, so a listing neither depends on the
// radix and fill of its stream nor changes them. Text from the file is cut at kShownLength and its control characters
// are written as "\x1b": a file can't control the terminal, nor make a listing out of proportion with many names that
// share one long text.
#include "interfaces/VFKElfFile.h"

#include "ElfNames.h"
#include "interfaces/VFKBytes.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// The characters of a name that are printed and sorted by. More than compilers commonly need for a name of a template.
constexpr std::size_t kShownLength = 512;

/// The width of the column of section names; a longer name shifts the rest of its line.
constexpr std::size_t kNameColumn = 24;

/// Output is written to the stream in pieces of about this size.
constexpr std::size_t kOutputPiece = 64 * 1024;

/// Bytes of a section that are held at a time.
constexpr u32 kContentsPiece = 256 * 1024;

/// The most bytes in one line of a section's contents.
constexpr u32 kMostPerLine = 1024;

/// Collects text for a stream.
class Listing {
public:
    explicit Listing(std::ostream& stream)
        : m_stream(stream)
    {
    }

    Listing& Text(std::string_view text)
    {
        m_text += text;
        return *this;
    }

    /// Appends a formatted piece of at most 255 characters.
    [[gnu::format(printf, 2, 3)]] Listing& Format(const char* format, ...)
    {
        char piece[256];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(piece, sizeof piece, format, arguments);
        va_end(arguments);
        return Text(piece);
    }

    /// Appends a text, filled up with blanks to `width`, and two more.
    Listing& Column(std::string_view text, std::size_t width)
    {
        Text(text);
        m_text.append(text.size() < width ? width - text.size() + 2 : 2, ' ');
        return *this;
    }

    /// Ends a line, removing blanks at its end.
    /// @return false if the stream takes no more.
    bool EndLine()
    {
        m_text.erase(m_text.find_last_not_of(' ') + 1);
        m_text += '\n';
        if (m_text.size() >= kOutputPiece) {
            Write();
        }
        return m_stream.good();
    }

    void Finish()
    {
        Write();
        m_stream.flush();
    }

private:
    void Write()
    {
        m_stream.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
        m_text.clear();
    }

    std::ostream& m_stream;
    std::string m_text;
};

/// The length of the UTF-8 sequence at the start of a text, if it is well-formed, has several bytes and isn't a control
/// character; else 0.
std::size_t Utf8Length(std::string_view text)
{
    const auto first = static_cast<u8>(text[0]);
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    u32 character = first & (0x7Fu >> length);
    for (std::size_t index = 1; index < length; ++index) {
        const auto byte = static_cast<u8>(text[index]);
        if ((byte & 0xC0u) != 0x80) {
            return 0;
        }
        character = character << 6 | (byte & 0x3Fu);
    }
    constexpr u32 kFirstOfLength[] = {0xA0, 0x800, 0x10000}; // below 0xA0 are control characters
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < kFirstOfLength[length - 2] || character > 0x10FFFF || surrogate ? 0 : length;
}

/// The part of a name that is used; empty for null.
std::string_view CutName(const char* name)
{
    return name == nullptr ? std::string_view() : std::string_view(name, strnlen(name, kShownLength));
}

std::string ShownName(const char* name)
{
    std::string_view rest = CutName(name);
    const bool longer = rest.size() == kShownLength && name[kShownLength] != 0;
    std::string shown;
    while (!rest.empty() && shown.size() < kShownLength) {
        const auto byte = static_cast<u8>(rest[0]);
        std::size_t length = 1;
        if (byte >= 0x80) {
            length = Utf8Length(rest);
        } else if (byte < 0x20 || byte == 0x7F) {
            length = 0;
        }
        if (length != 0) {
            shown += rest.substr(0, length);
            rest.remove_prefix(length);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            shown += escaped;
            rest.remove_prefix(1);
        }
    }
    return longer || !rest.empty() ? shown + "..." : shown;
}

std::string Hex(u32 value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

/// A code's name, or its number if it has none.
std::string NameOr(const char* name, u32 code)
{
    return name == nullptr ? Hex(code) : name;
}

std::string NumberAndName(u32 code, const char* name)
{
    const std::string number = std::to_string(code);
    return name == nullptr ? number : number + " (" + name + ")";
}

/// "3 section headers", or how many of the announced ones the file has.
std::string CountOf(std::size_t served, u32 announced, const char* what)
{
    std::string count = std::to_string(served);
    if (served != announced) {
        count += " of " + std::to_string(announced);
    }
    return count + ' ' + what + (announced == 1 ? "" : "s") + (served == announced ? "" : " within the file");
}

std::string TableLine(u32 offset, u32 count, u32 entrySize)
{
    return "offset " + Hex(offset) + ", " + std::to_string(count) + (count == 1 ? " entry" : " entries") + " of " +
           std::to_string(entrySize) + " bytes";
}

void AddRow(Listing& listing, const char* label, const std::string& text)
{
    listing.Text("  ").Column(label, 15).Text(text).EndLine();
}

const char* ByteOrderName(u8 data)
{
    return data == kElfDataMsb ? "big-endian" : data == kElfDataLsb ? "little-endian" : nullptr;
}

template <typename Header>
std::vector<const Header*> AllOf(const VFKElfFile& elf, const Header* (VFKElfFile::*get)(u32) const)
{
    std::vector<const Header*> headers;
    for (u32 index = 0; const Header* header = (elf.*get)(index); ++index) {
        headers.push_back(header);
    }
    return headers;
}

/// What a symbol's section index means: a section with its name, or a reserved word.
std::string SymbolSection(const VFKElfFile& elf, u16 section)
{
    if (const char* reserved = ElfReservedSectionName(section)) {
        return reserved;
    }
    const Elf32_Shdr* shdr = elf.GetSectionHeader(u32{section});
    return std::to_string(section) + ' ' + (shdr == nullptr ? "" : ShownName(elf.GetShdrString(shdr->sh_name)));
}

/// @param digits the width of the column of indices.
void AddSymbolHead(Listing& listing, int digits)
{
    listing.Format("  %*s  ", digits, "#");
    listing.Column("Value", 10).Column("Size", 10).Column("Type", 9).Column("Binding", 10).Column("Visibility", 10);
    listing.Column("Section", kNameColumn).Text("Name").EndLine();
}

/// @param index the text for the column of indices.
bool AddSymbol(Listing& listing, const VFKElfFile& elf, const elf32_sym& symbol, const std::string& index, int digits)
{
    const u8 type = SymbolType(symbol);
    const u8 binding = SymbolBinding(symbol);
    listing.Format("  %*s  ", digits, index.c_str());
    listing.Column(Hex(symbol.st_value), 10).Column(Hex(symbol.st_size), 10);
    listing.Column(NameOr(ElfSymbolTypeName(type, elf.m_ehdr.e_machine), type), 9);
    listing.Column(NameOr(ElfSymbolBindingName(binding), binding), 10);
    listing.Column(ElfVisibilityName(symbol.st_other), 10);
    listing.Column(SymbolSection(elf, symbol.st_shndx), kNameColumn);
    return listing.Text(ShownName(elf.GetString(symbol.st_name))).EndLine();
}

/// The symbols' positions in the requested order. The null symbol stays first; equals are in table order.
std::vector<u32> SortedSymbols(const VFKElfFile& elf, VFKElfFile::DumpSymtabType type)
{
    std::vector<const elf32_sym*> symbols = AllOf(elf, &VFKElfFile::GetSymtabEntry);
    std::vector<u32> order(symbols.size());
    for (u32 index = 0; index < order.size(); ++index) {
        order[index] = index;
    }
    if (order.empty()) {
        return order;
    }
    const auto sortBy = [&order](auto keyOf) {
        std::stable_sort(order.begin() + 1, order.end(), [&](u32 a, u32 b) { return keyOf(a) < keyOf(b); });
    };
    switch (type) {
    case VFKElfFile::kSymtabOrder:
        break;
    case VFKElfFile::kByValue:
        sortBy([&](u32 index) { return symbols[index]->st_value; });
        break;
    case VFKElfFile::kByAddressRange:
        sortBy([&](u32 index) { return u64{symbols[index]->st_value} << 32 | symbols[index]->st_size; });
        break;
    case VFKElfFile::kByName: {
        std::vector<std::string_view> names;
        for (const elf32_sym* symbol : symbols) {
            names.push_back(CutName(elf.GetString(symbol->st_name)));
        }
        sortBy([&](u32 index) { return names[index]; });
        break;
    }
    }
    return order;
}

const char* OrderName(VFKElfFile::DumpSymtabType type)
{
    switch (type) {
    case VFKElfFile::kByValue:
        return " by value";
    case VFKElfFile::kByAddressRange:
        return " by address range";
    case VFKElfFile::kByName:
        return " by name";
    default:
        return "";
    }
}

/// One line of a section's contents.
/// @param place the first byte's address, or its offset in the file.
bool AddBytes(Listing& listing, u32 place, std::string_view bytes, u32 perLine, bool withText)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string columns;
    for (std::size_t index = 0; index < perLine; ++index) {
        columns += index != 0 && index % 8 == 0 ? "  " : " ";
        if (index < bytes.size()) {
            const auto byte = static_cast<u8>(bytes[index]);
            columns += {kDigits[byte >> 4], kDigits[byte & 0xF]};
        } else {
            columns += "  ";
        }
    }
    listing.Text("  ").Text(Hex(place)).Text(" ").Text(columns);
    if (withText) {
        std::string text(bytes);
        std::replace_if(
            text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '.');
        listing.Text("  |").Text(text).Text("|");
    }
    return listing.EndLine();
}

} // namespace

void VFKElfFile::DumpEhdr(std::ostream& stream) const
{
    if (!m_valid) {
        return;
    }
    const Elf32_Ehdr& header = m_ehdr;
    Listing listing(stream);
    std::string ident;
    for (const u8 byte : header.e_ident) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%02x ", byte);
        ident += digits;
    }
    const std::string flags = ElfHeaderFlagNames(header.e_flags, header.e_machine);
    AddRow(listing, "identification", ident);
    AddRow(listing, "class", NumberAndName(header.e_ident[kIdentClass], "ELF32"));
    AddRow(listing, "byte order", NumberAndName(header.e_ident[kIdentData], ByteOrderName(header.e_ident[kIdentData])));
    AddRow(listing, "OS ABI", NumberAndName(header.e_ident[kIdentOsAbi], ElfOsAbiName(header.e_ident[kIdentOsAbi])));
    AddRow(listing, "ABI version", std::to_string(header.e_ident[kIdentAbiVersion]));
    AddRow(listing, "type", NumberAndName(header.e_type, ElfFileTypeName(header.e_type)));
    AddRow(listing, "machine", NumberAndName(header.e_machine, ElfMachineName(header.e_machine)));
    AddRow(listing, "version", std::to_string(header.e_version));
    AddRow(listing, "entry point", Hex(header.e_entry));
    AddRow(listing, "flags", Hex(header.e_flags) + (flags.empty() ? "" : " (" + flags + ")"));
    AddRow(listing, "header size", std::to_string(header.e_ehsize) + " bytes");
    AddRow(listing, "program headers", TableLine(header.e_phoff, header.e_phnum, header.e_phentsize));
    AddRow(listing, "section headers", TableLine(header.e_shoff, header.e_shnum, header.e_shentsize));
    AddRow(listing, "section names", "section " + std::to_string(header.e_shstrndx));
    listing.Finish();
}

void VFKElfFile::DumpPhdrList(std::ostream& stream) const
{
    if (!m_valid) {
        return;
    }
    const auto getHeader = static_cast<const elf32_phdr* (VFKElfFile::*)(u32) const>(&VFKElfFile::GetProgramHeader);
    const std::vector<const elf32_phdr*> segments = AllOf(*this, getHeader);
    Listing listing(stream);
    listing.Text(CountOf(segments.size(), m_ehdr.e_phnum, "program header")).EndLine();
    if (!segments.empty()) {
        listing.Format("  %5s  ", "#").Column("Type", 12).Column("Offset", 10).Column("VirtAddr", 10);
        listing.Column("PhysAddr", 10).Column("FileSize", 10).Column("MemSize", 10).Column("Align", 10);
        listing.Text("Flags").EndLine();
    }
    for (std::size_t index = 0; index < segments.size(); ++index) {
        const elf32_phdr& phdr = *segments[index];
        listing.Format("  %5zu  ", index);
        listing.Column(NameOr(ElfSegmentTypeName(phdr.p_type, m_ehdr.e_machine), phdr.p_type), 12);
        for (const u32 number :
             {phdr.p_offset, phdr.p_vaddr, phdr.p_paddr, phdr.p_filesz, phdr.p_memsz, phdr.p_align}) {
            listing.Column(Hex(number), 10);
        }
        if (!listing.Text(ElfSegmentFlagNames(phdr.p_flags, m_ehdr.e_machine)).EndLine()) {
            break;
        }
    }
    listing.Finish();
}

void VFKElfFile::DumpShdrList(std::ostream& stream) const
{
    if (!m_valid) {
        return;
    }
    const auto getHeader = static_cast<const Elf32_Shdr* (VFKElfFile::*)(u32) const>(&VFKElfFile::GetSectionHeader);
    const std::vector<const Elf32_Shdr*> sections = AllOf(*this, getHeader);
    Listing listing(stream);
    listing.Text(CountOf(sections.size(), m_ehdr.e_shnum, "section header")).EndLine();
    if (!sections.empty()) {
        listing.Format("  %5s  ", "#").Column("Name", kNameColumn).Column("Type", 14).Column("Address", 10);
        listing.Column("Offset", 10).Column("Size", 10).Column("EntSize", 10);
        listing.Format("%5s  %5s  %5s  Flags", "Link", "Info", "Align").EndLine();
    }
    for (std::size_t index = 0; index < sections.size(); ++index) {
        const Elf32_Shdr& shdr = *sections[index];
        listing.Format("  %5zu  ", index).Column(ShownName(GetShdrString(shdr.sh_name)), kNameColumn);
        listing.Column(NameOr(ElfSectionTypeName(shdr.sh_type, m_ehdr.e_machine), shdr.sh_type), 14);
        for (const u32 number : {shdr.sh_addr, shdr.sh_offset, shdr.sh_size, shdr.sh_entsize}) {
            listing.Column(Hex(number), 10);
        }
        listing.Format("%5u  %5u  %5u  ", shdr.sh_link, shdr.sh_info, shdr.sh_addralign);
        if (!listing.Text(ElfSectionFlagNames(shdr.sh_flags, m_ehdr.e_machine)).EndLine()) {
            break;
        }
    }
    listing.Finish();
}

void VFKElfFile::DumpSymtab(std::ostream& stream, DumpSymtabType type) const
{
    if (!m_valid) {
        return;
    }
    const std::vector<u32> order = SortedSymbols(*this, type);
    Listing listing(stream);
    listing.Format("%zu symbol%s%s", order.size(), order.size() == 1 ? "" : "s", OrderName(type)).EndLine();
    const int digits = std::max(3, static_cast<int>(std::to_string(order.size()).size()));
    if (!order.empty()) {
        AddSymbolHead(listing, digits);
    }
    for (const u32 index : order) {
        if (!AddSymbol(listing, *this, *GetSymtabEntry(index), std::to_string(index), digits)) {
            break;
        }
    }
    listing.Finish();
}

void VFKElfFile::DumpSymtabEntry(std::ostream& stream, const elf32_sym* entry) const
{
    if (entry == nullptr) {
        return;
    }
    std::string index = "-"; // an entry of another table has none
    for (u32 candidate = 0; const elf32_sym* symbol = GetSymtabEntry(candidate); ++candidate) {
        if (symbol == entry) {
            index = std::to_string(candidate);
            break;
        }
    }
    const int digits = std::max(3, static_cast<int>(index.size()));
    Listing listing(stream);
    AddSymbolHead(listing, digits);
    AddSymbol(listing, *this, *entry, index, digits);
    listing.Finish();
}

void VFKElfFile::DumpSectionContents(std::ostream& stream, const char* name, u32 perLine, bool withText) const
{
    Listing listing(stream);
    const Elf32_Shdr* shdr = GetSectionHeader(name);
    if (shdr == nullptr) {
        listing.Text("There is no section '").Text(ShownName(name)).Text("'").EndLine();
        return listing.Finish();
    }
    const bool inMemory = (shdr->sh_flags & kShfAlloc) != 0;
    listing.Text("Section '").Text(ShownName(name)).Format("': %u bytes", shdr->sh_size);
    if (inMemory) {
        listing.Text(" at ").Text(Hex(shdr->sh_addr));
    }
    if (shdr->sh_type == kShtNobits) {
        listing.Text(", none of them in the file").EndLine();
        return listing.Finish();
    }
    listing.Text(", offset ").Text(Hex(shdr->sh_offset)).Text(" of the file").EndLine();
    perLine = std::clamp<u32>(perLine, 1, kMostPerLine);
    const u32 base = inMemory ? shdr->sh_addr : shdr->sh_offset;
    const u32 pieceLength = kContentsPiece / perLine * perLine;
    VFKBytes piece;
    u32 done = 0;
    do {
        GetSectionData(name, piece, done, pieceLength);
        const std::string_view bytes(reinterpret_cast<const char*>(piece.Data()), piece.Size());
        for (std::size_t at = 0; at < bytes.size(); at += perLine) {
            const u32 place = base + done + static_cast<u32>(at);
            if (!AddBytes(listing, place, bytes.substr(at, perLine), perLine, withText)) {
                return;
            }
        }
        done += static_cast<u32>(bytes.size());
    } while (piece.Size() == pieceLength && done < shdr->sh_size);
    if (done < shdr->sh_size) {
        listing.Format("The file has %u of the %u bytes", done, shdr->sh_size).EndLine();
    }
    listing.Finish();
}
