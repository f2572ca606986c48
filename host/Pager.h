// Output to a terminal, command by command; long output goes through the user's pager.
#pragma once

#include "host/Output.h"

#include <cstddef>
#include <functional>
#include <string>
#include <sys/types.h>

/// Holds a command's output back until the command ends or a screen is full. A full screen starts
/// the pager ($PAGER, else less), and the rest goes there in large pieces. Without a pager ("cat"
/// counts as none) each line is shown at its end.
class PagedOutput : public Output {
public:
    explicit PagedOutput(int descriptor);
    ~PagedOutput() override;

    void BeginCommand();
    /// Shows what is held, or waits until the person leaves the pager.
    void EndCommand();
    void Flush() override;
    void DropHeld() override;

    /// Uses no pager from now on.
    void LeavePager() { m_command.clear(); }

    /// True if the person left the pager while the command was writing.
    bool ReaderGone() const { return m_readerGone; }

    /// Called right before any of the output is shown.
    std::function<void()> beforeShow;
    /// Called when the pager has been started.
    std::function<void()> onPager;
    /// Asked while the command writes: true drops the rest of its output.
    std::function<bool()> unwanted;

protected:
    void Deliver(const char* bytes, std::size_t count) override;
    int sync() override;

private:
    void Show();
    bool FillsScreen(const char* bytes, std::size_t count);
    bool StartPager();
    void WriteToPager(const char* bytes, std::size_t count);

    std::string m_command; ///< the pager's command line; empty if there is none
    std::string m_held;
    std::size_t m_rows = 0;   ///< rows that m_held takes
    std::size_t m_column = 0; ///< of the cursor behind m_held
    pid_t m_pager = -1;
    int m_pipe = -1;
    bool m_readerGone = false;
    bool m_discard = false;
};
