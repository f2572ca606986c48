// host/Progress.cpp: when a bar is drawn, what it shows, and how it is stopped.
#include "host/Progress.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <pty.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

/// While it lives, standard error is a terminal of the test's own.
class ErrorTerminal {
public:
    ErrorTerminal()
    {
        EXPECT_EQ(openpty(&m_screen, &m_terminal, nullptr, nullptr, nullptr), 0);
        fcntl(m_screen, F_SETFL, O_NONBLOCK);
        m_saved = dup(STDERR_FILENO);
        dup2(m_terminal, STDERR_FILENO);
    }
    ~ErrorTerminal()
    {
        dup2(m_saved, STDERR_FILENO);
        for (const int descriptor : {m_saved, m_terminal, m_screen}) {
            close(descriptor);
        }
    }
    ErrorTerminal(const ErrorTerminal&) = delete;
    ErrorTerminal& operator=(const ErrorTerminal&) = delete;

    /// What was written since the last call.
    std::string Take() const
    {
        std::string text;
        char buffer[256];
        for (ssize_t count = 0; (count = read(m_screen, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int m_screen = -1;
    int m_terminal = -1;
    int m_saved = -1;
};

std::unique_ptr<ProgressIndicator> Open(ProgressBars& bars, bool canCancel = false)
{
    return std::unique_ptr<ProgressIndicator>(bars.OpenProgress("Loading", "a\x1b.axf", 100, 300, 0, canCancel));
}

void LetTimePass()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
}

TEST(Progress, ABarIsDrawnAfterAMomentAndTakenOffAtItsEnd)
{
    ErrorTerminal terminal;
    ProgressBars bars;
    auto bar = Open(bars);
    EXPECT_TRUE(bars.IsOpen());
    bar->SetPosition(150);
    EXPECT_EQ(terminal.Take(), "") << "what is quick shows none";
    LetTimePass();
    bar->SetPosition(150);
    EXPECT_EQ(terminal.Take(), "\rLoading a?.axf [" + std::string(7, '#') + std::string(23, ' ') + "]  25 %\x1b[K");
    bar->SetPosition(151);
    EXPECT_EQ(terminal.Take(), "") << "a few times a second";
    LetTimePass();
    bar->SetPosition(900);
    EXPECT_NE(terminal.Take().find("] 100 %"), std::string::npos) << "never more";
    LetTimePass();
    bar->SetPosition(5);
    EXPECT_NE(terminal.Take().find("]   0 %"), std::string::npos) << "nor less";
    bar.reset();
    EXPECT_EQ(terminal.Take(), "\r\x1b[K");
    EXPECT_FALSE(bars.IsOpen());
    EraseProgress();
    EXPECT_EQ(terminal.Take(), "") << "there is none any more";
}

TEST(Progress, WhatIsShownOnTheScreenTakesThePlaceOfABar)
{
    ErrorTerminal terminal;
    ProgressBars bars;
    u64 written = 10;
    bars.written = [&] { return written; };
    auto bar = Open(bars);
    LetTimePass();
    written = 11;
    bar->SetPosition(200);
    bar.reset();
    EXPECT_EQ(terminal.Take(), "");
}

TEST(Progress, NoBarWithoutATerminal)
{
    ErrorTerminal terminal;
    const int file = open("/dev/null", O_WRONLY);
    dup2(file, STDERR_FILENO);
    close(file);
    ProgressBars bars;
    auto bar = Open(bars);
    LetTimePass();
    bar->SetPosition(200);
    bar.reset();
    EXPECT_EQ(terminal.Take(), "");
}

TEST(Progress, AnInterruptStopsWhatCanBeStopped)
{
    ErrorTerminal terminal;
    const Interrupt interrupt;
    ProgressBars bars;
    auto fixed = Open(bars);
    std::raise(SIGINT);
    EXPECT_FALSE(fixed->WasCancelled());
    fixed.reset(); // and has served it
    auto bar = Open(bars, true);
    EXPECT_FALSE(bar->WasCancelled());
    std::raise(SIGINT);
    EXPECT_TRUE(bar->WasCancelled());
    bar.reset();
    EXPECT_FALSE(Interrupt::Pending());
    EXPECT_NE(terminal.Take().find("Loading a?.axf: canceled"), std::string::npos);
    EXPECT_TRUE(bars.TakeCancelled());
    EXPECT_FALSE(bars.TakeCancelled());

    bool unwanted = false;
    bars.unwanted = [&] { return unwanted; };
    bar = Open(bars, true);
    EXPECT_FALSE(bar->WasCancelled());
    unwanted = true;
    EXPECT_TRUE(bar->WasCancelled()) << "for another reason";
}

} // namespace
