// One load within another.
#pragma once

#include "image/Dwarf2File.h"
#include "index/StackSegment.h"

#include <type_traits>

/// Counts a nested operation for the length of a scope.
class DepthGuard {
public:
    explicit DepthGuard(u32& depth)
        : m_depth(depth)
    {
        ++m_depth;
    }
    ~DepthGuard() { --m_depth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

private:
    u32& m_depth;
};

template <typename Body>
void Dwarf2File::Nest(Body&& body)
{
    // 256 levels take less than half of a stack of 1 MiB, even in a build without optimisation and with what an engine
    // needs on top of them. One segment for all levels would count as used memory where the system doesn't overcommit.
    constexpr u32 kLevelsOfStack = 256;
    const DepthGuard depth(m_loadDepth);
    if (m_loadDepth % kLevelsOfStack != 0) {
        body();
        return;
    }
    RunOnNewStack([](void* argument) { (*static_cast<std::remove_reference_t<Body>*>(argument))(); }, &body);
}
