// Buffered output to a descriptor, and the one-line messages of the program.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <functional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

class LineReader;

/// A stream buffer that writes in large pieces. On a terminal, where a person watches, each line is
/// passed on at its end, and a stream's flush passes on the rest; elsewhere a stream's flush does
/// nothing. A terminal gets no control character but line feed and tab, since texts come from files: the
/// others are shown as "?". After the first write that fails everything is dropped, and Error() tells why.
class Output : public std::streambuf {
public:
    explicit Output(int descriptor);
    /// Doesn't flush: to know that all has arrived, call Flush() and ask Error().
    ~Output() override;

    void Write(std::string_view text) { sputn(text.data(), static_cast<std::streamsize>(text.size())); }
    /// Writes the line above a table once anything follows it, so that a listing that fails shows none.
    void WriteHead(std::string_view head) { m_head += head; }
    /// Writes the head of a table that is empty.
    void ShowHead();
    /// Drops that line.
    void DropHead() { m_head.clear(); }
    /// Drops what has been written and is still held back.
    virtual void DropHeld() {}
    /// Writes control sequences of a terminal unchanged.
    void WriteSequence(std::string_view sequence);
    /// Passes everything on to the reader.
    virtual void Flush();
    /// Paints tables (host/Paint.h) from now on.
    void SetPainted(bool painted) { m_painted = painted; }
    bool IsTerminal() const { return m_terminal; }
    /// The errno of the write that failed; 0 if none did.
    int Error() const { return m_error; }
    /// The number of bytes taken so far, delivered or not.
    u64 Taken() const { return m_passedOn + m_line.size() + static_cast<u64>(pptr() - pbase()); }

    /// Called once nobody reads what is written: the other end of the pipe is closed.
    std::function<void()> onReaderGone;

protected:
    /// Takes bytes that leave the buffer.
    virtual void Deliver(const char* bytes, std::size_t count);
    /// Sets whether lines are passed on at their end. Nothing may be held.
    void SetByLine(bool byLine);
    /// Writes to the descriptor itself.
    void WriteThrough(int descriptor, const char* bytes, std::size_t count);
    int Descriptor() const { return m_descriptor; }

    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    void TakeByLine(std::string_view text);
    void PassOnHeld();
    void MakeRoom();
    void PassOn(const char* bytes, std::size_t count);

    int m_descriptor;
    bool m_terminal;
    bool m_byLine = false;
    bool m_painted = false;
    int m_error = 0;
    std::vector<char> m_bytes;
    std::string m_line; ///< the open line of an output by line; its put area is empty
    std::string m_head; ///< not written yet
    u64 m_passedOn = 0;
};

/// Writes "PROGRAM: subject: text" as one line on standard error; an empty subject is left out.
void Complain(std::string_view subject, std::string_view text);
/// The same with the system's words for an errno.
void Complain(std::string_view subject, int error);
/// Writes lines for a person on standard error.
void WriteMessage(std::string_view lines);
/// The same as Complain for standard input, if it could not be read to its end.
/// @return true if there was something to complain of.
bool ComplainOfInput(const LineReader& input);
