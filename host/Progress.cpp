// The progress bar. It appears when a dump has run for a moment and is redrawn a few times a second.
#include "host/Progress.h"

#include "host/Text.h"
#include "interfaces/VFKSystem.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

constexpr u32 kRedrawTicks = 100; // milliseconds
constexpr u32 kBarWidth = 30;

volatile std::sig_atomic_t g_interrupted = 0;
struct sigaction g_oldAction; // NOLINT: filled by sigaction
bool g_drawn = false;         ///< a bar is on the screen

extern "C" void OnInterrupt(int)
{
    g_interrupted = 1;
}

void WriteToTerminal(const std::string& text)
{
    static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
}

} // namespace

Interrupt::Interrupt()
{
    Clear();
    // Without SA_RESTART: the line editor's read has to come back.
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &g_oldAction);
}

Interrupt::~Interrupt()
{
    sigaction(SIGINT, &g_oldAction, nullptr);
}

bool Interrupt::Pending()
{
    return g_interrupted != 0;
}

void Interrupt::Clear()
{
    g_interrupted = 0;
}

class ProgressBars::Bar : public ProgressIndicator {
public:
    Bar(ProgressBars& owner, std::string label, u32 first, u32 last, bool canCancel)
        : m_owner(owner)
        , m_label(std::move(label))
        , m_first(first)
        , m_last(last)
        , m_canCancel(canCancel)
        , m_drawnAt(VFKTimer::GetTickCount())
        , m_written(Written())
    {
        owner.m_open = true;
    }

    ~Bar() override
    {
        EraseProgress();
        if (m_cancelled && WritesElsewhere()) {
            // The dump's own word about it stands in the file that it was sent to.
            WriteToTerminal(m_label + ": canceled\n");
            m_owner.m_cancelled = true;
        }
        m_owner.m_open = false;
        Interrupt::Clear(); // it was meant for this command and has been served
    }

    void SetPosition(u32 position) override
    {
        const u32 now = VFKTimer::GetTickCount();
        if (now - m_drawnAt < kRedrawTicks || isatty(STDERR_FILENO) != 1 || !WritesElsewhere()) {
            return;
        }
        m_drawnAt = now;
        Draw(position);
    }

    bool WasCancelled() override
    {
        m_cancelled = m_canCancel && (Interrupt::Pending() || (m_owner.unwanted && m_owner.unwanted()));
        return m_cancelled;
    }

private:
    u64 Written() const { return m_owner.written ? m_owner.written() : 0; }
    bool WritesElsewhere() const { return Written() == m_written; }

    void Draw(u32 position)
    {
        const u64 total = m_last > m_first ? m_last - m_first : 1;
        const u64 done = position > m_first ? std::min(u64{position - m_first}, total) : 0;
        std::string text = "\r" + m_label + " [";
        const auto filled = static_cast<std::size_t>(done * kBarWidth / total);
        text.append(filled, '#').append(kBarWidth - filled, ' ');
        text += "] ";
        AppendDecimal(text, static_cast<i64>(done * 100 / total), 3);
        WriteToTerminal(text + " %\x1b[K");
        g_drawn = true;
    }

    ProgressBars& m_owner;
    std::string m_label;
    u32 m_first;
    u32 m_last;
    bool m_canCancel;
    bool m_cancelled = false;
    u32 m_drawnAt;
    u64 m_written; ///< when the bar was opened
};

ProgressIndicator* ProgressBars::OpenProgress(const char* title, const char* detail, u32 first, u32 last, u32,
                                              bool canCancel)
{
    std::string label;
    AppendPrintable(label, title == nullptr ? "" : title);
    label += ' ';
    AppendPrintable(label, detail == nullptr ? "" : detail);
    return new Bar(*this, std::move(label), first, last, canCancel);
}

void EraseProgress()
{
    if (g_drawn) {
        WriteToTerminal("\r\x1b[K");
        g_drawn = false;
    }
}
