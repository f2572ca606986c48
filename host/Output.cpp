// Output to a descriptor that notices a full disk or a broken pipe.
#include "host/Output.h"

#include "host/Paint.h"
#include "host/Progress.h"
#include "host/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

} // namespace

Output::Output(int descriptor)
    : m_descriptor(descriptor)
    , m_terminal(isatty(descriptor) == 1)
    , m_bytes(kBufferSize)
{
    SetByLine(m_terminal);
}

Output::~Output() = default;

void Output::SetByLine(bool byLine)
{
    m_byLine = byLine;
    // Without room in the put area each character comes to overflow(), which sees the line ends.
    setp(m_bytes.data(), m_bytes.data() + (byLine ? 0 : m_bytes.size()));
}

void Output::ShowHead()
{
    std::string head;
    head.swap(m_head);
    if (!m_painted) {
        Write(head);
    } else if (!head.empty()) {
        PassOnHeld();
        m_passedOn += head.size();
        head = PaintedHead(head);
        Deliver(head.data(), head.size());
    }
}

void Output::Flush()
{
    PassOnHeld();
}

void Output::MakeRoom()
{
    const std::string_view held(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    const std::size_t end = m_painted ? held.rfind('\n') + 1 : 0; // 0 if there is none
    if (end == 0) {
        PassOnHeld();
        return;
    }
    const std::string open(held.substr(end)); // a line is painted as a whole
    pbump(-static_cast<int>(open.size()));
    PassOnHeld();
    std::copy(open.begin(), open.end(), pptr());
    pbump(static_cast<int>(open.size()));
}

/// What is in the buffers goes on its way.
void Output::PassOnHeld()
{
    if (m_byLine) {
        std::string line;
        line.swap(m_line);
        PassOn(line.data(), line.size());
        return;
    }
    const char* begin = pbase();
    const auto count = static_cast<std::size_t>(pptr() - pbase());
    setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
    PassOn(begin, count);
}

void Output::TakeByLine(std::string_view text)
{
    const std::size_t end = text.rfind('\n') + 1; // 0 if there is none
    if (end != 0) {
        m_line += text.substr(0, end);
        PassOnHeld();
    }
    if (!m_byLine) {
        Write(text.substr(end)); // the lines that were passed on have started the pager
        return;
    }
    m_line += text.substr(end);
    if (m_line.size() >= kBufferSize) {
        PassOnHeld();
    }
}

void Output::PassOn(const char* bytes, std::size_t count)
{
    m_passedOn += count;
    if (count == 0) {
        return;
    }
    if (!m_terminal && !m_painted) {
        Deliver(bytes, count);
        return;
    }
    std::string shown;
    if (m_terminal) {
        AppendPrintable(shown, {bytes, count}, "\n\t");
    } else {
        shown.assign(bytes, count);
    }
    if (m_painted) {
        shown = Painted(shown);
    }
    Deliver(shown.data(), shown.size());
}

void Output::WriteSequence(std::string_view sequence)
{
    Flush();
    Deliver(sequence.data(), sequence.size());
}

void Output::Deliver(const char* bytes, std::size_t count)
{
    WriteThrough(m_descriptor, bytes, count);
}

void Output::WriteThrough(int descriptor, const char* bytes, std::size_t count)
{
    while (count != 0 && m_error == 0) {
        const ssize_t written = write(descriptor, bytes, count);
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        } else if (written < 0 && errno != EINTR) {
            m_error = errno;
            if (m_error == EPIPE && onReaderGone) {
                onReaderGone();
            }
        }
    }
}

Output::int_type Output::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        const char text = traits_type::to_char_type(character);
        xsputn(&text, 1);
    }
    return traits_type::not_eof(character);
}

std::streamsize Output::xsputn(const char* text, std::streamsize count)
{
    const auto size = static_cast<std::size_t>(count);
    if (!m_head.empty() && size != 0) {
        ShowHead();
    }
    if (m_byLine) {
        TakeByLine({text, size});
        return count;
    }
    if (size > static_cast<std::size_t>(epptr() - pptr())) {
        MakeRoom();
        if (size > static_cast<std::size_t>(epptr() - pptr())) {
            PassOnHeld();
            PassOn(text, size);
            return count;
        }
    }
    std::copy_n(text, size, pptr()); // a text without bytes may be null
    pbump(static_cast<int>(size));
    return count;
}

int Output::sync()
{
    if (m_terminal) {
        PassOnHeld();
    }
    return 0;
}

void Complain(std::string_view subject, std::string_view text)
{
    std::string line(program_invocation_short_name);
    line += ": ";
    if (!subject.empty()) {
        AppendPrintable(line, subject);
        line += ": ";
    }
    AppendPrintable(line, text);
    line += '\n';
    WriteMessage(line);
}

void WriteMessage(std::string_view lines)
{
    EraseProgress();
    // Nothing is left to be told when standard error itself fails.
    static_cast<void>(!write(STDERR_FILENO, lines.data(), lines.size()));
}

void Complain(std::string_view subject, int error)
{
    Complain(subject, std::string_view(std::strerror(error)));
}

bool ComplainOfInput(const LineReader& input)
{
    if (input.Error() == 0) {
        return false;
    }
    Complain("standard input", input.Error());
    return true;
}
