// The program on a pseudo-terminal, driven as a person's keys would.
#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// Plenty for an instrumented build on a busy machine; a working program takes a small part of it.
inline constexpr auto kPatience = std::chrono::seconds(30);

/// `symhost` on a terminal of its own, of 40 lines of 200 columns.
class Terminal {
public:
    /// @param settings of the environment.
    Terminal(std::vector<std::string> arguments, const std::map<std::string, std::string>& settings)
    {
        winsize size{40, 200, 0, 0};
        arguments.insert(arguments.begin(), BIN_DIR "/symhost");
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        m_child = forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_child == 0) {
            setenv("TERM", "xterm", 1);
            unsetenv("NO_COLOR");
            for (const auto& [name, value] : settings) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~Terminal()
    {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
        close(m_terminal);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool Started() const { return m_child > 0; }

    void Type(const std::string& keys)
    {
        m_seen.clear();
        ASSERT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /// Waits until the terminal shows a text that came after the keys typed last, and then the next
    /// prompt: only then are keys like Ctrl-D the editor's.
    bool Shows(const std::string& text) { return Sees(text, "symhost> "); }

    /// Waits until the terminal shows the one text and, after it, the other.
    bool Sees(const std::string& text, const std::string& then = "")
    {
        const auto shown = [&] {
            const std::size_t found = m_seen.find(text);
            return found != std::string::npos && m_seen.find(then, found) != std::string::npos;
        };
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!shown()) {
            if (std::chrono::steady_clock::now() > end || !Read()) {
                return shown();
            }
        }
        return true;
    }

    const std::string& Seen() const { return m_seen; }

    /// Waits until nothing more comes. What has come, without the carriage returns.
    std::string AllSeen()
    {
        while (Read()) {
        }
        std::string text = m_seen;
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
        return text;
    }

    /// Waits for the program's end. -1 if it doesn't come.
    int ExitStatus()
    {
        int status = 0;
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (Read()) {
        }
        while (waitpid(m_child, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > end) {
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        m_child = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    /// False when nothing more comes.
    bool Read()
    {
        pollfd waiting{m_terminal, POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) {
            return false;
        }
        char text[4096];
        const ssize_t count = read(m_terminal, text, sizeof text);
        if (count <= 0) {
            return false;
        }
        m_seen.append(text, static_cast<std::size_t>(count));
        return true;
    }

    int m_terminal = -1;
    pid_t m_child = -1;
    std::string m_seen;
};
