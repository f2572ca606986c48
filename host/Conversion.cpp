// The parent's side of a conversion. On its standard output the child prints lines: "progress PERCENT", any number of
// them, and last either "report JSON" with exit status 0, or "failure TEXT" with 1. Anything else is a fault of its
// own and reported as one.
#include "host/Conversion.h"

#include "host/ConversionReport.h"
#include "host/ConverterProcess.h"
#include "host/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kLineLimit = 1 << 20;
constexpr std::size_t kAnswerLimit = 2 << 20;

/// The lines that the child prints.
class AnswerReader {
public:
    enum class State { Open, Report, Failure, Broken };

    AnswerReader(const std::function<void(u32)>& progress, ConversionReport& report)
        : m_progress(progress)
        , m_report(report)
    {
    }

    State Is() const { return m_state; }
    /// Called at the end. A last line without line end doesn't count.
    State AtEnd() const { return m_line.empty() ? m_state : State::Broken; }
    const std::string& FailureText() const { return m_failure; }

    void Take(std::string_view bytes)
    {
        while (!bytes.empty() && m_state != State::Broken) {
            const std::size_t end = std::min(bytes.find('\n'), bytes.size());
            m_line += bytes.substr(0, end);
            const bool whole = end < bytes.size();
            bytes.remove_prefix(whole ? end + 1 : end);
            if (m_line.size() > kLineLimit) {
                m_state = State::Broken;
            } else if (whole) {
                TakeLine(m_line);
                m_line.clear();
            }
        }
    }

private:
    static bool Cut(std::string_view& line, std::string_view word)
    {
        const bool found = line.starts_with(word);
        line.remove_prefix(found ? word.size() : 0);
        return found;
    }

    void TakeLine(std::string_view line)
    {
        if (m_state != State::Open) { // nothing comes behind the last line
            m_state = State::Broken;
        } else if (Cut(line, "progress ")) {
            TakeProgress(line);
        } else if (Cut(line, "report ")) {
            m_state = m_report.Parse(line) ? State::Report : State::Broken;
        } else if (Cut(line, "failure ") && !line.empty()) {
            AppendShort(m_failure, line);
            m_state = State::Failure;
        } else {
            m_state = State::Broken;
        }
    }

    void TakeProgress(std::string_view text)
    {
        const std::optional<u32> percent = ParseNumber(text);
        if (!percent || *percent > 100) {
            m_state = State::Broken;
        } else if (m_progress) {
            m_progress(*percent);
        }
    }

    const std::function<void(u32)>& m_progress;
    ConversionReport& m_report;
    State m_state = State::Open;
    std::string m_line;
    std::string m_failure;
};

std::string TookTooLong(const ConversionLimits& limits)
{
    return "The converter took more than " + std::to_string(std::max<i64>(limits.time.count() / 1000, 1)) +
           " s and was stopped";
}

/// @return empty if it ended as its answer says.
std::string HowItEnded(int status, const AnswerReader& answer, const ConversionLimits& limits)
{
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        if (signal == SIGXCPU) {
            return TookTooLong(limits);
        }
        const bool outside = signal == SIGKILL || signal == SIGTERM || signal == SIGINT || signal == SIGHUP;
        return std::string(outside ? "The converter was ended" : "The converter crashed") + " (" + strsignal(signal) +
               ")";
    }
    const int exit = WEXITSTATUS(status);
    if (answer.AtEnd() == AnswerReader::State::Failure && exit == 1) {
        return answer.FailureText();
    }
    if (answer.AtEnd() == AnswerReader::State::Report && exit == 0) {
        return {};
    }
    return "The converter ended without a valid answer (exit status " + std::to_string(exit) + ")";
}

enum class Reading { Closed, Refused, Late };

/// Reads until the child closes its end, says something invalid, or takes too long.
Reading ReadAnswer(int reader, Patience& patience, AnswerReader& answer)
{
    constexpr milliseconds kStep(200);
    std::array<char, 16 * 1024> bytes;
    std::size_t taken = 0;
    while (!patience.IsOver()) {
        if (!patience.Wait(reader, kStep)) {
            continue;
        }
        const ssize_t count = read(reader, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return Reading::Closed;
        }
        taken += static_cast<std::size_t>(count);
        answer.Take({bytes.data(), static_cast<std::size_t>(count)});
        if (answer.Is() == AnswerReader::State::Broken || taken > kAnswerLimit) {
            return Reading::Refused;
        }
    }
    return Reading::Late;
}

/// @return why it failed; empty if it didn't.
std::string WaitFor(ConverterProcess& child, const ConversionLimits& limits, AnswerReader& answer)
{
    Patience patience(limits.time);
    int status = 0;
    switch (ReadAnswer(child.Reader(), patience, answer)) {
    case Reading::Refused:
        return "The converter's answer can't be understood";
    case Reading::Closed:
        if (child.Ends(patience, status)) {
            return HowItEnded(status, answer, limits);
        }
        break;
    case Reading::Late:
        break;
    }
    return TookTooLong(limits);
}

} // namespace

ConversionLimits ConversionLimits::For(u64 fileSize)
{
    constexpr u64 kMebibyte = 1 << 20;
    constexpr u64 kGibibyte = 1 << 30;
    const u64 size = std::min<u64>(fileSize, u64{1} << 40);
    const u64 bytes = kGibibyte + 64 * size;
    return {std::chrono::seconds(60 + 2 * (size / kMebibyte)), kIsSanitized ? 0 : bytes, bytes};
}

Conversion::Conversion(std::string program)
    : m_program(std::move(program))
{
}

bool Conversion::Run(const std::string& file, int output, const ConversionLimits& limits, ConversionReport& report,
                     std::string& why) const
{
    ConverterProcess child(m_program, file, output, limits);
    if (const int trouble = child.Start(); trouble != 0) {
        why = "Can't run " + m_program + ": " + std::strerror(trouble);
        return false;
    }
    AnswerReader answer(progress, report);
    why = WaitFor(child, limits, answer);
    return why.empty();
}

bool Conversion::Run(const std::string& file, int output, ConversionReport& report, std::string& why) const
{
    struct stat status {};
    const bool known = stat(file.c_str(), &status) == 0 && status.st_size > 0;
    return Run(file, output, ConversionLimits::For(known ? static_cast<u64>(status.st_size) : 0), report, why);
}
