// From the units of a program to its new sections.
#include "convert/Converter.h"

#include "convert/Channel.h"
#include "convert/DebugSections.h"
#include "convert/Failure.h"
#include "convert/FrameRules.h"
#include "convert/ProgramWriter.h"
#include "convert/UnitConverter.h"

#include <memory>

namespace convert {

namespace {

struct DwarfCloser {
    void operator()(Dwarf* dwarf) const { dwarf_end(dwarf); }
};

/// How many more times each byte may be read for copies of classes of type units.
constexpr u64 kCopiesPerByte = 8;

/// By Unsaid.
constexpr const char* kReasons[] = {
    "computed values",   "constants over a part of the scope",
    "implicit pointers", "entry values",
    "values in pieces",  "thread-local variables",
    "calls of others",   "no frame information",
    "damaged operators", "operators that DWARF 2.0 doesn't have",
};
static_assert(std::size(kReasons) == kUnsaidCount);

/// Why libdw finds no units in a program.
const char* WhyNone(const Program& program)
{
    for (const ProgramSection& section : program.Sections()) {
        if (section.IsDebug() && section.IsCompressed()) {
            return "No debug information that can be read; its compression may be one that isn't known here";
        }
    }
    return "No debug information";
}

void ReportUnits(const std::vector<InputUnit>& units, Report& report)
{
    for (InputUnit unit : units) {
        Dwarf_Attribute attribute;
        const char* const producer = dwarf_formstring(dwarf_attr(&unit.die, DW_AT_producer, &attribute));
        if (unit.type == DW_UT_skeleton || dwarf_hasattr(&unit.die, DW_AT_GNU_dwo_name) != 0 ||
            dwarf_hasattr(&unit.die, DW_AT_dwo_name) != 0) {
            report.AddSplitUnit();
        }
        report.AddUnit(unit.version, producer == nullptr ? "" : producer);
    }
}

class Conversion {
public:
    Conversion(const Program& program, Dwarf* dwarf, Report& report)
        : m_program(program)
        , m_units(ListUnits(dwarf))
        , m_sections{FindDebugSection(dwarf, ".debug_info").bytes,     FindDebugSection(dwarf, ".debug_types").bytes,
                     FindDebugSection(dwarf, ".debug_abbrev").bytes,   FindDebugSection(dwarf, ".debug_str").bytes,
                     FindDebugSection(dwarf, ".debug_line_str").bytes, program.BigEndian()}
        , m_definitions(m_units)
        , m_frames(dwarf)
        , m_locations(dwarf, m_frames, program.BigEndian())
        , m_lists(program.BigEndian())
        , m_info(program.BigEndian(), m_sections.texts, m_lists, m_sections.info.size)
        , m_lines(program.BigEndian())
        , m_macros(program.BigEndian())
        , m_publicNames(program.BigEndian())
        , m_ranges(program.BigEndian())
        , m_report(report)
        , m_shared{program,
                   dwarf,
                   m_units,
                   m_sections,
                   m_definitions,
                   {FindDebugSection(dwarf, ".debug_line").bytes, m_sections.lineTexts, m_sections.texts,
                    program.BigEndian()},
                   m_locations,
                   m_info,
                   m_lines,
                   m_macros,
                   m_publicNames,
                   m_ranges,
                   report,
                   0,
                   {},
                   std::nullopt,
                   {},
                   UnitReader(m_sections),
                   kCopiesPerByte * (m_sections.info.size + m_sections.types.size)}
    {
    }

    void Run(const std::function<void(u32 percent)>& progress)
    {
        if (m_units.empty()) {
            throw Failure(WhyNone(m_program));
        }
        ReportUnits(m_units, m_report);
        FindCommonWords();
        ConvertUnits(progress);
        m_info.Finish();
        for (std::size_t reason = 0; reason < kUnsaidCount; ++reason) {
            m_report.LeaveOut("ranges of variables", kReasons[reason], m_locations.Counts()[reason]);
        }
        m_report.LeaveOut("macros of units", "they would take too much room", m_macros.UnitsLeftOut());
    }

    void Write(int descriptor)
    {
        std::vector<NewSection> sections;
        const auto add = [&](const char* name, const ByteWriter& bytes) {
            if (bytes.Size() != 0) {
                sections.push_back({name, bytes.View()});
            }
        };
        add(".debug_info", m_info.Info());
        add(".debug_abbrev", m_info.Abbreviations());
        add(".debug_line", m_lines.Section());
        add(".debug_loc", m_lists.Section());
        add(".debug_str", m_info.Texts());
        add(".debug_pubnames", m_publicNames);
        add(".debug_aranges", m_ranges);
        add(".debug_macinfo", m_macros.Section());
        WriteProgram(m_program, sections, descriptor);
    }

private:
    /// Three threads run at once: one reads units, this one converts them, one writes their entries. Only this one
    /// calls libdw.
    void ConvertUnits(const std::function<void(u32 percent)>& progress)
    {
        Channel<Unit> unitsRead;
        Channel<std::unique_ptr<UnitConverter>> unitsConverted;
        const auto stop = [&] {
            unitsRead.Close();
            unitsConverted.Close();
        };
        Worker writer(
            [&] {
                while (const std::optional<std::unique_ptr<UnitConverter>> unit = unitsConverted.Take()) {
                    (*unit)->Write();
                }
            },
            stop);
        Worker reader(
            [&] {
                UnitReader units(m_sections);
                for (const InputUnit& unit : m_units) {
                    if (!unitsRead.Put(units.Read(unit))) {
                        return;
                    }
                }
            },
            [&] { unitsRead.Close(); });
        std::size_t done = 0;
        while (std::optional<Unit> unit = unitsRead.Take()) {
            if (unit->IsDamaged()) {
                m_report.LeaveOut("entries", "damaged, with what follows in their unit");
            }
            auto converter = std::make_unique<UnitConverter>(m_shared, std::move(*unit));
            converter->Convert();
            if (!unitsConverted.Put(std::move(converter))) {
                break;
            }
            progress(static_cast<u32>(100 * ++done / (m_units.size() + 1)));
        }
        unitsConverted.Close();
        reader.Finish();
        writer.Finish();
    }

    /// Partial units and skeletons leave to others what they have in common.
    void FindCommonWords()
    {
        for (InputUnit unit : m_units) {
            Dwarf_Attribute attribute;
            Dwarf_Word language = 0;
            const char* const producer = dwarf_formstring(dwarf_attr(&unit.die, DW_AT_producer, &attribute));
            if (producer != nullptr &&
                dwarf_formudata(dwarf_attr(&unit.die, DW_AT_language, &attribute), &language) == 0 &&
                language != DW_LANG_Mips_Assembler) {
                m_shared.producer = producer;
                m_shared.language = static_cast<u32>(language);
                return;
            }
        }
    }

    const Program& m_program;
    std::vector<InputUnit> m_units;
    UnitSections m_sections;
    Definitions m_definitions;
    FrameRules m_frames;
    LocationReader m_locations;
    LocationWriter m_lists;
    InfoWriter m_info;
    LineWriter m_lines;
    MacroWriter m_macros;
    ByteWriter m_publicNames;
    ByteWriter m_ranges;
    Report& m_report;
    Shared m_shared;
};

} // namespace

void ConvertFile(const std::string& path, int descriptor, Report& report,
                 const std::function<void(u32 percent)>& progress)
{
    const Program program(path);
    const std::unique_ptr<Dwarf, DwarfCloser> dwarf(dwarf_begin(program.Descriptor(), DWARF_C_READ));
    if (dwarf == nullptr) {
        throw Failure(WhyNone(program));
    }
    Conversion conversion(program, dwarf.get(), report);
    conversion.Run(progress);
    conversion.Write(descriptor);
}

} // namespace convert
