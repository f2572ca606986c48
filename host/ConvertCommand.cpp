// Writes the converted file so that there is a whole one or none, even if Ctrl-C ends it.
#include "host/ConvertCommand.h"

#include "host/Conversion.h"
#include "host/ConversionReport.h"
#include "host/Loader.h"
#include "host/Module.h"
#include "host/Output.h"
#include "host/Progress.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::size_t kShownName = 30;

char g_unfinished[PATH_MAX]; ///< what a signal removes; empty for nothing

extern "C" void OnEndingSignal(int signal)
{
    if (g_unfinished[0] != 0) {
        unlink(g_unfinished);
    }
    // The action has been reset: as soon as this returns, the signal does what it does.
    raise(signal);
}

/// A file that is being written. Unless it is kept it is removed, also if a signal ends the process.
class UnfinishedFile {
public:
    explicit UnfinishedFile(const std::string& folder);
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    /// -1: there is none, Error() tells why.
    int Get() const { return m_descriptor; }
    int Error() const { return m_error; }

    /// Gives it its name and mode.
    /// @return false if that can't be; then Error() tells why.
    bool Keep(const std::string& path, mode_t mode);

private:
    bool Fail() { return m_error = errno, false; }

    std::string m_path;
    int m_descriptor = -1;
    int m_error = 0;
    bool m_guarded = false; ///< the actions are this object's
    std::array<struct sigaction, kEndingSignals.size()> m_oldActions;
};

UnfinishedFile::UnfinishedFile(const std::string& folder)
    : m_path(folder + ".symhost-XXXXXX")
{
    if (m_path.size() >= sizeof g_unfinished) {
        errno = ENAMETOOLONG;
        Fail();
        return;
    }
    sigset_t ending;
    sigset_t old;
    sigemptyset(&ending);
    for (const int signal : kEndingSignals) {
        sigaddset(&ending, signal);
    }
    sigprocmask(SIG_BLOCK, &ending, &old);
    m_descriptor = mkostemp(m_path.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
        Fail();
    } else {
        std::strcpy(g_unfinished, m_path.c_str());
    }
    m_guarded = true;
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
        struct sigaction action {};
        action.sa_handler = OnEndingSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(kEndingSignals[i], nullptr, &m_oldActions[i]);
        if (m_oldActions[i].sa_handler != SIG_IGN) { // else, under nohup say, it goes on
            sigaction(kEndingSignals[i], &action, nullptr);
        }
    }
    sigprocmask(SIG_SETMASK, &old, nullptr);
}

UnfinishedFile::~UnfinishedFile()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
    if (g_unfinished[0] != 0) {
        unlink(g_unfinished);
    }
    if (m_guarded) {
        for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
            sigaction(kEndingSignals[i], &m_oldActions[i], nullptr);
        }
    }
    g_unfinished[0] = 0;
}

bool UnfinishedFile::Keep(const std::string& path, mode_t mode)
{
    // Some file systems tell a full disk only as the file is closed.
    const bool set = fchmod(m_descriptor, mode) == 0;
    const bool closed = set && close(std::exchange(m_descriptor, -1)) == 0;
    if (!closed || rename(m_path.c_str(), path.c_str()) != 0) {
        return Fail();
    }
    g_unfinished[0] = 0;
    return true;
}

bool IsSameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Why a file may not replace what is there; empty if it may.
std::string WhyNotReplaced(const std::string& target, const struct stat& file)
{
    struct stat there {};
    if (stat(target.c_str(), &there) != 0) {
        return errno == ENOENT ? "" : std::strerror(errno);
    }
    if (S_ISDIR(there.st_mode)) {
        return std::strerror(EISDIR);
    }
    if (!S_ISREG(there.st_mode)) {
        return "Not a regular file";
    }
    if (IsSameFile(there, file)) {
        return "It is the file to be converted";
    }
    return access(target.c_str(), W_OK) == 0 ? "" : std::strerror(errno);
}

/// The target of a symbolic link is written; the link stays.
std::string BehindLinks(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real == nullptr ? path : real.get();
}

mode_t Permissions(const struct stat& file)
{
    const mode_t mask = umask(0);
    umask(mask);
    return file.st_mode & 0777 & ~mask;
}

std::string ShortName(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.size() <= kShownName ? name : name.substr(0, kShownName - 3) + "...";
}

} // namespace

bool RunConversion(const std::string& file, int output, ConversionReport& report, std::string& why)
{
    ProgressBars bars;
    const std::unique_ptr<ProgressIndicator> bar(
        bars.OpenProgress("Converting", ShortName(file).c_str(), 0, 100, 0, false));
    Conversion conversion(PathOfCompanion("symconvert"));
    conversion.progress = [&](u32 percent) { bar->SetPosition(percent); };
    return conversion.Run(file, output, report, why);
}

int ConvertFile(const std::string& file, const std::string& target, bool json, Output& output)
{
    std::string why = WhyUnreadable(file);
    if (why.empty()) {
        why = WhyNotElf32(file);
    }
    struct stat status {};
    if (why.empty() && stat(file.c_str(), &status) != 0) {
        why = std::strerror(errno);
    }
    if (!why.empty()) {
        Complain(file, why);
        return 1;
    }
    why = WhyNotReplaced(target, status);
    if (!why.empty()) {
        Complain(target, why);
        return 1;
    }
    const std::string path = BehindLinks(target);
    UnfinishedFile unfinished(path.substr(0, path.rfind('/') + 1));
    ConversionReport report;
    if (unfinished.Get() >= 0 && !RunConversion(file, unfinished.Get(), report, why)) {
        Complain(file, "Not converted: " + why);
        return 1;
    }
    if (unfinished.Get() < 0 || !unfinished.Keep(path, Permissions(status))) {
        Complain(target, unfinished.Error());
        return 1;
    }
    if (json) {
        output.Write(report.Json(file, target));
    } else {
        WriteMessage(report.Text());
    }
    return 0;
}
