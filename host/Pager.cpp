// The pager: when it is started, and what happens when it is left early.
#include "host/Pager.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// True if the first word of a command line is a program that can be run.
bool IsRunnable(const std::string& command)
{
    const std::string program = command.substr(0, command.find(' '));
    if (program.find('/') != std::string::npos) {
        return access(program.c_str(), X_OK) == 0;
    }
    const char* path = std::getenv("PATH");
    std::string directories = path == nullptr ? "/usr/bin:/bin" : path;
    directories += ':';
    for (std::size_t start = 0; start < directories.size();) {
        const std::size_t colon = directories.find(':', start);
        const std::string candidate = directories.substr(start, colon - start) + '/' + program;
        if (access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
        start = colon + 1;
    }
    return false;
}

/// $PAGER, else less, if it can be run.
std::string PagerCommand()
{
    const char* pager = std::getenv("PAGER");
    const std::string command = pager == nullptr || *pager == '\0' ? "less" : pager;
    return command != "cat" && IsRunnable(command) ? command : std::string();
}

winsize ScreenSize(int descriptor)
{
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        size.ws_row = 24;
        size.ws_col = 80;
    }
    return size;
}

} // namespace

PagedOutput::PagedOutput(int descriptor)
    : Output(descriptor)
    , m_command(PagerCommand())
{
}

PagedOutput::~PagedOutput()
{
    try {
        EndCommand();
    } catch (const std::bad_alloc&) {
        return; // what was held is lost
    }
}

void PagedOutput::DropHeld()
{
    Output::Flush();
    m_held.clear();
}

void PagedOutput::BeginCommand()
{
    m_held.clear();
    m_rows = 0;
    m_column = 0;
    m_readerGone = false;
    m_discard = false;
}

void PagedOutput::EndCommand()
{
    Flush();
    if (m_pager < 0) {
        return;
    }
    close(m_pipe);
    while (waitpid(m_pager, nullptr, 0) < 0 && errno == EINTR) {
        // Ctrl-C in the pager is the pager's matter.
    }
    m_pager = -1;
    m_pipe = -1;
    SetByLine(true);
}

int PagedOutput::sync()
{
    // The pager's person sees the first screen at once; from there on large pieces are faster.
    if (m_pager < 0) {
        Output::Flush();
    }
    return 0;
}

void PagedOutput::Flush()
{
    Output::Flush();
    if (m_pager < 0) {
        Show();
    }
}

void PagedOutput::Show()
{
    if (m_held.empty()) {
        return;
    }
    if (beforeShow) {
        beforeShow();
    }
    WriteThrough(Descriptor(), m_held.data(), m_held.size());
    m_held.clear();
    m_rows = 0;
}

void PagedOutput::Deliver(const char* bytes, std::size_t count)
{
    m_discard = m_discard || (unwanted && unwanted());
    if (m_discard && m_pager < 0) {
        return;
    }
    if (m_pager >= 0) {
        WriteToPager(bytes, count);
        return;
    }
    m_held.append(bytes, count);
    if (m_command.empty()) {
        Show();
    } else if (FillsScreen(bytes, count)) {
        if (StartPager()) {
            std::string held;
            held.swap(m_held);
            WriteToPager(held.data(), held.size());
        } else {
            m_command.clear();
            Show();
        }
    }
}

bool PagedOutput::FillsScreen(const char* bytes, std::size_t count)
{
    const winsize screen = ScreenSize(Descriptor());
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] == '\x1b') { // a colour takes no room
            i = static_cast<std::size_t>(std::find(bytes + i, bytes + count, 'm') - bytes);
            continue;
        }
        const bool inside = (static_cast<unsigned char>(bytes[i]) & 0xC0) == 0x80; // of a character of UTF-8
        if (bytes[i] == '\n' || (!inside && ++m_column > screen.ws_col)) {
            m_column = 0;
            ++m_rows;
        }
    }
    return m_rows >= screen.ws_row;
}

bool PagedOutput::StartPager()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    if (beforeShow) {
        beforeShow();
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    // Keep colours, use no alternate screen that vanishes at the end, and end at once if the text is short.
    setenv("LESS", "FRX", 0);
    std::string shell = "sh";
    std::string option = "-c";
    char* const arguments[] = {shell.data(), option.data(), m_command.data(), nullptr};
    const int failed = posix_spawnp(&m_pager, "sh", &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    if (failed != 0) {
        close(ends[1]);
        m_pager = -1;
        return false;
    }
    m_pipe = ends[1];
    SetByLine(false);
    if (onPager) {
        onPager();
    }
    return true;
}

void PagedOutput::WriteToPager(const char* bytes, std::size_t count)
{
    while (count != 0 && !m_readerGone && !m_discard) {
        const ssize_t written = write(m_pipe, bytes, count);
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        } else if (written < 0 && errno == EINTR) {
            m_discard = unwanted && unwanted();
        } else if (written < 0) {
            m_readerGone = true;
        }
    }
    if ((m_readerGone || m_discard) && onReaderGone) {
        onReaderGone();
    }
}
