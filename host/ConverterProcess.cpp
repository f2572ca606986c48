// Start, limits and end of the child.
#include "host/ConverterProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using Resource = decltype(RLIMIT_CORE);

/// Runs between fork and exec, so it only makes calls that are safe there.
void Limit(Resource resource, u64 value)
{
    rlimit limit{};
    if (getrlimit(resource, &limit) == 0) {
        limit.rlim_max = std::min<rlim_t>(limit.rlim_max, value);
        limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
        setrlimit(resource, &limit);
    }
}

} // namespace

void Descriptor::Close()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
        m_descriptor = -1;
    }
}

bool Pipe::Open()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    reader.Set(ends[0]);
    writer.Set(ends[1]);
    return true;
}

bool Patience::Wait(int descriptor, milliseconds step)
{
    const auto start = std::chrono::steady_clock::now();
    pollfd waiting{descriptor, POLLIN, 0};
    const auto left = std::chrono::duration_cast<milliseconds>(m_left);
    const milliseconds time = std::max(std::min(step, left), milliseconds(1));
    const bool ready = poll(&waiting, 1, static_cast<int>(time.count())) > 0;
    const auto passed = std::chrono::steady_clock::now() - start;
    m_left -= std::min<std::chrono::steady_clock::duration>(passed, 2 * time);
    return ready;
}

ConverterProcess::ConverterProcess(const std::string& program, const std::string& file, int output,
                                   const ConversionLimits& limits)
    : m_program(program)
    , m_file(file)
    , m_outputNumber(std::to_string(output))
    , m_output(output)
    , m_limits(limits)
{
    m_arguments = {m_program.data(), m_file.data(), m_outputNumber.data(), nullptr};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        // Keeps libraries from asking a server for debug information that a file lacks.
        if (!std::string_view(*variable).starts_with("DEBUGINFOD_")) {
            m_environment.push_back(*variable);
        }
    }
    m_environment.push_back(nullptr);
}

int ConverterProcess::Start()
{
    m_null.Set(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (m_null.Get() < 0 || !m_answer.Open() || !m_trouble.Open()) {
        return errno;
    }
    const pid_t parent = getpid();
    m_process = fork();
    if (m_process < 0) {
        return errno;
    }
    if (m_process == 0) {
        Run(parent);
    }
    m_answer.writer.Close();
    m_trouble.writer.Close();
    int trouble = 0;
    ssize_t count = -1;
    do {
        count = read(m_trouble.reader.Get(), &trouble, sizeof trouble);
    } while (count < 0 && errno == EINTR);
    return count == sizeof trouble ? trouble : 0;
}

/// Only makes calls that are safe after fork.
void ConverterProcess::Run(pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
    signal(SIGPIPE, SIG_DFL);
    signal(SIGXFSZ, SIG_IGN); // a write that fails has words
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_CPU, static_cast<u64>(m_limits.time.count() / 1000) + 1);
    Limit(RLIMIT_FSIZE, m_limits.output);
    if (m_limits.memory != 0) {
        Limit(RLIMIT_AS, m_limits.memory);
    }
    dup2(m_null.Get(), STDIN_FILENO);
    dup2(m_answer.writer.Get(), STDOUT_FILENO);
    if (!kIsSanitized) {
        dup2(m_null.Get(), STDERR_FILENO);
    }
    close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC); // also what others have left open
    fcntl(m_output, F_SETFD, 0);
    execve(m_program.c_str(), m_arguments.data(), m_environment.data());
    const int trouble = errno;
    static_cast<void>(!write(m_trouble.writer.Get(), &trouble, sizeof trouble));
    _exit(127);
}

bool ConverterProcess::Ends(Patience& patience, int& status)
{
    for (milliseconds step(1);; step = std::min(2 * step, milliseconds(50))) {
        const pid_t ended = waitpid(m_process, &status, WNOHANG);
        if (ended == m_process) {
            m_process = -1;
            return true;
        }
        if (patience.IsOver() || (ended < 0 && errno != EINTR)) {
            return false;
        }
        patience.Wait(-1, step);
    }
}

void ConverterProcess::Kill()
{
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
        m_process = -1;
    }
}
