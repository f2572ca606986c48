// The console's searches of the ELF symbol table, and the record that a shared library of the target
// system has at the start of its code section. The ELF reader prints its own structures.
#include "console/Format.h"
#include "frame/Preferences.h"
#include "image/Dwarf2File.h"
#include "interfaces/VFKDataString.h"

#include <ostream>
#include <string>
#include <string_view>

namespace {

constexpr u32 kRecordSize = 64;
constexpr u32 kFirstField = 8; ///< what comes before it is not read

/// A code of four characters, the first in the top byte.
void PrintFourChars(std::ostream& out, std::string_view label, u32 code)
{
    const char text[] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
                         static_cast<char>(code)};
    PutText(PutText(PutText(out, label), {text, sizeof text}), "'") << LineEnd;
}

void PrintFlags(std::ostream& out, u32 flags)
{
    constexpr struct {
        u32 bit;
        std::string_view name;
    } kNames[] = {{1, " Patchable "}, {2, " Preloaded "}, {4, " Debug "}};

    PutText(PutText(out, "   flags = ") << hex4(flags), " (");
    for (const auto& row : kNames) {
        if ((flags & row.bit) != 0) {
            PutText(out, row.name);
        }
    }
    PutText(out, ")") << LineEnd;
}

} // namespace

void Dwarf2File::DumpElfSymbol(const std::string& name)
{
    if (const elf32_sym* symbol = m_elf.FindSymtabEntry(name.c_str())) {
        m_elf.DumpSymtabEntry(*m_dumpStream, symbol);
    } else {
        PutText(PutText(PutText(*m_dumpStream, "Symbol '"), name), "' not found...") << LineEnd;
    }
}

void Dwarf2File::DumpElfSymbol(u32 value)
{
    if (const elf32_sym* symbol = m_elf.FindSymtabEntry(value, kNone, nullptr)) {
        m_elf.DumpSymtabEntry(*m_dumpStream, symbol);
    } else {
        PutText(*m_dumpStream, "Symbol with or containing st_value = '") << hex8(value);
        PutText(*m_dumpStream, "' not found...") << LineEnd;
    }
}

void Dwarf2File::DumpLibraryRecord()
{
    std::ostream& out = *m_dumpStream;
    // The target system writes the record big-endian whatever the file's byte order is.
    VFKDataString record(false, false);
    m_elf.GetSectionData(g_prefs.codeSectName.c_str(), record.bytes, 0, kRecordSize);
    if (record.bytes.empty()) {
        PutText(PutText(out, "No Vantrix information found in the '"), g_prefs.codeSectName);
        PutText(out, "' section") << LineEnd;
        return;
    }
    u32 pos = kFirstField;
    const u32 idWord0 = record.Get16(&pos);
    const u32 idWord1 = record.Get16(&pos);
    PutText(out, "moduleID = ") << hex8((idWord1 * 32 + idWord0) / 4) << LineEnd;
    PutText(out, "revision = ") << hex8(record.Get32(&pos)) << LineEnd;
    PutText(out, " entries = ") << hex8(record.Get32(&pos)) << LineEnd;
    PrintFourChars(out, "    type = '", record.Get32(&pos));
    PrintFourChars(out, " creator = '", record.Get32(&pos));
    PrintFourChars(out, "rsrcType = '", record.Get32(&pos));
    PutText(out, "  rsrcID = ") << hex4(record.Get16(&pos)) << LineEnd;
    PrintFlags(out, record.Get16(&pos));
    PrintQuotedText(PutText(out, "    name = "), record.GetCStr(&pos)) << LineEnd;
}
