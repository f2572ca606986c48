// Standard output for one command: on a terminal through the pager and in colours if wanted, and with a silent
// end once nobody reads any more.
#pragma once

#include "host/Pager.h"
#include "host/Progress.h"

#include <memory>
#include <optional>

struct CommonOptions;

class StandardOutput {
public:
    /// @param endsByPipe a closed pipe ends the process by SIGPIPE, as it does where nobody ignores that signal.
    explicit StandardOutput(bool endsByPipe);
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    Output& Get() { return *m_output; }
    /// Applies --color and --no-pager.
    void Apply(const CommonOptions& options);
    /// Shows the rest, and waits until the person leaves the pager.
    /// @param status of the command.
    /// @param trouble the program's if not all could be written.
    /// @return the program's.
    int Finish(int status, int trouble);

private:
    void Leave();

    bool m_endsByPipe;
    std::unique_ptr<Output> m_output;
    PagedOutput* m_paged = nullptr;       ///< m_output on a terminal
    std::optional<Interrupt> m_interrupt; ///< while the pager runs, Ctrl-C is for it
};
