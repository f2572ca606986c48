// Console lines, and the prompt: line editing with libedit, a history that is kept between runs,
// completion.
#include "host/Prompt.h"

#include "host/Completion.h"
#include "host/LineRunner.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Pager.h"
#include "host/Progress.h"
#include "host/Text.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <histedit.h>
#include <optional>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

constexpr int kHistorySize = 1000;
constexpr std::size_t kMaxListed = 200;

/// $XDG_STATE_HOME/symhost/history, else ~/.local/state/symhost/history; empty without a home.
std::filesystem::path HistoryPath()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    std::filesystem::path folder;
    if (state != nullptr && *state == '/') {
        folder = state;
    } else if (home != nullptr && *home == '/') {
        folder = std::filesystem::path(home) / ".local/state";
    } else {
        return {};
    }
    return folder / "symhost/history";
}

/// The lines of this run and of earlier ones, in a text file. A line is added to the file as it is
/// entered, so that two prompts don't lose each other's.
class LineHistory {
public:
    LineHistory()
        : m_history(history_init())
        , m_path(HistoryPath())
    {
        HistEvent event;
        history(m_history, &event, H_SETSIZE, kHistorySize);
        history(m_history, &event, H_SETUNIQUE, 1);
        if (m_path.empty()) {
            return;
        }
        std::error_code ignored; // without its folder the history lasts for this run
        std::filesystem::create_directories(m_path.parent_path(), ignored);
        if (std::filesystem::exists(m_path, ignored) && !std::filesystem::is_regular_file(m_path, ignored)) {
            m_path.clear(); // a pipe or a device could block or never end
            return;
        }
        Load();
    }

    ~LineHistory() { history_end(m_history); }
    LineHistory(const LineHistory&) = delete;
    LineHistory& operator=(const LineHistory&) = delete;

    History* Handle() const { return m_history; }

    void Enter(const std::string& line)
    {
        HistEvent event;
        history(m_history, &event, H_ENTER, line.c_str());
        if (!m_path.empty()) {
            std::ofstream(m_path, std::ios::app) << line << '\n';
        }
    }

private:
    /// Enters the file's last lines, and cuts a file that has grown long to them.
    void Load()
    {
        std::vector<std::string> lines;
        std::ifstream file(m_path);
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        const bool cut = lines.size() > 2 * kHistorySize;
        if (lines.size() > kHistorySize) {
            lines.erase(lines.begin(), lines.end() - kHistorySize);
        }
        std::ofstream shorter;
        if (cut) {
            shorter.open(m_path);
        }
        for (const std::string& line : lines) {
            HistEvent event;
            history(m_history, &event, H_ENTER, line.c_str());
            shorter << line << '\n';
        }
    }

    History* m_history;
    std::filesystem::path m_path;
};

const char* PromptText(EditLine*)
{
    return "symhost> ";
}

/// Prints candidates in columns below the line that is being edited.
void ListCandidates(const std::vector<std::string>& candidates)
{
    std::string text = "\n";
    if (candidates.size() > kMaxListed) {
        text += std::to_string(candidates.size()) + " possibilities\n";
    } else {
        std::size_t width = 2; // with the blanks between two
        for (const std::string& candidate : candidates) {
            width = std::max(width, candidate.size() + 2);
        }
        const std::size_t columns = std::max<std::size_t>(80 / width, 1);
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            const bool last = i % columns == columns - 1 || i + 1 == candidates.size();
            AppendPrintable(text, candidates[i]); // names come from files
            text += last ? std::string("\n") : std::string(width - candidates[i].size(), ' ');
        }
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

/// The Tab key.
unsigned char OnTab(EditLine* editor, wint_t)
{
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    const LineInfo* info = el_line(editor);
    const std::string_view line(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
    const Completer::Result result = static_cast<Completer*>(data)->Complete(line);
    if (result.candidates.empty()) {
        return CC_ERROR;
    }
    std::string insert = result.CommonPrefix().substr(line.size() - result.start);
    if (result.candidates.size() == 1 && !result.files) {
        insert += ' ';
    }
    if (insert.empty()) {
        ListCandidates(result.candidates);
        return CC_REDISPLAY;
    }
    return el_insertstr(editor, insert.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

class LineEditor {
public:
    explicit LineEditor(Completer& completer)
        : m_editor(el_init("symhost", stdin, stdout, stderr))
    {
        el_set(m_editor, EL_PROMPT, PromptText);
        el_set(m_editor, EL_EDITOR, "emacs");
        el_set(m_editor, EL_SIGNAL, 1);
        el_set(m_editor, EL_HIST, history, m_history.Handle());
        el_set(m_editor, EL_CLIENTDATA, &completer);
        // The wide call keeps the texts as they are given; the narrow one copies them for good.
        el_wset(m_editor, EL_ADDFN, L"complete-word", L"Complete the word", OnTab);
        el_set(m_editor, EL_BIND, "^I", "complete-word", nullptr);
        el_set(m_editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_source(m_editor, nullptr); // the user's own ~/.editrc
    }

    ~LineEditor() { el_end(m_editor); }
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// Reads a line, which comes without its line end. Ctrl-C gives an empty one.
    /// @return nothing at Ctrl-D or when the terminal is gone.
    std::optional<std::string> Read()
    {
        Interrupt::Clear();
        int count = 0;
        errno = 0;
        // Before the prompt shows: a Ctrl-D that the terminal takes in its own mode comes as a NUL.
        el_set(m_editor, EL_PREP_TERM, 1);
        const char* text = el_gets(m_editor, &count);
        if (text == nullptr || count <= 0) {
            const bool interrupted = Interrupt::Pending();
            std::fputc('\n', stdout);
            std::fflush(stdout);
            el_set(m_editor, EL_PREP_TERM, 0);
            return interrupted ? std::optional<std::string>("") : std::nullopt;
        }
        std::string line(text, static_cast<std::size_t>(count));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.pop_back();
        }
        if (line.find_first_not_of(" \t") != std::string::npos) {
            m_history.Enter(line);
        }
        return line;
    }

private:
    LineHistory m_history;
    EditLine* m_editor;
};

/// Lends the engine a user interface while the prompt runs.
class LentInterface {
public:
    explicit LentInterface(DbgUserInterface& lent) { DbgEngineInterface::SetUserInterface(&lent); }
    ~LentInterface() { DbgEngineInterface::SetUserInterface(nullptr); }
    LentInterface(const LentInterface&) = delete;
    LentInterface& operator=(const LentInterface&) = delete;
};

} // namespace

int RunPrompt(Loader& file, const CommonOptions& options)
{
    std::setlocale(LC_CTYPE, "");
    const Interrupt interrupt;
    PagedOutput output(STDOUT_FILENO);
    if (options.noPager) {
        output.LeavePager();
    }
    LineRunner runner(file, output, options);
    runner.helpOfAll = true;
    ProgressBars& bars = runner.bars;
    output.beforeShow = EraseProgress;
    // A dump with a bar ends by itself, with a word; any other command can only be silenced.
    output.unwanted = [&] { return Interrupt::Pending() && !bars.IsOpen(); };
    bars.written = [&] { return output.Taken(); };
    bars.unwanted = [&] { return output.ReaderGone(); };
    const LentInterface lent(bars);
    Completer completer(file.Store().GetPath(), &file);
    LineEditor editor(completer);
    while (const std::optional<std::string> line = editor.Read()) {
        if (LineRunner::IsLeaving(*line)) {
            break;
        }
        output.BeginCommand();
        Interrupt::Clear();
        runner.Run(*line);
        output.EndCommand();
        if (output.Error() != 0) {
            Complain("standard output", output.Error());
            return 1;
        }
    }
    output.unwanted = nullptr;
    return 0;
}

int RunConsole(Loader& file, Output& output, const std::vector<std::string>& lines, const CommonOptions& options)
{
    if (lines.empty() && isatty(STDIN_FILENO) == 1 && output.IsTerminal()) {
        return RunPrompt(file, options);
    }
    LineRunner runner(file, output, options);
    bool done = true;
    if (!lines.empty()) {
        for (auto line = lines.begin(); line != lines.end() && !LineRunner::IsLeaving(*line); ++line) {
            done = runner.Run(*line) && done;
        }
        return done ? 0 : 1;
    }
    LineReader reader(STDIN_FILENO);
    for (std::string line; output.Error() == 0 && reader.Next(line) && !LineRunner::IsLeaving(line);) {
        done = runner.Run(line) && done;
        output.Flush();
    }
    return !ComplainOfInput(reader) && done ? 0 : 1;
}
