// More stack for loads that nest deep. In C++ with namespaces each function's load can nest in the one
// before, hundreds deep, and a debugger's thread may have a small stack.
#pragma once

#include <cstddef>

/// Bytes of a segment: 1 MiB, unless the build needs more for the same depth.
extern const std::size_t kStackSegmentSize;

/// Runs `body(argument)` on a stack segment that lasts as long as the call. It is the caller's
/// thread that runs it. What it throws is thrown here; without memory for a segment, std::bad_alloc.
void RunOnNewStack(void (*body)(void*), void* argument);
