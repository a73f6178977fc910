// Running a piece of a test with given debug settings and standard error
// captured: the text it wrote, without the debug log's line prefixes; and
// waiting for what a debug-event thread does.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "capture_fd.hpp"
#include "debug_scope.hpp"
#include "debug_text.hpp"

namespace cairn::testing {

template <typename F>
std::string debug_output(int32_t level, uint32_t trace, F &&body)
{
    DebugScope scope(level, trace);
    CaptureFd err(2);
    body();
    return without_debug_prefixes(err.text());
}

// Waits, with a generous bound, until `done` holds.
inline bool eventually(const std::function<bool()> &done)
{
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace cairn::testing
