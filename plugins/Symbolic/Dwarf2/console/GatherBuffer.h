// A stream buffer between a dump and the file that it is redirected to.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <streambuf>

/// Collects what is written and passes it on in large pieces. A file's own buffer could be as large, but takes several
/// times as long for each of the millions of small fields of a dump.
class GatherBuffer : public std::streambuf {
public:
    /// @param sink gets the text; it is borrowed.
    explicit GatherBuffer(std::streambuf* sink)
        : m_sink(sink)
        , m_memory(std::make_unique_for_overwrite<char[]>(kSize))
    {
        setp(m_memory.get(), m_memory.get() + kSize);
    }

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        if (count > epptr() - pptr() && !Drain()) {
            return 0;
        }
        if (count > epptr() - pptr()) {
            return m_sink->sputn(text, count);
        }
        std::copy_n(text, count, pptr()); // a text without bytes may be null
        pbump(static_cast<int>(count));
        return count;
    }

    int_type overflow(int_type c) override
    {
        return Drain() && !traits_type::eq_int_type(c, traits_type::eof()) ? sputc(traits_type::to_char_type(c))
                                                                           : traits_type::eof();
    }

    int sync() override { return Drain() && m_sink->pubsync() == 0 ? 0 : -1; }

private:
    static constexpr std::size_t kSize = 256 * 1024;

    bool Drain()
    {
        const std::streamsize count = pptr() - pbase();
        setp(m_memory.get(), m_memory.get() + kSize);
        return count == 0 || m_sink->sputn(m_memory.get(), count) == count;
    }

    std::streambuf* m_sink;
    std::unique_ptr<char[]> m_memory;
};
