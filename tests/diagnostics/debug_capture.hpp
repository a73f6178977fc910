// Running a piece of a test with given debug settings and standard error
// captured: the text it wrote, without the debug log's line prefixes.
#pragma once

#include <cstdint>
#include <string>

#include "capture_fd.hpp"
#include "debug_scope.hpp"
#include "debug_text.hpp"
#include "eventually.hpp"

namespace cairn::testing {

template <typename F>
std::string debug_output(int32_t level, uint32_t trace, F &&body)
{
    DebugScope scope(level, trace);
    CaptureFd err(2);
    body();
    return without_debug_prefixes(err.text());
}

}  // namespace cairn::testing
