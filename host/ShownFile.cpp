// Decides whether a file is converted, and keeps what comes of it in the folder of temporary files, unlinked.
#include "host/ShownFile.h"

#include "host/Conversion.h"
#include "host/ConversionReport.h"
#include "host/ConvertCommand.h"
#include "host/DebugSurvey.h"
#include "host/LineOpcodes.h"
#include "host/Output.h"
#include "interfaces/VFKElfFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

std::string TemporaryFolder()
{
    const char* folder = std::getenv("TMPDIR");
    return folder == nullptr || *folder == 0 ? "/tmp" : folder;
}

/// A file without a name: nothing is left of it, however the process ends.
/// @return -1, with errno set, if there can be none.
int OpenNameless(const std::string& folder)
{
    const int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        return descriptor;
    }
    // Not every file system has them.
    std::string path = folder + "/symhost-XXXXXX";
    const int named = mkostemp(path.data(), O_CLOEXEC);
    if (named >= 0) {
        unlink(path.c_str());
    }
    return named;
}

std::string Converted(const DebugSurvey& survey, const ConversionReport& report)
{
    std::string text =
        (survey.IsNewer() ? survey.WhyNewer() + "; shown" : std::string("Shown")) + " as converted to DWARF 2.0";
    if (report.splitUnits != 0) {
        text += " (" + std::to_string(report.splitUnits) + " of them have their rest in .dwo files)";
    }
    return text;
}

} // namespace

std::optional<ConvertMode> ConvertModeOf(std::string_view text)
{
    if (text == "auto") {
        return ConvertMode::Auto;
    }
    if (text == "always") {
        return ConvertMode::Always;
    }
    return text == "never" ? std::optional(ConvertMode::Never) : std::nullopt;
}

ShownFile::ShownFile(std::string path)
    : m_shownPath(std::move(path))
    , m_path(m_shownPath)
{
}

ShownFile::~ShownFile()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

bool ShownFile::Prepare(ConvertMode mode, Hint hint)
{
    const DebugSurvey survey = SurveyDebugInfo(m_shownPath);
    if (!survey.isElf32) {
        return true; // it is refused with better words
    }
    if (mode == ConvertMode::Always || (mode == ConvertMode::Auto && survey.IsNewer())) {
        ConversionReport report;
        const std::string why = Convert(report);
        if (why.empty()) {
            Complain(m_shownPath, Converted(survey, report));
        } else if (mode == ConvertMode::Always) {
            Complain(m_shownPath, "Not converted: " + why);
            return false;
        } else {
            Complain(m_shownPath, survey.WhyNewer() + "; shown as it stands, not converted: " + why);
        }
    } else if (survey.IsNewer()) {
        Complain(m_shownPath, survey.WhyNewer() + "; shown as it stands (--convert auto converts it)");
    } else if (mode == ConvertMode::Auto) {
        Tell(hint);
    }
    return true;
}

void ShownFile::Tell(Hint hint) const
{
    if (hint == Hint::Entries && HasEntriesPassedOver(m_shownPath)) {
        Complain(m_shownPath, "Some of its entries are passed over; --convert always shows more");
    } else if (hint == Hint::Lines && !MisreadLineProgrammes(VFKElfFile(m_shownPath)).empty()) {
        Complain(m_shownPath, "Its line tables have opcodes that DWARF 2.0 does not have and are misread; "
                              "--convert always shows the lines");
    }
}

std::string ShownFile::Convert(ConversionReport& report)
{
    const std::string folder = TemporaryFolder();
    const int descriptor = OpenNameless(folder);
    if (descriptor < 0) {
        return "No temporary file in " + folder + ": " + std::strerror(errno);
    }
    std::string why;
    if (!RunConversion(m_shownPath, descriptor, report, why)) {
        close(descriptor);
        return why;
    }
    m_descriptor = descriptor;
    m_path = "/proc/self/fd/" + std::to_string(descriptor);
    return {};
}
