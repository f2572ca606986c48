// More stack for deeply nested loads. In C++ with namespaces each function's load can nest in the one before, hundreds
// deep, and a debugger's thread may have a small stack.
#pragma once

#include <cstddef>

/// Bytes of a segment: 1 MiB, unless the build needs more for the same depth.
extern const std::size_t kStackSegmentSize;

/// Runs `body(argument)` in the caller's thread on a stack segment that lasts as long as the call. What it throws is
/// thrown here; without memory for a segment, std::bad_alloc.
void RunOnNewStack(void (*body)(void*), void* argument);
