// Sets up standard output, and ends it with the program.
#include "host/StandardOutput.h"

#include "host/Host.h"
#include "host/Paint.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

StandardOutput::StandardOutput(bool endsByPipe)
    : m_endsByPipe(endsByPipe)
{
    if (isatty(STDOUT_FILENO) == 1) {
        auto paged = std::make_unique<PagedOutput>(STDOUT_FILENO);
        m_paged = paged.get();
        m_paged->beforeShow = EraseProgress;
        m_paged->onPager = [this] { m_interrupt.emplace(); };
        m_paged->unwanted = [] { return Interrupt::Pending(); };
        m_output = std::move(paged);
    } else {
        m_output = std::make_unique<Output>(STDOUT_FILENO);
    }
    m_output->onReaderGone = [this] { Leave(); };
}

void StandardOutput::Apply(const CommonOptions& options)
{
    m_output->SetPainted(IsPainted(options.color, m_output->IsTerminal()));
    if (m_paged != nullptr && options.noPager) {
        m_paged->LeavePager();
    }
}

/// Nobody reads any more, so nothing is left to do.
void StandardOutput::Leave()
{
    if (m_paged != nullptr) {
        m_paged->EndCommand();
        std::_Exit(EXIT_SUCCESS);
    }
    if (m_endsByPipe) {
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
    }
}

int StandardOutput::Finish(int status, int trouble)
{
    if (status == EXIT_SUCCESS) {
        m_output->ShowHead();
    }
    if (m_paged != nullptr) {
        m_paged->EndCommand();
    } else {
        m_output->Flush();
    }
    if (m_output->Error() == 0) {
        return status;
    }
    if (m_output->Error() != EPIPE) {
        Complain("standard output", m_output->Error());
    }
    return trouble;
}
