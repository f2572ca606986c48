// The fixture of the console's tests: a file made by the test assemblers, and a console that keeps what
// is written to it.
#pragma once

#include "interfaces/DbgExpression.h"
#include "interfaces/DbgUIConsole.h"
#include "interfaces/VFKDataString.h"
#include "tests/support/DwarfTest.h"

#include <fstream>
#include <ios>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

/// A console on a string. It notes in which order it was called, and its state word at that time.
class RecordingConsole : public DbgUIConsole {
public:
    std::iostream& iostream() override { return stream; }
    void ClearContents(u32 line) override { calls.push_back("clear " + std::to_string(line)); }
    void CommandFinished() override
    {
        calls.push_back("finished");
        stateWhenFinished = m_state;
    }

    std::stringstream stream;
    std::vector<std::string> calls;
    u32 stateWhenFinished = 0;
};

/// The contents of a file; empty if it doesn't exist.
inline std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ConsoleTest : public DwarfTest {
protected:
    /// Runs a line on a fresh console. The file's path shows as FILE.
    std::string Run(const std::string& line)
    {
        RecordingConsole console;
        EXPECT_EQ(File().ConsoleCommand(&line, &console), 1u);
        EXPECT_EQ(console.calls.back(), "finished");
        EXPECT_EQ(Probe::m_dumpStream(File()), nullptr);
        return WithoutPath(console.stream.str());
    }

    /// The same without the head line.
    std::string Dump(const std::string& line)
    {
        const std::string text = Run(line);
        return text.substr(text.find('\n') + 1);
    }

    std::string WithoutPath(std::string text)
    {
        const std::string& path = Path();
        for (std::size_t at = 0; (at = text.find(path, at)) != std::string::npos;) {
            text.replace(at, path.size(), "FILE");
        }
        return text;
    }

    /// The engine's text of an expression.
    static std::string Text(std::initializer_list<u8> bytes)
    {
        const VFKDataString data(false, GetParam() == ByteOrder::Little, bytes.begin(), static_cast<u32>(bytes.size()));
        std::string text;
        DbgExpression(data, nullptr, nullptr).GetText(text, false);
        return text;
    }
};

/// The path of an empty file that is removed at the end.
class OutputPath {
public:
    const std::string& Path() const { return m_file.Path(); }

private:
    TempFile m_file{""};
};
