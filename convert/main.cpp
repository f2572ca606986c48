// symconvert FILE DESCRIPTOR: the process in which a conversion runs. It writes the converted file to a descriptor that
// it got from its parent, and reports to the parent on standard output, line by line: "progress PERCENT" as it
// proceeds, and at the end "report JSON", or "failure TEXT" with the exit status 1.
#include "convert/Converter.h"
#include "convert/Report.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int kUsageError = 2;

/// Allocates no memory: it also reports that there is none.
bool Write(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno != EINTR) {
            return false;
        }
    }
    return true;
}

int Fail(const char* text)
{
    Write("failure ");
    for (std::string_view rest = text; !rest.empty();) { // one line, whatever the text
        const std::size_t end = rest.find('\n');
        Write(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        Write(rest.empty() ? "" : " ");
    }
    Write("\n");
    return 1;
}

/// Reports each percent once.
class ProgressLines {
public:
    void operator()(u32 percent)
    {
        if (percent > m_told && percent <= 100) {
            m_told = percent;
            Write("progress " + std::to_string(percent) + '\n');
        }
    }

private:
    u32 m_told = 0;
};

/// Each unit allocates and frees the same few large tables: the process keeps their memory.
void KeepMemory()
{
    constexpr int kLargest = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, kLargest);
    mallopt(M_TRIM_THRESHOLD, kLargest);
}

int Run(const std::string& path, int descriptor)
{
    KeepMemory();
    convert::Report report;
    convert::ConvertFile(path, descriptor, report, ProgressLines());
    return Write("report " + report.Json() + '\n') ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    int descriptor = -1;
    if (argc == 3) {
        const char* end = argv[2] + std::strlen(argv[2]);
        const auto [stop, error] = std::from_chars(argv[2], end, descriptor);
        descriptor = error == std::errc() && stop == end ? descriptor : -1;
    }
    if (descriptor < 0) {
        constexpr std::string_view kUsage = "symconvert is run by symhost: symhost convert FILE -o OUT\n";
        static_cast<void>(!write(STDERR_FILENO, kUsage.data(), kUsage.size()));
        return kUsageError;
    }
    try {
        return Run(argv[1], descriptor);
    } catch (const std::bad_alloc&) {
        return Fail("Out of memory");
    } catch (const std::exception& exception) {
        return Fail(exception.what());
    }
}
