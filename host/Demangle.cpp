// Demangling with a bound: the library delivers its text piece by piece, so a name that grows too long can be given up.
#include "host/Demangle.h"

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <libiberty/demangle.h>

namespace {

constexpr std::size_t kLongestMangled = 4096;
constexpr std::size_t kLongestShown = 8192;

struct Sink {
    std::jmp_buf overflow;
    std::size_t size = 0;
    char text[kLongestShown];
};

extern "C" void TakePiece(const char* piece, std::size_t size, void* opaque)
{
    Sink& sink = *static_cast<Sink*>(opaque);
    if (size > kLongestShown - sink.size) {
        // The frames between are C and own nothing: this variant of the demangler allocates on the stack alone.
        std::longjmp(sink.overflow, 1);
    }
    std::copy_n(piece, size, sink.text + sink.size);
    sink.size += size;
}

/// A function of its own, so that the jump clobbers no variable of the caller.
bool DemangleInto(Sink& sink, const char* name)
{
    if (setjmp(sink.overflow) != 0) {
        return false;
    }
    return cplus_demangle_v3_callback(name, DMGL_PARAMS | DMGL_ANSI, TakePiece, &sink) != 0;
}

} // namespace

std::optional<std::string> Demangle(std::string_view name)
{
    if ((name.rfind("_Z", 0) != 0 && name.rfind("_GLOBAL_", 0) != 0) || name.size() > kLongestMangled) {
        return std::nullopt;
    }
    const std::string text(name);
    Sink sink;
    if (!DemangleInto(sink, text.c_str())) {
        return std::nullopt;
    }
    return std::string(sink.text, sink.size);
}

std::string ShownName(std::string_view name, bool demangle)
{
    return demangle ? Demangle(name).value_or(std::string(name)) : std::string(name);
}
